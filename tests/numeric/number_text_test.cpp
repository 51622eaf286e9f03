// The number-to-text helpers over the static and function-local formatters.
#include <gtest/gtest.h>

#include <cfloat>
#include <cctype>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "qv_services/number_text.hpp"

namespace {

using namespace QVSV_Flt2Ascii;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(NumberText, DoublesAndSinglesInDefaultAndLegacyStyle) {
  EXPECT_EQ(qvsv_dtoa(0.1, false), "0.1");
  EXPECT_EQ(qvsv_dtoa(1.0), "1.0");
  EXPECT_EQ(qvsv_dtoa(kInf, false), "Inf");
  EXPECT_EQ(qvsv_dtoa(1e20, true), "1E+20");
  EXPECT_EQ(qvsv_dtoa(kInf, true), "INF");
  EXPECT_EQ(qvsv_stoa(3.4028235e38f, false), "3.402823466E+38");
  EXPECT_EQ(qvsv_stoa(0.1f), "0.1");
  EXPECT_EQ(qvsv_stoa(0.1f, true), "0.1");
  EXPECT_EQ(qvsv_stoa(-std::numeric_limits<float>::infinity()), "-Inf");
}

TEST(NumberText, NumkitIsLowerCaseWithoutForcedPoint) {
  EXPECT_EQ(qvsv_dtoa_numkit(3.0), "3");
  EXPECT_EQ(qvsv_dtoa_numkit(1e20), "1.0e+20");
  EXPECT_EQ(qvsv_dtoa_numkit(0.1 + 0.2), "0.30000000000000004");
  EXPECT_EQ(qvsv_dtoa_numkit(-0.0), "-0");
  EXPECT_EQ(qvsv_dtoa_numkit(DBL_MAX), "1.7976931348623157e+308");
}

struct ComplexCase {
  double re;
  double im;
  bool legacy;
  const char* expected;
};

class ComplexText : public ::testing::TestWithParam<ComplexCase> {};

TEST_P(ComplexText, ImaginaryPartFollowsItsSign) {
  const ComplexCase& c = GetParam();
  EXPECT_EQ(qvsv_complex2ascii(c.re, c.im, c.legacy), c.expected) << c.re << " " << c.im;
}

INSTANTIATE_TEST_SUITE_P(
    SignRules, ComplexText,
    ::testing::Values(ComplexCase{1, -2, false, "1.0-2.0i"}, ComplexCase{1, 2, false, "1.0+2.0i"},
                      ComplexCase{1, 0, false, "1.0"}, ComplexCase{1, -0.0, false, "1.0"},
                      ComplexCase{1, kNaN, false, "1.0"}, ComplexCase{1, -kNaN, false, "1.0"},
                      ComplexCase{kNaN, 1, false, "NaN+1.0i"}, ComplexCase{-0.0, -0.5, false, "-0.0-0.5i"},
                      ComplexCase{1, kInf, false, "1.0+Infi"}, ComplexCase{1, -kInf, false, "1.0-Infi"},
                      ComplexCase{0.5, 0.25, true, "0.5+0.25i"}, ComplexCase{0.1 + 0.2, -1e20, true, "0.3-1E+20i"}),
    [](const auto& info) {
      std::string name;
      for (const char c : std::string(info.param.expected)) {
        name += std::isalnum(static_cast<unsigned char>(c)) ? std::string(1, c)
                : c == '.' ? "p" : c == '+' ? "plus" : c == '-' ? "minus" : c == '#' ? "alt" : c == '%' ? "" : "_";
      }
      return name + "_" + std::to_string(info.index);
    });

// What a formatter set to the target writes, for comparison.
std::string Direct(int target, double v, bool single) {
  const QvfrgFltToAscii f(static_cast<TargetEnum>(target));
  char text[QvfrgFltToAscii::kBufferSize];
  if (single) {
    f.writeSingleFlt(text, static_cast<float>(v));
  } else {
    f.writeDoubleFlt(text, v);
  }
  return text;
}

std::string Cgir(double v, int target, bool single) {
  char text[QvfrgFltToAscii::kBufferSize];
  std::memset(text, 'x', sizeof text);
  qvsv_fptoa_cgirweft(text, v, static_cast<TargetEnum>(target), single);
  return text;
}

TEST(NumberText, CgirWeftWritesAsTheGeneratedCodeTargets) {
  EXPECT_EQ(Cgir(0.5, TARGET_WEFT_CONCISE, true), "0.5F");
  EXPECT_EQ(Cgir(2.5e7, TARGET_WEFT_EXPONENTIAL, false), "2.5E+7");
  EXPECT_EQ(Cgir(1.0, TARGET_WEFT_CONCISE_SIGNED, false), "+1.0");
  EXPECT_EQ(Cgir(3.0, TARGET_WEFT_CONCISE_BARE, true), "3");
  for (int target = 5; target <= 10; ++target) {
    for (double v : {0.1, -1e6, 1e-7, kInf, kNaN, 0.1 + 0.2, 16777217.0}) {
      EXPECT_EQ(Cgir(v, target, false), Direct(target, v, false)) << target << " " << v;
      EXPECT_EQ(Cgir(v, target, true), Direct(target, v, true)) << target << " " << v;
    }
  }
}

TEST(NumberText, CgirWeftSingleOfAHugeDoubleIsInfinity) {
  EXPECT_EQ(Cgir(1e300, TARGET_WEFT_CONCISE, true), "rtInfF");
  EXPECT_EQ(Cgir(-1e300, TARGET_WEFT_CONCISE_SIGNED, true), "-rtInfF");
}

TEST(NumberText, CgirWeftOtherTargetsWriteAsThatTargetAndNullIsIgnored) {
  EXPECT_EQ(Cgir(0.1, TARGET_EXPONENT_COMPACT, false), "1.0E-1");
  EXPECT_EQ(Cgir(0.1, TARGET_LEGACY, true), "0.1");
  EXPECT_EQ(Cgir(0.1, 99, false), "0.10000000000000001");
  EXPECT_EQ(Cgir(0.1, -5, false), "0.10000000000000001");
  qvsv_fptoa_cgirweft(nullptr, 1.0, TARGET_WEFT_CONCISE, false);
}

}  // namespace
