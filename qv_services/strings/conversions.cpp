// UTF-8 <-> UTF-16 with one treatment of ill-formed input; the escaping
// conversion of NUL-terminated text (the styles are in escaping.cpp).
#include "qv_services/conversions.hpp"

#include <cstdint>
#include <stdexcept>

#include "qv_services/strings/utf16_walk.hpp"

namespace {

constexpr char16_t kReplacement = 0xFFFD;

[[noreturn]] void illFormed(const char* what, std::size_t offset) {
  throw std::invalid_argument(std::string("ill-formed ") + what + " at offset " + std::to_string(offset));
}

}  // namespace

std::u16string ConvertStdStringToUString(std::string_view text, bool substitute) {
  std::u16string out;
  out.reserve(text.size());
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const std::size_t n = text.size();
  std::size_t i = 0;
  while (i < n) {
    const unsigned char lead = p[i];
    if (lead < 0x80) {
      out.push_back(lead);
      ++i;
      continue;
    }
    // Expected length and the allowed range of the second byte (the first
    // continuation byte carries the overlong and surrogate restrictions).
    std::size_t length = 0;
    unsigned char low = 0x80;
    unsigned char high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
      length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      length = 3;
      if (lead == 0xE0) low = 0xA0;
      if (lead == 0xED) high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      length = 4;
      if (lead == 0xF0) low = 0x90;
      if (lead == 0xF4) high = 0x8F;
    }
    std::size_t consumed = 1;
    bool complete = length != 0;
    if (complete) {
      char32_t cp = lead & (0xFF >> (length + 1));
      for (; consumed < length; ++consumed) {
        if (i + consumed >= n) {
          complete = false;
          break;
        }
        const unsigned char c = p[i + consumed];
        const unsigned char lo = consumed == 1 ? low : 0x80;
        const unsigned char hi = consumed == 1 ? high : 0xBF;
        if (c < lo || c > hi) {
          complete = false;
          break;
        }
        cp = (cp << 6) | (c & 0x3F);
      }
      if (complete) {
        if (cp >= 0x10000) {
          cp -= 0x10000;
          out.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
          out.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
        } else {
          out.push_back(static_cast<char16_t>(cp));
        }
        i += length;
        continue;
      }
    }
    if (!substitute) illFormed("UTF-8", i);
    out.push_back(kReplacement);
    i += consumed;
  }
  return out;
}

std::u16string ConvertStdStringToUString(const char* text, bool substitute) {
  return text == nullptr ? std::u16string() : ConvertStdStringToUString(std::string_view(text), substitute);
}

std::string ConvertUStringToStdString(std::u16string_view text, bool substitute) {
  std::string out;
  out.reserve(text.size() + text.size() / 2);
  qvsv::detail::ForEachCodePoint(text, [&](char32_t cp, bool wellFormed, std::size_t offset) {
    if (!wellFormed) {
      if (!substitute) illFormed("UTF-16 (unpaired surrogate)", offset);
      cp = kReplacement;
    }
    qvsv::detail::AppendUtf8(out, cp);
  });
  return out;
}

std::string ConvertUStringToStdString(const char16_t* text, bool substitute) {
  return text == nullptr ? std::string() : ConvertUStringToStdString(std::u16string_view(text), substitute);
}

std::string ConvertUStringWithEscaping(const char16_t* text, bool escape, int style) {
  // An unknown style is refused even for a null text, so that a wrong style shows at once.
  if (escape) (void)qvsvEscapeStyleName(style);
  if (text == nullptr) return std::string();
  if (!escape) return ConvertUStringToStdString(text, true);
  return ConvertUStringWithEscaping(std::u16string_view(text), style);
}
