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
  // A library copy of the item belongs to its diagnostic but keeps the mark.
  qvsvDiagnosticImpl* copy = qvsvDuplicateDiagnostic(a);
  ASSERT_NE(copy->firstItem(), mine_);
  EXPECT_TRUE(copy->firstItem()->isStatic);
  qvsvDiagnosticImpl* cause = make("C:1");
  qvsvAddCauseToLastDiagnosticItem(copy, cause);
  EXPECT_NE(cause, nullptr) << "a static item takes no cause";
  for (qvsvDiagnosticImpl* d : {a, cause, copy}) qvsvDiscardDiagnostic(d);
  EXPECT_STREQ(qvsvGetFirstErrorIdentifier(b), "Mine:static");
  qvsvClearLastError(b);
  EXPECT_EQ(b, nullptr);
  // A full queue drops it without destroying it.
  qvsvSetMaxDiagnosticsInQueue(1);
  qvsvDiagnosticImpl* full = make("A:b");
  full->appendItem(mine_, nullptr, false);
  EXPECT_EQ(ids(full), std::vector<std::string>{"A:b"});
  qvsvDiscardDiagnostic(full);
  EXPECT_EQ(mine_->message, u"kept by its maker");
}

// --- A diagnostic cannot become a cause of itself, nor lose an item's cause. ---

class CauseCycles : public DiagnosticsTest {};

TEST_F(CauseCycles, ADiagnosticAsCauseOfItsOwnItemOrOfADescendantIsRefused) {
  qvsvDiagnosticImpl* top = queueOf(2);
  qvsvDiagnosticImpl* const before = top;
  qvsvAddCauseToDiagnosticItem(top, 0, top);
  ASSERT_EQ(top, before) << "the caller keeps its pointer";
  qvsvDiagnosticImpl* middle = make("Middle:x");
  qvsvAddCauseToDiagnosticItem(top, 0, middle);
  qvsvDiagnosticImpl* inner = qvsvGetCauseFromDiagnosticItem(top, 0);  // borrowed from top's item
  qvsvAddCauseToLastDiagnosticItem(inner, top);
  ASSERT_NE(top, nullptr);
  qvsvDiagnosticImpl* copy = qvsvDuplicateDiagnostic(top);  // a cycle would never end here
  EXPECT_EQ(tree(copy), "Q:0=0[Middle:x=m;];Q:1=1;");
  qvsvDiscardDiagnostic(copy);
  qvsvDiscardDiagnostic(top);
}

TEST_F(CauseCycles, MergingAQueueIntoItsOwnCauseOrTakingAnItemsCauseIsRefused) {
  qvsvDiagnosticImpl* queue = queueOf(2);
  qvsvDiagnosticImpl* cause = make("C:1");
  qvsvAddCauseToDiagnosticItem(queue, 1, cause);
  qvsvDiagnosticImpl* borrowed = qvsvGetCauseFromDiagnosticItem(queue, 1);
  qvsvConcatenateDiagnostics(borrowed, queue, false);
  ASSERT_NE(queue, nullptr);
  // The same through an item's empty cause field.
  qvsvConcatenateDiagnostics(queue->firstItem()->cause, queue, true);
  ASSERT_NE(queue, nullptr);
  EXPECT_EQ(tree(queue), "Q:0=0;Q:1=1[C:1=m;];");

  qvsvDiagnosticImpl* other = make("Other:x");
  qvsvConcatenateDiagnostics(other, borrowed, false);
  EXPECT_EQ(borrowed, qvsvGetCauseFromDiagnosticItem(queue, 1)) << "the item's cause stays the item's";
  EXPECT_EQ(tree(other), "Other:x=m;");
  qvsvDiscardDiagnostic(other);
  qvsvDiscardDiagnostic(queue);
}

// --- Callbacks that release or merge away the diagnostic they were given. ---

class ReentrantCallers : public DiagnosticsTest {
 protected:
  static qvsvDiagnosticImpl*& sink() {
    static qvsvDiagnosticImpl* diag = nullptr;
    return diag;
  }
  static std::vector<double>& handed() {
    static std::vector<double> handles;
    return handles;
  }
  static void releaseIt(qvsvDiagnosticImpl* diag, double* h, int n) {
    handed().insert(handed().end(), h, h + n);
    qvsvDiscardDiagnostic(diag);
  }
  static void mergeItAway(qvsvDiagnosticImpl* diag, double* h, int n) {
    handed().insert(handed().end(), h, h + n);
    qvsvConcatenateDiagnostics(sink(), diag, false);
  }
};

TEST_F(ReentrantCallers, CandidateFunctionMayReleaseOrMergeAwayItsQueue) {
  int a = 0, b = 0, releases = 0;
  qvsvDiagnosticImpl* other = make("Other:x");
  for (const bool release : {true, false}) {
    qvsvDiagnosticImpl* queue = queueOf(2);
    qvsvAddCandidateToErrorQueueFcn(queue, &a);
    qvsvAddCandidateToErrorQueueFcn(queue, &b);
    qvsvProcessErrorFcn(queue, [&](qvsvDiagnosticImpl* q, void*) {
      if (release) {
        ++releases;
        qvsvDiscardDiagnostic(q);
      } else {
        qvsvConcatenateDiagnostics(other, q, false);
      }
    });
    EXPECT_EQ(queue, nullptr) << "released when the processing ended";
  }
  EXPECT_EQ(releases, 1) << "a release ends the processing";
  EXPECT_EQ(ids(other), (std::vector<std::string>{"Other:x", "Q:0", "Q:1"}));
  qvsvDiscardDiagnostic(other);
}

TEST_F(ReentrantCallers, ProcessCallbackCannotReleaseOrMergeAwayTheDiagnosticBeingHandedOver) {
  const double handle = 4.0;
  handed().clear();
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
  EXPECT_EQ(handed(), std::vector<double>(4, 4.0)) << "pending handles are handed over when reported";
}

// --- Releasing twice fails at once, naming the object. ---

using DoubleReleaseDeathTest = DiagnosticsTest;

TEST_F(DoubleReleaseDeathTest, ReleasingADiagnosticOrDeletingAnItemTwiceAbortsWithAMessage) {
  EXPECT_DEATH(
      {
        qvsvDiagnosticImpl* diag = make("A:b");
        qvsvDiagnosticImpl* alias = diag;
        qvsvDiscardDiagnostic(diag);
        qvsvDiscardDiagnostic(alias);
      },
      "qv_services: diagnostic 0x[0-9a-f]+ released twice");
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
