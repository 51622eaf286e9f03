// Reporting diagnostics: hand-over of pending handles, the callback and
// listener steps, and the host's displays for what nobody took.
#include "qv_services/reporting.hpp"

#include "qv_services/errors/reporting_steps.hpp"
#include "tessel/display.hpp"

namespace qvsv::detail {
namespace {

const ReportingSteps*& installedSteps() {
  static const ReportingSteps* steps = nullptr;
  return steps;
}

}  // namespace

const ReportingSteps* InstallReportingSteps(const ReportingSteps* steps) {
  const ReportingSteps* previous = installedSteps();
  installedSteps() = steps;
  return previous;
}

}  // namespace qvsv::detail

namespace {

using qvsv::detail::ReportKind;

// The messages of the top-level items, one per line (count > 0: the first count).
std::u16string displayText(qvsvDiagnosticImpl* diag, int count) {
  std::u16string text;
  int shown = 0;
  for (const qvsvDiagnosticItem* item : diag->items()) {
    if (count > 0 && shown == count) break;
    if (shown++ > 0) text += u'\n';
    text += item->message;
  }
  return text;
}

void display(qvsvDiagnosticImpl* diag, ReportKind kind, const std::u16string& text) {
  const std::string id = qvsvGetCombinedErrorIdentifier(diag);
  switch (kind) {
    case ReportKind::Warning: tessel::DisplayWarning(id, text); break;
    case ReportKind::Error: tessel::DisplayError(id, text); break;
    case ReportKind::Information: tessel::DisplayInfo(id, text); break;
  }
}

void handOverAllHandles(qvsvDiagnosticImpl* diag) {
  for (qvsvDiagnosticItem* item : diag->items()) diag->handOverHandles(item);
}

// Hand-over, callbacks, listeners, then the display; always consumes diag.
void report(qvsvDiagnosticImpl*& diag, ReportKind kind) {
  if (diag == nullptr) return;
  if (diag->isEmpty()) {
    qvsvDiscardDiagnostic(diag);
    return;
  }
  handOverAllHandles(diag);
  if (const qvsv::detail::ReportingSteps* steps = qvsv::detail::installedSteps()) {
    steps->runCallbacks(diag);
    if (diag == nullptr) return;
    if (steps->offer(diag, kind)) {
      qvsvDiscardDiagnostic(diag);
      return;
    }
    if (diag == nullptr) return;
  }
  display(diag, kind, displayText(diag, 0));
  qvsvDiscardDiagnostic(diag);
}

}  // namespace

void qvsvReportAsError(qvsvDiagnosticImpl*& diag) { report(diag, ReportKind::Error); }

void qvsvReportAsWarning(qvsvDiagnosticImpl*& diag) { report(diag, ReportKind::Warning); }

void qvsvReportAsWarning(qvsvDiagnosticImpl*& diag, const qvsvMetaDataMap& metadata) {
  for (const auto& [key, value] : metadata) qvsv::SetMetaDataToLastDiagnostic(diag, key, value);
  report(diag, ReportKind::Warning);
}

void qvsvReportAsInfo(qvsvDiagnosticImpl*& diag) { report(diag, ReportKind::Information); }

void qvsvWarning(qvsvDiagnosticImpl*& diag, qvsvMessageTypeCallback callback, int count, const std::u16string& text) {
  if (diag == nullptr) return;
  if (!diag->isEmpty() && (callback == nullptr || callback(diag))) {
    handOverAllHandles(diag);
    display(diag, ReportKind::Warning, text.empty() ? displayText(diag, count) : text);
  }
  qvsvDiscardDiagnostic(diag);
}
