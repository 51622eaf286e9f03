// Writing and reading the texts of the JSON and SARIF forms: UTF-16 and
// narrow strings as JSON strings, with a lossless fallback for what JSON
// strings cannot carry.
#pragma once

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "qv_services/diagnostic.hpp"

namespace qvsv::detail {

// NaN and infinities are written (as NaN, Infinity): handles and numeric
// arguments are doubles that the form must not lose.
using JsonWriterBase = rapidjson::Writer<rapidjson::StringBuffer, rapidjson::UTF8<>, rapidjson::UTF8<>,
                                         rapidjson::CrtAllocator, rapidjson::kWriteNanAndInfFlag>;

// RapidJSON's writer over its own buffer. The writer places every comma and
// colon; texts, already escaped, go straight into the buffer after it
// (RawValue copies byte by byte, which is most of the cost of a form).
class JsonWriter : public JsonWriterBase {
 public:
  JsonWriter() : JsonWriterBase(buffer_) {}
  // A value or member name whose JSON bytes `write` puts at the pointer it
  // is given (room for `capacity` bytes); it returns the end.
  template <typename Write>
  void QuotedValue(std::size_t capacity, Write&& write) {
    RawValue("", 0, rapidjson::kStringType);
    char* begin = buffer_.Push(capacity);
    char* end = write(begin);
    buffer_.Pop(capacity - static_cast<std::size_t>(end - begin));
  }
  std::string Take() const { return std::string(buffer_.GetString(), buffer_.GetSize()); }

 private:
  rapidjson::StringBuffer buffer_;
};

// Appends UTF-8 for well-formed UTF-16 to out; false (out unspecified) when
// the text holds an unpaired surrogate.
bool AppendUtf8(std::u16string_view text, std::string& out);

// A member name given already quoted (R"("id")"): written without the
// writer's escape scan, which these fixed names never need.
template <std::size_t N>
void Key(JsonWriter& writer, const char (&quoted)[N]) {
  writer.QuotedValue(N - 1, [&](char* out) { return std::copy(quoted, quoted + N - 1, out); });
}

// A UTF-16 text: a JSON string, or {"utf16": hex} when it is not well formed.
void WriteText(JsonWriter& writer, std::u16string_view text);
// A narrow text: a JSON string when it is UTF-8, else {"bytes": hex}.
void WriteNarrow(JsonWriter& writer, std::string_view text);
// A UTF-16 text for display only (SARIF): ill-formed parts become U+FFFD.
void WriteDisplayText(JsonWriter& writer, std::u16string_view text);
// A narrow text for display only: bytes that are not UTF-8 become U+FFFD.
void WriteDisplayNarrow(JsonWriter& writer, std::string_view text);

// The members "arguments" (a host cell array: numbers, true/false, texts, null
// for anything else) and "metadata" (an array of {"key", and "integer",
// "string" or "wide"}), shared by the JSON form and SARIF's property bags.
void WriteArguments(JsonWriter& writer, const txArray* cell);
void WriteMetadata(JsonWriter& writer, const qvsvMetaDataMap& metadata);

// A double that reads back exactly: integral values below 2^53 as integers
// (the common case, and much cheaper than the shortest-digits search).
void WriteNumber(JsonWriter& writer, double value);

// Reading back what WriteText and WriteNarrow wrote; false for anything else.
bool ReadText(const rapidjson::Value& value, std::u16string& out);
bool ReadNarrow(const rapidjson::Value& value, std::string& out);

}  // namespace qvsv::detail
