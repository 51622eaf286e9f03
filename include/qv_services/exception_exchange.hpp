// Exchange between diagnostics and other exception types: what a catch block
// turns a caught exception into, and how a diagnostic is raised in the host
// interpreter.
//
// From an exception to a diagnostic (a new one the caller owns, never null):
//   std::bad_alloc (and tessel::OutOfMemory)  the out-of-memory diagnostic
//   qvsv::except::DiagnosticException         its own diagnostic, handed over
//                                             (the exception keeps none)
//   qvsv::except::HostDiagnosticError         the same
//   tessel::HostError                         its identifier and message, with
//                                             the host call stack it recorded
//   resource_core::CatalogError               "QV_SERVICES:exchange:CatalogError"
//                                             (arguments: identifier, locale, text)
//   std::system_error                         "QV_SERVICES:exchange:SystemError"
//                                             (arguments: code value, category
//                                             name, text)
//   any other std::exception                  "QV_SERVICES:exchange:StdException"
//                                             (arguments: what(), type name)
//   anything else                             "QV_SERVICES:exchange:UnknownException"
// An exception thrown with std::throw_with_nested becomes a chain: the outer
// exception's diagnostic, caused by the nested one's, caused by the one
// nested in that, and so on (at most kQvsvMaxRestoredCauseDepth levels; any
// deeper are left out). A diagnostic that was handed over without one (taken
// earlier, or thrown null) reads as its exception's identifier and what()
// when it has them, else as the unknown exception.
//
// Converting never throws: when memory runs short on the way the result is
// the out-of-memory diagnostic. Main thread only, as diagnostics are.
//
//   try {
//     runModelStep();
//   } catch (...) {
//     qvsvDiagnosticImpl* diag = qvsvDiagnosticFromCurrentException();
//     qvsvReportAsError(diag);
//   }
#pragma once

#include <exception>

#include "qv_services/diagnostic.hpp"
#include "qv_services/except.hpp"
#include "tessel/interpreter.hpp"

// The exception in flight, for catch (...) blocks; null when called outside
// a handler, where there is none.
[[nodiscard]] QVSV_API qvsvDiagnosticImpl* qvsvDiagnosticFromCurrentException() noexcept;
// The given exception; null for a null pointer.
[[nodiscard]] QVSV_API qvsvDiagnosticImpl* qvsvDiagnosticFromException(const std::exception_ptr& exception) noexcept;

namespace qvsv::except {

// A diagnostic raised in the host interpreter: a host error whose identifier
// is the diagnostic's combined identifier and whose text is its combined
// message, so host code that catches host errors by identifier sees the
// diagnostic's; it carries the diagnostic itself (shared by its copies, as
// DiagnosticException does), so that nothing of it is lost on the way.
class QVSV_API HostDiagnosticError : public tessel::HostError {
 public:
  // Takes the diagnostic over; the caller's pointer becomes null.
  explicit HostDiagnosticError(qvsvDiagnosticImpl*& diag);
  ~HostDiagnosticError() override;

  // The diagnostic, still owned by the error; null once taken.
  qvsvDiagnosticImpl* diagnostic() const noexcept { return payload_.diagnostic(); }
  // Hands the diagnostic to the caller; later calls (on any copy) give null.
  qvsvDiagnosticImpl* takeDiagnostic() noexcept { return payload_.takeDiagnostic(); }

 private:
  explicit HostDiagnosticError(DiagnosticException payload);
  DiagnosticException payload_;
};

// Raises the diagnostic in the host interpreter as a HostDiagnosticError
// (consuming it). A null or empty diagnostic raises nothing and is released,
// as the host's error function does nothing for an empty message.
QVSV_API void RaiseInHost(qvsvDiagnosticImpl*& diag);

}  // namespace qvsv::except
