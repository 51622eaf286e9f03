// Out-of-memory sweep: every scenario runs once with each of the library's
// testers counting its calls, then once for every k failing the k-th call of
// that tester (and, as testers do, every k-th after it). After each run nothing
// may have leaked, the shared out-of-memory item must be untouched, and the
// failure must show where it belongs: as the out-of-memory item in the
// diagnostics the scenario made, or as tessel::OutOfMemory where a function
// promises that exception.
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <map>
#include <ostream>
#include <memory>
#include <string>
#include <vector>

#include "qv_services/errors/diagnostic_state.hpp"
#include "qv_services/fault_injection.hpp"
#include "qv_services/listeners.hpp"
#include "qv_services/reporting.hpp"
#include "tessel/array.hpp"
#include "tessel/foundation.hpp"
#include "tessel/ut.hpp"
#include "tests/errors/diagnostics_fixture.hpp"

namespace {

constexpr const char* kOutOfMemoryId = "QV_SERVICES:utils:MemoryAllocationError";

// What a run left to see: how many failures it recorded.
struct Outcome {
  int outOfMemoryMarks = 0;
};

struct Scenario {
  const char* name;
  std::function<void(Outcome&)> run;
};

void PrintTo(const Scenario& scenario, std::ostream* out) { *out << scenario.name; }

// --- The queue scenario: items with handles, a cause, converted handles,
// duplication, merging at the front, replacement, metadata and a report whose
// listener duplicates the queue. ---

const std::map<std::string, std::vector<double>>& expectedHandles() {
  static const std::map<std::string, std::vector<double>> handles = {
      {"Sweep:0", {0.25}},
      {"Sweep:1", {1.25, 1.5}},
      {"Sweep:2", {2.25, 2.5, 2.75}},
      {"Sweep:3", {3.25, 3.5}},
      {"Sweep:cause", {7.5}},
      {"Sweep:converted", {1.0, 2.0}},
      {"Sweep:replacement", {8.5, 8.75}},
  };
  return handles;
}

const std::vector<double>& handlesFor(const std::string& id) { return expectedHandles().at(id); }

qvsvDiagnosticImpl* createWithHandles(const std::string& id, const std::vector<double>& handles) {
  return qvsvCreateDiagnosticFromIdAndMsg(handles.data(), static_cast<int>(handles.size()), id.c_str(), u"message");
}

// Turns each object into its 1-based position.
double* positionsOf(qvsvObjectIterator first, qvsvObjectIterator last, int& count, std::u16string&) {
  count = static_cast<int>(last - first);
  auto* handles = static_cast<double*>(utMalloc(sizeof(double) * static_cast<std::size_t>(count)));
  if (handles == nullptr) return nullptr;
  for (int i = 0; i < count; ++i) handles[i] = i + 1;
  return handles;
}

void ignoreHandles(qvsvDiagnosticImpl*, double*, int) {}

// Each item is the expected one at its place, with its handles and cause, or
// the out-of-memory item that stands in for it.
void checkItems(qvsvDiagnosticImpl* diag, const std::vector<std::string>& expected, Outcome& outcome) {
  ASSERT_NE(diag, nullptr);
  ASSERT_EQ(diag->count(), expected.size());
  std::size_t i = 0;
  for (const qvsvDiagnosticItem* item : diag->items()) {
    const std::string& want = expected[i++];
    SCOPED_TRACE(want);
    if (item->identifier == kOutOfMemoryId) {
      // Handles set after the failure may stay with it; a cause may not.
      ++outcome.outOfMemoryMarks;
      EXPECT_EQ(item->cause, nullptr);
      continue;
    }
    EXPECT_EQ(item->identifier, want);
    EXPECT_EQ(std::vector<double>(item->handles, item->handles + item->numHandles), handlesFor(want));
    if (want == "Sweep:1") {
      checkItems(item->cause, {"Sweep:cause"}, outcome);
    } else {
      EXPECT_EQ(item->cause, nullptr);
    }
  }
}

void queueScenario(Outcome& outcome) {
  qvsvDiagnosticImpl* queue = nullptr;
  for (const char* id : {"Sweep:0", "Sweep:1", "Sweep:2"}) {
    qvsvConcatenateDiagnostics(queue, createWithHandles(id, handlesFor(id)), false);
  }
  qvsvConcatenateDiagnostics(queue, createWithHandles("Sweep:3", {9.0}), false);
  qvsvSetHandlesInErrorQueueLastDiagnostic(handlesFor("Sweep:3").data(), 2, queue);

  qvsvDiagnosticImpl* cause = createWithHandles("Sweep:cause", handlesFor("Sweep:cause"));
  qvsvAddCauseToDiagnosticItem(queue, 1, cause);
  qvsvDiscardDiagnostic(cause);  // still ours when item 1 is the out-of-memory item

  qvsvConcatenateDiagnostics(queue, qvsvCreateDiagnosticFromIdAndMsg("Sweep:converted", u"message"), false);
  QVSVKSObjectBase objects[2];
  const qvsvObjectVector objectList = {&objects[0], &objects[1]};
  qvsvSetHandlesInErrorQueueLastDiagnostic(objectList, ignoreHandles, positionsOf, queue);

  qvsvConcatenateDiagnostics(queue, qvsvDuplicateDiagnostic(queue), true);
  qvsvDiagnosticImpl* replacement = createWithHandles("Sweep:replacement", handlesFor("Sweep:replacement"));
  qvsvReplaceLastDiagnostic(queue, replacement);
  qvsv::SetMetaDataToLastDiagnostic(queue, u"sweep", qvsvArgumentValue(std::int64_t{1}));

  const std::vector<std::string> expected = {"Sweep:0", "Sweep:1", "Sweep:2", "Sweep:3", "Sweep:converted",
                                             "Sweep:0", "Sweep:1", "Sweep:2", "Sweep:3", "Sweep:replacement"};
  checkItems(queue, expected, outcome);
  EXPECT_NE(qvsv::GetMetaDataFromLastDiagnostic(queue, u"sweep"), nullptr);

  auto listener = std::make_shared<qvsv::util::TestWarningListener>();
  qvsvRegisterDiagnosticListener(listener);
  qvsvReportAsWarning(queue);
  qvsvUnRegisterDiagnosticListener(listener->name());
  EXPECT_EQ(queue, nullptr);
  ASSERT_EQ(listener->captured().size(), 1u);
  checkItems(listener->captured()[0], expected, outcome);
}

// --- The identifier buffer: every call asks for more room than any before,
// so each one reallocates; a failure throws and keeps the old buffer. ---
void tlStyleScenario(Outcome& outcome) {
  static std::size_t longest = 64;
  for (int call = 0; call < 3; ++call) {
    longest += 17;
    const std::string component(longest, 'c');
    try {
      EXPECT_EQ(qvsvGetTLStyleMessageIdentifier(component.c_str(), "key"), component + ":key");
    } catch (const tessel::OutOfMemory&) {
      ++outcome.outOfMemoryMarks;
      EXPECT_STREQ(qvsvGetTLStyleMessageIdentifier("a", "b"), "a:b") << "the old buffer still serves";
    }
  }
}

const std::vector<Scenario>& scenarios() {
  static const std::vector<Scenario> all = {
      {"QueueWithHandles", queueScenario},
      {"TLStyleIdentifier", tlStyleScenario},
  };
  return all;
}

class OutOfMemorySweepTest : public qvsv::test::DiagnosticsTest {
 protected:
  // Runs the scenario once and checks what it left behind.
  static void runChecked(const Scenario& scenario, bool failing) {
    const std::size_t diagnostics = qvsv::detail::LiveDiagnosticCount();
    const std::size_t items = qvsv::detail::LiveItemCount();
    const std::size_t arrays = tessel::LiveArrayCount();
    Outcome outcome;
    scenario.run(outcome);
    EXPECT_EQ(qvsv::detail::LiveDiagnosticCount(), diagnostics) << "diagnostics leaked";
    EXPECT_EQ(qvsv::detail::LiveItemCount(), items) << "items leaked";
    EXPECT_EQ(tessel::LiveArrayCount(), arrays) << "host arrays leaked";
    if (failing) {
      EXPECT_GE(outcome.outOfMemoryMarks, 1) << "a failed allocation left no trace";
    } else {
      EXPECT_EQ(outcome.outOfMemoryMarks, 0);
    }
    qvsvDiagnosticImpl* probe = qvsvCreateMemoryAllocationDiagnostic();
    const qvsvDiagnosticItem* shared = probe->firstItem();
    EXPECT_EQ(shared->numHandles, 0) << "the shared out-of-memory item was changed";
    EXPECT_TRUE(shared->metadata.empty()) << "the shared out-of-memory item was changed";
    EXPECT_EQ(shared->cause, nullptr) << "the shared out-of-memory item was changed";
    qvsvDiscardDiagnostic(probe);
  }

