#include "qv_services/errors/json_text.hpp"

#include <array>
#include <cmath>
#include <cstdint>
#include <type_traits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "qv_services/conversions.hpp"
#include "qv_services/strings/utf16_walk.hpp"

namespace qvsv::detail {
namespace {

constexpr char kHex[] = "0123456789abcdef";

// The longest form of one UTF-16 unit or byte in a JSON string is \u00XX.
constexpr std::size_t kWorstEscape = 6;

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

#if defined(__SSE2__)
// Sixteen bytes of text at s (eight UTF-16 units or sixteen bytes): when all
// are plain ASCII, their bytes go to p and the answer is true.
inline bool copyPlainBlock(const char16_t* s, char* p) {
  const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
  const __m128i ascii = _mm_cmpeq_epi16(_mm_and_si128(v, _mm_set1_epi16(static_cast<short>(0xFF80))),
                                        _mm_setzero_si128());
  const __m128i special =
      _mm_or_si128(_mm_cmplt_epi16(v, _mm_set1_epi16(0x20)),
                   _mm_or_si128(_mm_cmpeq_epi16(v, _mm_set1_epi16('"')), _mm_cmpeq_epi16(v, _mm_set1_epi16('\\'))));
  if (_mm_movemask_epi8(_mm_andnot_si128(special, ascii)) != 0xFFFF) return false;
  _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_packus_epi16(v, v));
  return true;
}

inline bool copyPlainBlock(const char* s, char* p) {
  const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
  // Bytes from 0x80 compare as negative, so the comparison with the space
  // also finds what is not ASCII.
  const __m128i special =
      _mm_or_si128(_mm_cmplt_epi8(v, _mm_set1_epi8(0x20)),
                   _mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8('"')), _mm_cmpeq_epi8(v, _mm_set1_epi8('\\'))));
  if (_mm_movemask_epi8(special) != 0) return false;
  _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
  return true;
}
#endif

// The leading run of plain ASCII (nothing to escape) of s[0, n), copied as
// bytes to p; returns its length. A block at a time where SSE2 is there,
// since messages are mostly such runs.
template <typename Unit>
std::size_t copyPlainRun(const Unit* s, std::size_t n, char* p) {
  std::size_t i = 0;
#if defined(__SSE2__)
  constexpr std::size_t kBlock = 16 / sizeof(Unit);
  while (i + kBlock <= n && copyPlainBlock(s + i, p + i)) i += kBlock;
  // A run that reaches the end: the last block, overlapping what was copied
  // already, instead of a unit at a time.
  if (i < n && i + kBlock > n && n >= kBlock && copyPlainBlock(s + n - kBlock, p + n - kBlock)) return n;
#endif
  using Unsigned = std::make_unsigned_t<Unit>;
  for (; i < n && static_cast<Unsigned>(s[i]) < 0x80 && isPlainAscii(static_cast<Unsigned>(s[i])); ++i) {
    p[i] = static_cast<char>(s[i]);
  }
  return i;
}

