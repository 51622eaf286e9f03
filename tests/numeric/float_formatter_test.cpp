// The formatter's targets, settings and helpers as behaviour: anchor texts per
// target, what setTarget resets, copies, custom formats, and bad input.
#include <gtest/gtest.h>

#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "qv_services/float_formatter.hpp"
#include "tests/numeric/comma_locale.hpp"
#include "tests/numeric/formatter_access.hpp"
#include "tests/numeric/literal_reference.hpp"
#include "tests/support/test_support.hpp"

namespace {

using namespace QVSV_Flt2Ascii;
using Access = QvfrgFltToAsciiAccess;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr float kInfF = std::numeric_limits<float>::infinity();

// A few texts per target pin the literal procedure (which the reference test
// holds every target to, value for value) to the documented forms.
struct TargetCase {
  int target;
  bool single;
  double value;
  const char* expected;
};

void PrintTo(const TargetCase& c, std::ostream* os) {
  *os << "target " << c.target << (c.single ? " single " : " double ") << c.value;
}

class TargetTable : public ::testing::TestWithParam<TargetCase> {};

TEST_P(TargetTable, WritesExpectedText) {
  const TargetCase& c = GetParam();
  const QvfrgFltToAscii f(static_cast<TargetEnum>(c.target));
  EXPECT_EQ(c.single ? Written(f, static_cast<float>(c.value)) : Written(f, c.value), c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    EveryTarget, TargetTable,
    ::testing::Values(
        TargetCase{0, false, 0.1, "0.10000000000000001"}, TargetCase{0, true, 0.1, "0.1000000015"},
        TargetCase{0, false, -kNaN, "-NAN"}, TargetCase{1, false, 0.1, "0.1"}, TargetCase{1, false, 1e20, "1.0E+20"},
        TargetCase{1, true, FLT_MAX, "3.402823466E+38"}, TargetCase{2, false, 0.1, "1.0000000000000001E-01"},
        TargetCase{3, false, 1234.5, "1.2345E+3"}, TargetCase{4, false, 1e-5, "1.0e-5"},
        TargetCase{5, false, 999999.0, "999999.0"}, TargetCase{5, false, 1e6, "1.0E+6"},
        TargetCase{5, true, -kInf, "rtMinusInfF"}, TargetCase{6, true, 0.5, "5.0E-1F"},
        TargetCase{7, false, kNaN, "+rtNaN"}, TargetCase{8, true, -2.5e7, "-2.5E+7F"}, TargetCase{9, true, 3.0, "3.0"},
        TargetCase{10, false, 3.0, "3"}, TargetCase{11, false, 1e20, "1.0e+20"}, TargetCase{12, false, 1e-5, "1E-5"},
        TargetCase{12, true, 1e6, "1.0E+6"}, TargetCase{13, false, 0.1, "0.10000000000000001"},
        TargetCase{99, false, 1.0, "1"}, TargetCase{-1, true, 0.1, "0.1000000015"},
        TargetCase{14, false, 123456789.0, "1.23457E+08"}, TargetCase{14, false, kInf, "INF"}),
    [](const auto& info) {
      const int t = info.param.target;
      return "Target" + (t < 0 ? "Minus" + std::to_string(-t) : std::to_string(t)) +
             (info.param.single ? "Single" : "Double") + std::to_string(info.index);
    });

TEST(FormatterSettings, DefaultsSymbolSetsAndSetTargetResettingEverySetting) {
  QvfrgFltToAscii f;
  EXPECT_EQ(std::pair(f.getBase(), f.getLiteralFormat()), std::pair(BASE_DEFAULT, LITERAL_FORMAT_DEFAULT));
  EXPECT_FALSE(f.getTreatMinusZeroAsZero());
  EXPECT_TRUE(f.getEnsureBeingFloatingPoint() && f.getRemoveExtraZeroAfterSymbolE());
  const std::vector<std::string> plain{"Inf", "-Inf", "NaN", "Inf", "-Inf", "NaN"};
  const auto symbols = [&f] {
    return std::vector<std::string>{f.getInfSymbol(),       f.getMinusInfSymbol(),       f.getNaNSymbol(),
                                    f.getSingleInfSymbol(), f.getSingleMinusInfSymbol(), f.getSingleNaNSymbol()};
  };
  EXPECT_EQ(symbols(), plain);
  EXPECT_EQ(Written(f, 0.1), "0.10000000000000001") << "target 0";
  f.setTarget(TARGET_DEFAULT);
  f.setNonFiniteNumberSymbols(NF_SYMBOL_FRG_SIGNED);
  EXPECT_EQ(symbols(), (std::vector<std::string>{"+rtInf", "-rtInf", "+rtNaN", "+rtInf", "-rtInf", "+rtNaN"}));
  EXPECT_EQ(Written(f, -kInf), "-rtInf");
  f.setNonFiniteNumberSymbols(static_cast<NFSymbolEnum>(12345));
  EXPECT_EQ(symbols(), plain) << "an unknown set falls back to the plain one";

  f.setTarget(TARGET_WEFT_CONCISE);
  f.setBase(static_cast<BaseEnum>(7));
  f.setLiteralFormat(static_cast<FormatEnum>(8));
  f.setRemoveExtraZeroAfterSymbolE(false);
  f.setNonFiniteNumberSymbols(NF_SYMBOL_FRG_SIGNED);
  Access::setPrecisionFormat(f, PRECISION_DOUBLE, "%#.3G");
  f.setTarget(TARGET_DEFAULT);
  EXPECT_EQ(std::pair(f.getBase(), f.getLiteralFormat()), std::pair(BASE_DEFAULT, LITERAL_FORMAT_DEFAULT));
  EXPECT_TRUE(f.getRemoveExtraZeroAfterSymbolE());
  EXPECT_EQ(symbols(), plain);
  EXPECT_EQ(Written(f, 1e20), "1.0E+20");
  EXPECT_EQ(Written(f, 0.1), "0.1");
  EXPECT_EQ(Written(f, 0.5f), "0.5") << "no suffix left over from target 5";
}

TEST(FormatterCopies, BehaveLikeTheirSourceAndStayIndependent) {
  QvfrgFltToAscii source(TARGET_WEFT_CONCISE_SIGNED);
  source.setRemoveExtraZeroAfterSymbolE(false);
  const QvfrgFltToAscii copy(source);
  QvfrgFltToAscii assigned;
  assigned = source;
  source.setTarget(TARGET_PLAIN);
  for (const QvfrgFltToAscii* f : {&copy, static_cast<const QvfrgFltToAscii*>(&assigned)}) {
    EXPECT_EQ(Written(*f, 2.5e7), "+2.5E+07") << "the copied exponent setting";
    EXPECT_EQ(Written(*f, 1.0f), "+1.0F");
    EXPECT_EQ(Written(*f, kNaN), "+rtNaN");
  }
}

TEST(RoundTripTest, BothParsersMustReadTheValueBack) {
  const QvfrgFltToAscii f;
  EXPECT_EQ(Access::convertStrToDouble(f, "1.5"), 1.5);
  EXPECT_TRUE(Access::isStrRepEqualToDouble(f, 0.1, "0.100000000000000"));
  EXPECT_FALSE(Access::isStrRepEqualToDouble(f, 0.1 + 0.2, "0.300000000000000"));
  EXPECT_FALSE(Access::isStrRepEqualToDouble(f, kNaN, "NaN"));
  EXPECT_FALSE(Access::isStrRepEqualToDouble(f, 1.0, nullptr));
  EXPECT_TRUE(Access::isStrRepEqualToFloat(f, 0.1f, "0.100000"));
  EXPECT_FALSE(Access::isStrRepEqualToFloat(f, FLT_MAX, "3.40282E+38"));
  EXPECT_FALSE(Access::isStrRepEqualToFloat(f, FLT_MAX, "1E+39"));  // reads as infinity
  qvsv::test::ScopedCommaLocale comma;
  if (!comma.available()) GTEST_SKIP() << "no C locale with a ',' decimal point: " << comma.description();
  EXPECT_FALSE(Access::isStrRepEqualToDouble(f, 0.5, "0.5")) << "atof stops at '.' in a comma locale";
  EXPECT_TRUE(Access::isStrRepEqualToDouble(f, 1.0, "1.0"));
  EXPECT_EQ(Written(QvfrgFltToAscii::defaultFormatter, 0.1), "0,10000000000000001");
  EXPECT_EQ(Written(QvfrgFltToAscii::defaultFormatter, 0.5), "0,5");
}

// Settings only friends reach, against the literal procedure.
struct SlotCase {
  const char* name;
  int slot;
  const char* format;
};

// A custom format may make text longer than a writer may write: then the
// writer's text is cut, and only its length is checked.
void ExpectSameWithinBuffer(const std::string& written, const std::string& literal, int target, double v) {
  if (literal.size() <= QvfrgFltToAscii::kMaxSymbolLength) {
    EXPECT_EQ(written, literal) << "target " << target << " value " << v;
  } else {
    EXPECT_LT(written.size(), QvfrgFltToAscii::kBufferSize);
  }
}

class CustomSlots : public ::testing::TestWithParam<SlotCase> {};

TEST_P(CustomSlots, AgreeWithLiteralProcedure) {
  const SlotCase& c = GetParam();
  for (int target : {1, 3, 5, 11}) {
    QvfrgFltToAscii f(static_cast<TargetEnum>(target));
    Access::setPrecisionFormat(f, c.slot, c.format);
    auto settings = qvsv::test::ReferenceSettings::ForTarget(target);
    settings.formats[c.slot - PRECISION_DOUBLE] = c.format;
    std::mt19937_64 rng(static_cast<unsigned>(c.slot * 31 + target));
    for (std::size_t i = 0; i < qvsv::test::Scaled(3000, 100); ++i) {
      const std::uint64_t bits =
          i % 2 ? rng() : (rng() & 0x800FFFFFFFFFFFFFu) | (std::uint64_t{1000 + rng() % 60} << 52);
      const double v = std::bit_cast<double>(bits);
      ExpectSameWithinBuffer(Written(f, v), qvsv::test::ReferenceText(settings, v), target, v);
      const float s = static_cast<float>(v);
      ExpectSameWithinBuffer(Written(f, s), qvsv::test::ReferenceText(settings, s), target, s);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Formats, CustomSlots,
    ::testing::Values(SlotCase{"ThreeDigits", PRECISION_DOUBLE, "%#.3G"},
                      SlotCase{"NoAlternateFlag", PRECISION_DOUBLE, "%.15G"},
                      SlotCase{"ExponentFirst", PRECISION_DOUBLE, "%#.14E"},
                      SlotCase{"SignedLowerCase", PRECISION_DOUBLE_FALLBACK, "%+#.17g"},
                      SlotCase{"MoreDigitsThanEmulated", PRECISION_DOUBLE_FALLBACK, "%#.20G"},
                      SlotCase{"Fixed", PRECISION_DOUBLE, "%.15f"},
                      SlotCase{"LiteralText", PRECISION_DOUBLE, "x%#.15Gy"},
                      SlotCase{"ZeroPrecisionExponent", PRECISION_DOUBLE_EXP, "%#.0E"},
                      SlotCase{"DefaultPrecision", PRECISION_SINGLE, "%#G"},
                      SlotCase{"Space", PRECISION_SINGLE_FALLBACK, "% #.9G"},
                      SlotCase{"Width", PRECISION_DOUBLE_EXP_FALLBACK, "%30.16E"}),
    qvsv::test::RowName());

TEST(CustomSettings, MismatchedExponentSymbolAndEnsureFloatingPointAgreeWithLiteralProcedure) {
  for (bool upper : {true, false}) {
    for (bool ensure : {true, false}) {
      QvfrgFltToAscii f(upper ? TARGET_LOWER_CASE : TARGET_DEFAULT);  // the symbol the other case
      Access::setUpCaseExponentSymbol(f, upper);
      Access::setEnsureBeingFloatingPoint(f, ensure);
      auto settings = qvsv::test::ReferenceSettings::ForTarget(upper ? 4 : 1);
      settings.exponentSymbol = upper ? 'E' : 'e';
      settings.ensureFloatingPoint = ensure;
      for (double v : {1e20, 1e-5, 0.1, 2.0, 1e15, 123456.0, 0.1 + 0.2, -0.0, 5e-324}) {
        EXPECT_EQ(Written(f, v), qvsv::test::ReferenceText(settings, v)) << v;
        EXPECT_EQ(Written(f, static_cast<float>(v)), qvsv::test::ReferenceText(settings, static_cast<float>(v))) << v;
      }
    }
  }
}

TEST(BadInput, InvalidFormatsUnknownSlotsAndNullDestinationsAreIgnored) {
  QvfrgFltToAscii f(TARGET_DEFAULT);
  for (const char* format : {"%s", "%n", "%d", "%p", "%*G", "%.*G", "%#.15G%G", "abc", "%", "%LG", "%1$G",
                             "%#.15G plus more", static_cast<const char*>(nullptr)}) {
    Access::setPrecisionFormat(f, PRECISION_DOUBLE, format);
  }
  Access::setPrecisionFormat(f, 399, "%#.3G");
  Access::setPrecisionFormat(f, 410, "%#.3G");
  EXPECT_EQ(Written(f, 0.1), "0.1");
  EXPECT_EQ(Written(f, 1.0 / 3), "0.33333333333333331");
  for (int target = 0; target <= 14; ++target) {
    const QvfrgFltToAscii any(static_cast<TargetEnum>(target));
    any.writeDoubleFlt(nullptr, 1.0);
    any.writeSingleFlt(nullptr, kInfF);
    any.writeDoubleFltDefaultCompact(nullptr, 1.0);
    any.writeSingleFltDefaultCompact(nullptr, 1.0f);
  }
}

TEST(BadInput, NoWriterPassesSixtyFourBytes) {
  const std::string huge(200, 'S');
  std::vector<QvfrgFltToAscii> formatters;
  for (int target = 0; target <= 14; ++target) {
    QvfrgFltToAscii f(static_cast<TargetEnum>(target));
    Access::setInfSymbol(f, huge.c_str());
    Access::setSingleInfSymbol(f, huge.c_str());
    Access::setSingleNaNSymbol(f, nullptr);
    Access::setIndicateSingleFloatingPoint(f, true);
    Access::setPrecisionFormat(f, PRECISION_DOUBLE_FALLBACK, "%99.99f");
    Access::setPrecisionFormat(f, PRECISION_SINGLE_FALLBACK, "%-99.40E");
    formatters.push_back(f);
  }
  std::mt19937_64 rng(64);
  std::vector<double> values = {kInf, -kInf, kNaN, DBL_MAX, -DBL_TRUE_MIN, 0.1 + 0.2, 1e300};
  for (int i = 0; i < 200; ++i) values.push_back(std::bit_cast<double>(rng()));
  for (const auto& f : formatters) {
    for (double v : values) {
      char text[3 * QvfrgFltToAscii::kBufferSize];
      std::memset(text, 0x5A, sizeof text);
      f.writeDoubleFlt(text, v);
      f.writeSingleFlt(text, static_cast<float>(v));
      f.writeSingleFlt(text, kInfF);
      EXPECT_LT(std::strlen(text), QvfrgFltToAscii::kBufferSize);
      for (std::size_t i = QvfrgFltToAscii::kBufferSize; i < sizeof text; ++i) ASSERT_EQ(text[i], 0x5A);
    }
  }
  EXPECT_EQ(Written(formatters[5], kInfF), std::string(QvfrgFltToAscii::kMaxSymbolLength, 'S') + "F");
  EXPECT_EQ(Written(formatters[5], std::numeric_limits<float>::quiet_NaN()), "F") << "an empty symbol, suffixed";
  char untouched[QvfrgFltToAscii::kBufferSize] = "untouched";
  EXPECT_FALSE(Access::writeNonfinite(formatters[1], untouched, 1.0));
  EXPECT_STREQ(untouched, "untouched") << "the non-finite writer leaves finite values alone";
}

}  // namespace
