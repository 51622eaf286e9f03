// Calls into the host interpreter that return diagnostics: evaluating an
// expression of the host language and calling a host function by name.
//
// The _NoThrow forms return null on success and a new diagnostic, owned by
// the caller, on failure: the host's error with the host call stack where it
// was raised, any C++ exception of the called code turned into a diagnostic
// as exception_exchange.hpp says, or the interruption diagnostic
// ("QV_SERVICES:utils:CNTRL_C_INTERRUPTION" for the user's break key,
// "QV_SERVICES:utils:PROGRAM_INTERRUPTION" for the program) when
// interruption is enabled and a request is pending before or after the call
// (tessel::RequestInterrupt). The request is taken; a call that was
// interrupted after it ran has its outputs destroyed, and an error of its own
// becomes the cause of the interruption diagnostic. The other forms throw
// that diagnostic as qvsv::except::DiagnosticException.
//
// Outputs: plhs[0 .. nlhs-1] receive new arrays that the caller owns on
// success (temporary while a host call scope is open) and are null after a
// failure. Inputs are borrowed. A bad count or a null list where entries are
// needed is the host's "Tessel:BadArguments" error. Main thread only.
//
//   txArray* value = nullptr;
//   if (qvsvDiagnosticImpl* error = qvsvEvaluateExpression_NoThrow(u"version()", 1, &value)) {
//     qvsvReportAsError(error);
//   }
#pragma once

#include <string>
#include <string_view>

#include "qv_services/diagnostic.hpp"
#include "tessel/array.hpp"

// An expression of the host language (tessel::EvaluateExpression): nlhs is
// 0 or 1. The narrow overloads take UTF-8.
[[nodiscard]] QVSV_API qvsvDiagnosticImpl* qvsvEvaluateExpression_NoThrow(std::u16string_view expression, int nlhs,
                                                                         txArray* plhs[]);
[[nodiscard]] QVSV_API qvsvDiagnosticImpl* qvsvEvaluateExpression_NoThrow(std::string_view expression, int nlhs,
                                                                         txArray* plhs[]);
QVSV_API void qvsvEvaluateExpression(std::u16string_view expression, int nlhs, txArray* plhs[]);
QVSV_API void qvsvEvaluateExpression(std::string_view expression, int nlhs, txArray* plhs[]);

// The host function registered under name (tessel::feval).
[[nodiscard]] QVSV_API qvsvDiagnosticImpl* qvsvCallHostFunction_NoThrow(const std::string& name, int nlhs,
                                                                       txArray* plhs[], int nrhs, txArray* prhs[]);
QVSV_API void qvsvCallHostFunction(const std::string& name, int nlhs, txArray* plhs[], int nrhs, txArray* prhs[]);
