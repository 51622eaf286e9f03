// The number-to-text helpers over the static and function-local formatters.
#include <gtest/gtest.h>

#include <cfloat>
#include <cstring>
#include <limits>
#include <string>

#include "qv_services/number_text.hpp"

namespace {

using namespace QVSV_Flt2Ascii;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(NumberText, DefaultLegacyAndNumkitStyles) {
  EXPECT_EQ(qvsv_dtoa(1.0), "1.0");
  EXPECT_EQ(qvsv_dtoa(1e20, true), "1E+20");
  EXPECT_EQ(qvsv_dtoa(kInf, true), "INF");
  EXPECT_EQ(qvsv_stoa(3.4028235e38f), "3.402823466E+38");
  EXPECT_EQ(qvsv_stoa(0.1f, true), "0.1");
  EXPECT_EQ(qvsv_dtoa_numkit(3.0), "3");
  EXPECT_EQ(qvsv_dtoa_numkit(-0.0), "-0");
  EXPECT_EQ(qvsv_dtoa_numkit(DBL_MAX), "1.7976931348623157e+308");
}

TEST(NumberText, ComplexImaginaryPartFollowsItsSignAndZeroOrNaNIsLeftOut) {
  struct Row {
    double re, im;
    bool legacy;
    const char* expected;
  };
  for (const Row& row : {Row{1, -2, false, "1.0-2.0i"}, Row{1, 2, false, "1.0+2.0i"}, Row{1, -0.0, false, "1.0"},
                         Row{1, -kNaN, false, "1.0"}, Row{kNaN, 1, false, "NaN+1.0i"},
                         Row{-0.0, -0.5, false, "-0.0-0.5i"}, Row{1, -kInf, false, "1.0-Infi"},
                         Row{0.1 + 0.2, -1e20, true, "0.3-1E+20i"}}) {
    EXPECT_EQ(qvsv_complex2ascii(row.re, row.im, row.legacy), row.expected);
  }
}

std::string Cgir(double v, int target, bool single) {
  char text[QvfrgFltToAscii::kBufferSize];
  std::memset(text, 'x', sizeof text);
  qvsv_fptoa_cgirweft(text, v, static_cast<TargetEnum>(target), single);
  return text;
}

TEST(NumberText, CgirWeftWritesAsItsTargetAndNarrowsSingles) {
  EXPECT_EQ(Cgir(0.5, TARGET_WEFT_CONCISE, true), "0.5F");
  EXPECT_EQ(Cgir(2.5e7, TARGET_WEFT_EXPONENTIAL, false), "2.5E+7");
  EXPECT_EQ(Cgir(3.0, TARGET_WEFT_CONCISE_BARE, true), "3");
  EXPECT_EQ(Cgir(0.1, TARGET_EXPONENT_COMPACT, false), "1.0E-1");
  EXPECT_EQ(Cgir(16777217.0, TARGET_DEFAULT, true), "16777216.0");
  // A double beyond the single range becomes infinity, where a plain cast is undefined.
  EXPECT_EQ(Cgir(-1e300, TARGET_WEFT_CONCISE_SIGNED, true), "-rtInfF");
  // Unknown targets write as the plain one.
  EXPECT_EQ(Cgir(0.1, 99, false), "0.10000000000000001");
  EXPECT_EQ(Cgir(0.1, -5, false), "0.10000000000000001");
  qvsv_fptoa_cgirweft(nullptr, 1.0, TARGET_WEFT_CONCISE, false);
}

}  // namespace
