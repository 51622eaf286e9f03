// Demo section: one diagnostic rendered in every form, written as XML and
// restored.
#include <iostream>

#include "qv_services/conversions.hpp"
#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/renderings.hpp"
#include "qv_services/xml_form.hpp"
#include "tessel/ut.hpp"
#include "tools/qvsv/command.hpp"

namespace qvsv::tool {
namespace {

qvsvDiagnosticImpl* buildDiagnostic() {
  tessel::ScopedPrintfIsHot hot(true);
  const std::u16string link = qvsvCreateHotlinkString(u"open_system", u"engine/Gain", u"Gain", u"");
  qvsvDiagnosticImpl* diag =
      qvsvCreateDiagnosticFromIdAndMsg("Quiver:blocks:AlgebraicLoop", u"Algebraic loop between " + link + u" and Sum.");
  qvsvDiagnosticImpl* causes =
      qvsvCreateDiagnosticFromIdAndMsg("Quiver:blocks:DirectFeedthrough", u"Gain has direct <feedthrough>.");
  qvsvConcatenateDiagnostics(causes, qvsvCreateDiagnosticFromIdAndMsg("Quiver:blocks:DirectFeedthrough",
                                                                      u"Sum has direct feedthrough."),
                             false);
  qvsvAddCauseToLastDiagnosticItem(diag, causes);
  qvsvConcatenateDiagnostics(
      diag,
      qvsvCreateDiagnosticFromMessageID(resource_core::BaseMsgID("QV_SERVICES:utils", "InvalidHookName",
                                                                 {std::string("QVSV_TRACE_ALL")})),
      false);
  return diag;
}

void showRenderings() {
  qvsvDiagnosticImpl* diag = buildDiagnostic();
  std::cout << "-- plain --\n";
  qvsvDiagnosticImpl* copy = qvsvDuplicateDiagnostic(diag);
  std::cout << qvsvSerializeDiagnosticAsPlainString(copy);
  std::cout << "-- formatted (prefix \"> \", hotlinks stripped) --\n"
            << ConvertUStringToStdString(qvsvSerializeToFormattedUStringCreate(diag, true, u"> ")) << "\n";
  std::cout << "-- formatted, wrapped at 32 --\n"
            << ConvertUStringToStdString(qvsvSerializeToFormattedUStringWrapped(diag, true, u"", 32)) << "\n";
  std::cout << "-- HTML --\n" << ConvertUStringToStdString(qvsvSerializeToHTMLCreate(diag, false)) << "\n";
  std::cout << "-- combined --\n"
            << qvsvGetCombinedErrorIdentifier(diag) << ": "
            << ConvertUStringToStdString(qvsvGetCombinedErrorMessage(diag)) << "\n";
  std::cout << "-- XML, argument form --\n" << qvsvSerializeDiagnosticAsXMLStringWithArguments(diag) << "\n";
  const std::string xml = qvsvSerializeDiagnosticAsXMLString(diag);
  std::cout << "-- XML, message form --\n" << xml;
  qvsvDiagnosticImpl* restored = qvsvRestoreDiagnosticFromXMLFragment(xml.c_str());
  std::cout << "-- restored from the message form --\n"
            << ConvertUStringToStdString(qvsvSerializeToFormattedUStringCreate(restored, true, u"* ")) << "\n";
  qvsvDiscardDiagnostic(restored);
  qvsvDiagnosticImpl* broken = qvsvRestoreDiagnosticFromXMLFragment("<diag_root><diag id=\"A:b\"></diag_root>");
  std::cout << "-- a malformed document restores as an error --\n" << qvsvSerializeDiagnosticAsPlainString(broken);
}

const DemoSection kRenderings(25, "Renderings and the XML form", showRenderings);

}  // namespace
}  // namespace qvsv::tool
