#include "qv_services/except.hpp"

#include "qv_services/conversions.hpp"

namespace qvsv::except {

// Shared by the copies that throwing makes; the last one releases the diagnostic.
struct DiagnosticException::Shared {
  qvsvDiagnosticImpl* diag = nullptr;
  std::string what;
  std::string identifier;
  ~Shared() { qvsvDiscardDiagnostic(diag); }
};

DiagnosticException::DiagnosticException(qvsvDiagnosticImpl*& diag) : shared_(std::make_shared<Shared>()) {
  shared_->what = ConvertUStringToStdString(qvsvGetCombinedErrorMessage(diag), true);
  shared_->identifier = qvsvGetCombinedErrorIdentifier(diag);
  shared_->diag = diag;
  diag = nullptr;
}

DiagnosticException::DiagnosticException(qvsvDiagnosticImpl*&& diag) : DiagnosticException(diag) {}

DiagnosticException::~DiagnosticException() = default;

const char* DiagnosticException::what() const noexcept { return shared_->what.c_str(); }

const std::string& DiagnosticException::identifier() const noexcept { return shared_->identifier; }

qvsvDiagnosticImpl* DiagnosticException::diagnostic() const noexcept { return shared_->diag; }

qvsvDiagnosticImpl* DiagnosticException::takeDiagnostic() noexcept {
  qvsvDiagnosticImpl* diag = shared_->diag;
  shared_->diag = nullptr;
  return diag;
}

void ThrowDiagnostic(qvsvDiagnosticImpl*& diag) { throw DiagnosticException(diag); }

}  // namespace qvsv::except
