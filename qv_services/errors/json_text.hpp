// Writing and reading the texts of the JSON and SARIF forms: UTF-16 and
// narrow strings as JSON strings, with a lossless fallback for what JSON
// strings cannot carry.
#pragma once

#include <rapidjson/document.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "qv_services/diagnostic.hpp"

namespace qvsv::detail {

// The text being written, in the std::string it is handed over in: no copy
// at the end, and no byte of room touched before it is written (a log of
// many megabytes copied, or cleared and faulted in twice, cost more than
// writing it).
class JsonOutput {
 public:
  using Ch = char;
  void Put(char c) { text_.push_back(c); }
  void Flush() {}
  void Append(const char* bytes, std::size_t count) { text_.append(bytes, count); }
  // Forgets what was written from `size` on.
  void Truncate(std::size_t size) { text_.resize(size); }
  void Reserve(std::size_t count) { text_.reserve(text_.size() + count); }
  std::size_t GetSize() const { return text_.size(); }
  const char* GetString() const { return text_.data(); }
  std::string Take() { return std::move(text_); }

 private:
  std::string text_;
};

// NaN and infinities are written (as NaN, Infinity): handles and numeric
// arguments are doubles that the form must not lose.
using JsonWriterBase = rapidjson::Writer<JsonOutput, rapidjson::UTF8<>, rapidjson::UTF8<>, rapidjson::CrtAllocator,
                                         rapidjson::kWriteNanAndInfFlag>;

// RapidJSON's writer, which places every comma and colon and checks the
// nesting; texts, escaped in one pass of their own, and fixed member names
// go straight into the output after it.
class JsonWriter : public JsonWriterBase {
 public:
  JsonWriter() : JsonWriterBase(buffer_) {}
  // Where a value starts in the buffer; kAppend asks for a new value.
  static constexpr std::size_t kAppend = static_cast<std::size_t>(-1);

  // A value or member name whose JSON bytes `write` puts at the pointer it
  // is given (room for `capacity` bytes); it returns the end. Returns where
  // the value starts; given such a start as `replace`, the value written
  // from there on is replaced instead (no new comma or colon).
  template <typename Write>
  std::size_t QuotedValue(std::size_t capacity, Write&& write, std::size_t replace = kAppend) {
    if (replace == kAppend) {
      prefix();
    } else {
      buffer_.Truncate(replace);
    }
    const std::size_t start = buffer_.GetSize();
    // Written to scratch room first, then appended: the longest form is
    // several times the text, and only what it took reaches the document.
    if (scratch_.size() < capacity) scratch_.resize(std::max(capacity, 2 * scratch_.size()));
    const char* end = write(scratch_.data());
    buffer_.Append(scratch_.data(), static_cast<std::size_t>(end - scratch_.data()));
    return start;
  }
  // JSON text made earlier (a quoted string), copied as a value.
  std::size_t Quoted(std::string_view json, std::size_t replace = kAppend) {
    return QuotedValue(json.size(), [&](char* out) { return std::copy(json.begin(), json.end(), out); }, replace);
  }
  // What was written from `start` on.
  std::string_view Since(std::size_t start) const {
    return std::string_view(buffer_.GetString() + start, buffer_.GetSize() - start);
  }
  // Fixed JSON text, given as a literal: a member name already quoted
  // (R"("id")"), or a constant value (R"("error")", "true").
  template <std::size_t N>
  void Literal(const char (&json)[N]) {
    prefix();
    buffer_.Append(json, N - 1);
  }
  // Room for about `bytes` more, when the caller can tell.
  void Reserve(std::size_t bytes) { buffer_.Reserve(bytes); }
  // The text written; the writer is spent.
  std::string Take() { return buffer_.Take(); }

 private:
  // The writer's own comma-and-colon step for the values written here,
  // kept inline: out of line it was a tenth of the cost of a SARIF log.
  [[gnu::always_inline]] void prefix() {
    if (level_stack_.GetSize() == 0) {
      hasRoot_ = true;
      return;
    }
    Level* level = level_stack_.template Top<Level>();
    if (level->valueCount > 0) buffer_.Put(level->inArray || level->valueCount % 2 == 0 ? ',' : ':');
    ++level->valueCount;
  }

  JsonOutput buffer_;
  std::vector<char> scratch_;
};

// Appends UTF-8 for well-formed UTF-16 to out; false (out unspecified) when
// the text holds an unpaired surrogate.
bool AppendUtf8(std::u16string_view text, std::string& out);

// A member name given already quoted (R"("id")"): written without the
// writer's escape scan, which these fixed names never need.
template <std::size_t N>
void Key(JsonWriter& writer, const char (&quoted)[N]) {
  writer.Literal(quoted);
}

// A UTF-16 text: a JSON string, or {"utf16": hex} when it is not well formed.
void WriteText(JsonWriter& writer, std::u16string_view text);
// A narrow text: a JSON string when it is UTF-8, else {"bytes": hex}.
void WriteNarrow(JsonWriter& writer, std::string_view text);
// A UTF-16 text for display only (SARIF): ill-formed parts become U+FFFD.
// Returns where it starts; `replace` as for JsonWriter::QuotedValue.
std::size_t WriteDisplayText(JsonWriter& writer, std::u16string_view text,
                             std::size_t replace = JsonWriter::kAppend);
// A narrow text for display only: bytes that are not UTF-8 become U+FFFD.
std::size_t WriteDisplayNarrow(JsonWriter& writer, std::string_view text,
                               std::size_t replace = JsonWriter::kAppend);

// The members "arguments" (a host cell array: numbers, true/false, texts, null
// for anything else) and "metadata" (an array of {"key", and "integer",
// "string" or "wide"}), shared by the JSON form and SARIF's property bags.
void WriteArguments(JsonWriter& writer, const txArray* cell);
void WriteMetadata(JsonWriter& writer, const qvsvMetaDataMap& metadata);

// A double that reads back exactly: integral values below 2^53 as integers
// (the common case, and much cheaper than the shortest-digits search).
void WriteNumber(JsonWriter& writer, double value);

// About the bytes an item's own members take in the JSON form (SARIF adds a
// few hundred): enough to reserve a document's room once.
std::size_t EstimatedJsonSize(const qvsvDiagnosticItem& item);

// Reading back what WriteText and WriteNarrow wrote; false for anything else.
bool ReadText(const rapidjson::Value& value, std::u16string& out);
bool ReadNarrow(const rapidjson::Value& value, std::string& out);

}  // namespace qvsv::detail
