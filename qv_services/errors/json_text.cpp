#include "qv_services/errors/json_text.hpp"

#include "qv_services/conversions.hpp"

namespace qvsv::detail {
namespace {

constexpr char kHex[] = "0123456789abcdef";

bool isValidUtf8(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size()) {
    const auto c = static_cast<unsigned char>(text[i]);
    std::size_t length = c < 0x80 ? 1 : (c >> 5) == 0x6 ? 2 : (c >> 4) == 0xE ? 3 : (c >> 3) == 0x1E ? 4 : 0;
    if (length == 0 || i + length > text.size()) return false;
    char32_t cp = length == 1 ? c : length == 2 ? (c & 0x1F) : length == 3 ? (c & 0x0F) : (c & 0x07);
    for (std::size_t k = 1; k < length; ++k) {
      const auto d = static_cast<unsigned char>(text[i + k]);
      if ((d & 0xC0) != 0x80) return false;
      cp = (cp << 6) | (d & 0x3F);
    }
    const char32_t minimum = length == 1 ? 0 : length == 2 ? 0x80 : length == 3 ? 0x800 : 0x10000;
    if (cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
    i += length;
  }
  return true;
}

void writeHexObject(JsonWriter& writer, const char* key, std::string&& hex) {
  writer.StartObject();
  writer.Key(key);
  writer.String(hex.data(), static_cast<rapidjson::SizeType>(hex.size()));
  writer.EndObject();
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

// The single member `key` of an object holding lower-case hex digits in
// groups of `digits`.
bool readHexObject(const rapidjson::Value& value, const char* key, std::size_t digits, std::u16string* wide,
                   std::string* narrow) {
  if (!value.IsObject() || value.MemberCount() != 1) return false;
  const auto member = value.FindMember(key);
  if (member == value.MemberEnd() || !member->value.IsString()) return false;
  const std::string_view hex(member->value.GetString(), member->value.GetStringLength());
  if (hex.size() % digits != 0) return false;
  for (std::size_t i = 0; i < hex.size(); i += digits) {
    unsigned unit = 0;
    for (std::size_t k = 0; k < digits; ++k) {
      const int d = hexDigit(hex[i + k]);
      if (d < 0) return false;
      unit = unit * 16 + static_cast<unsigned>(d);
    }
    if (wide != nullptr) wide->push_back(static_cast<char16_t>(unit));
    if (narrow != nullptr) narrow->push_back(static_cast<char>(unit));
  }
  return true;
}

}  // namespace

bool AppendUtf8(std::u16string_view text, std::string& out) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t cp = text[i];
    if (cp >= 0xD800 && cp <= 0xDFFF) {
      if (cp > 0xDBFF || i + 1 == text.size() || text[i + 1] < 0xDC00 || text[i + 1] > 0xDFFF) return false;
      cp = 0x10000 + ((cp - 0xD800) << 10) + (text[i + 1] - 0xDC00);
      ++i;
    }
    if (cp < 0x80) {
      out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
      out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
      out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
      out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
      out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    }
  }
  return true;
}

void WriteText(JsonWriter& writer, std::u16string_view text, std::string& scratch) {
  scratch.clear();
  if (AppendUtf8(text, scratch)) {
    writer.String(scratch.data(), static_cast<rapidjson::SizeType>(scratch.size()));
    return;
  }
  std::string hex;
  hex.reserve(text.size() * 4);
  for (const char16_t unit : text) {
    for (int shift = 12; shift >= 0; shift -= 4) hex.push_back(kHex[(unit >> shift) & 0xF]);
  }
  writeHexObject(writer, "utf16", std::move(hex));
}

void WriteNarrow(JsonWriter& writer, std::string_view text) {
  if (isValidUtf8(text)) {
    writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
    return;
  }
  std::string hex;
  hex.reserve(text.size() * 2);
  for (const char c : text) {
    hex.push_back(kHex[(static_cast<unsigned char>(c) >> 4) & 0xF]);
    hex.push_back(kHex[static_cast<unsigned char>(c) & 0xF]);
  }
  writeHexObject(writer, "bytes", std::move(hex));
}

void WriteDisplayText(JsonWriter& writer, std::u16string_view text, std::string& scratch) {
  scratch.clear();
  if (!AppendUtf8(text, scratch)) scratch = ConvertUStringToStdString(text, true);
  writer.String(scratch.data(), static_cast<rapidjson::SizeType>(scratch.size()));
}

void WriteDisplayNarrow(JsonWriter& writer, std::string_view text, std::string& scratch) {
  if (isValidUtf8(text)) {
    writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
    return;
  }
  WriteDisplayText(writer, ConvertStdStringToUString(text, true), scratch);
}

bool ReadText(const rapidjson::Value& value, std::u16string& out) {
  out.clear();
  if (value.IsString()) {
    // The parser validated the UTF-8, so the conversion cannot fail.
    out = ConvertStdStringToUString(std::string_view(value.GetString(), value.GetStringLength()), true);
    return true;
  }
  return readHexObject(value, "utf16", 4, &out, nullptr);
}

bool ReadNarrow(const rapidjson::Value& value, std::string& out) {
  out.clear();
  if (value.IsString()) {
    out.assign(value.GetString(), value.GetStringLength());
    return true;
  }
  return readHexObject(value, "bytes", 2, nullptr, &out);
}

void WriteArguments(JsonWriter& w, const txArray* cell, std::string& scratch) {
  w.Key("arguments");
  w.StartArray();
  const txIndex n = txIsCell(cell) ? txGetNumberOfElements(cell) : 0;
  for (txIndex i = 0; i < n; ++i) {
    const txArray* element = txGetCell(cell, i);
    if (txIsChar(element)) {
      WriteText(w, std::u16string_view(txGetChars(element), txGetNumberOfElements(element)), scratch);
    } else if (txIsLogical(element) && txGetNumberOfElements(element) == 1) {
      w.Bool(txGetLogicals(element)[0]);
    } else if (txIsNumeric(element) && txGetNumberOfElements(element) == 1) {
      w.Double(txGetScalar(element));
    } else {
      w.Null();
    }
  }
  w.EndArray();
}

void WriteMetadata(JsonWriter& w, const qvsvMetaDataMap& metadata, std::string& scratch) {
  w.Key("metadata");
  w.StartArray();
  for (const auto& [key, value] : metadata) {
    w.StartObject();
    w.Key("key");
    WriteText(w, key, scratch);
    if (const auto* number = std::get_if<std::int64_t>(&value)) {
      w.Key("integer");
      w.Int64(*number);
    } else if (const auto* narrow = std::get_if<std::string>(&value)) {
      w.Key("string");
      WriteNarrow(w, *narrow);
    } else {
      w.Key("wide");
      WriteText(w, std::get<std::u16string>(value), scratch);
    }
    w.EndObject();
  }
  w.EndArray();
}

}  // namespace qvsv::detail
