// Number-to-text helpers: one-call access to the float formatter for the rest
// of the product. A double or single as a std::string in the default style
// (QvfrgFltToAscii::defaultFormatter, target 1) or the legacy style
// (legacyFormatter, target 14), a complex number, the lower-case compact form
// of the fixed-point tools, and the buffer writer of the code generator's
// intermediate representation.
//
//   qvsv_dtoa(0.1)                    // "0.1"
//   qvsv_complex2ascii(1, -2)         // "1.0-2.0i"
//   char text[64];
//   qvsv_fptoa_cgirweft(text, 0.5, QVSV_Flt2Ascii::TARGET_WEFT_CONCISE, true);  // "0.5F"
//
// The formatters behind the helpers are built on first use (thread-safely) and
// never change, so every helper may be called from any thread.
#pragma once

#include <string>

#include "qv_services/export.hpp"
#include "qv_services/float_formatter.hpp"

// The text of `value` through the default formatter, or the legacy one when
// `legacy` is true; qvsv_stoa writes a single with the single writer.
QVSV_API std::string qvsv_dtoa(double value, bool legacy = false);
QVSV_API std::string qvsv_stoa(float value, bool legacy = false);

// The lower-case compact form without a forced ".0" (target 11,
// TARGET_LOWER_CASE_BARE): 3.0 gives "3", 1e20 gives "1.0e+20".
QVSV_API std::string qvsv_dtoa_numkit(double value);

// re followed, when im is not zero, by its sign, its magnitude and "i": the
// parts are written as qvsv_dtoa writes them. An imaginary part of 0.0, -0.0
// or NaN adds nothing.
QVSV_API std::string qvsv_complex2ascii(double re, double im, bool legacy = false);

// Writes `value` (converted to single first when `single` is true) into
// `buffer`, which must hold 64 bytes, as a formatter of `target` writes it.
// The code generator's targets are 5 to 10; any other number writes as a
// formatter set to that target would (unknown numbers as target 0). A null
// buffer is ignored.
QVSV_API void qvsv_fptoa_cgirweft(char* const buffer, double value, QVSV_Flt2Ascii::TargetEnum target, bool single);
