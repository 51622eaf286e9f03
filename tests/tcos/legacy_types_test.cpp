// The legacy data types: the table itself, and rounding and saturating
// conversions into each type.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "qv_services/legacy_types.hpp"
#include "tests/support/test_support.hpp"
#include "tests/tcos/tcos_test_support.hpp"

namespace {

using qvsv::test::Array;
using qvsv::test::FailureOf;

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

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
