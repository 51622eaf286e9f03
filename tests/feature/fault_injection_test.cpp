#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "qv_services/conversions.hpp"
#include "qv_services/except.hpp"
#include "qv_services/fault_injection.hpp"
#include "qv_services/feature/detail/tested_allocation.hpp"
#include "tessel/console.hpp"
#include "tessel/interpreter.hpp"
#include "tessel/ut.hpp"
#include "tests/errors/diagnostics_fixture.hpp"

namespace {

using qvsv::ScopedExceptionTesting;

constexpr const char* kInjectedId = "QV_SERVICES:utils:InjectedException";

// An allocator that counts its calls, so a test sees whether a wrapper used it.
int gAllocatorCalls = 0;
void* countingMalloc(std::size_t size) {
  ++gAllocatorCalls;
  return utMalloc(size);
}

class FaultInjection : public qvsv::test::DiagnosticsTest {
 protected:
  static QVSV_ExceptionTester* tester(const char* name = "t", int skip = QVSV_ExceptionTester::kNeverFire) {
    qvsvCreateExceptionTesterByName(name);
    QVSV_ExceptionTester* t = qvsvGetExceptionTesterByName(name);
    if (skip != QVSV_ExceptionTester::kNeverFire) t->setIterationToSkip(skip);
    return t;
  }
  // 1-based numbers of the calls, out of `calls`, that the tester fails.
  static std::vector<int> failingCalls(QVSV_ExceptionTester* t, int calls) {
    std::vector<int> failing;
    for (int i = 1; i <= calls; ++i) {
      if (t->handleTester("Alloc", "f.cpp", "fn", 1)) failing.push_back(i);
    }
    return failing;
  }
  // What reportException throws for `given` (null when it throws nothing);
  // the caller discards it.
  static qvsvDiagnosticImpl* thrownBy(QVSV_ExceptionTester* t, qvsvDiagnosticImpl*& given, int line = 7) {
    try {
      t->reportException("x.cpp", "g", line, given);
    } catch (qvsv::except::DiagnosticException& e) {
      return e.takeDiagnostic();
    }
    return nullptr;
  }
};

struct Pattern {
  int skip;                  // a negative one is ignored: the tester stays fresh
  std::vector<int> failing;  // of the first 10 calls
};

class FiringPattern : public FaultInjection, public ::testing::WithParamInterface<Pattern> {};

TEST_P(FiringPattern, EveryCallAfterSkipPassingCallsFails) {
  ScopedExceptionTesting failing(1);
  QVSV_ExceptionTester* t = tester();
  t->setIterationToSkip(GetParam().skip);
  EXPECT_EQ(t->isEnabled(), GetParam().skip >= 0);
  EXPECT_EQ(failingCalls(t, 10), GetParam().failing);
  if (GetParam().skip < 0) {
    EXPECT_EQ(t->getCounter(), 0) << "a disabled tester counts nothing";
  }
}

INSTANTIATE_TEST_SUITE_P(FaultInjection, FiringPattern,
                         ::testing::Values(Pattern{0, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}}, Pattern{2, {3, 6, 9}},
                                           Pattern{4, {5, 10}}, Pattern{10, {}}, Pattern{-1, {}}),
                         [](const auto& info) {
                           const int skip = info.param.skip;
                           return skip < 0 ? std::string("NegativeSkip") : "Skip" + std::to_string(skip);
                         });

TEST_F(FaultInjection, NegativeSkipChangesNothingAndResetsRestartTheCountOrDisable) {
  ScopedExceptionTesting failing(1);
  QVSV_ExceptionTester* t = tester("t", 2);
  t->setEnabled(false);
  t->setIterationToSkip(-5);
  EXPECT_FALSE(t->isEnabled()) << "a negative skip must not enable";
  EXPECT_EQ(t->getIterationToSkip(), 2);
  t->setIterationToSkip(2);
  failingCalls(t, 2);
  t->resetIterationToThrow();
  EXPECT_EQ(failingCalls(t, 3), std::vector<int>{3}) << "counting starts again from 0";
  t->resetIterationToSkip();
  EXPECT_FALSE(t->isEnabled());
  EXPECT_EQ(t->getIterationToSkip(), QVSV_ExceptionTester::kNeverFire);
  EXPECT_TRUE(failingCalls(t, 10).empty());
}

