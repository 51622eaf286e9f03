// Reporting diagnostics: hand-over of pending handles, the warn-once filters,
// counters and callbacks, the listeners, and the host's displays for what
// nobody took.
#include "qv_services/reporting.hpp"

#include "qv_services/errors/diagnostic_state.hpp"
#include "qv_services/feature.hpp"
#include "qv_services/errors/host_entries.hpp"
#include "qv_services/feature/detail/feature_access.hpp"
#include "qv_services/listeners.hpp"
#include "qv_services/renderings.hpp"
#include "qv_services/suppressor/report_step.hpp"
#include "qv_services/util/listener_registry.hpp"
#include "tessel/display.hpp"
#include "tessel/ut.hpp"

namespace {

using qvsv::util::qvsvDiagnosticListenerContext;

// The formatted rendering (count > 0: only the first count top-level
// messages), with hotlinks only where the console shows them.
std::u16string displayText(qvsvDiagnosticImpl* diag, int count) {
  if (count <= 0) return qvsvSerializeToFormattedUStringCreate(diag, !utPrintfIsHot(), std::u16string());
  std::u16string text;
  int shown = 0;
  for (const qvsvDiagnosticItem* item : diag->items()) {
    if (shown == count) break;
    if (shown++ > 0) text += u'\n';
    text += utPrintfIsHot() ? item->message : qvsv::removeHotLinks(item->message);
  }
  return text;
}

void display(qvsvDiagnosticImpl* diag, qvsvDiagnosticListenerContext context, const std::u16string& text) {
  const std::string id = qvsvGetCombinedErrorIdentifier(diag);
  switch (context) {
    case qvsv::util::kWarningContext: tessel::DisplayWarning(id, text); break;
    case qvsv::util::kErrorContext: tessel::DisplayError(id, text); break;
    case qvsv::util::kInformationContext: tessel::DisplayInfo(id, text); break;
  }
}

void handOverAllHandles(qvsvDiagnosticImpl* diag) {
  // Moved past each item before its callback runs, which may take it out.
  for (auto it = diag->items().begin(); it != diag->items().end();) diag->handOverHandles(*it++);
}

// Always consumes diag. Unfiltered warnings (high priority) skip the warn-once filters.
void report(qvsvDiagnosticImpl*& diag, qvsvDiagnosticListenerContext context, bool filtered = true) {
  if (diag == nullptr) return;
  const qvsv::detail::ConsumedDiagnostic consumed(diag);
  if (diag->isEmpty()) {
    qvsvDiscardDiagnostic(diag);
    return;
  }
  handOverAllHandles(diag);
  if (context == qvsv::util::kWarningContext && filtered && !qvsv::detail::PassesWarnOnceFilters(diag)) {
    qvsvDiscardDiagnostic(diag);
    return;
  }
  qvsv::detail::CountAndAnnounce(diag);
  qvsv::detail::RecordReportedDiagnostic(diag, context);
  qvsv::detail::RunDiagnosticCallbacks(diag);
  if (diag == nullptr) return;
  bool taken = false;
  if (context == qvsv::util::kWarningContext) {
    // One counted read per warning, whatever its value.
    if (QvFeatureNativeAccess::get(QVFEAT_MessageViewer) == 1) taken = qvsvNotifyDiagnosticListeners(diag, context);
  } else {
    taken = qvsvNotifyDiagnosticListeners(diag, context);
  }
  if (!taken) display(diag, context, displayText(diag, 0));
  qvsvDiscardDiagnostic(diag);
}

}  // namespace

void qvsvReportAsError(qvsvDiagnosticImpl*& diag) {
  if (isQVSVErrorReport()) {
    try {
      qvsvCreateReportForErrors(diag);
    } catch (...) {
      qvsvDiscardDiagnostic(diag);  // handed over all the same
      throw;
    }
  }
  report(diag, qvsv::util::kErrorContext);
}

namespace {

// A warning report of the given kind: hidden items go first, error-state items
// are reported as an error, and the rest (if any) as a warning.
void reportWarning(qvsvDiagnosticImpl*& diag, qvsv::detail::WarningReport kind) {
  qvsvDiagnosticImpl* promoted = qvsv::detail::HideWarningItems(diag, kind);
  if (promoted != nullptr) qvsvReportAsError(promoted);
  report(diag, qvsv::util::kWarningContext);
}

}  // namespace

void qvsvReportAsWarning(qvsvDiagnosticImpl*& diag) { reportWarning(diag, qvsv::detail::WarningReport::kPlain); }

void qvsvReportAsWarning(qvsvDiagnosticImpl*& diag, const qvsvMetaDataMap& metadata) {
  for (const auto& [key, value] : metadata) qvsv::SetMetaDataToLastDiagnostic(diag, key, value);
  reportWarning(diag, qvsv::detail::WarningReport::kPlain);
}

void qvsvReportAsChangeableWarning(qvsvDiagnosticImpl*& diag) {
  reportWarning(diag, qvsv::detail::WarningReport::kChangeable);
}

void qvsvReportAsHighPriorityWarning(qvsvDiagnosticImpl*& diag) {
  report(diag, qvsv::util::kWarningContext, /*filtered=*/false);
}

void qvsvReportAsWarningOnce(qvsvDiagnosticImpl*& diag) { reportWarning(diag, qvsv::detail::WarningReport::kOnce); }

void qvsvReportAsInfo(qvsvDiagnosticImpl*& diag) { report(diag, qvsv::util::kInformationContext); }

void qvsvWarning(qvsvDiagnosticImpl*& diag, qvsvMessageTypeCallback callback, int count, const std::u16string& text) {
  if (diag == nullptr) return;
  const qvsv::detail::ConsumedDiagnostic consumed(diag);
  if (!diag->isEmpty() && (callback == nullptr || callback(diag))) {
    handOverAllHandles(diag);
    display(diag, qvsv::util::kWarningContext, text.empty() ? displayText(diag, count) : text);
  }
  qvsvDiscardDiagnostic(diag);
}
