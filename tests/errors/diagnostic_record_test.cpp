#include <algorithm>
#include <stdexcept>

#include "qv_services/conversions.hpp"
#include "qv_services/errors/diagnostic_state.hpp"
#include "qv_services/fault_injection.hpp"
#include "tests/errors/diagnostics_fixture.hpp"

namespace {

using qvsv::test::DiagnosticsTest;

class DiagnosticRecord : public DiagnosticsTest {};

// A null diagnostic and an index past the items read as nothing.
TEST_F(DiagnosticRecord, NullDiagnosticAndMissingItemsReadAsEmpty) {
  qvsvDiagnosticImpl* none = nullptr;
  qvsvDiagnosticImpl* three = queueOf(3);
  for (const auto& [diag, index] : {std::pair(none, 0u), std::pair(three, 3u), std::pair(three, 99u)}) {
    SCOPED_TRACE(index);
    EXPECT_EQ(qvsvGetIdentifierFromDiagnosticItem(diag, index), nullptr);
    EXPECT_EQ(qvsvGetMessageFromDiagnosticItem(diag, index), nullptr);
    EXPECT_EQ(qvsvGetExtraMessageFromDiagnosticItem(diag, index), nullptr);
    EXPECT_TRUE(qvsvGetHandlesFromDiagnosticItem(diag, static_cast<int>(index)).empty());
    EXPECT_EQ(qvsvGetCauseFromDiagnosticItem(diag, index), nullptr);
    EXPECT_EQ(qvsvGetTStackFromDiagnostic(diag, index), "");
    EXPECT_FALSE(qvsvCheckDiagnosticForMessageIdentifier(diag, "Q:0", index));
  }
  EXPECT_TRUE(qvsvGetHandlesFromDiagnosticItem(three, -1).empty());
  EXPECT_STREQ(qvsvGetIdentifierFromDiagnosticItem(three, 1), "Q:1");
  EXPECT_TRUE(qvsvCheckDiagnosticForMessageIdentifier(three, "Q:2", 2));
  EXPECT_FALSE(qvsvCheckDiagnosticForMessageIdentifier(three, nullptr, 2));
  qvsvDiscardDiagnostic(three);
  EXPECT_EQ(three, nullptr);

  EXPECT_EQ(qvsvGetNumItemsInDiagnostic(none), 0);
  EXPECT_EQ(qvsvGetCombinedErrorIdentifier(none) + ConvertUStringToStdString(qvsvGetCombinedErrorMessage(none)), "");
  EXPECT_EQ(qvsvGetFirstErrorIdentifier(none), nullptr);
  EXPECT_TRUE(qvsvGetArgumentsFromLastDiagnostic(none).empty());
  EXPECT_EQ(qvsvGetLastErrorCreationTime(none), qvsvErrorCreationTimeUnset);
  qvsvDiscardDiagnostic(none);
  qvsvSetDiagnosticStatic(none);
  EXPECT_EQ(qvsvDuplicateDiagnostic(none), nullptr);
}

TEST_F(DiagnosticRecord, CombinedIdentifierOfOneTwoAndUnnamedItems) {
  qvsvDiagnosticImpl* diag = make("A:b");
  EXPECT_EQ(qvsvGetCombinedErrorIdentifier(diag), "A:b");
  EXPECT_EQ(qvsvGetCombinedErrorMessage(diag), u"m");
  diag->firstItem()->identifier.clear();
  EXPECT_EQ(qvsvGetCombinedErrorIdentifier(diag), "QV_SERVICES:utils:UNDEFINED_ID");
  diag->firstItem()->identifier.clear();
  EXPECT_STREQ(qvsvGetFirstErrorIdentifier(diag), "") << "the first-identifier getter does not substitute";
  EXPECT_STREQ(qvsvGetIdentifierFromDiagnosticItem(diag, 0), "QV_SERVICES:utils:UNDEFINED_ID");
  EXPECT_EQ(diag->firstItem()->identifier, "QV_SERVICES:utils:UNDEFINED_ID") << "the item getter stores it";
  qvsvConcatenateDiagnostics(diag, make("C:d"), false);
  EXPECT_EQ(qvsvGetCombinedErrorIdentifier(diag), "Tessel:TException:MultipleErrors");
  EXPECT_EQ(qvsvGetCombinedErrorMessage(diag), u"Multiple errors occurred. See the causes for details.");
  qvsvDiscardDiagnostic(diag);
}

TEST_F(DiagnosticRecord, LastCreationTimeActsOnTheFirstItem) {
  qvsvDiagnosticImpl* diag = queueOf(3);
  qvsvSetLastErrorCreationTime(diag, static_cast<qvsvErrorCreationTime>(7));
  EXPECT_EQ(qvsvGetErrorCreationTimeFromDiagnosticItem(diag, 0), 7u);
  EXPECT_EQ(qvsvGetErrorCreationTimeFromDiagnosticItem(diag, 2), 0u);
  EXPECT_EQ(qvsvGetLastErrorCreationTime(diag), 7u);
  qvsvDiscardDiagnostic(diag);
}

TEST_F(DiagnosticRecord, CausesAreAddedRemovedAndRefusedByStaticItems) {
  qvsvDiagnosticImpl* diag = queueOf(2);
  qvsvDiagnosticImpl* cause = make("Cause:one");
  qvsvAddCauseToDiagnosticItem(diag, 0, cause);
  EXPECT_EQ(cause, nullptr);
  qvsvDiagnosticImpl* second = make("Cause:two");
  qvsvAddCauseToDiagnosticItem(diag, 0, second);
  EXPECT_EQ(ids(qvsvGetCauseFromDiagnosticItem(diag, 0)), (std::vector<std::string>{"Cause:one", "Cause:two"}));

  qvsvDiagnosticImpl* missing = make("Cause:x");
  qvsvAddCauseToDiagnosticItem(diag, 5, missing);
  EXPECT_NE(missing, nullptr) << "no item: the caller keeps the cause";

  qvsvDiagnosticImpl* removed = qvsvRemoveCauseFromDiagnosticItem(diag, 0);
  EXPECT_EQ(ids(removed).size(), 2u);
  EXPECT_EQ(qvsvRemoveCauseFromDiagnosticItem(diag, 0), nullptr);

  qvsvDiagnosticImpl* oom = qvsvCreateMemoryAllocationDiagnostic();
  qvsvAddCauseToLastDiagnosticItem(oom, missing);
  EXPECT_NE(missing, nullptr) << "a static item takes no cause";
  for (qvsvDiagnosticImpl* d : {diag, removed, missing, oom}) qvsvDiscardDiagnostic(d);
}

TEST_F(DiagnosticRecord, MetadataOfTheLastItemIsSetReplacedAndRead) {
  qvsvDiagnosticImpl* diag = queueOf(2);
  qvsv::SetMetaDataToLastDiagnostic(diag, u"count", std::int64_t{3});
  qvsv::SetMetaDataToLastDiagnostic(diag, u"count", std::int64_t{4});
  EXPECT_EQ(diag->lastItem()->metadata, (qvsvMetaDataMap{{u"count", std::int64_t{4}}}));
  EXPECT_EQ(*qvsv::GetMetaDataFromLastDiagnostic(diag, u"count"), qvsvArgumentValue(std::int64_t{4}));
  EXPECT_EQ(qvsv::GetMetaDataFromLastDiagnostic(diag, u"absent"), nullptr);
  EXPECT_TRUE(diag->firstItem()->metadata.empty());
  qvsvDiagnosticImpl* none = nullptr;
  qvsv::SetMetaDataToLastDiagnostic(none, u"k", std::int64_t{1});
  EXPECT_EQ(qvsv::GetMetaDataFromLastDiagnostic(none, u"k"), nullptr);
  qvsvDiscardDiagnostic(diag);
}

// The copy shares nothing: it outlives its source, which ASan would catch.
TEST_F(DiagnosticRecord, DuplicateIsDeepTakesTheCandidatesAndCopiesAtMostTheLimit) {
  qvsvDiagnosticImpl* diag = queueOf(5);
  qvsvDiagnosticImpl* cause = make("Cause:c");
  qvsvAddCauseToLastDiagnosticItem(diag, cause);
  const double handles[] = {1.5, 2.5};
  qvsvSetHandlesInErrorQueueLastDiagnostic(handles, 2, diag);
  int token = 0;
  qvsvAddCandidateToErrorQueueFcn(diag, &token);
  const std::string expected = tree(diag);
  qvsvDiagnosticImpl* copy = qvsvDuplicateDiagnostic(diag);
  EXPECT_EQ(copy->candidates(), std::vector<void*>{&token});
  qvsvSetMaxDiagnosticsInQueue(3);
  qvsvDiagnosticImpl* limited = qvsvDuplicateDiagnostic(diag);
  EXPECT_EQ(tree(limited), "Q:0=0;Q:1=1;Q:2=2;");
  EXPECT_EQ(qvsvSetMaxDiagnosticsInQueue(-5), nullptr);
  EXPECT_EQ(qvsvGetMaxDiagnosticsInQueue(), 0) << "a negative limit is stored as 0";
  qvsvDiagnosticImpl* none = qvsvDuplicateDiagnostic(diag);
  ASSERT_NE(none, nullptr);
  EXPECT_TRUE(none->isEmpty()) << "0 is not unlimited for duplication";
  qvsvDiscardDiagnostic(diag);
  EXPECT_EQ(tree(copy), expected);
  EXPECT_EQ(qvsvGetHandlesFromDiagnosticItem(copy, 4), (std::vector<double>{1.5, 2.5}));
  for (qvsvDiagnosticImpl* d : {copy, limited, none}) qvsvDiscardDiagnostic(d);
}

TEST_F(DiagnosticRecord, DuplicateOfAnItemWhoseHandlesCannotBeCopiedIsTheOutOfMemoryItem) {
  const double handle = 1.5;
  qvsvDiagnosticImpl* diag = qvsvCreateDiagnosticFromIdAndMsg(&handle, 1, "A:b", "with a handle");
  qvsvConcatenateDiagnostics(diag, make("C:d"), false);
  qvsvDiagnosticImpl* copy = nullptr;
  {
    qvsv::ScopedExceptionTesting failing(1);
    qvsvCreateExceptionTesterByName(qvsv::fault::kHandleArray);
    qvsvGetExceptionTesterByName(qvsv::fault::kHandleArray)->setIterationToSkip(0);
    copy = qvsvDuplicateDiagnostic(diag);
  }
  EXPECT_EQ(ids(copy), (std::vector<std::string>{"QV_SERVICES:utils:MemoryAllocationError", "C:d"}));
  qvsvDiscardDiagnostic(copy);
  qvsvDiscardDiagnostic(diag);
}

// Appending item by item: the limit and the replacement rule.
class AppendAtLimit : public DiagnosticsTest, public ::testing::WithParamInterface<int> {};

TEST_P(AppendAtLimit, ReplacementTakesPositionLMinusOneAndTheRestIsDropped) {
  const int limit = GetParam();
  qvsvDiagnosticImpl* replacementHolder = make("Repl:acement", u"replacement");
  qvsvSetMaxDiagnosticsInQueue(limit);
  const qvsvDiagnosticItem* replacement = replacementHolder->firstItem();
  qvsvDiagnosticImpl* diag = qvsvObtainDiagnostic();
  const int appended = 300;
  for (int i = 0; i < appended; ++i) {
    auto* item = new qvsvDiagnosticItem;
    item->identifier = "Item:" + std::to_string(i + 1);
    diag->appendItem(item, replacement, false);
  }
  const std::vector<std::string> got = ids(diag);
  if (limit == 0) {
    ASSERT_EQ(got.size(), static_cast<std::size_t>(appended));
    EXPECT_EQ(std::count(got.begin(), got.end(), "Repl:acement"), 0);
  } else {
    ASSERT_EQ(got.size(), static_cast<std::size_t>(limit));
    if (limit >= 2) {
      EXPECT_EQ(got[static_cast<std::size_t>(limit) - 2], "Repl:acement") << "the item that brings the count to L-1";
    }
    EXPECT_EQ(got.back(), "Item:" + std::to_string(limit)) << "one more item fits after the replacement";
  }
  qvsvDiscardDiagnostic(diag);
  qvsvDiscardDiagnostic(replacementHolder);
}

INSTANTIATE_TEST_SUITE_P(DiagnosticRecord, AppendAtLimit, ::testing::Values(0, 1, 2, 128));

TEST_F(DiagnosticRecord, ListPastItsMaximumSizeRaisesTheLengthError) {
  qvsv::detail::SetMaxListSizeForTesting(3);
  qvsvSetMaxDiagnosticsInQueue(0);
  qvsvDiagnosticImpl* diag = queueOf(3);
  auto* item = new qvsvDiagnosticItem;
  try {
    diag->appendItem(item, nullptr, false);
    FAIL() << "no exception";
  } catch (const std::length_error& e) {
    EXPECT_STREQ(e.what(), "list<T> too long");
  }
  delete item;
  qvsvDiagnosticImpl* more = queueOf(1);
  EXPECT_THROW(qvsvConcatenateDiagnostics(diag, more, false), std::length_error);
  EXPECT_EQ(qvsvGetNumItemsInDiagnostic(diag), 3);
  qvsvDiscardDiagnostic(more);
  qvsvDiscardDiagnostic(diag);
}

// A subclass with state of its own is bigger than the pool's chunks: it lives
// in ordinary memory, where the pool's clearing does not look, and still
// releases through the common path.
class RefusingDiagnostic : public qvsvDiagnosticImpl {
 public:
  bool refusesItem(const qvsvDiagnosticItem* item) const override { return item->identifier == refused_; }

