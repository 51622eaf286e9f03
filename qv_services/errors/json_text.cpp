#include "qv_services/errors/json_text.hpp"

#include <array>
#include <cmath>
#include <cstdint>

#include "qv_services/conversions.hpp"
#include "qv_services/strings/utf16_walk.hpp"

namespace qvsv::detail {
namespace {

constexpr char kHex[] = "0123456789abcdef";

// The longest form of one UTF-16 unit or byte in a JSON string is \u00XX.
constexpr std::size_t kWorstEscape = 6;

bool isValidUtf8(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size()) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c < 0x80) {
      ++i;
      continue;
    }
    const std::size_t length = (c >> 5) == 0x6 ? 2 : (c >> 4) == 0xE ? 3 : (c >> 3) == 0x1E ? 4 : 0;
    if (length == 0 || i + length > text.size()) return false;
    char32_t cp = length == 2 ? (c & 0x1F) : length == 3 ? (c & 0x0F) : (c & 0x07);
    for (std::size_t k = 1; k < length; ++k) {
      const auto d = static_cast<unsigned char>(text[i + k]);
      if ((d & 0xC0) != 0x80) return false;
      cp = (cp << 6) | (d & 0x3F);
    }
    const char32_t minimum = length == 2 ? 0x80 : length == 3 ? 0x800 : 0x10000;
    if (cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
    i += length;
  }
  return true;
}

// An ASCII character inside a JSON string: itself, or its escape. The common
// case stays inline in the loops below.
constexpr auto kPlainAscii = [] {
  std::array<bool, 128> plain{};
  for (int c = 0x20; c < 0x80; ++c) plain[c] = c != '"' && c != '\\';
  return plain;
}();
inline bool isPlainAscii(char32_t c) { return kPlainAscii[c]; }

char* escapeAscii(char32_t c, char* p) {
  *p++ = '\\';
  switch (c) {
    case '"': *p++ = '"'; break;
    case '\\': *p++ = '\\'; break;
    case '\n': *p++ = 'n'; break;
    case '\t': *p++ = 't'; break;
    case '\r': *p++ = 'r'; break;
    default:
      *p++ = 'u';
      *p++ = '0';
      *p++ = '0';
      *p++ = kHex[c >> 4];
      *p++ = kHex[c & 0xF];
  }
  return p;
}

// UTF-16 as a quoted JSON string in UTF-8, transcoded and escaped in one
// pass (the writers' hot path); null at the first unpaired surrogate.
char* quoteUtf16(std::u16string_view text, char* p) {
  *p++ = '"';
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t cp = text[i];
    if (cp < 0x80) {
      if (isPlainAscii(cp)) {
        *p++ = static_cast<char>(cp);
      } else {
        p = escapeAscii(cp, p);
      }
      continue;
    }
    if ((cp & 0xF800) == 0xD800) {
      if (cp > 0xDBFF || i + 1 == text.size() || (text[i + 1] & 0xFC00) != 0xDC00) return nullptr;
      cp = 0x10000 + ((cp - 0xD800) << 10) + (text[i + 1] - 0xDC00);
      ++i;
    }
    if (cp < 0x800) {
      *p++ = static_cast<char>(0xC0 | (cp >> 6));
    } else if (cp < 0x10000) {
      *p++ = static_cast<char>(0xE0 | (cp >> 12));
      *p++ = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    } else {
      *p++ = static_cast<char>(0xF0 | (cp >> 18));
      *p++ = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
      *p++ = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    }
    *p++ = static_cast<char>(0x80 | (cp & 0x3F));
  }
  *p++ = '"';
  return p;
}

// Valid UTF-8 as a quoted JSON string.
char* quoteUtf8(std::string_view text, char* p) {
  *p++ = '"';
  for (const char c : text) {
    const auto b = static_cast<unsigned char>(c);
    if (b >= 0x80 || isPlainAscii(b)) {
      *p++ = c;
    } else {
      p = escapeAscii(b, p);
    }
  }
  *p++ = '"';
  return p;
}

// The hex form of a text that is not well formed, as raw bytes.
char* hexObject(std::u16string_view text, char* p) {
  static constexpr std::string_view kOpen = "{\"utf16\":\"";
  p = std::copy(kOpen.begin(), kOpen.end(), p);
  for (const char16_t unit : text) {
    for (int shift = 12; shift >= 0; shift -= 4) *p++ = kHex[(unit >> shift) & 0xF];
  }
  *p++ = '"';
  *p++ = '}';
  return p;
}

