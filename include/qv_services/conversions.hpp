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

// --- Escaping. Each style turns any UTF-16 text (embedded NULs and unpaired
// surrogates included) into narrow text of a given syntax, and
// ConvertEscapedStringToUString reads that syntax back. Styles marked
// lossless give back exactly the text they were given; the two lossy ones say
// what they lose. Unescaping reads the bytes outside escapes as UTF-8 with the
// substitution rule above, and throws std::invalid_argument naming the style,
// the offset and the bad escape for anything the syntax does not allow.
// Style numbers are fixed; 3 and 0 are not styles. ---
enum : int {
  // "c", lossless, ASCII output: the body of a C/C++ UTF-16 string literal.
  // Backslash and double quote are escaped ("\\", "\""); BEL, BS, TAB, LF,
  // VT, FF and CR take their short escapes ("\a" ... "\r"); the other C0
  // controls and DEL are three octal digits ("\000", "\177", so a digit
  // after them cannot join the escape); everything above U+007F is "\uXXXX"
  // or "\UXXXXXXXX". u"Tab\t\"\u00E9\"" -> Tab\t\"\u00E9\". An unpaired
  // surrogate is "\uD800", which unescaping restores but a compiler refuses.
  // Unescaping also reads "\'", "\?", one to three octal digits and "\x"
  // with any number of hex digits (up to FFFF).
  kQvsvEscapeStyleC = 1,
  // "json", lossless, UTF-8 output: the body of a JSON string. Double quote
  // and backslash are escaped, BS, FF, LF, CR and TAB take their short
  // escapes, the other C0 controls are "\u001f" (lower-case hex, as
  // JavaScript writes them), an unpaired surrogate is "\ud800"; everything
  // else, DEL and non-ASCII included, is written as UTF-8.
  // u"say \"\u00E9\"\n" -> say \"é\"\n (UTF-8). Unescaping also reads "\/".
  kQvsvEscapeStyleJson = 2,
  // "ascii", lossless, ASCII output: printable ASCII (U+0020 to U+007E) stays
  // as it is except the backslash, written "\\"; every other code point is
  // written "\uXXXX" (four upper-case hex digits) or, above U+FFFF,
  // "\UXXXXXXXX"; an unpaired surrogate is written "\uXXXX" with its own
  // value, so the escaped form loses nothing. u"caf\u00E9\n" -> caf\u00E9\u000A.
  kQvsvEscapeStyleAscii = 4,
  // "xml", lossy, UTF-8 output: text for XML 1.0 element content and
  // attribute values alike. & < > " ' become &amp; &lt; &gt; &quot; &apos;, and
  // TAB, LF and CR become &#9; &#10; &#13; (so that attribute normalisation
  // keeps them). What XML 1.0 cannot hold even as a reference (the other C0
  // controls, U+FFFE, U+FFFF and unpaired surrogates) becomes U+FFFD: that is
  // all it loses. u"a<b & \"c\"" -> a&lt;b &amp; &quot;c&quot;. Unescaping reads
  // the five entities and decimal and hexadecimal character references.
  kQvsvEscapeStyleXml = 5,
  // "url", lossy, ASCII output: percent-encoding of the UTF-8 bytes (RFC
  // 3986); only the unreserved A-Z a-z 0-9 - . _ ~ stay as they are.
  // u"a b/\u00E9" -> a%20b%2F%C3%A9. An unpaired surrogate becomes U+FFFD
  // (%EF%BF%BD): that is all it loses. Unescaping leaves '+' as it is.
  kQvsvEscapeStyleUrl = 6,
};

// Wide text up to its NUL to narrow text. With escape false this is
// ConvertUStringToStdString(text, true); with escape true the text is escaped
// in the given style. An unknown style throws std::invalid_argument naming it.
QVSV_API std::string ConvertUStringWithEscaping(const char16_t* text, bool escape, int style);
// The whole text (embedded NULs included) in the given style.
QVSV_API std::string ConvertUStringWithEscaping(std::u16string_view text, int style);
// The inverse of the style's escaping (see above for what it reads).
QVSV_API std::u16string ConvertEscapedStringToUString(std::string_view escaped, int style);

// The style of a name ("c", "json", "ascii", "xml", "url"; exact), and back.
// An unknown name or style throws std::invalid_argument naming it and listing
// the valid names.
QVSV_API int qvsvEscapeStyleFromName(std::string_view name);
QVSV_API const char* qvsvEscapeStyleName(int style);
// True for the styles whose unescaping gives back every text exactly.
QVSV_API bool qvsvEscapeStyleIsLossless(int style);
