// Conversions between host arrays and native values: every type and every
// way a value can be refused.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "qv_services/tcos_values.hpp"
#include "tests/support/test_support.hpp"
#include "tests/tcos/tcos_test_support.hpp"
#include "tessel/interpreter.hpp"

namespace {

using namespace qvsv::tcos;
using qvsv::test::Array;
using qvsv::test::FailureOf;

enum class Colour { Red = 1, Green = 2 };
const qvsvEnumTable<Colour> kColours("TcosTestColour", {{Colour::Red, "Red", "QV_SERVICES:tcos:UnknownUnit"},
                                                        {Colour::Green, "Green", "QV_SERVICES:tcos:UnknownUnit"}});

txArray* Row(std::initializer_list<double> values) {
  txArray* a = txCreateDoubleMatrix(1, values.size());
  std::copy(values.begin(), values.end(), txGetPrForWrite(a));
  return a;
}

struct ReadCase {
  std::string name;
  std::function<txArray*()> make;
  std::function<void(const txArray*)> read;
  std::string failure;  // "" when the value converts
};

class TcosRead : public testing::TestWithParam<ReadCase> {};

// Each case also proves that a refused value leaves no array behind.
TEST_P(TcosRead, ConvertsOrNamesTheFault) {
  const ReadCase& c = GetParam();
  const std::size_t live = tessel::LiveArrayCount();
  {
    Array input(c.make());
    EXPECT_EQ(FailureOf([&] { c.read(input.get()); }), c.failure);
  }
  EXPECT_EQ(tessel::LiveArrayCount(), live);
}

template <typename T>
std::function<void(const txArray*)> Reads(T expected) {
  return [expected](const txArray* a) { EXPECT_EQ(FromHost<T>(a), expected); };
}
template <typename T>
std::function<void(const txArray*)> Refuses() {
  return [](const txArray* a) { (void)FromHost<T>(a); };
}

const std::string kWrong = "QV_SERVICES:tcos:WrongValue";
const std::string kRange = "QV_SERVICES:tcos:ValueOutOfRange";
const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

INSTANTIATE_TEST_SUITE_P(
    Tcos, TcosRead,
    testing::Values(
        ReadCase{"DoubleFromText", [] { return txCreateString(u"1"); }, Refuses<double>(), kWrong},
        ReadCase{"DoubleFromRow", [] { return Row({1, 2}); }, Refuses<double>(), kWrong},
        ReadCase{"DoubleFromLogical", [] { return txCreateLogicalScalar(true); }, Refuses<double>(), kWrong},
        ReadCase{"DoubleFromNull", [] { return nullptr; }, Refuses<double>(), kWrong},
        ReadCase{"Int8Lowest", [] { return txCreateDoubleScalar(-128); }, Reads<std::int8_t>(-128), ""},
        ReadCase{"Int8AboveRange", [] { return txCreateDoubleScalar(128); }, Refuses<std::int8_t>(), kRange},
        ReadCase{"UInt8Negative", [] { return txCreateDoubleScalar(-1); }, Refuses<std::uint8_t>(), kRange},
        ReadCase{"Int16Fraction", [] { return txCreateDoubleScalar(1.5); }, Refuses<std::int16_t>(),
                 "QV_SERVICES:tcos:NotWholeNumber"},
        ReadCase{"UInt16Highest", [] { return txCreateDoubleScalar(65535); }, Reads<std::uint16_t>(65535), ""},
        ReadCase{"Int32NaN", [] { return txCreateDoubleScalar(kNaN); }, Refuses<std::int32_t>(),
                 "QV_SERVICES:tcos:NaNForInteger"},
        ReadCase{"UInt32Infinite", [] { return txCreateDoubleScalar(kInf); }, Refuses<std::uint32_t>(), kRange},
        ReadCase{"Int64AtTwoTo63", [] { return txCreateDoubleScalar(std::ldexp(1.0, 63)); },
                 Refuses<std::int64_t>(), kRange},
        ReadCase{"Int64Lowest", [] { return txCreateDoubleScalar(-std::ldexp(1.0, 63)); },
                 Reads<std::int64_t>(std::numeric_limits<std::int64_t>::min()), ""},
        ReadCase{"UInt64AtTwoTo64", [] { return txCreateDoubleScalar(std::ldexp(1.0, 64)); },
                 Refuses<std::uint64_t>(), kRange},
        ReadCase{"SingleOverflow", [] { return txCreateDoubleScalar(1e39); }, Refuses<float>(), kRange},
        ReadCase{"SingleInfinity", [] { return txCreateDoubleScalar(-kInf); }, Reads<float>(-INFINITY), ""},
        ReadCase{"BoolFromDoubleOne", [] { return txCreateDoubleScalar(1); }, Reads<bool>(true), ""},
        ReadCase{"BoolFromTwo", [] { return txCreateDoubleScalar(2); }, Refuses<bool>(),
                 "QV_SERVICES:tcos:NotLogical"},
        ReadCase{"TextFromNumber", [] { return txCreateDoubleScalar(1); }, Refuses<std::u16string>(), kWrong},
        ReadCase{"TextFromTwoRows", [] { return txCreateCharMatrix(2, 1); }, Refuses<std::string>(), kWrong},
        ReadCase{"EmptyTextFromEmptyRow", [] { return txCreateString(u""); }, Reads<std::string>(""), ""},
        ReadCase{"VectorFromColumn", [] { return txCreateDoubleMatrix(3, 1); },
                 Reads<std::vector<std::uint8_t>>({0, 0, 0}), ""},
        ReadCase{"VectorFromMatrix", [] { return txCreateDoubleMatrix(2, 2); }, Refuses<std::vector<double>>(),
                 kWrong},
        ReadCase{"VectorElementOutOfRange", [] { return Row({1, 2, 300}); }, Refuses<std::vector<std::uint8_t>>(),
                 kRange},
        ReadCase{"TextVectorWithNumber",
                 [] {
                   txArray* c = txCreateCellMatrix(1, 2);
                   txSetCell(c, 0, txCreateString(u"a"));
                   txSetCell(c, 1, txCreateDoubleScalar(1));
                   return c;
                 },
                 Refuses<std::vector<std::u16string>>(), "QV_SERVICES:tcos:WrongElement"},
        ReadCase{"MatrixFromText", [] { return txCreateString(u"ab"); }, Refuses<qvsvTcosMatrix<double>>(), kWrong},
        ReadCase{"OptionalFromEmpty", [] { return txCreateDoubleMatrix(0, 0); },
                 Reads<std::optional<std::int32_t>>(std::nullopt), ""},
        ReadCase{"OptionalKeepsItsTypeRules", [] { return txCreateDoubleScalar(0.5); },
                 Refuses<std::optional<std::int32_t>>(), "QV_SERVICES:tcos:NotWholeNumber"},
        ReadCase{"StringOrIDFromNumber", [] { return txCreateDoubleScalar(1); }, Refuses<qvsvStringOrID>(),
                 "QV_SERVICES:strings:StringOrIDBadArray"},
        ReadCase{"EnumFromNumber", [] { return txCreateDoubleScalar(2); },
                 [](const txArray* a) { EXPECT_EQ(EnumFromHost(kColours, a), Colour::Green); }, ""},
        ReadCase{"EnumFromUnknownName", [] { return txCreateString(u"Blue"); },
                 [](const txArray* a) { (void)EnumFromHost(kColours, a); }, "QV_SERVICES:strings:UnknownEnumName"}),
    qvsv::test::RowName());

template <typename T>
void ExpectRoundTrip(const T& value) {
  Array a(ToHost(value));
  EXPECT_EQ(FromHost<T>(a.get()), value);
}

TEST(TcosValues, EveryTypeReadsBackWhatItWrote) {
  ExpectRoundTrip(-0.1);
  ExpectRoundTrip(std::numeric_limits<float>::max());
  ExpectRoundTrip(std::numeric_limits<std::int8_t>::min());
  ExpectRoundTrip(std::numeric_limits<std::uint8_t>::max());
  ExpectRoundTrip(std::numeric_limits<std::int16_t>::min());
  ExpectRoundTrip(std::numeric_limits<std::uint16_t>::max());
  ExpectRoundTrip(std::numeric_limits<std::int32_t>::min());
  ExpectRoundTrip(std::numeric_limits<std::uint32_t>::max());
  ExpectRoundTrip(-(std::int64_t{1} << 53));
  ExpectRoundTrip(std::uint64_t{1} << 53);
  ExpectRoundTrip(true);
  ExpectRoundTrip(std::u16string(u"Gain \u00e9\U0001F600"));
  ExpectRoundTrip(std::string("caf\xc3\xa9"));
  ExpectRoundTrip(qvsvString(u"interned"));
  ExpectRoundTrip(qvsvStringOrID::fromIdentifier("QV_SERVICES:tcos:StaleInstance", {std::string("Gain"), 3}));
  ExpectRoundTrip(std::vector<std::int16_t>{-3, 0, 7});
  ExpectRoundTrip(std::vector<bool>{true, false});
  ExpectRoundTrip(std::vector<std::string>{"a", "", "c"});
  ExpectRoundTrip(std::vector<double>{});
  ExpectRoundTrip(qvsvTcosMatrix<std::uint32_t>{2, 3, {1, 2, 3, 4, 5, 6}});
  ExpectRoundTrip(qvsvTcosMatrix<std::string>{2, 1, {"top", "bottom"}});
  ExpectRoundTrip(std::optional<double>());
  ExpectRoundTrip(std::optional<std::u16string>(u""));
  Array colour(EnumToHost(kColours, Colour::Red));
  EXPECT_EQ(txGetString(colour.get()), u"Red");
}

TEST(TcosValues, MatrixKeepsColumnMajorLayout) {
  qvsvTcosMatrix<double> m{2, 2, {1, 2, 3, 4}};
  Array a(ToHost(m));
  EXPECT_EQ(txGetM(a.get()), 2u);
  EXPECT_EQ(txGetPr(a.get())[1], 2.0);
  EXPECT_EQ(m.at(0, 1), 3.0);
}

TEST(TcosValues, WideIntegersWithoutAnExactDoubleAreRefusedAndNothingIsMade) {
  const std::size_t live = tessel::LiveArrayCount();
  EXPECT_EQ(FailureOf([] { Array a(ToHost((std::int64_t{1} << 53) + 1)); }), "QV_SERVICES:tcos:NotExactInHost");
  EXPECT_EQ(FailureOf([] { Array a(ToHost(std::vector<std::uint64_t>{1, ~std::uint64_t{0}})); }),
            "QV_SERVICES:tcos:NotExactInHost");
  EXPECT_EQ(tessel::LiveArrayCount(), live);
}

TEST(TcosValues, MessagesNameExpectedAndActualClassAndSize) {
  Array text(txCreateString(u"abc"));
  try {
    (void)FromHost<std::int8_t>(text.get());
    FAIL() << "a text converted to int8";
  } catch (const qvsv::except::DiagnosticException& e) {
    EXPECT_STREQ(e.what(), "Expected an int8 scalar (a 1x1 double array), but the value is a 1x3 char array.");
  }
  Array row(Row({1, 2, 300}));
  try {
    (void)FromHost<std::vector<std::uint8_t>>(row.get());
    FAIL() << "300 converted to uint8";
  } catch (const qvsv::except::DiagnosticException& e) {
    EXPECT_STREQ(e.what(), "Element 3 of the value, 300, is outside the range of uint8 (0 to 255).");
  }
}

}  // namespace