  // Calls of the tester in one run of the scenario, nothing failing.
  static int countCalls(const Scenario& scenario, QVSV_ExceptionTester* tester) {
    tester->resetIterationToThrow();
    tester->setEnabled(true);  // counts, but the skip never runs out
    runChecked(scenario, false);
    const int calls = tester->getCounter();
    tester->resetIterationToSkip();
    tester->resetIterationToThrow();
    return calls;
  }

  static QVSV_ExceptionTester* tester(const char* name) {
    qvsvCreateExceptionTesterByName(name);
    return qvsvGetExceptionTesterByName(name);
  }
};

class OutOfMemorySweep : public OutOfMemorySweepTest, public ::testing::WithParamInterface<Scenario> {};

TEST_P(OutOfMemorySweep, SurvivesEveryFailurePointOfEveryTester) {
  const Scenario& scenario = GetParam();
  qvsv::ScopedExceptionTesting failing(1);
  int points = 0;
  for (const char* name : qvsv::fault::kLibraryTesters) {
    QVSV_ExceptionTester* t = tester(name);
    const int calls = countCalls(scenario, t);
    for (int k = 0; k < calls; ++k) {
      SCOPED_TRACE(std::string(name) + ": failing call " + std::to_string(k + 1) + " of " + std::to_string(calls));
      t->resetIterationToThrow();
      t->setIterationToSkip(k);
      runChecked(scenario, true);
      if (HasFailure()) return;
    }
    t->resetIterationToSkip();
    points += calls;
  }
  std::printf("[  sweep   ] %s: %d failure points\n", scenario.name, points);
}

INSTANTIATE_TEST_SUITE_P(Library, OutOfMemorySweep, ::testing::ValuesIn(scenarios()),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(OutOfMemorySweepTest, EveryLibraryTesterIsReachedByAScenario) {
  qvsv::ScopedExceptionTesting failing(1);
  for (const char* name : qvsv::fault::kLibraryTesters) {
    int calls = 0;
    for (const Scenario& scenario : scenarios()) calls += countCalls(scenario, tester(name));
    EXPECT_GT(calls, 0) << name << ": no scenario allocates through this tester";
  }
}

}  // namespace