TEST_F(FaultInjection, ReportModePrintsKindAfterZeroAndTheLocationAndSucceeds) {
  ScopedExceptionTesting reporting(0);
  tester("r", 1);
  tessel::ConsoleCapture console;
  void* a = qvsvMalloc_DEBUG_DONT_USE_IT(utMalloc, 8, "r", "a.cpp", "fa", 10);
  EXPECT_EQ(console.text(), "") << "the first call passes";
  void* b = qvsvMalloc_DEBUG_DONT_USE_IT(utMalloc, 8, "r", "a.cpp", "fa", 11);
  void* c = qvsvCalloc_DEBUG_DONT_USE_IT(utCalloc, 2, 4, "r", nullptr, nullptr, 12);
  void* d = qvsvCalloc_DEBUG_DONT_USE_IT(utCalloc, 2, 4, "r", nullptr, nullptr, 13);
  d = qvsvRealloc_DEBUG_DONT_USE_IT(utRealloc, d, 64, "r", "b.cpp", "fb", -1);
  d = qvsvRealloc_DEBUG_DONT_USE_IT(utRealloc, d, 128, "r", "b.cpp", "fb", 14);
  EXPECT_EQ(console.text(),
            "Alloc after 0. File: a.cpp; function: fa; line: 11\n"
            "Calloc after 0. File: <unknown file>; function: <unknown function>; line: 13\n"
            "Realloc after 0. File: b.cpp; function: fb; line: 14\n");
  for (void* block : {a, b, c, d}) EXPECT_NE(block, nullptr);
  for (void* block : {a, b, c, d}) utFree(block);
}

TEST_F(FaultInjection, OtherModesLetAFiringTesterPassSilently) {
  ScopedExceptionTesting other(7);
  QVSV_ExceptionTester* t = tester("t", 0);
  tessel::ConsoleCapture console;
  EXPECT_TRUE(failingCalls(t, 3).empty());
  EXPECT_EQ(console.text(), "");
  EXPECT_EQ(t->getCounter(), 0) << "it fired, so the count was reset";
}

TEST_F(FaultInjection, FailModeReturnsNullWithoutCallingTheAllocatorAndKeepsTheBlock) {
  ScopedExceptionTesting failing(1);
  tester("m", 1);
  gAllocatorCalls = 0;
  auto* block = static_cast<char*>(qvsvMalloc_DEBUG_DONT_USE_IT(countingMalloc, 6, "m", __FILE__, __func__, 1));
  EXPECT_EQ(qvsvMalloc_DEBUG_DONT_USE_IT(countingMalloc, 6, "m", __FILE__, __func__, 2), nullptr);
  EXPECT_EQ(gAllocatorCalls, 1);
  ASSERT_NE(block, nullptr);
  std::memcpy(block, "hello", 6);
  block = static_cast<char*>(qvsvRealloc_DEBUG_DONT_USE_IT(utRealloc, block, 8, "m", nullptr, nullptr, 3));
  EXPECT_EQ(qvsvRealloc_DEBUG_DONT_USE_IT(utRealloc, block, 1 << 20, "m", nullptr, nullptr, 4), nullptr);
  EXPECT_STREQ(block, "hello");
  utFree(block);
  // The library's own helper clears its block and fails through its tester.
  tester("c", 1);
  auto* cleared = static_cast<int*>(qvsv::detail::TestedCalloc("c", 2, sizeof(int)));
  ASSERT_NE(cleared, nullptr);
  EXPECT_EQ(cleared[0] | cleared[1], 0);
  EXPECT_EQ(qvsv::detail::TestedCalloc("c", 2, sizeof(int)), nullptr);
  utFree(cleared);
}

TEST_F(FaultInjection, WrappersCreateTheirTesterLazilyOnlyWhileAvailable) {
  {
    ScopedExceptionTesting unavailable(-1);
    EXPECT_FALSE(QVSV_ExceptionTester::isXTesterAvailable());
    gAllocatorCalls = 0;
    utFree(qvsvMalloc_DEBUG_DONT_USE_IT(countingMalloc, 4, "lazy", nullptr, nullptr, 0));
    EXPECT_EQ(gAllocatorCalls, 1);
    EXPECT_EQ(qvsvGetExceptionTesterByName("lazy"), nullptr) << "mode -1 creates no testers";
  }
  ScopedExceptionTesting reporting(0);
  EXPECT_TRUE(QVSV_ExceptionTester::isXTesterAvailable());
  utFree(qvsvMalloc_DEBUG_DONT_USE_IT(utMalloc, 4, "lazy", nullptr, nullptr, 0));
  ASSERT_NE(qvsvGetExceptionTesterByName("lazy"), nullptr);
  EXPECT_FALSE(qvsvGetExceptionTesterByName("lazy")->isEnabled());
}

TEST_F(FaultInjection, BadInputNeitherCrashesNorCreates) {
  qvsvCreateExceptionTesterByName("noRegistry");
  EXPECT_EQ(qvsvGetExceptionTesterByName("noRegistry"), nullptr) << "no registry outside a scope";
  ScopedExceptionTesting failing(1);
  qvsvCreateExceptionTesterByName(nullptr);
  EXPECT_EQ(qvsvGetExceptionTesterByName(nullptr), nullptr);
  void* untested = qvsvMalloc_DEBUG_DONT_USE_IT(utMalloc, 4, nullptr, nullptr, nullptr, 0);
  EXPECT_NE(untested, nullptr);
  utFree(untested);
  EXPECT_EQ(qvsvMalloc_DEBUG_DONT_USE_IT(nullptr, 4, "x", nullptr, nullptr, 0), nullptr);
  EXPECT_EQ(qvsvCalloc_DEBUG_DONT_USE_IT(nullptr, 1, 4, "x", nullptr, nullptr, 0), nullptr);
  EXPECT_EQ(qvsvRealloc_DEBUG_DONT_USE_IT(nullptr, nullptr, 4, "x", nullptr, nullptr, 0), nullptr);
}

