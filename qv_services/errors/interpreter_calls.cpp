// Host interpreter calls that return diagnostics.
#include "qv_services/interpreter_calls.hpp"

#include <functional>

#include "qv_services/conversions.hpp"
#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/except.hpp"
#include "qv_services/exception_exchange.hpp"
#include "tessel/interpreter.hpp"

namespace {

// The interruption diagnostic when interruption is enabled and a request is
// pending (the request is taken); null otherwise.
qvsvDiagnosticImpl* takeInterruption() {
  if (!tessel::IsInterruptEnabled()) return nullptr;
  const tessel::InterruptRequest request = tessel::TakeInterrupt();
  if (request == tessel::InterruptRequest::None) return nullptr;
  return qvsvCreateInterruptError(request == tessel::InterruptRequest::UserBreak);
}

void destroyOutputs(int nlhs, txArray* plhs[]) {
  if (plhs == nullptr) return;
  for (int i = 0; i < nlhs; ++i) {
    txDestroyArray(plhs[i]);
    plhs[i] = nullptr;
  }
}

qvsvDiagnosticImpl* guardedCall(int nlhs, txArray* plhs[], const std::function<void()>& call) noexcept {
  if (plhs != nullptr) {
    for (int i = 0; i < nlhs; ++i) plhs[i] = nullptr;
  }
  qvsvDiagnosticImpl* failure = nullptr;
  try {
    failure = takeInterruption();
    if (failure != nullptr) return failure;
    try {
      call();
    } catch (...) {
      destroyOutputs(nlhs, plhs);
      failure = qvsvDiagnosticFromCurrentException();
    }
    qvsvDiagnosticImpl* interruption = takeInterruption();
    if (interruption == nullptr) return failure;
    destroyOutputs(nlhs, plhs);
    qvsvAddCauseToLastDiagnosticItem(interruption, failure);
    qvsvDiscardDiagnostic(failure);
    return interruption;
  } catch (...) {
    destroyOutputs(nlhs, plhs);
    qvsvDiscardDiagnostic(failure);
    return qvsvCreateMemoryAllocationDiagnostic();
  }
}

void throwIfFailed(qvsvDiagnosticImpl* failure) {
  if (failure != nullptr) qvsv::except::ThrowDiagnostic(failure);
}

}  // namespace

qvsvDiagnosticImpl* qvsvEvaluateExpression_NoThrow(std::u16string_view expression, int nlhs, txArray* plhs[]) {
  return guardedCall(nlhs, plhs, [&] {
    if (nlhs < 0 || nlhs > 1 || (nlhs == 1 && plhs == nullptr)) {
      throw tessel::HostError("Tessel:BadArguments", "an expression gives 0 or 1 outputs into a non-null list");
    }
    txArray* value = tessel::EvaluateExpression(expression, nlhs);
    if (nlhs == 1) plhs[0] = value;
  });
}

qvsvDiagnosticImpl* qvsvEvaluateExpression_NoThrow(std::string_view expression, int nlhs, txArray* plhs[]) {
  return qvsvEvaluateExpression_NoThrow(std::u16string_view(ConvertStdStringToUString(expression)), nlhs, plhs);
}

void qvsvEvaluateExpression(std::u16string_view expression, int nlhs, txArray* plhs[]) {
  throwIfFailed(qvsvEvaluateExpression_NoThrow(expression, nlhs, plhs));
}

void qvsvEvaluateExpression(std::string_view expression, int nlhs, txArray* plhs[]) {
  throwIfFailed(qvsvEvaluateExpression_NoThrow(expression, nlhs, plhs));
}

qvsvDiagnosticImpl* qvsvCallHostFunction_NoThrow(const std::string& name, int nlhs, txArray* plhs[], int nrhs,
                                                 txArray* prhs[]) {
  return guardedCall(nlhs, plhs, [&] { tessel::feval(name, nlhs, plhs, nrhs, prhs); });
}

void qvsvCallHostFunction(const std::string& name, int nlhs, txArray* plhs[], int nrhs, txArray* prhs[]) {
  throwIfFailed(qvsvCallHostFunction_NoThrow(name, nlhs, plhs, nrhs, prhs));
}
