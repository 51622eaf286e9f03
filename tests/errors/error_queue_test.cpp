#include <algorithm>

#include "tessel/ut.hpp"

#include "tests/errors/diagnostics_fixture.hpp"

namespace {

using qvsv::test::DiagnosticsTest;

constexpr const char* kOverflow = "QV_SERVICES:utils:TooManyErrorsErr";

struct MergeCase {
  const char* name;
  int limit;
  unsigned dest;
  unsigned src;
  unsigned expectedCount;
  unsigned expectedMoved;  // items of src that reach dest
  bool overflow;
};

void PrintTo(const MergeCase& tc, std::ostream* os) { *os << tc.name; }

class ErrorQueueMerge : public DiagnosticsTest, public ::testing::WithParamInterface<MergeCase> {};

TEST_P(ErrorQueueMerge, MovesWhatFitsAndMarksTheOverflow) {
  const MergeCase& tc = GetParam();
  qvsvDiagnosticImpl* dest = queueOf(tc.dest, "D");
  qvsvDiagnosticImpl* src = queueOf(tc.src, "S");
  qvsvSetMaxDiagnosticsInQueue(tc.limit);
  qvsvConcatenateDiagnostics(dest, src, false);
  EXPECT_EQ(src, nullptr);
  const std::vector<std::string> got = ids(dest);
  EXPECT_EQ(got.size(), tc.expectedCount);
  EXPECT_EQ(qvsvIsLastErrorTooManyErrors(dest), tc.overflow);
  const auto moved = std::count_if(got.begin(), got.end(), [](const std::string& id) { return id[0] == 'S'; });
  EXPECT_EQ(static_cast<unsigned>(moved), tc.expectedMoved);
  if (tc.expectedMoved > 0) {
    EXPECT_EQ(got[tc.dest], "S:0") << "moved items keep their order";
  }
  qvsvDiscardDiagnostic(dest);
}

INSTANTIATE_TEST_SUITE_P(
    ErrorQueue, ErrorQueueMerge,
    ::testing::Values(MergeCase{"fits", 128, 10, 5, 15, 5, false},
                      MergeCase{"into_null_room", 128, 0, 3, 3, 3, false},
                      MergeCase{"d126_s2_reaching_L_overflows", 128, 126, 2, 128, 1, true},
                      MergeCase{"d126_s1", 128, 126, 1, 127, 1, false},
                      MergeCase{"d127_s1_moves_nothing", 128, 127, 1, 128, 0, true},
                      MergeCase{"d128_full_unchanged", 128, 128, 3, 128, 0, false},
                      MergeCase{"d130_over_full_unchanged", 128, 130, 3, 130, 0, false},
                      MergeCase{"limit0_unlimited", 0, 200, 100, 300, 100, false},
                      MergeCase{"limit1_always_over", 1, 0, 1, 1, 0, true}),
    [](const auto& info) { return std::string(info.param.name); });

class ErrorQueue : public DiagnosticsTest {};

TEST_F(ErrorQueue, MergeAtFrontKeepsOrderAndStillEndsWithTheOverflowItem) {
  qvsvDiagnosticImpl* dest = queueOf(2, "D");
  qvsvConcatenateDiagnostics(dest, queueOf(2, "S"), true);
  EXPECT_EQ(ids(dest), (std::vector<std::string>{"S:0", "S:1", "D:0", "D:1"}));
  qvsvSetMaxDiagnosticsInQueue(6);
  qvsvConcatenateDiagnostics(dest, queueOf(3, "T"), true);
  EXPECT_EQ(ids(dest), (std::vector<std::string>{"T:0", "S:0", "S:1", "D:0", "D:1", kOverflow}));
  EXPECT_EQ(dest->lastItem()->message, u"Too many errors occurred. Further errors were not recorded.");
  qvsvDiscardDiagnostic(dest);
}

TEST_F(ErrorQueue, EmptySameAndNullSourcesAreLeftAlone) {
  qvsvDiagnosticImpl* dest = nullptr;
  qvsvDiagnosticImpl* empty = qvsvObtainDiagnostic();
  qvsvConcatenateDiagnostics(dest, empty, false);
  EXPECT_NE(empty, nullptr) << "an empty source stays with the caller";
  EXPECT_NE(dest, nullptr) << "the destination is created all the same";
  qvsvDiagnosticImpl* none = nullptr;
  qvsvConcatenateDiagnostics(dest, none, false);
  qvsvDiagnosticImpl* alias = dest;
  qvsvConcatenateDiagnostics(dest, alias, false);
  EXPECT_EQ(alias, dest);
  qvsvDiscardDiagnostic(empty);
  qvsvDiscardDiagnostic(dest);
}

TEST_F(ErrorQueue, CandidatesMergeOnceAndAreProcessedOnceInOrder) {
  int a = 0, b = 0, c = 0;
  qvsvDiagnosticImpl* dest = queueOf(1);
  qvsvDiagnosticImpl* src = queueOf(1, "S");
  qvsvAddCandidateToErrorQueueFcn(dest, &a);
  qvsvAddCandidateToErrorQueueFcn(dest, &a);
  qvsvAddCandidateToErrorQueueFcn(dest, nullptr);
  qvsvAddCandidateToErrorQueueFcn(src, &b);
  qvsvAddCandidateToErrorQueueFcn(src, &a);
  qvsvAddCandidateToErrorQueueFcn(src, &c);
  qvsvConcatenateDiagnostics(dest, src, false);
  EXPECT_EQ(dest->candidates(), (std::vector<void*>{&a, &b, &c}));

  static std::vector<void*> seen;
  static int reentered = 0;
  seen.clear();
  qvsvProcessErrorFcn(dest, [](qvsvDiagnosticImpl* queue, void* candidate) {
    seen.push_back(candidate);
    qvsvDiagnosticImpl* q = queue;
    qvsvProcessErrorFcn(q, [](qvsvDiagnosticImpl*, void*) { ++reentered; });
  });
  EXPECT_EQ(seen, (std::vector<void*>{&a, &b, &c}));
  EXPECT_EQ(reentered, 0) << "a call from inside the function does nothing";
  EXPECT_TRUE(dest->candidates().empty());
  EXPECT_FALSE(dest->processing());

  qvsvDiagnosticImpl* none = nullptr;
  qvsvAddCandidateToErrorQueueFcn(none, &a);
  EXPECT_EQ(none, nullptr) << "a null queue is not created for a candidate";
  qvsvDiscardDiagnostic(dest);
}

TEST_F(ErrorQueue, ClearingKeepsOrReleasesTheQueue) {
  int token = 0;
  qvsvDiagnosticImpl* queue = queueOf(4);
  qvsvAddCandidateToErrorQueueFcn(queue, &token);
  EXPECT_EQ(qvsvClearDiagnosticQueue(queue, 2, false), queue);
  qvsvClearDiagnosticQueue(queue, 9, false);
  qvsvClearDiagnosticQueue(queue, -1, false);
  EXPECT_EQ(ids(queue), (std::vector<std::string>{"Q:0", "Q:1"})) << "indices past the items clear nothing";
  EXPECT_EQ(queue->candidates().size(), 1u) << "only index 0 empties the candidates";
  qvsvClearLastError(queue);
  EXPECT_EQ(ids(queue), std::vector<std::string>{"Q:0"});
  EXPECT_EQ(qvsvClearDiagnosticQueue(queue, 0, false), queue);
  EXPECT_TRUE(queue->isEmpty());
  EXPECT_TRUE(queue->candidates().empty());
  EXPECT_EQ(qvsvClearDiagnosticQueue(queue, 0, true), nullptr);
  EXPECT_EQ(queue, nullptr);
  qvsvDiagnosticImpl* one = queueOf(1);
  qvsvClearLastError(one);
  EXPECT_EQ(one, nullptr) << "clearing the last error releases the emptied queue";
  qvsvClearLastError(one);
}

// The overflow and out-of-memory items are each one shared static item.
TEST_F(ErrorQueue, SharedStaticItemsSurviveTheQueuesThatListThem) {
  qvsvDiagnosticImpl* first = queueOf(127);
  qvsvDiagnosticImpl* second = queueOf(127);
  qvsvConcatenateDiagnostics(first, queueOf(2, "S"), false);
  qvsvConcatenateDiagnostics(second, queueOf(2, "S"), false);
  EXPECT_EQ(first->lastItem(), second->lastItem());
  qvsvDiscardDiagnostic(first);
  EXPECT_TRUE(qvsvIsLastErrorTooManyErrors(second));
  qvsvDiscardDiagnostic(second);

  qvsvDiagnosticImpl* a = qvsvCreateMemoryAllocationDiagnostic();
  qvsvDiagnosticImpl* b = qvsvCreateMemoryAllocationDiagnostic();
  EXPECT_EQ(a->firstItem(), b->firstItem());
  EXPECT_TRUE(a->firstItem()->isStatic);
  qvsvDiscardDiagnostic(a);
  EXPECT_EQ(ids(b), std::vector<std::string>{"QV_SERVICES:utils:MemoryAllocationError"});
  qvsvDiscardDiagnostic(b);
}

TEST_F(ErrorQueue, ReplaceLastCopiesTheReplacementsLastItemAndReleasesIt) {
  qvsvDiagnosticImpl* target = queueOf(2);
  qvsvDiagnosticImpl* replacement = make("New:item", u"new text");
  qvsvReplaceLastDiagnostic(target, replacement);
  EXPECT_EQ(replacement, nullptr);
  EXPECT_EQ(ids(target), (std::vector<std::string>{"Q:0", "New:item"}));
  EXPECT_EQ(target->lastItem()->message, u"new text");
  qvsvDiagnosticImpl* stray = make("Stray:item");
  qvsvReplaceLastDiagnostic(nullptr, stray);
  EXPECT_EQ(stray, nullptr);
  qvsvDiscardDiagnostic(target);
}

// Handles and the callbacks that receive them.
class ErrorQueueHandles : public DiagnosticsTest {
 protected:
  static std::vector<double>& received() {
    static std::vector<double> values;
    return values;
  }
  static void record(qvsvDiagnosticImpl*, double* handles, int count) {
    received().assign(handles, handles + count);
  }
  void SetUp() override {
    DiagnosticsTest::SetUp();
    received().clear();
  }
};

TEST_F(ErrorQueueHandles, CreationHandsHandlesToTheItemsOrTheGlobalCallback) {
  const double handles[] = {4.0, 5.0};
  qvsvSetGlobalProcessCallback(&record);
  qvsvDiagnosticImpl* viaGlobal = qvsvCreateDiagnosticFromIdAndMsg(handles, 2, "A:b", "text");
  EXPECT_EQ(received(), (std::vector<double>{4.0, 5.0}));
  EXPECT_FALSE(viaGlobal->firstItem()->handlesPending);
  EXPECT_EQ(qvsvGetHandlesFromDiagnosticItem(viaGlobal, 0), (std::vector<double>{4.0, 5.0}));

  received().clear();
  static int ownCalls = 0;
  qvsvDiagnosticImpl* viaOwn = qvsvCreateDiagnosticFromIdAndMsg(
      handles, 1, [](qvsvDiagnosticImpl*, double*, int) { ++ownCalls; }, "A:b", std::u16string(u"text"));
  EXPECT_EQ(ownCalls, 1);
  EXPECT_TRUE(received().empty()) << "the item's own callback wins";

  qvsvClearGlobalProcessCallback();
  qvsvDiagnosticImpl* pending = qvsvCreateDiagnosticFromIdAndMsg(handles, 2, "A:b", "text");
  EXPECT_TRUE(pending->firstItem()->handlesPending) << "no callback: the handles stay pending";
  for (qvsvDiagnosticImpl* d : {viaGlobal, viaOwn, pending}) qvsvDiscardDiagnostic(d);
}

struct Block : QVSVKSObjectBase {
  explicit Block(double h) : handle(h) {}
  double handle;
};

double* convertBlocks(qvsvObjectIterator first, qvsvObjectIterator last, int& count, std::u16string& message) {
  count = static_cast<int>(last - first);
  auto* out = static_cast<double*>(utMalloc(sizeof(double) * static_cast<std::size_t>(count)));
  for (int i = 0; i < count; ++i) out[i] = static_cast<const Block*>(*(first + i))->handle;
  message += u" (converted)";
  return out;
}

double* failingConverter(qvsvObjectIterator first, qvsvObjectIterator last, int& count, std::u16string&) {
  count = static_cast<int>(last - first);
  return nullptr;
}

TEST_F(ErrorQueueHandles, ConverterTurnsNonNullObjectsIntoPendingHandlesOrTheOutOfMemoryItem) {
  Block a(1.0), b(2.0);
  const QVSVKSObjectBase* objects[] = {&a, nullptr, &b};
  qvsvDiagnosticImpl* queue = queueOf(2);
  qvsvSetHandlesInErrorQueueLastDiagnostic(objects, 3, &record, &convertBlocks, queue);
  EXPECT_EQ(qvsvGetHandlesFromDiagnosticItem(queue, 1), (std::vector<double>{1.0, 2.0}));
  EXPECT_TRUE(queue->lastItem()->handlesPending);
  EXPECT_EQ(queue->lastItem()->message, u"1 (converted)");
  EXPECT_TRUE(received().empty()) << "handed over later, not now";

  qvsvObjectVector vec{&b};
  qvsvSetHandlesInErrorQueueLastDiagnostic(vec, &record, &convertBlocks, queue);
  EXPECT_EQ(qvsvGetHandlesFromDiagnosticItem(queue, 1), std::vector<double>{2.0});
  qvsvSetHandlesInErrorQueueLastDiagnostic(vec.cbegin(), vec.cend(), &record, &failingConverter, queue);
  EXPECT_EQ(ids(queue), (std::vector<std::string>{"Q:0", "QV_SERVICES:utils:MemoryAllocationError"}));
  EXPECT_TRUE(queue->lastItem()->isStatic);
  qvsvDiscardDiagnostic(queue);
}

TEST_F(ErrorQueueHandles, PlainHandlesNeedAQueueAHandleArrayAndACount) {
  const double handles[] = {7.0, 8.0, 9.0};
  qvsvDiagnosticImpl* queue = nullptr;
  qvsvSetHandlesInErrorQueueLastDiagnostic(handles, 3, queue);
  EXPECT_EQ(queue, nullptr) << "no queue is created for handles";
  queue = queueOf(2);
  qvsvSetHandlesInErrorQueueLastDiagnostic(handles, 0, queue);
  qvsvSetHandlesInErrorQueueLastDiagnostic(nullptr, 3, queue);
  EXPECT_TRUE(qvsvGetHandlesFromDiagnosticItem(queue, 1).empty());
  qvsvSetHandlesInErrorQueueLastDiagnostic(handles, 3, queue);
  EXPECT_EQ(qvsvGetHandlesFromDiagnosticItem(queue, 1), (std::vector<double>{7.0, 8.0, 9.0}));
  EXPECT_TRUE(qvsvGetHandlesFromDiagnosticItem(queue, 0).empty());
  qvsvDiscardDiagnostic(queue);
}

// A setter answers with what the slot held, and clearing with the last value
// (the other slots' setters are used by the tests of what they do).
TEST_F(ErrorQueue, HostOnlyCallbackSlotsAnswerWithWhatTheyHeld) {
  qvsvProcessCallback process = [](qvsvDiagnosticImpl*, double*, int) {};
  EXPECT_EQ(qvsvSetGlobalProcessCallback(process), nullptr);
  EXPECT_EQ(qvsvGetGlobalProcessCallback(), process);
  EXPECT_EQ(qvsvClearGlobalProcessCallback(), process);
  qvsvExtraMessageCallback extra = [](const double*, int, std::u16string&, std::vector<double>&) {};
  EXPECT_EQ(qvsvSetGlobalQVExtraMessageCallback(extra), nullptr);
  EXPECT_EQ(qvsvGetGlobalQVExtraMessageCallback(), extra);
  EXPECT_EQ(qvsvClearGlobalQVExtraMessageCallback(), extra);
}

}  // namespace