TEST_F(FaultInjection, NestedScopesShareTheOutermostRegistryAndRestoreTheMode) {
  EXPECT_EQ(QVSV_ExceptionTester::staticTesterMode, -1);
  {
    ScopedExceptionTesting outer(1);
    tester("kept", 3);
    {
      ScopedExceptionTesting inner(0);
      EXPECT_EQ(QVSV_ExceptionTester::staticTesterMode, 0);
      EXPECT_EQ(qvsvGetExceptionTesterByName("kept")->getIterationToSkip(), 3);
    }
    EXPECT_EQ(QVSV_ExceptionTester::staticTesterMode, 1);
    ASSERT_NE(qvsvGetExceptionTesterByName("kept"), nullptr) << "the inner scope does not own the registry";
  }
  EXPECT_EQ(QVSV_ExceptionTester::staticTesterMode, -1);
  EXPECT_EQ(qvsvGetExceptionTesterByName("kept"), nullptr);
}

// reportException: the counterpart for paths that raise diagnostics.
TEST_F(FaultInjection, ReportExceptionThrowsTheInjectedDiagnosticAfterSkipPassingCalls) {
  ScopedExceptionTesting failing(1);
  QVSV_ExceptionTester* t = tester("t", 2);
  for (int i = 0; i < 2; ++i) {
    qvsvDiagnosticImpl* given = make("Given:one");
    EXPECT_EQ(thrownBy(t, given), nullptr);
    EXPECT_EQ(given, nullptr) << "a call that does not throw consumes the diagnostic";
  }
  qvsvDiagnosticImpl* none = nullptr;
  qvsvDiagnosticImpl* thrown = thrownBy(t, none);
  EXPECT_EQ(ids(thrown), std::vector<std::string>{kInjectedId}) << "the third call throws";
  EXPECT_EQ(std::u16string(qvsvGetMessageFromDiagnosticItem(thrown, 0)),
            u"Exception was thrown after 3. File: x.cpp; function: g; line: 7");
  qvsvDiscardDiagnostic(thrown);
  EXPECT_EQ(t->getCounter(), 0);

  // Given a diagnostic, the injected one becomes a cause of its last item.
  t->setIterationToSkip(0);
  qvsvDiagnosticImpl* given = queueOf(2, "Given");
  thrown = thrownBy(t, given);
  EXPECT_EQ(given, nullptr);
  EXPECT_EQ(ids(thrown), (std::vector<std::string>{"Given:0", "Given:1"}));
  EXPECT_EQ(ids(qvsvGetCauseFromDiagnosticItem(thrown, 1)), std::vector<std::string>{kInjectedId});
  qvsvDiscardDiagnostic(thrown);
  // A static last item takes no cause, and nothing leaks.
  given = qvsvCreateMemoryAllocationDiagnostic();
  thrown = thrownBy(t, given);
  EXPECT_EQ(ids(thrown), std::vector<std::string>{"QV_SERVICES:utils:MemoryAllocationError"});
  EXPECT_EQ(qvsvGetCauseFromDiagnosticItem(thrown, 0), nullptr);
  qvsvDiscardDiagnostic(thrown);
}

TEST_F(FaultInjection, ReportExceptionInReportModePrintsTheLastMessageWithTheInterruptFlagAndConsumes) {
  ScopedExceptionTesting reporting(0);
  QVSV_ExceptionTester* t = tester("t", 0);
  tessel::ConsoleCapture console;
  qvsvDiagnosticImpl* given = make("Given:one", u"given message");
  EXPECT_EQ(thrownBy(t, given), nullptr);
  EXPECT_EQ(given, nullptr);
  tessel::SetInterruptEnabled(false);
  qvsvDiagnosticImpl* none = nullptr;
  EXPECT_EQ(thrownBy(t, none, 9), nullptr);
  tessel::SetInterruptEnabled(true);
  EXPECT_EQ(console.text(),
            "given message (interruption enabled: 1)\n"
            "Exception was thrown after 1. File: x.cpp; function: g; line: 9 (interruption enabled: 0)\n");
}

TEST_F(FaultInjection, ReportExceptionOfAnUnavailableOrDisabledTesterOnlyConsumes) {
  QVSV_ExceptionTester loose("loose");
  loose.setIterationToSkip(0);
  qvsvDiagnosticImpl* given = make("Given:one");
  EXPECT_EQ(thrownBy(&loose, given), nullptr) << "mode -1";
  EXPECT_EQ(given, nullptr);
  EXPECT_EQ(loose.getCounter(), 0) << "nothing is counted while testers are unavailable";
  ScopedExceptionTesting failing(1);
  given = make("Given:two");
  EXPECT_EQ(thrownBy(tester("disabled"), given), nullptr);
  EXPECT_EQ(given, nullptr);
}

}  // namespace
