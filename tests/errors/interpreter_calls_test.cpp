#include <optional>
#include <stdexcept>

#include "qv_services/array_form.hpp"
#include "qv_services/conversions.hpp"
#include "qv_services/except.hpp"
#include "qv_services/exception_exchange.hpp"
#include "qv_services/fault_injection.hpp"
#include "qv_services/interpreter_calls.hpp"
#include "qv_services/module.hpp"
#include "qv_services/reporting.hpp"
#include "tessel/console.hpp"
#include "tessel/interpreter.hpp"
#include "tessel/module.hpp"
#include "tests/errors/diagnostics_fixture.hpp"
#include "tests/errors/random_diagnostic_tree.hpp"

namespace {

using qvsv::test::DiagnosticsTest;

class InterpreterCalls : public DiagnosticsTest {
 protected:
  void TearDown() override {
    tessel::SetInterruptEnabled(true);
    tessel::TakeInterrupt();
    DiagnosticsTest::TearDown();
  }

  // Calls "step" for one output: the diagnostic, and whether the output is gone.
  qvsvDiagnosticImpl* callStep() {
    txArray* out = nullptr;
    qvsvDiagnosticImpl* diag = qvsvCallHostFunction_NoThrow("step", 1, &out, 0, nullptr);
    EXPECT_EQ(out == nullptr, diag != nullptr) << "outputs exist exactly when the call succeeded";
    txDestroyArray(out);
    return diag;
  }

