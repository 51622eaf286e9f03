// Writing and reading the texts of the JSON and SARIF forms: UTF-16 and
// narrow strings as JSON strings, with a lossless fallback for what JSON
// strings cannot carry.
#pragma once

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <string>
#include <string_view>

#include "qv_services/diagnostic.hpp"

namespace qvsv::detail {

// NaN and infinities are written (as NaN, Infinity): handles and numeric
// arguments are doubles that the form must not lose.
using JsonWriter = rapidjson::Writer<rapidjson::StringBuffer, rapidjson::UTF8<>, rapidjson::UTF8<>,
                                     rapidjson::CrtAllocator, rapidjson::kWriteNanAndInfFlag>;

// Appends UTF-8 for well-formed UTF-16 to out; false (out unspecified) when
// the text holds an unpaired surrogate.
bool AppendUtf8(std::u16string_view text, std::string& out);

// A UTF-16 text: a JSON string, or {"utf16": hex} when it is not well formed.
// scratch is reused between calls to spare allocations.
void WriteText(JsonWriter& writer, std::u16string_view text, std::string& scratch);
// A narrow text: a JSON string when it is UTF-8, else {"bytes": hex}.
void WriteNarrow(JsonWriter& writer, std::string_view text);
// A UTF-16 text for display only (SARIF): ill-formed parts become U+FFFD.
void WriteDisplayText(JsonWriter& writer, std::u16string_view text, std::string& scratch);
// A narrow text for display only: bytes that are not UTF-8 become U+FFFD.
void WriteDisplayNarrow(JsonWriter& writer, std::string_view text, std::string& scratch);

// The members "arguments" (a host cell array: numbers, true/false, texts, null
// for anything else) and "metadata" (an array of {"key", and "integer",
// "string" or "wide"}), shared by the JSON form and SARIF's property bags.
void WriteArguments(JsonWriter& writer, const txArray* cell, std::string& scratch);
void WriteMetadata(JsonWriter& writer, const qvsvMetaDataMap& metadata, std::string& scratch);

// Reading back what WriteText and WriteNarrow wrote; false for anything else.
bool ReadText(const rapidjson::Value& value, std::u16string& out);
bool ReadNarrow(const rapidjson::Value& value, std::string& out);

}  // namespace qvsv::detail