// UTF-16 as a quoted JSON string in UTF-8, transcoded and escaped in one
// pass (the writers' hot path); null at the first unpaired surrogate.
char* quote(std::u16string_view text, char* p) {
  *p++ = '"';
  const char16_t* s = text.data();
  const std::size_t n = text.size();
  for (std::size_t i = 0; i < n; ++i) {
    const std::size_t run = copyPlainRun(s + i, n - i, p);
    i += run;
    p += run;
    if (i == n) break;
    char32_t cp = s[i];
    if (cp < 0x80) {
      p = escapeAscii(cp, p);
      continue;
    }
    if ((cp & 0xF800) == 0xD800) {
      if (cp > 0xDBFF || i + 1 == n || (s[i + 1] & 0xFC00) != 0xDC00) return nullptr;
      cp = 0x10000 + ((cp - 0xD800) << 10) + (s[i + 1] - 0xDC00);
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

// The length of the well-formed UTF-8 sequence at s[0, n) (its lead byte
// from 0x80), or 0 when it is not one.
std::size_t utf8SequenceLength(const unsigned char* s, std::size_t n) {
  const unsigned char c = s[0];
  const std::size_t length = (c >> 5) == 0x6 ? 2 : (c >> 4) == 0xE ? 3 : (c >> 3) == 0x1E ? 4 : 0;
  if (length == 0 || length > n) return 0;
  char32_t cp = length == 2 ? (c & 0x1F) : length == 3 ? (c & 0x0F) : (c & 0x07);
  for (std::size_t k = 1; k < length; ++k) {
    if ((s[k] & 0xC0) != 0x80) return 0;
    cp = (cp << 6) | (s[k] & 0x3F);
  }
  const char32_t minimum = length == 2 ? 0x80 : length == 3 ? 0x800 : 0x10000;
  if (cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return 0;
  return length;
}

// UTF-8 as a quoted JSON string, checked in the same pass; null at the first
// byte that is not part of well-formed UTF-8.
char* quote(std::string_view text, char* p) {
  *p++ = '"';
  const char* s = text.data();
  const std::size_t n = text.size();
  for (std::size_t i = 0; i < n;) {
    const std::size_t run = copyPlainRun(s + i, n - i, p);
    i += run;
    p += run;
    if (i == n) break;
    const auto b = static_cast<unsigned char>(s[i]);
    if (b < 0x80) {
      p = escapeAscii(b, p);
      ++i;
      continue;
    }
    const std::size_t length = utf8SequenceLength(reinterpret_cast<const unsigned char*>(s + i), n - i);
    if (length == 0) return nullptr;
    p = std::copy(s + i, s + i + length, p);
    i += length;
  }
  *p++ = '"';
  return p;
}

// The hex form of a text that is not well formed, as raw bytes:
// {"utf16": four digits a unit} or {"bytes": two digits a byte}.
template <typename Unit>
char* hexObject(std::basic_string_view<Unit> text, char* p) {
  constexpr bool kWide = sizeof(Unit) == 2;
  constexpr std::string_view kOpen = kWide ? "{\"utf16\":\"" : "{\"bytes\":\"";
  p = std::copy(kOpen.begin(), kOpen.end(), p);
  for (const Unit c : text) {
    const auto unit = static_cast<std::make_unsigned_t<Unit>>(c);
    for (int shift = kWide ? 12 : 4; shift >= 0; shift -= 4) *p++ = kHex[(unit >> shift) & 0xF];
  }
  *p++ = '"';
  *p++ = '}';
  return p;
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

// A text for display: quoted optimistically, as in WriteText; a text that
// is not well formed is quoted again after U+FFFD took the place of what did
// not convert.
std::u16string repaired(std::u16string_view text) {
  return ConvertStdStringToUString(ConvertUStringToStdString(text, true), true);
}
std::string repaired(std::string_view text) {
  return ConvertUStringToStdString(ConvertStdStringToUString(text, true), true);
}

template <typename Unit>
std::size_t writeDisplay(JsonWriter& writer, std::basic_string_view<Unit> text, std::size_t replace) {
  std::basic_string<Unit> repair;
  return writer.QuotedValue(
      text.size() * kWorstEscape + 2,
      [&](char* out) {
        char* end = quote(text, out);
        if (end != nullptr) return end;
        repair = repaired(text);
        return quote(std::basic_string_view<Unit>(repair), out);
      },
      replace);
}

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
    char* end = quote(text, out);
    return end != nullptr ? end : hexObject(text, out);
  });
}

void WriteNarrow(JsonWriter& writer, std::string_view text) {
  // As in WriteText: quoted optimistically, replaced by the hex object when
  // the bytes turn out not to be UTF-8.
  writer.QuotedValue(text.size() * kWorstEscape + 12, [&](char* out) {
    char* end = quote(text, out);
    return end != nullptr ? end : hexObject(text, out);
  });
}

void WriteNumber(JsonWriter& writer, double value) {
  // The cast, not std::trunc, tells an integral value: trunc is a library
  // call on the baseline instruction set, and this is the common case.
  constexpr double kExact = 9007199254740992.0;  // 2^53
  if (value > -kExact && value < kExact) {
    const auto whole = static_cast<std::int64_t>(value);
    if (static_cast<double>(whole) == value && (whole != 0 || !std::signbit(value))) {
      writer.Int64(whole);
      return;
    }
  }
  writer.Double(value);
}

std::size_t WriteDisplayText(JsonWriter& writer, std::u16string_view text, std::size_t replace) {
  return writeDisplay(writer, text, replace);
}

std::size_t WriteDisplayNarrow(JsonWriter& writer, std::string_view text, std::size_t replace) {
  return writeDisplay(writer, text, replace);
}

std::size_t EstimatedJsonSize(const qvsvDiagnosticItem& item) {
  const std::size_t arguments = txIsCell(item.arguments) ? txGetNumberOfElements(item.arguments) : 0;
  return 64 + item.identifier.size() + item.message.size() + item.extraMessage.size() + 24 * arguments +
         24 * static_cast<std::size_t>(std::max(item.numHandles, 0));
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
    switch (txGetClassID(element)) {
      case txClassID::Char:
        WriteText(w, std::u16string_view(txGetChars(element), txGetNumberOfElements(element)));
        continue;
      case txClassID::Logical:
        if (txGetNumberOfElements(element) == 1) {
          w.Bool(txGetLogicals(element)[0]);
          continue;
        }
        break;
      case txClassID::Double:
        if (txGetNumberOfElements(element) == 1) {
          WriteNumber(w, txGetScalar(element));
          continue;
        }
        break;
      default:
        break;
    }
    w.Null();
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