  // "step" runs what the test put in step_, counting its calls; it makes
  // its output first, so that a failure has something to clean up.
  std::function<void()> step_ = [] {};
  int stepCalls_ = 0;
  tessel::ScopedFunction stepFunction_{"step", [this](int nlhs, txArray* plhs[], int, txArray*[]) {
                                         ++stepCalls_;
                                         if (nlhs > 0) plhs[0] = txCreateStringFromUTF8("done");
                                         step_();
                                       }};
};

TEST_F(InterpreterCalls, SuccessGivesNullAndTheOutputs) {
  EXPECT_EQ(callStep(), nullptr);
  txArray* out = nullptr;
  EXPECT_EQ(qvsvEvaluateExpression_NoThrow("step", 1, &out), nullptr);
  EXPECT_EQ(txGetStringUTF8(out), "done");
  txDestroyArray(out);
  EXPECT_EQ(qvsvEvaluateExpression_NoThrow(u"step()", 0, nullptr), nullptr);
  EXPECT_EQ(stepCalls_, 3);
}

TEST_F(InterpreterCalls, HostErrorNestingAnOutOfMemoryKeepsItAsTheCause) {
  step_ = [] {
    try {
      throw std::bad_alloc();
    } catch (...) {
      std::throw_with_nested(tessel::HostError("Host:starved", "no memory for the step"));
    }
  };
  qvsvDiagnosticImpl* diag = callStep();
  EXPECT_EQ(causeChain(diag), (std::vector<std::string>{"Host:starved", "QV_SERVICES:utils:MemoryAllocationError"}));
  qvsvDiscardDiagnostic(diag);
}

TEST_F(InterpreterCalls, HostErrorComesWithTheStackWhereItWasRaised) {
  step_ = [] {
    tessel::ScopedFrame frame("step.m", "step", 7);
    throw tessel::HostError("Model:stepFailed", "the step failed");
  };
  qvsvDiagnosticImpl* diag = qvsvEvaluateExpression_NoThrow("step()", 0, nullptr);
  EXPECT_STREQ(qvsvGetFirstErrorIdentifier(diag), "Model:stepFailed");
  EXPECT_EQ(qvsvGetTStackFromDiagnostic(diag, 0), "step.m>step:7\n");
  qvsvDiscardDiagnostic(diag);

  diag = qvsvEvaluateExpression_NoThrow(u"no_such_function(1)", 1, nullptr);
  EXPECT_STREQ(qvsvGetFirstErrorIdentifier(diag), "Tessel:BadArguments") << "a null output list is refused";
  qvsvDiscardDiagnostic(diag);
}

struct Interruption {
  tessel::InterruptRequest request;
  const char* identifier;
};

class InterruptedCalls : public InterpreterCalls, public ::testing::WithParamInterface<Interruption> {};

// Before, during and with the call's own error: the interruption is the
// diagnostic, the outputs are dropped and the request is taken.
TEST_P(InterruptedCalls, GiveTheInterruptionKeepingTheCallsOwnErrorAsCause) {
  const std::vector<std::string> interrupted{GetParam().identifier};
  tessel::RequestInterrupt(GetParam().request);
  qvsvDiagnosticImpl* diag = qvsvCallHostFunction_NoThrow("step", 0, nullptr, 0, nullptr);
  EXPECT_EQ(causeChain(diag), interrupted);
  EXPECT_EQ(stepCalls_, 0) << "a pending request stops the call from running";
  qvsvDiscardDiagnostic(diag);

  step_ = [] { tessel::RequestInterrupt(GetParam().request); };
  diag = callStep();
  EXPECT_EQ(causeChain(diag), interrupted);
  EXPECT_EQ(tessel::PendingInterrupt(), tessel::InterruptRequest::None) << "the request was taken";
  qvsvDiscardDiagnostic(diag);

  step_ = [] {
    tessel::RequestInterrupt(GetParam().request);
    throw tessel::HostError("Model:stop", "stopped");
  };
  diag = qvsvEvaluateExpression_NoThrow("step()", 0, nullptr);
  EXPECT_EQ(causeChain(diag), (std::vector<std::string>{GetParam().identifier, "Model:stop"}));
  qvsvDiscardDiagnostic(diag);
}

INSTANTIATE_TEST_SUITE_P(Calls, InterruptedCalls,
                         ::testing::Values(Interruption{tessel::InterruptRequest::UserBreak,
                                                        "QV_SERVICES:utils:CNTRL_C_INTERRUPTION"},
                                           Interruption{tessel::InterruptRequest::Program,
                                                        "QV_SERVICES:utils:PROGRAM_INTERRUPTION"}),
                         [](const auto& info) {
                           return info.param.request == tessel::InterruptRequest::UserBreak ? "UserBreak" : "Program";
                         });

TEST_F(InterpreterCalls, WhileInterruptionIsDisabledRequestsWait) {
  tessel::SetInterruptEnabled(false);
  step_ = [] { tessel::RequestInterrupt(tessel::InterruptRequest::UserBreak); };
  EXPECT_EQ(callStep(), nullptr);
  EXPECT_EQ(tessel::PendingInterrupt(), tessel::InterruptRequest::UserBreak);
}

TEST_F(InterpreterCalls, ThrowingFormsThrowTheDiagnostic) {
  try {
    qvsvEvaluateExpression("error('Demo:thrown', 'as an exception')", 0, nullptr);
    FAIL() << "nothing thrown";
  } catch (const qvsv::except::DiagnosticException& e) {
    EXPECT_EQ(e.identifier(), "Demo:thrown");
    EXPECT_STREQ(e.what(), "as an exception");
  }
  EXPECT_THROW(qvsvCallHostFunction("no_such_function", 0, nullptr, 0, nullptr), qvsv::except::DiagnosticException);
}

// --- The module's entries, as host code calls them. ---

class ModuleEntries : public InterpreterCalls {
 protected:
  void SetUp() override {
    InterpreterCalls::SetUp();
    module_.emplace(TLInitialize_qv_services, TLTerminate_qv_services, QueryTLFcnTable_qv_services);
  }
  // Unloading drops the kept form before the leak check.
  void TearDown() override {
    module_.reset();
    InterpreterCalls::TearDown();
  }
  // What host code gets when it raises the last reported diagnostic.
  static qvsvDiagnosticImpl* raise(const char* argument) {
    return qvsvEvaluateExpression_NoThrow(std::string("QvDiagnosticRaise(") + argument + ")", 0, nullptr);
  }
  std::optional<tessel::ScopedModule> module_;
  tessel::ConsoleCapture console_;  // the host display of unclaimed reports
};

TEST_F(ModuleEntries, LastReportedDiagnosticReadsAsItsArrayFormAndKind) {
  txArray* out[2] = {};
  ASSERT_EQ(qvsvCallHostFunction_NoThrow("QvDiagnosticGetLastReported", 2, out, 0, nullptr), nullptr);
  EXPECT_EQ(txGetNumberOfElements(out[0]), 0u) << "nothing reported yet";
  for (txArray* a : out) txDestroyArray(a);
  qvsv::test::RandomDiagnosticTree trees(5);
  qvsvDiagnosticImpl* diag = trees.build();
  const std::string expected = qvsv::test::DumpDiagnostic(diag);
  qvsvReportAsError(diag);
  ASSERT_EQ(qvsvCallHostFunction_NoThrow("QvDiagnosticGetLastReported", 2, out, 0, nullptr), nullptr);
  EXPECT_EQ(txGetStringUTF8(out[1]), "error");
  qvsvDiagnosticImpl* restored = qvsvDiagnosticFromArray(out[0]);
  EXPECT_EQ(qvsv::test::DumpDiagnostic(restored), expected);
  qvsvDiscardDiagnostic(restored);
  for (txArray* a : out) txDestroyArray(a);
}

TEST_F(ModuleEntries, HostCodeRaisesTheLastReportedDiagnosticByItsIdentifier) {
  qvsvDiagnosticImpl* warning = make("Quiver:blocks:Unconnected", u"Port 2 is unconnected.");
  qvsvReportAsWarning(warning);
  qvsvDiagnosticImpl* raised = raise("QvDiagnosticGetLastReported()");
  EXPECT_EQ(tree(raised), "Quiver:blocks:Unconnected=Port 2 is unconnected.;");
  qvsvDiscardDiagnostic(raised);
  try {
    tessel::EvaluateExpression(u"QvDiagnosticRaise(QvDiagnosticGetLastReported)", 0);
    FAIL() << "nothing raised";
  } catch (const tessel::HostError& e) {
    EXPECT_EQ(e.identifier(), "Quiver:blocks:Unconnected") << "host code catches it by identifier";
    qvsvDiagnosticImpl* carried = qvsvDiagnosticFromCurrentException();
    qvsvDiscardDiagnostic(carried);
  }
}

TEST_F(ModuleEntries, RaisingAMalformedOrMissingFormRaisesWhatIsWrong) {
  qvsvDiagnosticImpl* raised = raise("'not a form'");
  EXPECT_EQ(ids(raised), std::vector<std::string>{"QV_SERVICES:exchange:ArrayWrongClass"});
  qvsvDiscardDiagnostic(raised);
  raised = raise("1, 2");
  EXPECT_EQ(tree(raised),
            "QV_SERVICES:exchange:EntryArguments=QvDiagnosticRaise takes 1 input(s) and gives at most 0 output(s).;");
  qvsvDiscardDiagnostic(raised);

  // A report whose form could not be made raises the shortage.
  qvsv::ScopedExceptionTesting failing(1);
  qvsvCreateExceptionTesterByName(qvsv::fault::kArrayForm);
  QVSV_ExceptionTester* tester = qvsvGetExceptionTesterByName(qvsv::fault::kArrayForm);
  tester->setIterationToSkip(0);
  qvsvDiagnosticImpl* diag = make("A:b");
  qvsvReportAsError(diag);
  tester->resetIterationToSkip();
  raised = raise("QvDiagnosticGetLastReported()");
  EXPECT_EQ(ids(raised), std::vector<std::string>{"QV_SERVICES:utils:MemoryAllocationError"});
  qvsvDiscardDiagnostic(raised);
}

}  // namespace
