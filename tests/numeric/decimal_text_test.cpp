// The exact rounding behind the emulation, checked against std::to_chars
// (which rounds as printf does) and std::from_chars, and the format parser.
#include <gtest/gtest.h>

#include <bit>
#include <charconv>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>

#include "qv_services/numeric/detail/decimal_text.hpp"
#include "tests/support/test_support.hpp"

namespace {

using qvsv::numeric::detail::ParsePrintfConversion;
using qvsv::numeric::detail::PrintfConversion;
using qvsv::numeric::detail::ReadBack;
using qvsv::numeric::detail::RoundToSignificantDigits;
using qvsv::numeric::detail::RoundToSignificantDigitsFast;
using qvsv::numeric::detail::Significand;

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
bool ParsesBack(const Significand& s, int count, double magnitude, bool single = false) {
  const std::string text = std::to_string(s.digits) + "e" + std::to_string(s.exponent - count + 1);
  const double parsed = std::strtod(text.c_str(), nullptr);
  if (!single) return parsed == magnitude;
  const bool overflow = std::fabs(parsed) >= 0x1.ffffffp127;
  return !overflow && static_cast<float>(parsed) == static_cast<float>(magnitude);
}

void CheckValue(double magnitude, int count, std::size_t& undecided) {
  bool back = false;
  const Significand s = RoundToSignificantDigits(magnitude, count, &back);
  const Significand expected = Expected(magnitude, count);
  ASSERT_EQ(s.digits, expected.digits) << std::hexfloat << magnitude << " count " << count;
  ASSERT_EQ(s.exponent, expected.exponent) << std::hexfloat << magnitude << " count " << count;
  ASSERT_EQ(back, ParsesBack(expected, count, magnitude)) << std::hexfloat << magnitude << " count " << count;
  Significand fast;
  ReadBack fastBack = ReadBack::kUndecided;
  if (!RoundToSignificantDigitsFast(magnitude, count, fast, &fastBack) || fastBack == ReadBack::kUndecided) {
    ++undecided;
  }
}

TEST(SignificantDigits, MatchToCharsForEveryCountOnRandomDoubles) {
  std::mt19937_64 rng(17);
  std::size_t undecided = 0;
  const std::size_t n = qvsv::test::Scaled(150000, 2000);
  for (std::size_t i = 0; i < n; ++i) {
    std::uint64_t bits = rng() & 0x7FFFFFFFFFFFFFFFu;
    if (i % 3 == 0) bits = (bits & 0x000FFFFFFFFFFFFFu) | (std::uint64_t{1023 - 80 + rng() % 160} << 52);
    const double v = std::bit_cast<double>(bits);
    if (!std::isfinite(v)) continue;
    for (int count = 1; count <= 17; ++count) CheckValue(v, count, undecided);
  }
  // The product decides all but a vanishing share by itself.
  EXPECT_LT(undecided, n * 17 / 1000);
}

TEST(SignificantDigits, SingleReadBackMatchesParseThenRounding) {
  std::mt19937_64 rng(23);
  std::size_t undecided = 0;
  const std::size_t n = qvsv::test::Scaled(200000, 2000);
  for (std::size_t i = 0; i < n; ++i) {
    const float f = std::bit_cast<float>(static_cast<std::uint32_t>(rng() & 0x7FFFFFFFu));
    if (!std::isfinite(f)) continue;
    const double v = f;
    for (int count = 1; count <= 10; ++count) {
      bool back = false;
      const Significand s = RoundToSignificantDigits(v, count, &back, true);
      ASSERT_EQ(back, ParsesBack(s, count, v, true)) << std::hexfloat << f << " count " << count;
      Significand fast;
      ReadBack fastBack = ReadBack::kUndecided;
      if (!RoundToSignificantDigitsFast(v, count, fast, &fastBack, true) || fastBack == ReadBack::kUndecided) {
        ++undecided;
      }
    }
  }
  EXPECT_LT(undecided, n * 10 / 1000);
}

TEST(SignificantDigits, MatchToCharsOnTiesAndBoundaries) {
  std::size_t undecided = 0;
  for (int e = -1074; e <= 1023; ++e) {
    const double p = std::ldexp(1.0, e);
    for (double v : {p, std::nextafter(p, 0.0), std::nextafter(p, HUGE_VAL), 1.5 * p}) {
      if (!std::isfinite(v)) continue;
      for (int count = 1; count <= 17; ++count) CheckValue(v, count, undecided);
    }
  }
  for (int e = -323; e <= 308; ++e) {
    const double p = std::pow(10.0, e);
    for (double v : {p, std::nextafter(p, 0.0), std::nextafter(p, HUGE_VAL), 5 * p, 2.5 * p}) {
      if (!std::isfinite(v) || v == 0) continue;
      for (int count = 1; count <= 17; ++count) CheckValue(v, count, undecided);
    }
  }
  // Integers whose next digit is an exact five, after an even and after an odd digit.
  for (double v : {1234565.0, 12345650.0, 1234575.0, 12345750.0, 1000000000000000.5, 1234567890123456.5,
                   1234567890123457.5, 0.125, 0.375, 0.0}) {
    for (int count = 1; count <= 17; ++count) CheckValue(v, count, undecided);
  }
}

struct ConversionCase {
  const char* format;
  PrintfConversion::Kind kind;
  int digits;
};

class FormatParsing : public ::testing::TestWithParam<ConversionCase> {};

TEST_P(FormatParsing, ClassifiesTheConversion) {
  const ConversionCase& c = GetParam();
  const PrintfConversion parsed = ParsePrintfConversion(c.format);
  EXPECT_EQ(parsed.kind, c.kind) << (c.format ? c.format : "null");
  if (c.kind == PrintfConversion::kEmulated) {
    EXPECT_EQ(parsed.digits, c.digits) << c.format;
  }
}

constexpr auto kEmulated = PrintfConversion::kEmulated;
constexpr auto kCLibrary = PrintfConversion::kCLibrary;
constexpr auto kInvalid = PrintfConversion::kInvalid;

INSTANTIATE_TEST_SUITE_P(
    Formats, FormatParsing,
    ::testing::Values(ConversionCase{"%#.15G", kEmulated, 15}, ConversionCase{"%+#.9e", kEmulated, 10},
                      ConversionCase{"%G", kEmulated, 6}, ConversionCase{"%.0g", kEmulated, 1},
                      ConversionCase{"%.E", kEmulated, 1}, ConversionCase{"%.16E", kEmulated, 17},
                      ConversionCase{"%.17E", kCLibrary, 0}, ConversionCase{"%.18G", kCLibrary, 0},
                      ConversionCase{"%10G", kCLibrary, 0}, ConversionCase{"%lG", kCLibrary, 0},
                      ConversionCase{"%f", kCLibrary, 0}, ConversionCase{"%a", kCLibrary, 0},
                      ConversionCase{"v=%G%%", kCLibrary, 0}, ConversionCase{"%s", kInvalid, 0},
                      ConversionCase{"%n", kInvalid, 0}, ConversionCase{"%*G", kInvalid, 0},
                      ConversionCase{"%LG", kInvalid, 0}, ConversionCase{"%G%G", kInvalid, 0},
                      ConversionCase{"%.100G", kInvalid, 0}, ConversionCase{"plain", kInvalid, 0},
                      ConversionCase{"%", kInvalid, 0}, ConversionCase{nullptr, kInvalid, 0}),
    [](const auto& info) {
      std::string name;
      for (const char c : std::string(info.param.format == nullptr ? "null" : std::string(info.param.format))) {
        name += std::isalnum(static_cast<unsigned char>(c)) ? std::string(1, c)
                : c == '.' ? "p" : c == '+' ? "plus" : c == '-' ? "minus" : c == '#' ? "alt" : c == '%' ? "" : "_";
      }
      return name + "_" + std::to_string(info.index);
    });

}  // namespace
