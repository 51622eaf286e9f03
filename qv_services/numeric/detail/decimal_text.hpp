// Decimal text of binary floating-point values exactly as the C library's
// printf writes it for "%[+ #][.N]{G,g,E,e}" in the "C" numeric locale, and the
// exact rounding to N significant digits behind it, without calling printf.
#pragma once

#include <cstddef>
#include <cstdint>

#include "qv_services/export.hpp"
#include "qv_services/float_formatter.hpp"

namespace qvsv::numeric::detail {

// Parses a printf format meant for one double argument. A format is valid when
// it holds exactly one conversion, of type a, A, e, E, f, F, g or G, with flags
// from "-+ #0", a width and precision of at most 99 and no length modifier but
// 'l', and otherwise only literal text and "%%"; everything else (a string or
// pointer conversion, '*', "%n", a second conversion) is kInvalid, since the C
// library would read or write memory the caller never passed.
constexpr PrintfConversion ParsePrintfConversion(const char* format) noexcept {
  PrintfConversion result;
  if (format == nullptr) return result;
  bool literal = false;
  bool width = false;
  bool length = false;
  int precision = -1;
  int conversions = 0;
  for (const char* p = format; *p != '\0';) {
    if (*p != '%') {
      literal = true;
      ++p;
      continue;
    }
    if (p[1] == '%') {
      literal = true;
      p += 2;
      continue;
    }
    if (++conversions > 1) return PrintfConversion{};
    ++p;
    for (;; ++p) {
      if (*p == '+') {
        result.plus = true;
      } else if (*p == ' ') {
        result.space = true;
      } else if (*p == '#') {
        result.alternate = true;
      } else if (*p != '-' && *p != '0') {
        break;
      }
    }
    for (int w = 0; *p >= '0' && *p <= '9'; ++p) {
      width = true;
      w = w * 10 + (*p - '0');
      if (w > 99) return PrintfConversion{};
    }
    if (*p == '.') {
      precision = 0;
      for (++p; *p >= '0' && *p <= '9'; ++p) {
        precision = precision * 10 + (*p - '0');
        if (precision > 99) return PrintfConversion{};
      }
    }
    if (*p == 'l') {
      length = true;
      ++p;
    }
    switch (*p) {
      case 'a':
      case 'A':
      case 'e':
      case 'E':
      case 'f':
      case 'F':
      case 'g':
      case 'G':
        result.conversion = *p++;
        break;
      default:
        return PrintfConversion{};
    }
  }
  if (conversions != 1) return PrintfConversion{};
  result.kind = PrintfConversion::kCLibrary;
  const char c = result.conversion;
  int digits = 0;
  if (c == 'e' || c == 'E') digits = precision < 0 ? 7 : precision + 1;
  if (c == 'g' || c == 'G') digits = precision < 0 ? 6 : (precision == 0 ? 1 : precision);
  if (digits > 0 && digits <= 17 && !literal && !width && !length) {
    result.kind = PrintfConversion::kEmulated;
    result.digits = static_cast<unsigned char>(digits);
  }
  return result;
}

// A magnitude rounded to `count` significant digits: the value is
// digits × 10^(exponent - count + 1), and digits has exactly `count` decimal
// digits, or is 0 for zero (exponent 0), as printf's "%.{count-1}E" shows it.
struct Significand {
  std::uint64_t digits = 0;
  int exponent = 0;
};

// Whether a rounded decimal reads back (through a correctly rounding strtod)
// as the value it was rounded from.
enum class ReadBack : signed char { kNo, kYes, kUndecided };

// Rounds a finite magnitude (sign clear) to 1..17 significant digits, ties to
// even, from one 64×128-bit product with a power of five, and, when readsBack
// is not null, tells from the same product whether the result reads back: as
// the double, or, when `single`, as the single the magnitude holds once the
// double read back is rounded to single. Returns false in the rare cases the
// product cannot decide the rounding (a near tie with an inexact power);
// *readsBack may be kUndecided near a boundary.
QVSV_API bool RoundToSignificantDigitsFast(double magnitude, int count, Significand& out, ReadBack* readsBack = nullptr,
                                           bool single = false) noexcept;
// Always exact: the product when it decides, else std::to_chars with a
// precision (and a parse for the read-back question).
QVSV_API Significand RoundToSignificantDigits(double magnitude, int count, bool* readsBack = nullptr,
                                              bool single = false) noexcept;

// The double rounded to single precision as IEEE arithmetic rounds it,
// overflow to infinity included (which a plain conversion leaves undefined).
float NarrowToSingle(double value) noexcept;

// Whether the C library currently formats and parses as the "C" numeric
// locale in round-to-nearest, the state in which the emulation is exact.
bool CLibraryMatchesEmulation() noexcept;

// Writes, with a terminator, what printf writes for conversion `c` (kEmulated)
// of a finite value whose magnitude rounds to `value` with c.digits digits;
// returns the length (at most 30). `out` must hold 64 bytes: the digits are
// copied in fixed-size blocks.
std::size_t WriteFinite(char* out, const PrintfConversion& c, bool negative, Significand value) noexcept;
// The formatter's trimming of redundant zeros, for conversions with the '#'
// flag whose exponent letter is the one the trimming searches for: one digit
// kept after the point, a bare trailing point given a "0", the exponent's
// leading zeros dropped when removeExponentZeros, a positional ".0" dropped
// unless ensureFloatingPoint.
struct TrimOptions {
  bool removeExponentZeros = true;
  bool ensureFloatingPoint = true;
};

// The round-trip procedure for two kEmulated conversions: `first`'s text when
// it reads back as `v` (through a correctly rounding strtod, then rounded to
// single when `single`), otherwise `fallback`'s; trimmed when `trim` is not
// null. `out` must hold 64 bytes.
std::size_t WriteRoundTrip(char* out, double v, bool single, const PrintfConversion& first,
                           const PrintfConversion& fallback, const TrimOptions* trim) noexcept;

// The same for an infinity or a NaN ("INF", "-nan", "+INF"...).
std::size_t WriteNonFinite(char* out, const PrintfConversion& c, bool negative, bool nan) noexcept;

}  // namespace qvsv::numeric::detail
