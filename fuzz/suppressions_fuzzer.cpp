// libFuzzer target: suppression files. Reading arbitrary bytes either loads
// them or refuses them with a diagnostic, and what loads writes a document
// that reads back to the same tables.
#include "fuzz/fuzz_support.hpp"
#include "qv_services/error_queue.hpp"
#include "qv_services/suppressor.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qvsv::fuzz::InitializeLibraryOnce();
  const std::string document(reinterpret_cast<const char*>(data), size);
  qvsvDiagnosticImpl* refused = qvsvReadDiagnosticSuppressions(document, "fuzz");
  if (refused != nullptr) {
    qvsvDiscardDiagnostic(refused);
    return 0;
  }
  const std::string written = qvsvWriteDiagnosticSuppressions();
  qvsvDiagnosticImpl* again = qvsvReadDiagnosticSuppressions(written, "written");
  qvsv::fuzz::Check(again == nullptr, "a written suppression file is refused");
  qvsv::fuzz::Check(qvsvWriteDiagnosticSuppressions() == written, "a written suppression file reads back differently");
  return 0;
}