 private:
  std::string refused_ = "Refused:item";
};

class DiagnosticPool : public DiagnosticsTest {};

TEST_F(DiagnosticPool, ReleasedMemoryIsReusedLowestAddressFirst) {
  std::vector<qvsvDiagnosticImpl*> diags;
  for (int i = 0; i < 5; ++i) diags.push_back(qvsvObtainDiagnostic());
  std::sort(diags.begin(), diags.end());
  qvsvDiagnosticImpl* lowest = diags[1];
  qvsvDiagnosticImpl* higher = diags[3];
  qvsvDiscardDiagnostic(diags[3]);
  qvsvDiscardDiagnostic(diags[1]);
  diags[1] = qvsvObtainDiagnostic();
  diags[3] = qvsvObtainDiagnostic();
  EXPECT_EQ(diags[1], lowest);
  EXPECT_EQ(diags[3], higher);
  for (qvsvDiagnosticImpl*& d : diags) qvsvDiscardDiagnostic(d);
}

TEST_F(DiagnosticPool, ObtainingReusesAnEmptyReusableNonStaticDiagnosticOnly) {
  qvsvDiagnosticImpl* full = make("A:b");
  qvsvDiagnosticImpl* pinned = qvsvObtainDiagnostic();
  full->setReusable(true);
  pinned->setReusable(true);
  qvsvSetDiagnosticStatic(pinned);
  qvsvDiagnosticImpl* fresh = qvsvObtainDiagnostic();
  EXPECT_NE(fresh, full) << "not while it has items";
  EXPECT_NE(fresh, pinned) << "never a static one";
  fresh->setReusable(true);
  qvsvDiagnosticImpl* again = qvsvObtainDiagnostic();
  EXPECT_EQ(again, fresh);
  EXPECT_FALSE(again->isReusable()) << "the mark is cleared when handed out";

  const std::size_t before = qvsv::detail::LiveDiagnosticCount();
  qvsvCleanUpErrorQueue();
  EXPECT_EQ(qvsv::detail::LiveDiagnosticCount(), before - 1) << "only `full`: reusable and not static";
  pinned->reset();
  EXPECT_FALSE(pinned->isStatic());
  EXPECT_FALSE(pinned->isReusable());
  qvsvDiscardDiagnostic(pinned);
  qvsvDiscardDiagnostic(again);
}

TEST_F(DiagnosticPool, ClearingThePoolDestroysDiagnosticsWithItemsButNotEmptyStaticOrSubclassOnes) {
  qvsvDiagnosticImpl* withItems = make("A:b");
  qvsvDiagnosticImpl* withCause = make("A:c");
  qvsvDiagnosticImpl* cause = make("Cause:x");
  qvsvAddCauseToLastDiagnosticItem(withCause, cause);
  qvsvDiagnosticImpl* empty = qvsvObtainDiagnostic();
  qvsvDiagnosticImpl* pinned = make("A:d");
  qvsvSetDiagnosticStatic(pinned);
  qvsvDiagnosticImpl* sub = new RefusingDiagnostic;
  auto* refused = new qvsvDiagnosticItem;
  refused->identifier = "Refused:item";
  sub->appendItem(refused, nullptr, false);
  EXPECT_TRUE(sub->isEmpty()) << "a refused item stays with the caller";
  delete refused;
  qvsvConcatenateDiagnostics(sub, make("Kept:item"), false);
  qvsvDiagnosticImpl* subCause = make("Cause:y");
  qvsvAddCauseToLastDiagnosticItem(sub, subCause);
  const std::size_t before = qvsv::detail::LiveDiagnosticCount();
  EXPECT_EQ(qvsvClearDiagnosticQueuePool(), nullptr);
  EXPECT_EQ(qvsv::detail::LiveDiagnosticCount(), before - 3) << "two queues and one cause";
  EXPECT_TRUE(empty->isEmpty());
  EXPECT_EQ(tree(pinned) + tree(sub), "A:d=m;Kept:item=m[Cause:y=m;];") << "the subclass's cause is spared";
  static_cast<void>(withItems);
  for (qvsvDiagnosticImpl* d : {empty, pinned, sub}) qvsvDiscardDiagnostic(d);
}

}  // namespace
