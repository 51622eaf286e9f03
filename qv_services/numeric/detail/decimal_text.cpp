// Exact decimal rounding of doubles through 128-bit powers of five, and the
// text printf makes of it.
#include "qv_services/numeric/detail/decimal_text.hpp"

#include <langinfo.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cfenv>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "tessel/foundation.hpp"

namespace qvsv::numeric::detail {
namespace {

using u128 = unsigned __int128;

static_assert(std::endian::native == std::endian::little, "the digit scans read words little-endian");

// 5^t ≈ F × 2^exp2 with F = (high:low) in [2^127, 2^128); the true value lies
// in [F, F + 1) × 2^exp2, and equals F × 2^exp2 when `exact`.
struct PowerOfFive {
  std::uint64_t high;
  std::uint64_t low;
  int exp2;
  bool exact;
};

// Scales t = count - 1 - exponent that a double can need: exponents run from
// -324 to 308, counts from 1 to 17, and the first estimate may be one off;
// the exponent guess below reads the same table down to 10^-324.
constexpr int kMinScale = -330;
constexpr int kMaxScale = 344;

// A little-endian unsigned big integer, only as large as the table needs.
struct BigUnsigned {
  static constexpr int kLimbs = 40;  // 1280 bits
  std::array<std::uint32_t, kLimbs> limb{};

