// Conversions between host arrays and native values: every type and every
// way a value can be refused; and the legacy data types with their rounding
// and saturating conversions.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "qv_services/legacy_types.hpp"
#include "qv_services/tcos_values.hpp"
#include "tests/support/test_support.hpp"
#include "tests/tcos/tcos_test_support.hpp"
#include "tessel/interpreter.hpp"

namespace {

using namespace qvsv::tcos;
using qvsv::test::Array;
using qvsv::test::FailureOf;
using qvsv::test::MessageOf;

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
const double kNaN = std::numeric_limits<double>::quiet_NaN();

INSTANTIATE_TEST_SUITE_P(
    Tcos, TcosRead,
    testing::Values(
        ReadCase{"DoubleFromRow", [] { return txCreateDoubleMatrix(1, 2); }, Refuses<double>(), kWrong},
        ReadCase{"DoubleFromLogical", [] { return txCreateLogicalScalar(true); }, Refuses<double>(), kWrong},
        ReadCase{"DoubleFromNull", [] { return nullptr; }, Refuses<double>(), kWrong},
        ReadCase{"UInt8Negative", Number(-1), Refuses<std::uint8_t>(), kRange},
        ReadCase{"Int16Fraction", Number(1.5), Refuses<std::int16_t>(), kFraction},
        ReadCase{"Int32NaN", Number(kNaN), Refuses<std::int32_t>(), "QV_SERVICES:tcos:NaNForInteger"},
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
        ReadCase{"MatrixFromText", [] { return txCreateString(u"ab"); }, Refuses<qvsvTcosMatrix<double>>(), kWrong},
        ReadCase{"TextVectorWithNumber",
                 [] {
                   txArray* c = ToHost(std::vector<std::string>{"a", "b"});
                   txSetCell(c, 1, txCreateDoubleScalar(1));
                   return c;
                 },
                 Refuses<std::vector<std::u16string>>(), "QV_SERVICES:tcos:WrongElement"},
        ReadCase{"OptionalKeepsItsTypeRules", Number(0.5), Refuses<std::optional<std::int32_t>>(), kFraction}),
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

// Ids are the positions in the table and sizes those of the native types.
TEST(LegacyTypes, TableMatchesTheNativeTypes) {
  std::string table;
  for (const qvsvLegacyDataType& t : qvsvLegacyDataType::all()) {
    EXPECT_EQ(&qvsvLegacyDataType::byName(t.name), &t);
    EXPECT_EQ(qvsvLegacyDataType::findById(t.id), &t);
    table += std::to_string(t.id) + " " + t.name + " " + std::to_string(t.size) + (t.isSigned ? " signed" : "") +
             (t.isInteger ? " integer" : "") + "\n";
  }
  EXPECT_EQ(table,
            "0 double 8 signed\n1 single 4 signed\n2 int8 1 signed integer\n3 uint8 1 integer\n"
            "4 int16 2 signed integer\n5 uint16 2 integer\n6 int32 4 signed integer\n7 uint32 4 integer\n"
            "8 boolean 1 integer\n");
  EXPECT_EQ(FailureOf([] { (void)qvsvLegacyDataType::byName("int64"); }), "QV_SERVICES:tcos:UnknownLegacyType");
  EXPECT_EQ(qvsvLegacyDataType::findById(9), nullptr);
}

struct Rounding {
  std::string name;
  const char* type;
  double in;
  double out;
};

class LegacyRounding : public testing::TestWithParam<Rounding> {};

// Every rule through the array path and read back from the raw bytes; the
// value sits second so that a wrong element size shows.
TEST_P(LegacyRounding, RoundsAndSaturates) {
  const Rounding& r = GetParam();
  const qvsvLegacyDataType& type = qvsvLegacyDataType::byName(r.type);
  Array in(txCreateDoubleMatrix(1, 2));
  txGetPrForWrite(in.get())[1] = r.in;
  const qvsvLegacyData data = qvsvLegacyFromHost(type, in.get());
  ASSERT_EQ(data.bytes.size(), 2 * type.size);
  Array back(qvsvLegacyToHost(data));
  EXPECT_EQ(txIsLogical(back.get()), type.id == 8);
  const double got = txIsLogical(back.get()) ? txGetLogicals(back.get())[1] : txGetPr(back.get())[1];
  EXPECT_TRUE(got == r.out || (std::isnan(got) && std::isnan(r.out))) << got;
}

// Halves round away from zero (-2.5 tells that from both banker's rounding
// and adding a half).
INSTANTIATE_TEST_SUITE_P(
    Legacy, LegacyRounding,
    testing::Values(Rounding{"Int8HalfAwayFromZero", "int8", -2.5, -3}, Rounding{"Int8Saturates", "int8", 300, 127},
                    Rounding{"Int8MinusInf", "int8", -kInf, -128}, Rounding{"Int8NaN", "int8", kNaN, 0},
                    Rounding{"UInt8Negative", "uint8", -1, 0}, Rounding{"UInt8Top", "uint8", 255.5, 255},
                    Rounding{"Int16Low", "int16", -40000, -32768}, Rounding{"UInt16Round", "uint16", 1.49, 1},
                    Rounding{"Int32Top", "int32", 3e9, 2147483647}, Rounding{"UInt32Inf", "uint32", kInf, 4294967295.0},
                    Rounding{"SingleNearest", "single", 0.1, static_cast<double>(0.1f)},
                    Rounding{"SingleOverflow", "single", 1e39, kInf}, Rounding{"SingleNaN", "single", kNaN, kNaN},
                    Rounding{"BooleanNonZero", "boolean", -0.5, 1}, Rounding{"DoubleUnchanged", "double", 0.1, 0.1}),
    qvsv::test::RowName());

TEST(LegacyTypes, RefusesWhatNoRuleCovers) {
  Array nan(txCreateDoubleMatrix(1, 3));
  txGetPrForWrite(nan.get())[2] = kNaN;
  const auto& boolean = qvsvLegacyDataType::byName("boolean");
  EXPECT_EQ(qvsv::test::MessageOf([&] { (void)qvsvLegacyFromHost(boolean, nan.get()); }),
            "Element 3 of the value is NaN, which the legacy type boolean cannot hold.");
  Array text(txCreateString(u"1"));
  EXPECT_EQ(FailureOf([&] { (void)qvsvLegacyFromHost(boolean, text.get()); }), "QV_SERVICES:tcos:LegacyWrongValue");
  qvsvLegacyData torn{&qvsvLegacyDataType::byName("int16"), 1, 2, {1, 2, 3}};
  EXPECT_EQ(FailureOf([&] { Array a(qvsvLegacyToHost(torn)); }), "QV_SERVICES:tcos:LegacyWrongData");
}

// Logical input reads as 0 and 1, and the shape survives the bytes.
TEST(LegacyTypes, LogicalInputAndShapeSurvive) {
  Array in(txCreateLogicalMatrix(2, 3));
  txGetLogicalsForWrite(in.get())[4] = true;
  const qvsvLegacyData data = qvsvLegacyFromHost(qvsvLegacyDataType::byName("uint16"), in.get());
  Array back(qvsvLegacyToHost(data));
  EXPECT_EQ(txGetM(back.get()), 2u);
  EXPECT_EQ(txGetN(back.get()), 3u);
  EXPECT_EQ(txGetPr(back.get())[4], 1.0);
  EXPECT_EQ(data.element(3), 0.0);
}

}  // namespace
