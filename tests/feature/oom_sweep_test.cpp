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
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "qv_services/conversions.hpp"
#include "qv_services/errors/diagnostic_state.hpp"
#include "qv_services/fault_injection.hpp"
#include "qv_services/listeners.hpp"
#include "qv_services/renderings.hpp"
#include "qv_services/reporting.hpp"
#include "qv_services/wide_string.hpp"
#include "qv_services/xml_form.hpp"
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

// The handles each item of the scenarios carries; none when not listed.
const std::map<std::string, std::vector<double>>& expectedHandles() {
  static const std::map<std::string, std::vector<double>> handles = {
      {"Sweep:0", {0.25}},
      {"Sweep:1", {1.25, 1.5}},
      {"Sweep:2", {2.25, 2.5, 2.75}},
      {"Sweep:3", {3.25, 3.5}},
      {"Sweep:cause", {7.5}},
      {"Sweep:converted", {1.0, 2.0}},
      {"Sweep:replacement", {8.5, 8.75}},
      {"Sweep:render", {4.5, 4.75}},
      {"Sweep:xml", {5.5}},
  };
  return handles;
}

std::vector<double> handlesFor(const std::string& id) {
  const auto it = expectedHandles().find(id);
  return it == expectedHandles().end() ? std::vector<double>() : it->second;
}

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

// An expected item: its identifier and the items of its cause.
struct Expected {
  std::string id;
  std::vector<Expected> causes;
};

// Each item is the expected one at its place, with its handles and causes,
// or the out-of-memory item that stands in for it.
void checkItems(qvsvDiagnosticImpl* diag, const std::vector<Expected>& expected, Outcome& outcome,
                bool withHandles = true) {
  ASSERT_NE(diag, nullptr);
  ASSERT_EQ(diag->count(), expected.size());
  std::size_t i = 0;
  for (const qvsvDiagnosticItem* item : diag->items()) {
    const Expected& want = expected[i++];
    SCOPED_TRACE(want.id);
    if (item->identifier == kOutOfMemoryId) {
      // Handles set after the failure may stay with it; a cause may not.
      ++outcome.outOfMemoryMarks;
      EXPECT_EQ(item->cause, nullptr);
      continue;
    }
    EXPECT_EQ(item->identifier, want.id);
    if (withHandles) {
      EXPECT_EQ(std::vector<double>(item->handles, item->handles + item->numHandles), handlesFor(want.id));
    }
    if (want.causes.empty()) {
      EXPECT_EQ(item->cause, nullptr);
    } else {
      checkItems(item->cause, want.causes, outcome, withHandles);
    }
  }
}

// --- The queue: items with handles, a cause, converted handles, duplication,
// merging at the front, replacement, metadata and a report whose listener
// duplicates the queue. ---

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

  const Expected withCause = {"Sweep:1", {{"Sweep:cause", {}}}};
  const std::vector<Expected> expected = {{"Sweep:0", {}}, withCause, {"Sweep:2", {}}, {"Sweep:3", {}},
                                          {"Sweep:converted", {}}, {"Sweep:0", {}}, withCause, {"Sweep:2", {}},
                                          {"Sweep:3", {}}, {"Sweep:replacement", {}}};
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

// --- Renderings of a diagnostic with a cause; the C string form promises
// tessel::OutOfMemory when its block cannot be had. ---
// id (with its handles) caused by id + "Cause", then id + "Second", checked.
qvsvDiagnosticImpl* treeWithCause(const std::string& id, const std::u16string& causeMessage, Outcome& outcome) {
  qvsvDiagnosticImpl* diag = createWithHandles(id, handlesFor(id));
  qvsvDiagnosticImpl* cause = qvsvCreateDiagnosticFromIdAndMsg((id + "Cause").c_str(), causeMessage);
  qvsvAddCauseToLastDiagnosticItem(diag, cause);
  qvsvDiscardDiagnostic(cause);
  qvsvConcatenateDiagnostics(diag, qvsvCreateDiagnosticFromIdAndMsg((id + "Second").c_str(), u"second"), false);
  checkItems(diag, {{id, {{id + "Cause", {}}}}, {id + "Second", {}}}, outcome);
  return diag;
}

void renderingScenario(Outcome& outcome) {
  qvsvDiagnosticImpl* diag = treeWithCause("Sweep:render", u"caf\u00e9 <b>cause</b>", outcome);

  const std::u16string formatted = qvsvSerializeToFormattedUStringCreate(diag, true, u"> ");
  try {
    char* text = qvsvSerializeToFormattedStringCreate(diag, true, "> ");
    EXPECT_EQ(std::string(text), ConvertUStringToStdString(formatted));
    utFree(text);
  } catch (const tessel::OutOfMemory&) {
    ++outcome.outOfMemoryMarks;
  }
  EXPECT_NE(qvsvSerializeToHTMLCreate(diag, true).find(u"second"), std::u16string::npos);
  const std::string plain = qvsvSerializeDiagnosticAsPlainString(diag);
  EXPECT_EQ(diag, nullptr);
  EXPECT_NE(plain.find("ID:     Sweep:renderSecond"), std::string::npos);
}

