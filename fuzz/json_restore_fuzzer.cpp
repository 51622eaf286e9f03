// libFuzzer target: restoring a diagnostic from arbitrary JSON must never
// crash, hang, leak or read out of bounds, and whatever restores must write
// the same JSON again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "qv_services/json_form.hpp"
#include "qv_services/module.hpp"
#include "qv_services/sarif_form.hpp"
#include "qv_services/xml_form.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool initialized = [] {
    TLInitialize_qv_services();
    return true;
  }();
  (void)initialized;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  qvsvDiagnosticImpl* diag = qvsvRestoreDiagnosticFromJSON(text);
  if (diag != nullptr) {
    const std::string written = qvsvSerializeDiagnosticAsJSON(diag);
    qvsvDiagnosticImpl* again = qvsvRestoreDiagnosticFromJSON(written);
    if (qvsvSerializeDiagnosticAsJSON(again) != written) std::abort();
    qvsvSerializeDiagnosticAsSARIF(diag, qvsvReportKind::Warning);
    qvsvSerializeDiagnosticAsXMLStringWithArguments(diag);
    qvsvDiscardDiagnostic(again);
    qvsvDiscardDiagnostic(diag);
  }
  return 0;
}
