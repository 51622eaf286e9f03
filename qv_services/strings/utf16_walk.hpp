// UTF-16 walking and UTF-8 writing shared by the conversions and the escaping
// styles, so that both read unpaired surrogates the same way.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace qvsv::detail {

inline bool IsHighSurrogate(char32_t u) { return u >= 0xD800 && u <= 0xDBFF; }
inline bool IsLowSurrogate(char32_t u) { return u >= 0xDC00 && u <= 0xDFFF; }

// Calls visit(code point, well formed, offset of its first unit) for each code
// point; an unpaired surrogate comes as itself with well formed false.
template <typename Visit>
void ForEachCodePoint(std::u16string_view text, Visit&& visit) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t u = text[i];
    if (IsHighSurrogate(u) && i + 1 < text.size() && IsLowSurrogate(text[i + 1])) {
      visit(0x10000 + ((static_cast<char32_t>(u) - 0xD800) << 10) + (text[i + 1] - 0xDC00), true, i);
      ++i;
    } else {
      visit(static_cast<char32_t>(u), !(IsHighSurrogate(u) || IsLowSurrogate(u)), i);
    }
  }
}

// The UTF-8 bytes of a code point (a surrogate value is written as it is; callers replace it first).
inline void AppendUtf8(std::string& out, char32_t cp) {
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

inline void AppendUtf16(std::u16string& out, char32_t cp) {
  if (cp >= 0x10000) {
    out.push_back(static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10)));
    out.push_back(static_cast<char16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF)));
  } else {
    out.push_back(static_cast<char16_t>(cp));
  }
}

}  // namespace qvsv::detail
