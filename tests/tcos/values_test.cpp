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
using qvsv::test::MessageOf;

enum class Colour { Red = 1, Green = 2 };
const qvsvEnumTable<Colour> kColours("TcosTestColour", {{Colour::Red, "Red", "QV_SERVICES:tcos:UnknownUnit"},
                                                        {Colour::Green, "Green", "QV_SERVICES:tcos:UnknownUnit"}});

using Make = std::function<txArray*()>;
Make Number(double v) {
  return [v] { return txCreateDoubleScalar(v); };
}

struct ReadCase {
  std::string name;
  Make make;
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
const std::string kFraction = "QV_SERVICES:tcos:NotWholeNumber";
const double kInf = std::numeric_limits<double>::infinity();

INSTANTIATE_TEST_SUITE_P(
    Tcos, TcosRead,
    testing::Values(
        ReadCase{"DoubleFromRow", [] { return txCreateDoubleMatrix(1, 2); }, Refuses<double>(), kWrong},
        ReadCase{"DoubleFromLogical", [] { return txCreateLogicalScalar(true); }, Refuses<double>(), kWrong},
        ReadCase{"DoubleFromNull", [] { return nullptr; }, Refuses<double>(), kWrong},
        ReadCase{"UInt8Negative", Number(-1), Refuses<std::uint8_t>(), kRange},
        ReadCase{"Int16Fraction", Number(1.5), Refuses<std::int16_t>(), kFraction},
        ReadCase{"Int32NaN", Number(NAN), Refuses<std::int32_t>(), "QV_SERVICES:tcos:NaNForInteger"},
        ReadCase{"UInt32Infinite", Number(kInf), Refuses<std::uint32_t>(), kRange},
        // The 64-bit bounds are powers of two that a double holds exactly.
        ReadCase{"Int64AtTwoTo63", Number(std::ldexp(1.0, 63)), Refuses<std::int64_t>(), kRange},
        ReadCase{"Int64Lowest", Number(-std::ldexp(1.0, 63)),
                 Reads<std::int64_t>(std::numeric_limits<std::int64_t>::min()), ""},
        ReadCase{"UInt64AtTwoTo64", Number(std::ldexp(1.0, 64)), Refuses<std::uint64_t>(), kRange},
        ReadCase{"SingleOverflow", Number(1e39), Refuses<float>(), kRange},
        ReadCase{"SingleInfinity", Number(-kInf), Reads<float>(-INFINITY), ""},
        ReadCase{"BoolFromDoubleOne", Number(1), Reads<bool>(true), ""},
        ReadCase{"BoolFromTwo", Number(2), Refuses<bool>(), "QV_SERVICES:tcos:NotLogical"},
        ReadCase{"TextFromNumber", Number(1), Refuses<std::u16string>(), kWrong},
        ReadCase{"TextFromTwoRows", [] { return txCreateCharMatrix(2, 1); }, Refuses<std::string>(), kWrong},
        ReadCase{"VectorFromColumn", [] { return txCreateDoubleMatrix(3, 1); },
                 Reads<std::vector<std::uint8_t>>({0, 0, 0}), ""},
        ReadCase{"VectorFromMatrix", [] { return txCreateDoubleMatrix(2, 2); }, Refuses<std::vector<double>>(),
                 kWrong},
        ReadCase{"TextVectorWithNumber",
                 [] {
                   txArray* c = txCreateCellMatrix(1, 2);
                   txSetCell(c, 0, txCreateString(u"a"));
                   txSetCell(c, 1, txCreateDoubleScalar(1));
                   return c;
                 },
                 Refuses<std::vector<std::u16string>>(), "QV_SERVICES:tcos:WrongElement"},
        ReadCase{"OptionalKeepsItsTypeRules", Number(0.5), Refuses<std::optional<std::int32_t>>(), kFraction},
        ReadCase{"StringOrIDFromNumber", Number(1), Refuses<qvsvStringOrID>(),
                 "QV_SERVICES:strings:StringOrIDBadArray"},
        ReadCase{"EnumFromNumber", Number(2),
                 [](const txArray* a) { EXPECT_EQ(EnumFromHost(kColours, a), Colour::Green); }, ""},
        ReadCase{"EnumFromUnknownName", [] { return txCreateString(u"Blue"); },
                 [](const txArray* a) { (void)EnumFromHost(kColours, a); }, "QV_SERVICES:strings:UnknownEnumName"}),
    qvsv::test::RowName());

template <typename... T>
void ExpectRoundTrips(const T&... values) {
  auto roundTrip = [](const auto& value) {
    Array a(ToHost(value));
    EXPECT_EQ(FromHost<std::decay_t<decltype(value)>>(a.get()), value);
  };
  (roundTrip(values), ...);
}

// The integers sit on the bounds of their type, so they also pin each range.
TEST(TcosValues, EveryTypeReadsBackWhatItWrote) {
  using std::numeric_limits;
  ExpectRoundTrips(-0.1, numeric_limits<float>::max(), numeric_limits<std::int8_t>::min(),
                   numeric_limits<std::uint8_t>::max(), numeric_limits<std::int16_t>::min(),
                   numeric_limits<std::uint16_t>::max(), numeric_limits<std::int32_t>::min(),
                   numeric_limits<std::uint32_t>::max(), -(std::int64_t{1} << 53), std::uint64_t{1} << 53, true);
  ExpectRoundTrips(std::u16string(u"Gain \u00e9\U0001F600"), std::string("caf\xc3\xa9"), qvsvString(u"interned"),
                   qvsvStringOrID::fromIdentifier("QV_SERVICES:tcos:StaleInstance", {std::string("Gain"), 3}));
  ExpectRoundTrips(std::vector<std::int16_t>{-3, 0, 7}, std::vector<bool>{true, false},
                   std::vector<std::string>{"a", "", "c"}, std::vector<double>{},
                   qvsvTcosMatrix<std::uint32_t>{2, 3, {1, 2, 3, 4, 5, 6}},
                   qvsvTcosMatrix<std::string>{2, 1, {"top", "bottom"}}, std::optional<double>(),
                   std::optional<std::u16string>(u""));
  Array colour(EnumToHost(kColours, Colour::Red));
  EXPECT_EQ(txGetString(colour.get()), u"Red");
  // A round trip cannot see a transposition made both ways.
  Array matrix(ToHost(qvsvTcosMatrix<double>{2, 2, {1, 2, 3, 4}}));
  EXPECT_EQ(txGetPr(matrix.get())[1], 2.0);
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
  EXPECT_EQ(MessageOf([&] { (void)FromHost<std::int8_t>(text.get()); }),
            "Expected an int8 scalar (a 1x1 double array), but the value is a 1x3 char array.");
  Array row(ToHost(std::vector<double>{1, 2, 300}));
  EXPECT_EQ(MessageOf([&] { (void)FromHost<std::vector<std::uint8_t>>(row.get()); }),
            "Element 3 of the value, 300, is outside the range of uint8 (0 to 255).");
}

}  // namespace
