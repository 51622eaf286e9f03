// libFuzzer target: restoring a diagnostic from arbitrary JSON must never
// crash, hang, leak or read out of bounds, and whatever restores must write
// the same JSON again.
#include <cstdlib>
#include <string_view>

#include "fuzz/fuzz_support.hpp"
#include "qv_services/json_form.hpp"
#include "qv_services/sarif_form.hpp"
#include "qv_services/xml_form.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qvsv::fuzz::InitializeLibraryOnce();
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  qvsvDiagnosticImpl* diag = qvsvRestoreDiagnosticFromJSON(text);
  if (diag != nullptr) {
    const std::string written = qvsvSerializeDiagnosticAsJSON(diag);
    qvsvDiagnosticImpl* again = qvsvRestoreDiagnosticFromJSON(written);
    qvsv::fuzz::Check(qvsvSerializeDiagnosticAsJSON(again) == written, "restored JSON writes different JSON");
    qvsvSerializeDiagnosticAsSARIF(diag, qvsvReportKind::Warning);
    qvsvSerializeDiagnosticAsXMLStringWithArguments(diag);
    qvsvDiscardDiagnostic(again);
    qvsvDiscardDiagnostic(diag);
  }
  return 0;
}
