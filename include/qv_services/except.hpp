// The library's exception: it carries a diagnostic.
//
// The exception owns the diagnostic (copies of the exception share it) and
// releases it when the last copy dies, unless someone took it out with
// takeDiagnostic() to report or render it. what() is the diagnostic's
// combined message as UTF-8, fixed when the exception is made.
#pragma once

#include <exception>
#include <memory>
#include <string>

#include "qv_services/diagnostic.hpp"

namespace qvsv::except {

class QVSV_API DiagnosticException : public std::exception {
 public:
  // Takes the diagnostic over; the caller's pointer becomes null. A null
  // diagnostic makes an exception without one (what() is empty).
  explicit DiagnosticException(qvsvDiagnosticImpl*& diag);
  DiagnosticException(qvsvDiagnosticImpl*&& diag);
  ~DiagnosticException() override;

  const char* what() const noexcept override;
  // The combined identifier ("Tessel:TException:MultipleErrors" for several items).
  const std::string& identifier() const noexcept;
  // The diagnostic, still owned by the exception; null once taken.
  qvsvDiagnosticImpl* diagnostic() const noexcept;
  // Hands the diagnostic to the caller; later calls (on any copy) give null.
  qvsvDiagnosticImpl* takeDiagnostic() noexcept;

 private:
  struct Shared;
  std::shared_ptr<Shared> shared_;
};

// Throws a DiagnosticException carrying the diagnostic.
[[noreturn]] QVSV_API void ThrowDiagnostic(qvsvDiagnosticImpl*& diag);

}  // namespace qvsv::except
