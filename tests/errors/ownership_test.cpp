// Who owns what when callers do unusual but legal things: list their own
// static items, hand the library a diagnostic that contains the destination,
// release queues from inside callbacks, release twice, subclass diagnostics.
#include <cstring>

#include "qv_services/diagnostic.hpp"
#include "qv_services/errors/diagnostic_state.hpp"
#include "qv_services/reporting.hpp"
#include "tessel/array.hpp"
#include "tessel/console.hpp"
#include "tests/errors/diagnostics_fixture.hpp"

namespace {

using qvsv::test::DiagnosticsTest;

// --- Static items belong to their maker, not to the diagnostics that list them. ---

class StaticItems : public DiagnosticsTest {
 protected:
  void SetUp() override {
    DiagnosticsTest::SetUp();
    mine_ = new qvsvDiagnosticItem;
    mine_->identifier = "Mine:static";
    mine_->message = u"kept by its maker";
    mine_->isStatic = true;
  }
  void TearDown() override {
    delete mine_;  // the maker's to destroy, after every diagnostic that listed it
    DiagnosticsTest::TearDown();
  }
  static qvsvDiagnosticImpl* listing(qvsvDiagnosticItem* item) {
    qvsvDiagnosticImpl* diag = qvsvObtainDiagnostic();
    diag->appendItem(item, nullptr, false);
    return diag;
  }
  qvsvDiagnosticItem* mine_ = nullptr;
};

TEST_F(StaticItems, ACallersStaticItemOutlivesEveryDiagnosticThatListsIt) {
  qvsvDiagnosticImpl* a = listing(mine_);
  qvsvDiagnosticImpl* b = listing(mine_);
  qvsvDiscardDiagnostic(a);
  EXPECT_STREQ(qvsvGetFirstErrorIdentifier(b), "Mine:static");
  qvsvClearLastError(b);
  EXPECT_EQ(b, nullptr);
  EXPECT_EQ(mine_->message, u"kept by its maker");
}

TEST_F(StaticItems, AFullQueueDropsAStaticItemWithoutDestroyingIt) {
  qvsvSetMaxDiagnosticsInQueue(1);
  qvsvDiagnosticImpl* full = make("A:b");
  full->appendItem(mine_, nullptr, false);
  EXPECT_EQ(ids(full), std::vector<std::string>{"A:b"});
  EXPECT_EQ(mine_->identifier, "Mine:static");
  qvsvDiscardDiagnostic(full);
}

TEST_F(StaticItems, LibraryCopiesOfAStaticItemBelongToTheirDiagnostic) {
  qvsvDiagnosticImpl* original = listing(mine_);
  qvsvDiagnosticImpl* copy = qvsvDuplicateDiagnostic(original);
  ASSERT_NE(copy->firstItem(), mine_);
  EXPECT_TRUE(copy->firstItem()->isStatic) << "the copy carries the mark";
  qvsvDiagnosticImpl* cause = make("C:1");
  qvsvAddCauseToLastDiagnosticItem(copy, cause);
  EXPECT_NE(cause, nullptr) << "and, being static, takes no cause";
  qvsvDiscardDiagnostic(cause);
  qvsvDiscardDiagnostic(copy);  // frees the copy: the fixture counts the items
  qvsvDiscardDiagnostic(original);
}

// --- A diagnostic cannot become a cause of itself. ---

class CauseCycles : public DiagnosticsTest {};

TEST_F(CauseCycles, AddingADiagnosticAsCauseOfItsOwnItemIsRefused) {
  qvsvDiagnosticImpl* diag = queueOf(2);
  qvsvDiagnosticImpl* const before = diag;
  qvsvAddCauseToDiagnosticItem(diag, 0, diag);
  ASSERT_EQ(diag, before) << "the caller keeps its pointer";
  EXPECT_EQ(ids(diag), (std::vector<std::string>{"Q:0", "Q:1"}));
  EXPECT_EQ(qvsvGetCauseFromDiagnosticItem(diag, 0), nullptr);
  qvsvDiscardDiagnostic(diag);
}

TEST_F(CauseCycles, AddingAnAncestorAsCauseOfADescendantIsRefused) {
  qvsvDiagnosticImpl* top = make("Top:x");
  qvsvDiagnosticImpl* middle = make("Middle:x");
  qvsvAddCauseToLastDiagnosticItem(top, middle);
  qvsvDiagnosticImpl* inner = qvsvGetCauseFromDiagnosticItem(top, 0);  // borrowed from top's item
  qvsvAddCauseToLastDiagnosticItem(inner, top);
  ASSERT_NE(top, nullptr);
  EXPECT_EQ(qvsvGetCauseFromDiagnosticItem(inner, 0), nullptr);
  qvsvDiagnosticImpl* copy = qvsvDuplicateDiagnostic(top);  // a cycle would never end here
  EXPECT_EQ(ids(qvsvGetCauseFromDiagnosticItem(copy, 0)), std::vector<std::string>{"Middle:x"});
  qvsvDiscardDiagnostic(copy);
  qvsvDiscardDiagnostic(top);
}

TEST_F(CauseCycles, MergingAQueueIntoTheCauseOfOneOfItsItemsIsRefused) {
  qvsvDiagnosticImpl* queue = queueOf(2);
  qvsvDiagnosticImpl* cause = make("C:1");
  qvsvAddCauseToDiagnosticItem(queue, 1, cause);
  qvsvDiagnosticImpl* borrowed = qvsvGetCauseFromDiagnosticItem(queue, 1);
  qvsvConcatenateDiagnostics(borrowed, queue, false);
  ASSERT_NE(queue, nullptr);
  EXPECT_EQ(ids(queue), (std::vector<std::string>{"Q:0", "Q:1"}));
  EXPECT_EQ(ids(borrowed), std::vector<std::string>{"C:1"});

  // The same through an item's empty cause field.
  qvsvConcatenateDiagnostics(queue->firstItem()->cause, queue, true);
  ASSERT_NE(queue, nullptr);
  EXPECT_EQ(queue->firstItem()->cause, nullptr);
  EXPECT_EQ(queue->count(), 2u);
  qvsvDiscardDiagnostic(queue);
}

TEST_F(CauseCycles, AnItemsCauseCannotBeMergedAwayFromIt) {
  qvsvDiagnosticImpl* owner = make("Owner:x");
  qvsvDiagnosticImpl* cause = make("C:1");
  qvsvAddCauseToLastDiagnosticItem(owner, cause);
  qvsvDiagnosticImpl* borrowed = qvsvGetCauseFromDiagnosticItem(owner, 0);
  qvsvDiagnosticImpl* other = make("Other:x");
  qvsvConcatenateDiagnostics(other, borrowed, false);
  EXPECT_EQ(borrowed, qvsvGetCauseFromDiagnosticItem(owner, 0)) << "the item's cause stays the item's";
  EXPECT_EQ(ids(other), std::vector<std::string>{"Other:x"});
  qvsvDiscardDiagnostic(other);
  qvsvDiscardDiagnostic(owner);
}

// --- Callbacks that release or merge away the diagnostic they were given. ---

class ReentrantCallers : public DiagnosticsTest {
 protected:
  static qvsvDiagnosticImpl*& sink() {
    static qvsvDiagnosticImpl* diag = nullptr;
    return diag;
  }
  static void releaseIt(qvsvDiagnosticImpl* diag, double*, int) { qvsvDiscardDiagnostic(diag); }
  static void mergeItAway(qvsvDiagnosticImpl* diag, double*, int) { qvsvConcatenateDiagnostics(sink(), diag, false); }
};

TEST_F(ReentrantCallers, CandidateFunctionMayReleaseItsQueueWhichEndsTheProcessing) {
  int a = 0, b = 0;
  qvsvDiagnosticImpl* queue = queueOf(1);
  qvsvAddCandidateToErrorQueueFcn(queue, &a);
  qvsvAddCandidateToErrorQueueFcn(queue, &b);
  int calls = 0;
  qvsvProcessErrorFcn(queue, [&calls](qvsvDiagnosticImpl* q, void*) {
    ++calls;
    qvsvDiscardDiagnostic(q);
  });
  EXPECT_EQ(queue, nullptr) << "released when the processing ended";
  EXPECT_EQ(calls, 1);
}

TEST_F(ReentrantCallers, CandidateFunctionMayMergeItsQueueAway) {
  int a = 0, b = 0;
  qvsvDiagnosticImpl* queue = queueOf(2);
  qvsvAddCandidateToErrorQueueFcn(queue, &a);
  qvsvAddCandidateToErrorQueueFcn(queue, &b);
  qvsvDiagnosticImpl* other = make("Other:x");
  qvsvProcessErrorFcn(queue, [&other](qvsvDiagnosticImpl* q, void*) { qvsvConcatenateDiagnostics(other, q, false); });
  EXPECT_EQ(queue, nullptr);
  EXPECT_EQ(ids(other), (std::vector<std::string>{"Other:x", "Q:0", "Q:1"}));
  qvsvDiscardDiagnostic(other);
}

TEST_F(ReentrantCallers, ProcessCallbackCannotReleaseOrMergeAwayTheDiagnosticBeingHandedOver) {
  const double handle = 4.0;
  for (const qvsvProcessCallback callback : {&ReentrantCallers::releaseIt, &ReentrantCallers::mergeItAway}) {
    qvsvSetGlobalProcessCallback(callback);
    qvsvDiagnosticImpl* diag = qvsvCreateDiagnosticFromIdAndMsg(&handle, 1, nullptr, "A:b", u"with a handle");
    ASSERT_NE(diag, nullptr);
    EXPECT_EQ(ids(diag), std::vector<std::string>{"A:b"}) << "still the caller's";
    EXPECT_EQ(sink(), nullptr);
    qvsvSetHandlesInErrorQueueLastDiagnostic(&handle, 1, diag);
    diag->lastItem()->handlesPending = true;
    tessel::ConsoleCapture console;
    qvsvReportAsError(diag);  // hands the handles over again, then shows it
    EXPECT_EQ(diag, nullptr);
    EXPECT_EQ(console.text(), "Error: with a handle\n");
    qvsvClearGlobalProcessCallback();
  }
}

// --- Releasing twice fails at once, naming the object. ---

using DoubleReleaseDeathTest = DiagnosticsTest;

TEST_F(DoubleReleaseDeathTest, ReleasingADiagnosticTwiceAbortsWithAMessage) {
  EXPECT_DEATH(
      {
        qvsvDiagnosticImpl* diag = make("A:b");
        qvsvDiagnosticImpl* alias = diag;
        qvsvDiscardDiagnostic(diag);
        qvsvDiscardDiagnostic(alias);
      },
      "qv_services: diagnostic 0x[0-9a-f]+ released twice");
}

TEST_F(DoubleReleaseDeathTest, DeletingAnItemTwiceAbortsWithAMessage) {
  EXPECT_DEATH(
      {
        auto* item = new qvsvDiagnosticItem;
        qvsvDiagnosticItem* volatile alias = item;  // hides the second delete from the compiler
        delete item;
        delete alias;
      },
      "qv_services: diagnostic item 0x[0-9a-f]+ released twice");
}

class RecordDetails : public DiagnosticsTest {};

TEST_F(RecordDetails, ArgumentsReadBackOnePerElementWhateverItsClass) {
  qvsvDiagnosticImpl* diag = make("A:b");
  txArray* cell = txCreateCellMatrix(1, 8);
  txSetCell(cell, 0, txCreateDoubleScalar(5.0));
  txSetCell(cell, 1, txCreateLogicalScalar(true));
  txSetCell(cell, 2, txCreateString(u"text"));
  txArray* row = txCreateDoubleMatrix(1, 3);
  txGetPrForWrite(row)[0] = 7.0;
  txSetCell(cell, 3, row);
  txSetCell(cell, 4, txCreateCellMatrix(1, 1));
  txSetCell(cell, 5, txCreateDoubleMatrix(0, 0));
  txSetCell(cell, 6, txCreateStructMatrix(1, 1, {"f"}));
  // element 7 stays unset
  txMakeArrayPersistent(cell);
  diag->lastItem()->arguments = cell;
  const qvsvArgumentVector arguments = qvsvGetArgumentsFromLastDiagnostic(diag);
  ASSERT_EQ(arguments.size(), static_cast<std::size_t>(qvsvGetNumbArgumentsFromLastDiagnostic(diag)));
  EXPECT_EQ(arguments, (qvsvArgumentVector{std::int64_t{5}, std::int64_t{1}, std::u16string(u"text"), std::int64_t{7},
                                           std::u16string(), std::u16string(), std::u16string(), std::u16string()}));
  qvsvDiscardDiagnostic(diag);
}

}  // namespace
