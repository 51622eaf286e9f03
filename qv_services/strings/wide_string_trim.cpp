// Trimming, space collapsing and the ellipsis rule. Every function walks its
// input once and builds or cuts the result in place of repeated erases.
#include <unicode/uchar.h>

#include <algorithm>
#include <cctype>

#include "qv_services/wide_string.hpp"

namespace {

bool isWideSpace(char16_t c) { return u_isspace(c); }
bool isNarrowSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

template <typename String, typename IsSpace>
String removeExtraSpaces(const String& s, IsSpace isSpace) {
  String out;
  out.reserve(s.size());
  auto it = std::find_if_not(s.begin(), s.end(), isSpace);
  while (it != s.end()) {
    const auto c = *it++;
    out.push_back(c);
    // A run keeps its first character as it was; the rest of the run goes.
    if (isSpace(c)) it = std::find_if_not(it, s.end(), isSpace);
  }
  if (!out.empty() && isSpace(out.back())) out.pop_back();
  return out;
}

}  // namespace

bool qvsvIsWhitespaceString(const std::u16string& s) { return std::all_of(s.begin(), s.end(), isWideSpace); }

std::u16string qvsvTrimStr(const std::u16string& s) {
  const auto first = std::find_if_not(s.begin(), s.end(), isWideSpace);
  const auto last = std::find_if_not(s.rbegin(), std::make_reverse_iterator(first), isWideSpace).base();
  return std::u16string(first, last);
}

void qvsvTrimUString(std::u16string& s) {
  const auto last = std::find_if_not(s.rbegin(), s.rend(), isWideSpace).base();
  s.erase(last, s.end());
  s.erase(s.begin(), std::find_if_not(s.begin(), s.end(), isWideSpace));
}

std::string qvsvRemoveExtraSpaces(const std::string& s) { return removeExtraSpaces(s, isNarrowSpace); }

std::u16string qvsvRemoveExtraSpacesUString(const std::u16string& s) { return removeExtraSpaces(s, isWideSpace); }

void qvsvStrAppendEllipsis(std::u16string& s, unsigned maxLength) {
  if (maxLength < 5 || s.size() <= maxLength) return;
  s.resize(maxLength);
  s.replace(maxLength - 3, 3, u"...");
}