  constexpr void multiplyBy(std::uint32_t factor) {
    std::uint64_t carry = 0;
    for (auto& l : limb) {
      const std::uint64_t x = std::uint64_t{l} * factor + carry;
      l = static_cast<std::uint32_t>(x);
      carry = x >> 32;
    }
  }
  constexpr void divideBy(std::uint32_t divisor) {
    std::uint64_t remainder = 0;
    for (int i = kLimbs - 1; i >= 0; --i) {
      const std::uint64_t x = (remainder << 32) | limb[i];
      limb[i] = static_cast<std::uint32_t>(x / divisor);
      remainder = x % divisor;
    }
  }
  constexpr bool bit(int i) const { return i >= 0 && ((limb[i / 32] >> (i % 32)) & 1u) != 0; }
  constexpr int highestBit() const {
    for (int i = kLimbs - 1; i >= 0; --i) {
      if (limb[i] != 0) return i * 32 + 31 - std::countl_zero(limb[i]);
    }
    return -1;
  }
  // Whether every bit below bit n is zero.
  constexpr bool zeroBelow(int n) const {
    for (int i = 0; i * 32 < n; ++i) {
      const int bits = n - i * 32;
      const std::uint32_t mask = bits >= 32 ? ~std::uint32_t{0} : (std::uint32_t{1} << bits) - 1;
      if ((limb[i] & mask) != 0) return false;
    }
    return true;
  }
  // The 128 bits from `top` down, bits below 0 reading as zero; `exact` tells
  // whether every bit below the window is zero.
  constexpr PowerOfFive window(int top, int exp2Offset) const {
    PowerOfFive p{0, 0, top - 127 + exp2Offset, zeroBelow(top - 127)};
    for (int i = 0; i < 128; ++i) {
      const std::uint64_t b = bit(top - i) ? 1 : 0;
      if (i < 64) {
        p.high = (p.high << 1) | b;
      } else {
        p.low = (p.low << 1) | b;
      }
    }
    return p;
  }
};

constexpr std::array<PowerOfFive, kMaxScale - kMinScale + 1> MakePowersOfFive() {
  std::array<PowerOfFive, kMaxScale - kMinScale + 1> table{};
  BigUnsigned power;
  power.limb[0] = 1;
  for (int t = 0; t <= kMaxScale; ++t) {
    table[t - kMinScale] = power.window(power.highestBit(), 0);
    power.multiplyBy(5);
  }
  // floor(2^K / 5^j) by repeated division by five (floor(floor(x)/5) equals
  // floor(x/5)); K leaves well over 128 significant bits at the smallest entry,
  // so the window is the truncated power and the powers are never exact.
  constexpr int kK = 1088;
  BigUnsigned inverse;
  inverse.limb[kK / 32] = 1u << (kK % 32);
  for (int j = 1; j <= -kMinScale; ++j) {
    inverse.divideBy(5);
    PowerOfFive p = inverse.window(inverse.highestBit(), -kK);
    p.exact = false;
    table[-j - kMinScale] = p;
  }
  return table;
}

constexpr auto kPowersOfFive = MakePowersOfFive();

constexpr std::array<std::uint64_t, 19> MakePowersOfTen() {
  std::array<std::uint64_t, 19> table{};
  std::uint64_t p = 1;
  for (auto& entry : table) {
    entry = p;
    p *= 10;
  }
  return table;
}

constexpr auto kPowersOfTen = MakePowersOfTen();

// floor(n × log10(2)) for the binary exponent n of a double.
constexpr int FloorLog10Pow2(int n) { return (n * 315653) >> 20; }

// 10^k as a double near it, for k from kMinScale on: F's top 53 bits at the
// table's exponent (subnormal and overflowing powers included). Only a guess
// of the decimal exponent reads it, so it need not be the nearest double.
constexpr double ApproximatePowerOfTen(const PowerOfFive& p, int k) {
  const std::uint64_t significand = p.high >> 11;  // 53 bits, top bit set
  const int exponent = p.exp2 + k + 127;           // of the leading bit
  if (exponent > 1023) return std::numeric_limits<double>::infinity();
  if (exponent >= -1022) {
    const auto biased = static_cast<std::uint64_t>(exponent + 1023);
    return std::bit_cast<double>((biased << 52) | (significand & ((std::uint64_t{1} << 52) - 1)));
  }
  const int drop = -1022 - exponent;
  return drop > 52 ? 0.0 : std::bit_cast<double>(significand >> drop);
}

constexpr std::array<double, 345 - kMinScale> MakeApproximatePowersOfTen() {
  std::array<double, 345 - kMinScale> table{};
  for (int k = kMinScale; k < 345; ++k) {
    table[k - kMinScale] = ApproximatePowerOfTen(kPowersOfFive[k - kMinScale], k);
  }
  return table;
}

constexpr auto kApproximatePowersOfTen = MakeApproximatePowersOfTen();

// floor(log10(value)) for value in [2^binaryExponent, 2^(binaryExponent+1)),
// give or take one; the rounding loop corrects a wrong guess.
int GuessDecimalExponent(double value, int binaryExponent) {
  const int guess = FloorLog10Pow2(binaryExponent);
  return value >= kApproximatePowersOfTen[static_cast<std::size_t>(guess + 1 - kMinScale)] ? guess + 1 : guess;
}

constexpr std::array<char, 200> MakeDigitPairs() {
  std::array<char, 200> pairs{};
  for (int i = 0; i < 100; ++i) {
    pairs[2 * i] = static_cast<char>('0' + i / 10);
    pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
  }
  return pairs;
}

constexpr auto kDigitPairs = MakeDigitPairs();

// Writes the eight decimal digits of x < 10^8: x / 10^6 as a fixed-point
// number with 48 fraction bits, two digits at a time. The constant is 2^48/10^6
// rounded up; its error stays below one unit of the last pair (x·0.3/2^48·10^6
// < 0.11), so every pair is exact.
void WriteEightDigits(char* out, std::uint32_t x) {
  constexpr std::uint64_t kMask = (std::uint64_t{1} << 48) - 1;
  std::uint64_t y = std::uint64_t{x} * 281474977u;
  std::memcpy(out, &kDigitPairs[2 * (y >> 48)], 2);
  y = (y & kMask) * 100;
  std::memcpy(out + 2, &kDigitPairs[2 * (y >> 48)], 2);
  y = (y & kMask) * 100;
  std::memcpy(out + 4, &kDigitPairs[2 * (y >> 48)], 2);
  y = (y & kMask) * 100;
  std::memcpy(out + 6, &kDigitPairs[2 * (y >> 48)], 2);
}

// The 17 decimal digits of `digits` < 10^17, zero-padded, at the start of `all`.
void WriteSeventeenDigits(char* all, std::uint64_t digits) {
  const std::uint64_t high = digits / 100000000;
  all[0] = static_cast<char>('0' + high / 100000000);
  WriteEightDigits(all + 1, static_cast<std::uint32_t>(high % 100000000));
  WriteEightDigits(all + 9, static_cast<std::uint32_t>(digits % 100000000));
}

// How many of the last `count` of the 17 digits in `all` come before their
// trailing zeros (0 when all are zero), found a word at a time.
int DigitsBeforeTrailingZeros(const char* all, int count) {
  constexpr std::uint64_t kZeros = 0x3030303030303030u;
  std::uint64_t low;
  std::uint64_t middle;
  std::memcpy(&low, all + 9, 8);
  std::memcpy(&middle, all + 1, 8);
  low ^= kZeros;
  middle ^= kZeros;
  // Little-endian: the last digit of a word is its highest byte.
  int last = -1;
  if (low != 0) {
    last = 9 + (63 - std::countl_zero(low)) / 8;
  } else if (middle != 0) {
    last = 1 + (63 - std::countl_zero(middle)) / 8;
  } else if (all[0] != '0') {
    last = 0;
  }
  return std::max(last - (17 - count) + 1, 0);
}

// m × F (a 192-bit product, m < 2^61) divided by 2^k, as 64 integer and 64
// fraction bits; `sticky` tells whether any bit below the window is set.
struct Window {
  u128 value;
  bool sticky;
  bool overflow;  // the quotient does not fit in 128 bits
};

Window ScaleDown(std::uint64_t m, const PowerOfFive& p, int k) {
  const u128 low = static_cast<u128>(m) * p.low;
  const u128 high = static_cast<u128>(m) * p.high + static_cast<std::uint64_t>(low >> 64);
  const auto w0 = static_cast<std::uint64_t>(low);
  // product = high × 2^64 + w0
  if (k >= 128) return Window{k - 64 < 128 ? high >> (k - 64) : 0, true, false};
  if (k >= 64) {
    const int k2 = k - 64;
    const bool sticky = w0 != 0 || (k2 > 0 && (static_cast<std::uint64_t>(high) << (64 - k2)) != 0);
    return Window{high >> k2, sticky, false};
  }
  const bool overflow = (high >> (64 + k)) != 0;
  const bool sticky = k > 0 && (w0 << (64 - k)) != 0;
  return Window{(high << (64 - k)) | (w0 >> k), sticky, overflow};
}

constexpr int kNoGuess = std::numeric_limits<int>::min();

// A positive finite magnitude scaled to `count` digits before the point:
// magnitude × 10^(count - 1 - exponent) as a window of 64 integer and 64
// fraction bits, with what the read-back test needs to know of the product.
struct Scaled {
  u128 window;
  int exponent;  // floor(log10(magnitude))
  bool exact;    // the power of five is exact: only the sticky part is lost
  bool sticky;   // bits below the window are set
  const PowerOfFive* power;
  int k;
  int normalise;
  std::uint64_t m;  // the double's significand, its exponent e, its biased exponent
  int e;
  int biased;
};

// Whether the decimal `digits` (at the window's scale) reads back as the value
// whose window is `value`: it must lie within half the gap to each neighbour,
// F × 2^(normalise - 1 - k) window units for a double (a quarter of the gap
// below a power of two), known to within two units, as is the value itself.
// A single is read back as a double first and then rounded: a decimal within
// a double's spacing of the single's boundary may land on it, so that zone is
// left undecided.
ReadBack ReadsBackAt(const Scaled& s, std::uint64_t digits, bool single) {
  const PowerOfFive& p = *s.power;
  const int k = s.k;
  const int normalise = s.normalise;
  const std::uint64_t m = s.m;
  const u128 value = s.window;
  const u128 f = (static_cast<u128>(p.high) << 64) | p.low;
  int gapShift = k + 1 - normalise;
  bool lowerGapHalved = m == (std::uint64_t{1} << 52) && s.biased > 1;
  u128 zone = 0;
  if (single) {
    const int binary = s.e + std::bit_width(m) - 1;  // floor(log2(value))
    const int last = std::max(binary, -126) - 23;    // the single's last place
    gapShift -= last - s.e;
    lowerGapHalved = m == (std::uint64_t{1} << 52) && binary > -126;
    zone = (f >> (k - normalise)) + 2;  // one double spacing
  }
  if (gapShift < 0 || gapShift >= 128) return ReadBack::kUndecided;
  const u128 half = f >> gapShift;
  const u128 decimal = static_cast<u128>(digits) << 64;
  if (decimal >= value) {
    const u128 above = decimal - value;
    if (above + zone < half) return ReadBack::kYes;
    return above >= half + zone + 4 ? ReadBack::kNo : ReadBack::kUndecided;
  }
  const u128 below = value - decimal;
  const u128 lowerHalf = lowerGapHalved ? half >> 1 : half;
  if (below + 2 + zone <= lowerHalf) return ReadBack::kYes;
  return below >= lowerHalf + 2 + zone ? ReadBack::kNo : ReadBack::kUndecided;
}

// Scales, starting from `guess` as the decimal exponent when the caller knows
// it (kNoGuess otherwise); false when the table or the window cannot serve.
inline bool Scale(double magnitude, int count, int guess, Scaled& s) {
  const auto bits = std::bit_cast<std::uint64_t>(magnitude);
  s.biased = static_cast<int>((bits >> 52) & 0x7FF);
  s.m = bits & ((std::uint64_t{1} << 52) - 1);
  if (s.biased == 0x7FF || (s.biased == 0 && s.m == 0)) return false;
  s.e = -1074;
  if (s.biased != 0) {
    s.m |= std::uint64_t{1} << 52;
    s.e = s.biased - 1075;
  }
  // Normalise the significand to bit 60: the product then has its integer part
  // in the same window for every input, and m·δ stays below one fraction unit.
  s.normalise = 60 - (std::bit_width(s.m) - 1);
  const std::uint64_t mn = s.m << s.normalise;
  int exponent = guess != kNoGuess ? guess : GuessDecimalExponent(magnitude, s.e + std::bit_width(s.m) - 1);
  for (int attempt = 0; attempt < 3; ++attempt) {
    const int t = count - 1 - exponent;
    if (t < kMinScale || t > kMaxScale) return false;
    const PowerOfFive& p = kPowersOfFive[static_cast<std::size_t>(t - kMinScale)];
    // value × 10^t = mn × 5^t × 2^(e - normalise + t) ≈ mn × F / 2^shift; the
    // window keeps 64 fraction bits: k = shift - 64.
    const int k = -(s.e - s.normalise + t + p.exp2) - 64;
    if (k < 63) return false;
    const Window w = ScaleDown(mn, p, k);
    if (w.overflow || (w.value >> 64) >= kPowersOfTen[count]) {
      ++exponent;
      continue;
    }
    if ((w.value >> 64) < kPowersOfTen[count - 1]) {
      --exponent;
      continue;
    }
    s.window = w.value;
    s.exponent = exponent;
    s.exact = p.exact;
    s.sticky = w.sticky;
    s.power = &p;
    s.k = k;
    return true;
  }
  return false;
}

// Rounds the scaled value, times 10^extra, to `count` digits (ties to even);
// false when the window cannot decide. `unnormalised` receives the digits
// before a carry to 10^count is folded into the exponent.
inline bool RoundScaled(const Scaled& s, int count, int extra, Significand& out, std::uint64_t& unnormalised) {
  const u128 z = s.window * kPowersOfTen[extra];
  const auto integer = static_cast<std::uint64_t>(z >> 64);
  const auto fraction = static_cast<std::uint64_t>(z);
  // The true fraction exceeds `fraction` by less than `margin` (the sticky
  // part, and m·δ when the power is inexact, each below one unit, times
  // 10^extra), and by nothing at all when margin is 0.
  const std::uint64_t margin = (s.exact ? (s.sticky ? 1 : 0) : 2) * kPowersOfTen[extra];
  constexpr std::uint64_t kHalf = std::uint64_t{1} << 63;
  bool up;
  if (margin == 0) {
    up = fraction > kHalf || (fraction == kHalf && (integer & 1) != 0);
  } else if (fraction >= kHalf) {
    up = true;
  } else if (fraction <= kHalf - margin) {
    up = false;
  } else {
    return false;
  }
  unnormalised = integer + (up ? 1 : 0);
  out = Significand{unnormalised, s.exponent};
  if (unnormalised == kPowersOfTen[count]) out = Significand{kPowersOfTen[count - 1], s.exponent + 1};
  return true;
}

// RoundToSignificantDigitsFast, starting from `guess` (see Scale).
inline bool Round(double magnitude, int count, int guess, bool single, Significand& out, ReadBack* readsBack) {
  if (count < 1 || count > 17) return false;
  if (magnitude == 0) {
    out = Significand{};
    if (readsBack != nullptr) *readsBack = ReadBack::kYes;
    return true;
  }
  Scaled s;
  std::uint64_t digits = 0;
  if (!Scale(magnitude, count, guess, s) || !RoundScaled(s, count, 0, out, digits)) return false;
  if (readsBack != nullptr) *readsBack = ReadsBackAt(s, digits, single);
  return true;
}

// The double that a correctly rounding parser (strtod in round-to-nearest)
// reads from the rounded decimal; +infinity past the largest double.
double ParseSignificand(Significand value, int count) {
  char all[17];
  WriteSeventeenDigits(all, value.digits);
  char text[48];
  std::memcpy(text, all + 17 - count, static_cast<std::size_t>(count));
  char* end = text + count;
  *end++ = 'e';
  end = std::to_chars(end, text + sizeof text - 1, value.exponent - count + 1).ptr;
  double parsed = 0;
  const auto r = std::from_chars(text, end, parsed);
  if (r.ec == std::errc()) return parsed;
  // Out of range: let strtod give the infinity (or the denormal) it reads.
  *end = '\0';
  return tessel::StrtodLocaleIndependent(text, nullptr);
}

// Whether the rounded decimal reads back, by parsing it: as a double, or as a
// double then rounded to single.
bool ParsesBack(Significand s, int count, double magnitude, bool single) {
  const double parsed = ParseSignificand(s, count);
  return single ? NarrowToSingle(parsed) == static_cast<float>(magnitude) : parsed == magnitude;
}

// Always exact: Round when it decides, else std::to_chars with a precision
// (rounding exactly as printf's "%.{count-1}e") and a parse.
Significand RoundExact(double magnitude, int count, int guess, bool single, bool* readsBack) {
  Significand s;
  ReadBack back = ReadBack::kUndecided;
  if (Round(magnitude, count, guess, single, s, readsBack != nullptr ? &back : nullptr)) {
    if (readsBack != nullptr) {
      *readsBack = back == ReadBack::kUndecided ? ParsesBack(s, count, magnitude, single) : back == ReadBack::kYes;
    }
    return s;
  }
  char text[64];
  const auto r = std::to_chars(text, text + sizeof text, magnitude, std::chars_format::scientific, count - 1);
  const char* p = text;
  for (; p < r.ptr && *p != 'e'; ++p) {
    if (*p >= '0' && *p <= '9') s.digits = s.digits * 10 + static_cast<std::uint64_t>(*p - '0');
  }
  int exponent = 0;
  if (p < r.ptr) std::from_chars(p + 1 + (p[1] == '+' ? 1 : 0), r.ptr, exponent);
  s.exponent = s.digits == 0 ? 0 : exponent;
  if (readsBack != nullptr) *readsBack = ParsesBack(s, count, magnitude, single);
  return s;
}

}  // namespace

bool RoundToSignificantDigitsFast(double magnitude, int count, Significand& out, ReadBack* readsBack,
                                  bool single) noexcept {
  return Round(magnitude, count, kNoGuess, single, out, readsBack);
}

Significand RoundToSignificantDigits(double magnitude, int count, bool* readsBack, bool single) noexcept {
  return RoundExact(magnitude, count, kNoGuess, single, readsBack);
}

float NarrowToSingle(double value) noexcept {
  const double magnitude = std::fabs(value);
  if (!(magnitude > FLT_MAX)) return static_cast<float>(value);  // NaN and every value in range
  // Below the largest single plus half its spacing the value rounds down to it.
  const float limit = magnitude < 0x1.ffffffp127 ? FLT_MAX : HUGE_VALF;
  return std::signbit(value) ? -limit : limit;
}

bool CLibraryMatchesEmulation() noexcept {
  const char* radix = nl_langinfo(RADIXCHAR);
  if (radix == nullptr || radix[0] != '.' || radix[1] != '\0') return false;
#if defined(__x86_64__) || defined(__i386__)
  // The C library's printf and strtod take the rounding mode from the x87
  // control word (as fegetround does); reading it inline saves a call.
  unsigned short control;
  __asm__ volatile("fnstcw %0" : "=m"(control));
  return (control & 0x0C00) == 0;
#else
  return std::fegetround() == FE_TONEAREST;
#endif
}

namespace {

std::size_t Compose(char* out, const PrintfConversion& c, bool negative, Significand value, const TrimOptions* trim) {
  const int count = c.digits;
  // Room for fixed-size copies past the digits: the writers copy 24 bytes at a
  // time and advance by what counts.
  char all[48] = {};
  WriteSeventeenDigits(all, value.digits);
  const char* digits = all + 17 - count;
  char* p = out;
  if (negative) {
    *p++ = '-';
  } else if (c.plus) {
    *p++ = '+';
  } else if (c.space) {
    *p++ = ' ';
  }
  const bool general = c.conversion == 'G' || c.conversion == 'g';
  const bool upper = c.conversion == 'G' || c.conversion == 'E';
  const int x = value.exponent;
  const bool positional = general && x < count && x >= -4;
  // Digits before the point, and how many digits are kept in all.
  const int leading = positional ? (x >= 0 ? x + 1 : 0) : 1;
  int kept = count;
  bool appendZero = false;
  if (trim != nullptr) {
    // Trailing zeros go but one digit stays after the point; a positional
    // text with nothing after its point gets a "0" there.
    kept = std::min(count, std::max(DigitsBeforeTrailingZeros(all, count), leading + 1));
    appendZero = positional && kept == leading;
    if (positional && !trim->ensureFloatingPoint && (appendZero || (kept == leading + 1 && digits[leading] == '0'))) {
      kept = leading;
      appendZero = false;
    }
  } else if (general && !c.alternate) {
    // %g without '#' drops trailing zeros.
    kept = std::max(DigitsBeforeTrailingZeros(all, count), leading);
  }
  const bool point = kept > leading || appendZero || (c.alternate && !(trim != nullptr && positional));
  if (positional && x < 0) {
    *p++ = '0';
    *p++ = '.';
    std::memcpy(p, "0000", 4);
    p += -x - 1;
    std::memcpy(p, digits, 24);
    p += kept;
  } else {
    std::memcpy(p, digits, 24);
    p += leading;
    if (point) *p++ = '.';
    std::memcpy(p, digits + leading, 24);
    p += kept - leading;
    if (appendZero) *p++ = '0';
  }
  if (!positional) {
    *p++ = upper ? 'E' : 'e';
    *p++ = x < 0 ? '-' : '+';
    const int magnitude = x < 0 ? -x : x;
    const bool minimal = trim != nullptr && trim->removeExponentZeros;
    if (magnitude >= 100) *p++ = static_cast<char>('0' + magnitude / 100);
    if (magnitude >= 10 || !minimal) *p++ = static_cast<char>('0' + magnitude / 10 % 10);
    *p++ = static_cast<char>('0' + magnitude % 10);
  }
  *p = '\0';
  return static_cast<std::size_t>(p - out);
}

}  // namespace

std::size_t WriteFinite(char* out, const PrintfConversion& c, bool negative, Significand value) noexcept {
  return Compose(out, c, negative, value, nullptr);
}

std::size_t WriteRoundTrip(char* out, double v, bool single, const PrintfConversion& first,
                           const PrintfConversion& fallback, const TrimOptions* trim) noexcept {
  const double magnitude = std::fabs(v);
  const bool negative = std::signbit(v);
  // The usual route: one product serves the first try, its read-back test and
  // the fallback (whose digits follow from the same window).
  Scaled scaled;
  Significand rounded;
  std::uint64_t digits = 0;
  if (magnitude != 0 && Scale(magnitude, first.digits, kNoGuess, scaled) &&
      RoundScaled(scaled, first.digits, 0, rounded, digits)) {
    const ReadBack back = ReadsBackAt(scaled, digits, single);
    if (back == ReadBack::kYes ||
        (back == ReadBack::kUndecided && ParsesBack(rounded, first.digits, magnitude, single))) {
      return Compose(out, first, negative, rounded, trim);
    }
    const int extra = fallback.digits - first.digits;
    Significand longer;
    if (extra >= 0 && RoundScaled(scaled, fallback.digits, extra, longer, digits)) {
      return Compose(out, fallback, negative, longer, trim);
    }
    return Compose(out, fallback, negative, RoundExact(magnitude, fallback.digits, scaled.exponent, single, nullptr),
                   trim);
  }
  bool back = false;
  rounded = RoundExact(magnitude, first.digits, kNoGuess, single, &back);
  if (back) return Compose(out, first, negative, rounded, trim);
  return Compose(out, fallback, negative, RoundExact(magnitude, fallback.digits, rounded.exponent, single, nullptr),
                 trim);
}

std::size_t WriteNonFinite(char* out, const PrintfConversion& c, bool negative, bool nan) noexcept {
  char* p = out;
  if (negative) {
    *p++ = '-';
  } else if (c.plus) {
    *p++ = '+';
  } else if (c.space) {
    *p++ = ' ';
  }
  const bool upper = c.conversion == 'G' || c.conversion == 'E';
  const char* word = nan ? (upper ? "NAN" : "nan") : (upper ? "INF" : "inf");
  std::memcpy(p, word, 4);
  return static_cast<std::size_t>(p - out) + 3;
}

}  // namespace qvsv::numeric::detail
