// Demo section: diagnostics across boundaries: the host-array form, caught
// exceptions turned into diagnostics, and host calls that return them.
#include <iostream>
#include <stdexcept>

#include "qv_services/array_form.hpp"
#include "qv_services/conversions.hpp"
#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/exception_exchange.hpp"
#include "qv_services/interpreter_calls.hpp"
#include "qv_services/reporting.hpp"
#include "qv_services/xml_form.hpp"
#include "tessel/console.hpp"
#include "tools/qvsv/command.hpp"

namespace qvsv::tool {
namespace {

// Identifier and message of every item, causes indented.
void showTree(qvsvDiagnosticImpl* const& diag, const std::string& indent = "  ") {
  if (diag == nullptr) return;
  for (const qvsvDiagnosticItem* item : diag->items()) {
    std::cout << indent << item->identifier << ": " << ConvertUStringToStdString(item->message) << "\n";
    showTree(item->cause, indent + "    caused by ");
  }
}

void showExchange() {
  qvsvDiagnosticImpl* loop =
      qvsvCreateDiagnosticFromIdAndMsg("Quiver:blocks:AlgebraicLoop", u"Algebraic loop between Gain and Sum.");
  qvsvDiagnosticImpl* cause = qvsvCreateDiagnosticFromIdAndMsg("Quiver:blocks:DirectFeedthrough", "Gain has direct feedthrough.");
  qvsvAddCauseToLastDiagnosticItem(loop, cause);
  qvsv::SetMetaDataToLastDiagnostic(loop, u"model", std::u16string(u"engine_v2"));

  txArray* form = qvsvDiagnosticToArray(loop);
  std::cout << "Array form: " << txGetM(form) << "x" << txGetN(form) << " struct, fields";
  for (int f = 0; f < txGetNumberOfFields(form); ++f) std::cout << " " << txGetFieldNameByNumber(form, f);
  std::cout << "\n";
  qvsvDiagnosticImpl* restored = qvsvDiagnosticFromArray(form);
  qvsvDiagnosticImpl* original = qvsvDuplicateDiagnostic(loop);
  std::cout << "Restored, XML form identical: "
            << (qvsvSerializeDiagnosticAsXMLString(restored) == qvsvSerializeDiagnosticAsXMLString(original) ? "yes"
                                                                                                              : "no")
            << "\n";
  txSetField(form, 0, "handles", txCreateStringFromUTF8("12.5"));
  qvsvDiagnosticImpl* ignored = nullptr;
  qvsvDiagnosticImpl* malformed = qvsvDiagnosticFromArray_NoThrow(form, ignored);
  std::cout << "A malformed form:\n";
  showTree(malformed);
  qvsvDiscardDiagnostic(malformed);
  txDestroyArray(form);

  std::cout << "A nested exception caught:\n";
  try {
    try {
      throw std::out_of_range("block index 7");
    } catch (...) {
      std::throw_with_nested(tessel::HostError("Quiver:compile:Failed", "Compilation failed."));
    }
  } catch (...) {
    qvsvDiagnosticImpl* caught = qvsvDiagnosticFromCurrentException();
    showTree(caught);
    qvsvDiscardDiagnostic(caught);
  }

  std::cout << "Host code raising the last reported warning:\n";
  {
    tessel::ConsoleCapture quiet;  // the warning display is not the point here
    qvsvReportAsWarning(loop);
  }
  qvsvDiagnosticImpl* raised =
      qvsvEvaluateExpression_NoThrow("QvDiagnosticRaise(QvDiagnosticGetLastReported())", 0, nullptr);
  showTree(raised);
  qvsvDiscardDiagnostic(raised);

  std::cout << "Interrupted during a host call:\n";
  qvsvDiagnosticImpl* interrupted = nullptr;
  {
    tessel::ScopedFunction step("demo_step", [](int, txArray*[], int, txArray*[]) {
      tessel::RequestInterrupt(tessel::InterruptRequest::UserBreak);
    });
    interrupted = qvsvCallHostFunction_NoThrow("demo_step", 0, nullptr, 0, nullptr);
  }
  showTree(interrupted);
  qvsvDiscardDiagnostic(interrupted);
}

const DemoSection kExchange(27, "Diagnostics across boundaries", showExchange);

}  // namespace
}  // namespace qvsv::tool
