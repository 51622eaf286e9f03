#include "tessel/array.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/raised.hpp"

namespace {

// Every test starts and ends with the same number of live arrays.
class HostArray : public ::testing::Test {
 protected:
  void SetUp() override { live_ = tessel::LiveArrayCount(); }
  void TearDown() override { EXPECT_EQ(tessel::LiveArrayCount(), live_) << "arrays leaked or destroyed twice"; }
  std::size_t live_ = 0;
};

TEST_F(HostArray, ScopesDestroyTheirOwnTemporariesOnlyAndPersistentOnesSurvive) {
  txArray* kept = nullptr;
  txArray* cell = txCreateCellMatrix(1, 2);
  {
    tessel::HostCallScope outer;
    txCreateDoubleScalar(1.0);
    {
      tessel::HostCallScope inner;
      kept = txCreateString(u"kept");
      txMakeArrayPersistent(kept);
      txSetCell(cell, 0, txCreateString(u"element"));  // handed to the cell: no longer the scope's
      EXPECT_TRUE(txIsTemporary(txCreateDoubleScalar(2)));
      EXPECT_EQ(inner.temporaryCount(), 1u);
    }
    EXPECT_EQ(tessel::LiveArrayCount(), live_ + 4) << "the inner scope took only its own temporary";
  }
  EXPECT_EQ(txGetString(kept), u"kept");
  EXPECT_EQ(txGetString(txGetCell(cell, 0)), u"element");
  txDestroyArray(kept);
  txDestroyArray(cell);
}

TEST_F(HostArray, SharedCopySharesUntilWrittenAndOutlivesItsSource) {
  txArray* source = txCreateDoubleMatrix(1, 3);
  txArray* copy = txCreateSharedDataCopy(source);
  EXPECT_EQ(txGetPr(copy), txGetPr(source));
  txGetPrForWrite(copy)[1] = 9;
  EXPECT_EQ(txGetPr(source)[1], 0);
  EXPECT_EQ(txGetPr(copy)[1], 9);

  txArray* cell = txCreateCellMatrix(2, 1);
  txSetCell(cell, 0, txCreateString(u"old"));
  txSetCell(cell, 1, txCreateDoubleScalar(7));
  txArray* cellCopy = txCreateSharedDataCopy(cell);
  txSetCell(cellCopy, 0, txCreateString(u"new"));
  EXPECT_EQ(txGetString(txGetCell(cell, 0)), u"old");
  txDestroyArray(cell);
  EXPECT_EQ(txGetScalar(txGetCell(cellCopy, 1)), 7.0);
  for (txArray* a : {source, copy, cellCopy}) txDestroyArray(a);
}

TEST_F(HostArray, StructFieldsByNumberAndByNameAndADeepCopyOutlivesItsSource) {
  txArray* s = txCreateStructMatrix(1, 2, {"file", "line"});
  EXPECT_STREQ(txGetFieldNameByNumber(s, 1), "line");
  EXPECT_EQ(txGetFieldNumber(s, "missing"), -1);
  EXPECT_EQ(txGetField(s, 0, "missing"), nullptr);
  txSetField(s, 1, "file", txCreateString(u"f.m"));
  txSetFieldByNumber(s, 1, 1, txCreateDoubleScalar(12));
  EXPECT_EQ(txGetField(s, 0, "file"), nullptr);
  EXPECT_EQ(txAddField(s, "extra"), 2);
  EXPECT_EQ(txAddField(s, "file"), 0) << "an existing field keeps its number";
  txArray* inner = txCreateCellMatrix(1, 1);
  txSetCell(inner, 0, txCreateDoubleScalar(3));
  txSetField(s, 0, "extra", inner);
  txArray* copy = txDuplicateArray(s);
  txDestroyArray(s);
  EXPECT_EQ(txGetNumberOfFields(copy), 3);
  EXPECT_EQ(txGetStringUTF8(txGetFieldByNumber(copy, 1, 0)), "f.m");
  EXPECT_EQ(txGetScalar(txGetField(copy, 1, "line")), 12.0) << "adding a field keeps the values";
  EXPECT_EQ(txGetScalar(txGetCell(txGetField(copy, 0, "extra"), 0)), 3.0);
  txDestroyArray(copy);
}

TEST_F(HostArray, ClassesAndShapes) {
  txArray* object = txCreateObjectMatrix(1, 1, "Quiver.Block", {"Handle"});
  EXPECT_EQ(txGetClassID(object), txClassID::Object);
  EXPECT_STREQ(txGetClassName(object), "Quiver.Block");
  EXPECT_TRUE(txIsStruct(object));
  txArray* logical = txCreateLogicalScalar(true);
  EXPECT_STREQ(txGetClassName(logical), "logical");
  EXPECT_EQ(txGetScalar(logical), 1.0);
  EXPECT_STREQ(txGetClassName(nullptr), "unknown");
  EXPECT_EQ(txGetNumberOfElements(nullptr), 0u);
  txArray* utf8 = txCreateStringFromUTF8("\xC3\xA9t\xC3\xA9");
  EXPECT_EQ(txGetString(utf8), u"\u00E9t\u00E9");
  EXPECT_EQ(txGetN(utf8), 3u);
  for (txArray* a : {object, logical, utf8}) txDestroyArray(a);
}

TEST_F(HostArray, BadIndicesClassesAndOwnersThrowNamingTheValue) {
  tessel::HostCallScope scope;  // collects the arrays created inside EXPECT_THROW
  txArray* cell = txCreateCellMatrix(1, 2);
  const auto outside = qvsv::test::Raised<std::out_of_range>([&] { txGetCell(cell, 5); });
  ASSERT_TRUE(outside);
  EXPECT_NE(std::string(outside->what()).find("index 5"), std::string::npos) << outside->what();
  EXPECT_THROW(txGetString(txCreateDoubleScalar(1)), std::invalid_argument);
  EXPECT_THROW(txSetField(txCreateStructMatrix(1, 1, {"a"}), 0, "b", nullptr), std::invalid_argument);
  EXPECT_THROW(txCreateStructMatrix(1, 1, {"a", "a"}), std::invalid_argument);
  EXPECT_THROW(txGetScalar(txCreateDoubleMatrix(0, 0)), std::invalid_argument);
  txArray* element = txCreateDoubleScalar(2);
  txSetCell(cell, 0, element);
  EXPECT_THROW(txDestroyArray(element), std::invalid_argument) << "a contained array dies with its container";
  txArray* other = txCreateCellMatrix(1, 1);
  EXPECT_THROW(txSetCell(other, 0, element), std::invalid_argument) << "one owner per array";
  EXPECT_THROW(txSetCell(cell, 1, cell), std::invalid_argument);
  for (txArray* a : {cell, other}) txDestroyArray(a);
}

}  // namespace