void writeUtf8(JsonWriter& writer, std::string_view text) {
  writer.QuotedValue(text.size() * kWorstEscape + 2, [&](char* out) { return quoteUtf8(text, out); });
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
  const auto& member = *value.MemberBegin();
  if (std::string_view(member.name.GetString(), member.name.GetStringLength()) != key || !member.value.IsString()) {
    return false;
  }
  const std::string_view hex(member.value.GetString(), member.value.GetStringLength());
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

// Texts are transcoded and escaped in one pass straight into a quoted JSON
// string, which the writer then copies as a raw value; this is the writers'
}  // namespace

bool AppendUtf8(std::u16string_view text, std::string& out) {
  bool wellFormed = true;
  ForEachCodePoint(text, [&](char32_t cp, bool ok, std::size_t) {
    wellFormed = wellFormed && ok;
    if (wellFormed) AppendUtf8(out, cp);
  });
  return wellFormed;
}

void WriteText(JsonWriter& writer, std::u16string_view text) {
  // Quoted optimistically; a text that turns out not to be well formed is
  // replaced in place by its hex object, a value as good as a string to the
  // writer's bookkeeping of commas.
  writer.QuotedValue(text.size() * kWorstEscape + 12, [&](char* out) {
    char* end = quoteUtf16(text, out);
    return end != nullptr ? end : hexObject(text, out);
  });
}

void WriteNarrow(JsonWriter& writer, std::string_view text) {
  if (isValidUtf8(text)) return writeUtf8(writer, text);
  std::string hex;
  hex.reserve(text.size() * 2);
  for (const char c : text) {
    hex.push_back(kHex[(static_cast<unsigned char>(c) >> 4) & 0xF]);
    hex.push_back(kHex[static_cast<unsigned char>(c) & 0xF]);
  }
  writeHexObject(writer, "bytes", std::move(hex));
}

void WriteNumber(JsonWriter& writer, double value) {
  constexpr double kExact = 9007199254740992.0;  // 2^53
  if (value > -kExact && value < kExact && value == std::trunc(value) && !(value == 0 && std::signbit(value))) {
    writer.Int64(static_cast<std::int64_t>(value));
  } else {
    writer.Double(value);
  }
}

void WriteDisplayText(JsonWriter& writer, std::u16string_view text) {
  // Quoted optimistically, as in WriteText; a text that is not well formed
  // is quoted again after U+FFFD took the place of what did not convert.
  std::u16string repaired;
  writer.QuotedValue(text.size() * kWorstEscape + 2, [&](char* out) {
    char* end = quoteUtf16(text, out);
    if (end != nullptr) return end;
    repaired = ConvertStdStringToUString(ConvertUStringToStdString(text, true), true);
    return quoteUtf16(repaired, out);
  });
}

void WriteDisplayNarrow(JsonWriter& writer, std::string_view text) {
  if (isValidUtf8(text)) return writeUtf8(writer, text);
  writeUtf8(writer, ConvertUStringToStdString(ConvertStdStringToUString(text, true), true));
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

void WriteArguments(JsonWriter& w, const txArray* cell) {
  Key(w, R"("arguments")");
  w.StartArray();
  const txIndex n = txIsCell(cell) ? txGetNumberOfElements(cell) : 0;
  for (txIndex i = 0; i < n; ++i) {
    const txArray* element = txGetCell(cell, i);
    if (txIsChar(element)) {
      WriteText(w, std::u16string_view(txGetChars(element), txGetNumberOfElements(element)));
    } else if (txIsLogical(element) && txGetNumberOfElements(element) == 1) {
      w.Bool(txGetLogicals(element)[0]);
    } else if (txIsNumeric(element) && txGetNumberOfElements(element) == 1) {
      WriteNumber(w, txGetScalar(element));
    } else {
      w.Null();
    }
  }
  w.EndArray();
}

void WriteMetadata(JsonWriter& w, const qvsvMetaDataMap& metadata) {
  Key(w, R"("metadata")");
  w.StartArray();
  for (const auto& [key, value] : metadata) {
    w.StartObject();
    Key(w, R"("key")");
    WriteText(w, key);
    if (const auto* number = std::get_if<std::int64_t>(&value)) {
      Key(w, R"("integer")");
      w.Int64(*number);
    } else if (const auto* narrow = std::get_if<std::string>(&value)) {
      Key(w, R"("string")");
      WriteNarrow(w, *narrow);
    } else {
      Key(w, R"("wide")");
      WriteText(w, std::get<std::u16string>(value));
    }
    w.EndObject();
  }
  w.EndArray();
}

}  // namespace qvsv::detail
