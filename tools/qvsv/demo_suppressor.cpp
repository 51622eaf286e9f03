// Demo section: a warning suppressed for one block, an identifier switched to
// error, a chatty warning shown once, and what the counts say afterwards.
#include <iostream>
#include <vector>

#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/feature.hpp"
#include "qv_services/listeners.hpp"
#include "qv_services/reporting.hpp"
#include "qv_services/suppressor.hpp"
#include "tools/qvsv/command.hpp"

namespace qvsv::tool {
namespace {

void warnAbout(double handle, const char* block) {
  qvsvDiagnosticImpl* warning = qvsvCreateDiagnosticFromIdAndMsg(
      &handle, 1, "Quiver:blocks:AlgebraicLoop", (std::string("Algebraic loop through ") + block + ".").c_str());
  qvsvReportAsWarning(warning);
}

constexpr const char* kShown[] = {"Quiver:blocks:AlgebraicLoop", "Quiver:demo:Deprecated", "Quiver:demo:Chatty"};

void showSuppressor() {
  // Earlier sections report some of these identifiers too: count from here.
  std::vector<unsigned> before;
  for (const char* id : kShown) before.push_back(qvsvGetDiagnosticCounterValue(id, nullptr));
  // The host turns the database on; the demo puts the switch back afterwards.
  const int previous = QvFeatureHostCommand::get("DiagnosticSuppressor");
  QvFeatureHostCommand::set("DiagnosticSuppressor", 1);
  {
    qvsv::util::ScopedDiagnosticSuppression scope;
    scope.suppress("Quiver:blocks:AlgebraicLoop", 12.0001);
    scope.setWarningState("Quiver:demo:Deprecated", qvsvWarningState::kError);
    scope.setWarningState("Quiver:demo:*", qvsvWarningState::kOnce);
    std::cout << "Suppressed: Quiver:blocks:AlgebraicLoop for handle 12.0001; Quiver:demo:* once, "
                 "Quiver:demo:Deprecated error\n";

    warnAbout(12.0001, "Gain");  // hidden
    warnAbout(12.0002, "Sum");   // shown
    qvsvDiagnosticImpl* deprecated =
        qvsvCreateDiagnosticFromIdAndMsg("Quiver:demo:Deprecated", "The block 'Lookup' is deprecated.");
    qvsvReportAsChangeableWarning(deprecated);
    for (int i = 0; i < 3; ++i) {
      qvsvDiagnosticImpl* chatty = qvsvCreateDiagnosticFromIdAndMsg("Quiver:demo:Chatty", "Sample time inherited.");
      qvsvReportAsChangeableWarning(chatty);
    }
    qvsvDiagnosticImpl* urgent = qvsvCreateDiagnosticFromIdAndMsg("Quiver:demo:Chatty", "Never hidden.");
    qvsvReportAsHighPriorityWarning(urgent);

    std::cout << "Counted, and of those hidden (suppressed / off / repeated):\n";
    for (std::size_t i = 0; i < std::size(kShown); ++i) {
      const qvsvHiddenWarningCounts hidden = qvsvGetHiddenWarningCounts(kShown[i]);
      std::cout << "  " << kShown[i] << ": " << qvsvGetDiagnosticCounterValue(kShown[i], nullptr) - before[i]
                << ", hidden " << hidden.suppressed << " / " << hidden.switchedOff << " / " << hidden.repeated
                << "\n";
    }
  }
  std::cout << "After the scope: " << qvsvGetDiagnosticSuppressions().size() << " entries, "
            << qvsvGetWarningStates().size() << " states\n";
  QvFeatureHostCommand::set("DiagnosticSuppressor", previous);
}

const DemoSection kSuppressor(35, "Warning suppression and warning states", showSuppressor);

}  // namespace
}  // namespace qvsv::tool
