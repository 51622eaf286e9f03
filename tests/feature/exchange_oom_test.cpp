// Out-of-memory sweep over the host-array form, the exception exchange and the
// interpreter wrappers: each operation runs once with a tester counting its
// calls, then once for every k with the k-th call (and every k-th after it)
// failing. After each run nothing may have leaked, and the failure must show
// as the out-of-memory diagnostic or as std::bad_alloc where the operation
// promises that exception.
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <new>
#include <optional>

#include "qv_services/array_form.hpp"
#include "qv_services/errors/diagnostic_state.hpp"
#include "qv_services/exception_exchange.hpp"
#include "qv_services/fault_injection.hpp"
#include "qv_services/interpreter_calls.hpp"
#include "qv_services/module.hpp"
#include "qv_services/reporting.hpp"
#include "tessel/console.hpp"
#include "tessel/module.hpp"
#include "tests/errors/diagnostics_fixture.hpp"
#include "tests/errors/random_diagnostic_tree.hpp"

namespace {

constexpr const char* kOutOfMemoryId = "QV_SERVICES:utils:MemoryAllocationError";

class ExchangeOutOfMemory : public qvsv::test::DiagnosticsTest {
 protected:
  void SetUp() override {
    DiagnosticsTest::SetUp();
    qvsv::test::RandomDiagnosticTree trees(31);
    tree_ = trees.build(2);
    expected_ = qvsv::test::DumpDiagnostic(tree_);
  }
  void TearDown() override {
    qvsvDiscardDiagnostic(tree_);
    DiagnosticsTest::TearDown();
  }

  // Runs operation (which returns how many failures it saw) for every
  // failure point of the tester; returns the number of points.
  static int sweep(const char* testerName, const std::function<int()>& operation) {
    qvsv::ScopedExceptionTesting failing(1);
    qvsvCreateExceptionTesterByName(testerName);
    QVSV_ExceptionTester* tester = qvsvGetExceptionTesterByName(testerName);
    tester->setEnabled(true);  // counts, but the skip never runs out
    EXPECT_EQ(checked(operation), 0) << "nothing fails while the tester only counts";
    const int calls = tester->getCounter();
    for (int k = 0; k < calls; ++k) {
      SCOPED_TRACE(std::string(testerName) + ": failing call " + std::to_string(k + 1) + " of " +
                   std::to_string(calls));
      tester->resetIterationToThrow();
      tester->setIterationToSkip(k);
      EXPECT_GE(checked(operation), 1) << "a failed allocation left no trace";
      if (::testing::Test::HasFailure()) break;
    }
    tester->resetIterationToSkip();
    return calls;
  }

  static int checked(const std::function<int()>& operation) {
    const std::size_t diagnostics = qvsv::detail::LiveDiagnosticCount();
    const std::size_t items = qvsv::detail::LiveItemCount();
    const std::size_t arrays = tessel::LiveArrayCount();
    const int failures = operation();
    EXPECT_EQ(qvsv::detail::LiveDiagnosticCount(), diagnostics) << "diagnostics leaked";
    EXPECT_EQ(qvsv::detail::LiveItemCount(), items) << "items leaked";
    EXPECT_EQ(tessel::LiveArrayCount(), arrays) << "host arrays leaked";
    return failures;
  }

  // Restores the form and compares; 1 when the restore ran out of memory.
  int restoreAndCompare(const txArray* form) const {
    qvsvDiagnosticImpl* restored = nullptr;
    qvsvDiagnosticImpl* error = qvsvDiagnosticFromArray_NoThrow(form, restored);
    int failures = 0;
    if (error != nullptr) {
      EXPECT_EQ(restored, nullptr);
      EXPECT_TRUE(qvsvCheckDiagnosticForMessageIdentifier(error, kOutOfMemoryId, 0));
      failures = 1;
    } else {
      EXPECT_EQ(qvsv::test::DumpDiagnostic(restored), expected_);
    }
    qvsvDiscardDiagnostic(error);
    qvsvDiscardDiagnostic(restored);
    return failures;
  }

  qvsvDiagnosticImpl* tree_ = nullptr;
  std::string expected_;
};

TEST_F(ExchangeOutOfMemory, ArrayFormWrittenAndRestoredSurvivesEveryFailurePoint) {
  int points = 0;
  for (const char* tester : {qvsv::fault::kArrayForm, qvsv::fault::kHandleArray}) {
    points += sweep(tester, [&] {
      txArray* form = nullptr;
      try {
        form = qvsvDiagnosticToArray(tree_);
      } catch (const std::bad_alloc&) {
        return 1;
      }
      const int failures = restoreAndCompare(form);
      txDestroyArray(form);
      return failures;
    });
  }
  EXPECT_GT(points, 10);
  std::printf("[  sweep   ] array form: %d failure points\n", points);
}

TEST_F(ExchangeOutOfMemory, HostCodeReadingAndRaisingSurvivesEveryFailurePoint) {
  tessel::ConsoleCapture console;
  const int points = sweep(qvsv::fault::kArrayForm, [&] {
    // Reporting keeps the form (or, short of memory, that of the shortage);
    // raising it through host code brings either back. Unloading the module
    // drops what it kept.
    tessel::ScopedModule module(TLInitialize_qv_services, TLTerminate_qv_services, QueryTLFcnTable_qv_services);
    qvsvDiagnosticImpl* copy = qvsvDuplicateDiagnostic(tree_);
    qvsvReportAsError(copy);
    qvsvDiagnosticImpl* raised =
        qvsvEvaluateExpression_NoThrow("QvDiagnosticRaise(QvDiagnosticGetLastReported())", 0, nullptr);
    const bool shortage = qvsvCheckDiagnosticForMessageIdentifier(raised, kOutOfMemoryId, 0);
    qvsvDiscardDiagnostic(raised);
    return shortage ? 1 : 0;
  });
  EXPECT_GT(points, 0);
}

TEST_F(ExchangeOutOfMemory, HostFunctionRunningOutOfMemoryGivesTheOutOfMemoryDiagnostic) {
  tessel::ScopedFunction starving("starving", [](int, txArray* plhs[], int, txArray*[]) {
    plhs[0] = txCreateDoubleScalar(1);
    try {
      throw std::bad_alloc();
    } catch (...) {
      std::throw_with_nested(tessel::HostError("Host:starved", "no memory for the step"));
    }
  });
  txArray* out = nullptr;
  qvsvDiagnosticImpl* diag = qvsvCallHostFunction_NoThrow("starving", 1, &out, 0, nullptr);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(ids(diag), std::vector<std::string>{"Host:starved"});
  EXPECT_EQ(ids(qvsvGetCauseFromDiagnosticItem(diag, 0)), std::vector<std::string>{kOutOfMemoryId});
  qvsvDiscardDiagnostic(diag);
}

}  // namespace
