// Host-array descriptions and diagnostics of the strings catalogue.
#include "qv_services/strings/strings_diagnostics.hpp"

#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/except.hpp"

namespace qvsv::detail {

std::string DescribeHostArray(const txArray* array) {
  if (array == nullptr) return "no array";
  return "a " + std::to_string(txGetM(array)) + "x" + std::to_string(txGetN(array)) + " " +
         txGetClassName(array) + " array";
}

bool IsTextRow(const txArray* array) { return txIsChar(array) && (txGetM(array) <= 1 || txIsEmpty(array)); }

qvsvDiagnosticImpl* MakeStringsDiagnostic(const char* key, qvsvArgumentVector arguments) {
  return qvsvCreateDiagnosticFromMessageID(MutableBaseMsgID(kStringsCatalog, key, std::move(arguments)));
}

void ThrowStringsDiagnostic(const char* key, qvsvArgumentVector arguments) {
  qvsvDiagnosticImpl* diag = MakeStringsDiagnostic(key, std::move(arguments));
  qvsv::except::ThrowDiagnostic(diag);
}

}  // namespace qvsv::detail
