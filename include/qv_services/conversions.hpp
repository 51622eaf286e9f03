// Conversions between the library's narrow text (UTF-8) and wide text (UTF-16).
//
// Every part of the library that crosses between narrow and wide text goes
// through these, so ill-formed input has one treatment everywhere:
//  - substitute = true (what the library itself always passes): each maximal
//    ill-formed subsequence of UTF-8 becomes one U+FFFD, as Unicode recommends
//    (so "a\xE2\x82" gives "a\uFFFD" and "\xC0\xAF" gives two U+FFFD), and each
//    unpaired surrogate of UTF-16 becomes U+FFFD (bytes EF BF BD);
//  - substitute = false: ill-formed input throws std::invalid_argument naming
//    the offset of the first bad unit.
// Well-formed text round-trips exactly, embedded NULs included. A null
// pointer counts as the empty text.
#pragma once

#include <string>
#include <string_view>

#include "qv_services/export.hpp"

QVSV_API std::u16string ConvertStdStringToUString(std::string_view text, bool substitute = true);
QVSV_API std::u16string ConvertStdStringToUString(const char* text, bool substitute = true);
QVSV_API std::string ConvertUStringToStdString(std::u16string_view text, bool substitute = true);
QVSV_API std::string ConvertUStringToStdString(const char16_t* text, bool substitute = true);

// The escape styles of ConvertUStringWithEscaping.
enum : int {
  // Plain ASCII output: printable ASCII (U+0020 to U+007E) stays as it is
  // except the backslash, written "\\"; every other code point is written
  // "\uXXXX" (four upper-case hex digits) or, above U+FFFF, "\UXXXXXXXX"; an
  // unpaired surrogate is written "\uXXXX" with its own value, so the escaped
  // form loses nothing.
  kQvsvEscapeStyleAscii = 4,
};

// Wide text up to its NUL to narrow text. With escape false this is
// ConvertUStringToStdString(text, true); with escape true the text is escaped
// in the given style. An unknown style throws std::invalid_argument naming it.
QVSV_API std::string ConvertUStringWithEscaping(const char16_t* text, bool escape, int style);
