// Conversions between UTF-16 and the narrow encodings users meet: UTF-8,
// Latin-1 (ISO-8859-1) and the host's locale encoding, through ICU's
// converters (so any other encoding ICU knows, "windows-1252" or "Shift_JIS",
// works the same way).
//
// Rules of the design:
//  - Encoding names are ICU's, matched ignoring case, '-' and '_' ("utf8",
//    "UTF-8", "latin1", "ISO_8859-1" all work). The name "locale" stands for
//    the host's locale encoding: the codeset of the host's global locale name
//    ("de_DE.ISO-8859-15" -> ISO-8859-15), or UTF-8 when the name has none.
//    An empty or unknown name throws std::invalid_argument naming it.
//  - Ill-formed input follows the library's one rule (conversions.hpp):
//    with substitute = true each maximal ill-formed byte sequence becomes one
//    U+FFFD, and each unpaired surrogate or character the encoding cannot hold
//    becomes the encoding's U+FFFD, or '?' where the encoding has none (so
//    Latin-1 writes "\u20AC" as "?"); with substitute = false the first such
//    unit throws std::invalid_argument naming the encoding and its offset
//    (bytes of the input for decoding, UTF-16 code units for encoding).
//  - Well-formed text round-trips exactly, embedded NULs included.
//
//   ConvertNarrowToUString("caf\xE9", "latin1");          // u"café"
//   ConvertUStringToNarrow(u"caf\u00E9", "UTF-8");         // "caf\xC3\xA9"
//   ConvertUStringToNarrow(u"5 \u20AC", "ISO-8859-1");     // "5 ?"
#pragma once

#include <string>
#include <string_view>

#include "qv_services/export.hpp"

QVSV_API std::u16string ConvertNarrowToUString(std::string_view bytes, std::string_view encoding,
                                               bool substitute = true);
QVSV_API std::string ConvertUStringToNarrow(std::u16string_view text, std::string_view encoding,
                                            bool substitute = true);

// The encoding that "locale" stands for now (follows the host's global locale name).
QVSV_API std::string qvsvLocaleEncodingName();
// ICU's canonical name of an encoding ("latin1" -> "ISO-8859-1"); unknown: std::invalid_argument.
QVSV_API std::string qvsvCanonicalEncodingName(std::string_view encoding);
