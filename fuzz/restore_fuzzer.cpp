// libFuzzer target: restoring a diagnostic from arbitrary bytes must never
// crash, hang, leak or read out of bounds.

#include "fuzz/fuzz_support.hpp"
#include "qv_services/renderings.hpp"
#include "qv_services/xml_form.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qvsv::fuzz::InitializeLibraryOnce();
  // Half the inputs get the root tag in front, so the parser sees them.
  std::string text(reinterpret_cast<const char*>(data), size);
  if (size > 0 && (data[0] & 1) != 0) text = "<diag_root>" + text.substr(1);
  qvsvDiagnosticImpl* diag = qvsvRestoreDiagnosticFromXMLFragment(text.c_str());
  if (diag != nullptr) {
    // Whatever was restored must also render and write.
    qvsvSerializeToHTMLCreate(diag, true);
    qvsvSerializeToFormattedUStringWrapped(diag, true, u"> ", 17);
    qvsvSerializeDiagnosticAsXMLStringWithArguments(diag);
    qvsvSerializeDiagnosticAsPlainString(diag);
  }
  return 0;
}