// --- The XML forms written and restored. A restore that fails shows as its
// error diagnostic, or as the out-of-memory diagnostic when not even the
// reader could be made. ---

// Identifiers and messages of the tree, one line per item.
std::string summary(qvsvDiagnosticImpl* diag, const std::string& indent = std::string()) {
  std::string out;
  if (diag == nullptr) return out;
  for (const qvsvDiagnosticItem* item : diag->items()) {
    out += indent + item->identifier + ": " + ConvertUStringToStdString(item->message) + "\n";
    out += summary(item->cause, indent + "  ");
  }
  return out;
}

// True (and counted) when the restore failed as it promises to.
bool restoreFailed(qvsvDiagnosticImpl* restored, Outcome& outcome) {
  if (qvsvCheckDiagnosticForMessageIdentifier(restored, kOutOfMemoryId, 0)) {
    ++outcome.outOfMemoryMarks;
    return true;
  }
  if (!qvsvCheckDiagnosticForMessageIdentifier(restored, "QVSV_DIAGNOSTIC:RESTORE_DIAGNOSTIC_ERROR", 0)) return false;
  EXPECT_TRUE(qvsvCheckDiagnosticForMessageIdentifier(qvsvGetCauseFromDiagnosticItem(restored, 0),
                                                      "QVSV_SERVICES:ExpatParserError", 0));
  ++outcome.outOfMemoryMarks;
  return true;
}

void xmlScenario(Outcome& outcome) {
  qvsvDiagnosticImpl* diag = treeWithCause("Sweep:xml", u"caf\u00e9 & <cause> ]]>", outcome);

  const std::string written = summary(diag);
  qvsvDiagnosticImpl* restored = qvsvRestoreDiagnosticFromXMLFragment(qvsvSerializeDiagnosticAsXMLString(diag).c_str());
  if (!restoreFailed(restored, outcome)) {
    EXPECT_EQ(summary(restored), written);
  }
  qvsvDiscardDiagnostic(restored);

  qvsvDiagnosticImpl* withArguments = qvsvCreateDiagnostic(
      resource_core::BaseMsgID("QVSV_TEST:extra", "Pair", {std::u16string(u"caf\u00e9"), std::string("x")}), "");
  const qvsvArgumentVector arguments = qvsvGetArgumentsFromLastDiagnostic(withArguments);
  const std::string argumentForm = qvsvSerializeDiagnosticAsXMLStringWithArguments(withArguments);
  qvsvDiscardDiagnostic(withArguments);
  restored = qvsvRestoreDiagnosticFromXMLFragment(argumentForm.c_str());
  if (!restoreFailed(restored, outcome)) {
    EXPECT_EQ(summary(restored), "QVSV_TEST:extra:Pair: first caf\u00e9, second x\n");
    EXPECT_EQ(qvsvGetArgumentsFromLastDiagnostic(restored), arguments);
  }
  qvsvDiscardDiagnostic(restored);
}

// --- Duplicated wide strings: null when the copy cannot be made. ---
void duplicatedStringsScenario(Outcome& outcome) {
  for (const std::u16string text : {u"", u"abc", u"caf\u00e9 and more"}) {
    char16_t* copy = qvsvStrdup(text.c_str());
    char16_t* prefix = qvsvStrndup(text.c_str(), 2);
    for (auto [result, expected] : {std::pair(copy, text), std::pair(prefix, text.substr(0, 2))}) {
      if (result == nullptr) {
        ++outcome.outOfMemoryMarks;
      } else {
        EXPECT_EQ(std::u16string(result), expected);
      }
      utFree(result);
    }
  }
}

const std::vector<Scenario>& scenarios() {
  static const std::vector<Scenario> all = {
      {"QueueWithHandles", queueScenario},
      {"TLStyleIdentifier", tlStyleScenario},
      {"Renderings", renderingScenario},
      {"XmlForms", xmlScenario},
      {"DuplicatedStrings", duplicatedStringsScenario},
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
  std::string perTester;
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
    if (calls > 0) perTester += std::string(perTester.empty() ? "" : ", ") + name + " " + std::to_string(calls);
  }
  std::printf("[  sweep   ] %s: %d failure points (%s)\n", scenario.name, points, perTester.c_str());
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
