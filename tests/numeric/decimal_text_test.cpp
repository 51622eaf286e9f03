// The exact rounding behind the emulation, checked against std::to_chars
// (which rounds as printf does) and std::from_chars, and the format parser.
#include <gtest/gtest.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>

#include "qv_services/numeric/detail/decimal_text.hpp"
#include "tests/support/test_support.hpp"

namespace {

using namespace qvsv::numeric::detail;

// The digits and exponent of std::to_chars(value, scientific, count - 1).
Significand Expected(double magnitude, int count) {
  char text[64];
  const auto r = std::to_chars(text, text + sizeof text, magnitude, std::chars_format::scientific, count - 1);
  Significand s;
  const char* p = text;
  for (; *p != 'e'; ++p) {
    if (*p != '.') s.digits = s.digits * 10 + static_cast<std::uint64_t>(*p - '0');
  }
  std::from_chars(p + (p[1] == '+' ? 2 : 1), r.ptr, s.exponent);
  if (s.digits == 0) s.exponent = 0;
  return s;
}

// strtod's reading of the decimal, then (for a single) the rounding to single.
bool ParsesBack(const Significand& s, int count, double magnitude, bool single) {
  const std::string text = std::to_string(s.digits) + "e" + std::to_string(s.exponent - count + 1);
  const double parsed = std::strtod(text.c_str(), nullptr);
  if (!single) return parsed == magnitude;
  return std::fabs(parsed) < 0x1.ffffffp127 && static_cast<float>(parsed) == static_cast<float>(magnitude);
}

// Checks every count for one value: digits and exponent as to_chars gives
// them (doubles only: a single's digits are those of its double), the
// read-back verdict, and counts the counts the fast path leaves undecided.
void CheckValue(double magnitude, bool single, std::size_t& undecided) {
  for (int count = 1; count <= (single ? 10 : 17); ++count) {
    bool back = false;
    const Significand s = RoundToSignificantDigits(magnitude, count, &back, single);
    if (!single) {
      const Significand expected = Expected(magnitude, count);
      ASSERT_EQ(std::pair(s.digits, s.exponent), std::pair(expected.digits, expected.exponent))
          << std::hexfloat << magnitude << " count " << count;
    }
    ASSERT_EQ(back, ParsesBack(s, count, magnitude, single)) << std::hexfloat << magnitude << " count " << count;
    Significand fast;
    ReadBack fastBack = ReadBack::kUndecided;
    undecided += !RoundToSignificantDigitsFast(magnitude, count, fast, &fastBack, single) ||
                 fastBack == ReadBack::kUndecided;
  }
}

TEST(SignificantDigits, MatchToCharsAndReadBackOnRandomDoublesAndSingles) {
  std::mt19937_64 rng(17);
  std::size_t undecided = 0;
  const std::size_t n = qvsv::test::Scaled(150000, 2000);
  for (std::size_t i = 0; i < n; ++i) {
    std::uint64_t bits = rng() & 0x7FFFFFFFFFFFFFFFu;
    if (i % 3 == 0) bits = (bits & 0x000FFFFFFFFFFFFFu) | (std::uint64_t{1023 - 80 + rng() % 160} << 52);
    const double v = std::bit_cast<double>(bits);
    if (std::isfinite(v)) CheckValue(v, false, undecided);
    const float f = std::bit_cast<float>(static_cast<std::uint32_t>(rng() & 0x7FFFFFFFu));
    if (std::isfinite(f)) CheckValue(f, true, undecided);
  }
  // The product decides all but a vanishing share by itself.
  EXPECT_LT(undecided, n * 27 / 1000);
}

TEST(SignificantDigits, MatchToCharsOnTiesAndBoundaries) {
  std::size_t undecided = 0;
  for (int e = -1074; e <= 1023; ++e) {
    const double p = std::ldexp(1.0, e);
    for (double v : {p, std::nextafter(p, 0.0), std::nextafter(p, HUGE_VAL), 1.5 * p}) {
      if (std::isfinite(v)) CheckValue(v, false, undecided);
    }
  }
  for (int e = -323; e <= 308; ++e) {
    const double p = std::pow(10.0, e);
    for (double v : {p, std::nextafter(p, 0.0), std::nextafter(p, HUGE_VAL), 5 * p, 2.5 * p}) {
      if (std::isfinite(v) && v != 0) CheckValue(v, false, undecided);
    }
  }
  // Integers whose next digit is an exact five, after an even and after an odd digit.
  for (double v : {1234565.0, 12345650.0, 1234575.0, 12345750.0, 1000000000000000.5, 1234567890123456.5,
                   1234567890123457.5, 0.125, 0.375, 0.0}) {
    CheckValue(v, false, undecided);
  }
}

struct ConversionCase {
  const char* name;
  const char* format;
  PrintfConversion::Kind kind;
  int digits;  // checked for emulated conversions only
};

class FormatParsing : public ::testing::TestWithParam<ConversionCase> {};

TEST_P(FormatParsing, ClassifiesTheConversion) {
  const ConversionCase& c = GetParam();
  const PrintfConversion parsed = ParsePrintfConversion(c.format);
  EXPECT_EQ(parsed.kind, c.kind);
  if (c.kind == PrintfConversion::kEmulated) {
    EXPECT_EQ(parsed.digits, c.digits);
  }
}

constexpr auto kEmulated = PrintfConversion::kEmulated;
constexpr auto kCLibrary = PrintfConversion::kCLibrary;
constexpr auto kInvalid = PrintfConversion::kInvalid;

INSTANTIATE_TEST_SUITE_P(
    Formats, FormatParsing,
    ::testing::Values(ConversionCase{"AlternateG15", "%#.15G", kEmulated, 15},
                      ConversionCase{"SignedLowerE9", "%+#.9e", kEmulated, 10},
                      ConversionCase{"DefaultPrecision", "%G", kEmulated, 6},
                      ConversionCase{"ZeroPrecisionIsOne", "%.0g", kEmulated, 1},
                      ConversionCase{"BarePointIsOne", "%.E", kEmulated, 1},
                      ConversionCase{"LongestEmulated", "%.16E", kEmulated, 17},
                      ConversionCase{"TooManyDigitsE", "%.17E", kCLibrary, 0},
                      ConversionCase{"TooManyDigitsG", "%.18G", kCLibrary, 0},
                      ConversionCase{"Width", "%10G", kCLibrary, 0}, ConversionCase{"LongModifier", "%lG", kCLibrary, 0},
                      ConversionCase{"Fixed", "%f", kCLibrary, 0}, ConversionCase{"Hex", "%a", kCLibrary, 0},
                      ConversionCase{"SurroundingText", "v=%G%%", kCLibrary, 0},
                      ConversionCase{"String", "%s", kInvalid, 0}, ConversionCase{"Count", "%n", kInvalid, 0},
                      ConversionCase{"StarWidth", "%*G", kInvalid, 0},
                      ConversionCase{"LongDouble", "%LG", kInvalid, 0}, ConversionCase{"Two", "%G%G", kInvalid, 0},
                      ConversionCase{"HugePrecision", "%.100G", kInvalid, 0},
                      ConversionCase{"NoConversion", "plain", kInvalid, 0},
                      ConversionCase{"LonePercent", "%", kInvalid, 0}, ConversionCase{"Null", nullptr, kInvalid, 0}),
    qvsv::test::RowName());

}  // namespace
