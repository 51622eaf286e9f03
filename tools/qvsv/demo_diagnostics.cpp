// Demo sections: an error queue built from catalogued messages, its overflow,
// reporting, and the testing-hook report.
#include <iostream>

#include "qv_services/conversions.hpp"
#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/error_queue.hpp"
#include "qv_services/except.hpp"
#include "qv_services/reporting.hpp"
#include "qv_services/testing_hook.hpp"
#include "tessel/array.hpp"
#include "tools/qvsv/command.hpp"
#include "tools/qvsv/report_table.hpp"

namespace qvsv::tool {
namespace {

using resource_core::BaseMsgID;

std::string argumentText(const qvsvArgumentValue& value) {
  if (const auto* n = std::get_if<std::int64_t>(&value)) return std::to_string(*n);
  std::string text(1, '"');
  if (const auto* s = std::get_if<std::string>(&value)) {
    text += *s;
  } else {
    text += ConvertUStringToStdString(std::get<std::u16string>(value));
  }
  text += '"';
  return text;
}

void printTree(qvsvDiagnosticImpl* const& diag, const std::string& indent) {
  for (unsigned i = 0; i < diag->count(); ++i) {
    std::cout << indent << "[" << i << "] " << qvsvGetIdentifierFromDiagnosticItem(diag, i) << ": "
              << ConvertUStringToStdString(qvsvGetMessageFromDiagnosticItem(diag, i)) << "\n";
    const qvsvDiagnosticItem* item = diag->itemAt(i);
    if (item->numHandles > 0) {
      std::cout << indent << "    handles:";
      for (double h : qvsvGetHandlesFromDiagnosticItem(diag, static_cast<int>(i))) std::cout << " " << h;
      std::cout << "\n";
    }
    if (!item->metadata.empty()) {
      std::cout << indent << "    metadata:";
      for (const auto& [key, value] : item->metadata) {
        std::cout << " " << ConvertUStringToStdString(key) << "=" << argumentText(value);
      }
      std::cout << "\n";
    }
    if (qvsvDiagnosticImpl* cause = qvsvGetCauseFromDiagnosticItem(diag, i)) {
      std::cout << indent << "    caused by:\n";
      printTree(cause, indent + "        ");
    }
  }
}

qvsvDiagnosticImpl* buildQueue() {
  qvsvDiagnosticImpl* queue = nullptr;
  qvsvConcatenateDiagnostics(queue, qvsvCreateInterruptError(false), false);

  const double handles[] = {12.0001, 12.0002};
  qvsvDiagnosticImpl* withHandles = qvsvCreateDiagnosticFromIdAndMsg(handles, 2, "Quiver:blocks:AlgebraicLoop",
                                                                     u"Algebraic loop between Gain and Sum.");
  qvsvDiagnosticImpl* cause = qvsvCreateDiagnosticFromIdAndMsg("Quiver:blocks:DirectFeedthrough",
                                                               u"Gain has direct feedthrough.");
  qvsvAddCauseToLastDiagnosticItem(withHandles, cause);
  qvsv::SetMetaDataToLastDiagnostic(withHandles, u"model", std::u16string(u"engine_v2"));
  qvsvConcatenateDiagnostics(queue, withHandles, false);

  try {
    QvTestingHook::getHookValue("NoSuchHook");
  } catch (qvsv::except::DiagnosticException& e) {
    qvsvDiagnosticImpl* taken = e.takeDiagnostic();
    qvsvConcatenateDiagnostics(queue, taken, false);
  }
  return queue;
}

void showQueue() {
  qvsvDiagnosticImpl* queue = buildQueue();
  std::cout << "A queue of " << qvsvGetNumItemsInDiagnostic(queue) << " items (combined identifier "
            << qvsvGetCombinedErrorIdentifier(queue) << "):\n";
  printTree(queue, "  ");

  const int limit = qvsvGetMaxDiagnosticsInQueue();
  qvsvSetMaxDiagnosticsInQueue(5);
  qvsvDiagnosticImpl* batch = nullptr;
  for (int i = 0; i < 4; ++i) {
    const std::string id = "Quiver:batch:Item" + std::to_string(i);
    qvsvConcatenateDiagnostics(batch, qvsvCreateDiagnosticFromIdAndMsg(id.c_str(), "a batch item"), false);
  }
  qvsvConcatenateDiagnostics(queue, batch, false);
  std::cout << "\nAfter merging 4 more with the queue limit at 5 (" << qvsvGetNumItemsInDiagnostic(queue)
            << " items, overflowed: " << (qvsvIsLastErrorTooManyErrors(queue) ? "yes" : "no") << "):\n";
  printTree(queue, "  ");
  qvsvSetMaxDiagnosticsInQueue(limit);

  std::cout << "\nReported as a warning to the host:\n";
  qvsvReportAsWarning(queue);
}

void showHooks() {
  tessel::HostCallScope scope;
  std::cout << FormatReportTable(QvTestingHook::getHookReport(), {"Name", "State", "DefaultState"});
}

const DemoSection kQueue(20, "Diagnostics and the error queue", showQueue);
const DemoSection kHooks(80, "Testing hooks", showHooks);

}  // namespace
}  // namespace qvsv::tool
