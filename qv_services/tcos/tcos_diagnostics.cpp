// Diagnostics of the tcos catalogue.
#include "qv_services/tcos/tcos_diagnostics.hpp"

#include <charconv>
#include <cmath>

#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/except.hpp"
#include "qv_services/exception_exchange.hpp"

namespace qvsv::tcos::detail {

qvsvDiagnosticImpl* MakeTcosDiagnostic(const char* key, qvsvArgumentVector arguments) {
  return qvsvCreateDiagnosticFromMessageID(MutableBaseMsgID(kTcosCatalog, key, std::move(arguments)));
}

void ThrowTcosDiagnostic(const char* key, qvsvArgumentVector arguments) {
  qvsvDiagnosticImpl* diag = MakeTcosDiagnostic(key, std::move(arguments));
  qvsv::except::ThrowDiagnostic(diag);
}

void ThrowTcosDiagnosticWithCause(const char* key, qvsvArgumentVector arguments) {
  qvsvDiagnosticImpl* cause = qvsvDiagnosticFromCurrentException();
  qvsvDiagnosticImpl* diag = nullptr;
  try {
    diag = MakeTcosDiagnostic(key, std::move(arguments));
  } catch (...) {
    qvsvDiscardDiagnostic(cause);
    throw;
  }
  qvsvAddCauseToLastDiagnosticItem(diag, cause);
  qvsv::except::ThrowDiagnostic(diag);
}

std::string NumberText(double value) {
  if (std::isnan(value)) return "NaN";
  if (std::isinf(value)) return value > 0 ? "Inf" : "-Inf";
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, result.ptr);
}

}  // namespace qvsv::tcos::detail
