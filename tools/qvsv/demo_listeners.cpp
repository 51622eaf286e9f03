// Demo sections: a listener capturing warnings, callbacks and counters, and
// the feature report.
#include <iostream>

#include "qv_services/conversions.hpp"
#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/feature.hpp"
#include "qv_services/listeners.hpp"
#include "qv_services/reporting.hpp"
#include "tools/qvsv/command.hpp"
#include "tools/qvsv/report_table.hpp"

namespace qvsv::tool {
namespace {

// Captures every warning it is offered.
class CapturingListener : public qvsv::util::CDiagnosticListener {
 public:
  bool notify(qvsvDiagnosticImpl* const& diag, qvsv::util::qvsvDiagnosticListenerContext context,
              const std::u16string&) override {
    if (context != qvsv::util::kWarningContext) return false;
    captured.push_back(qvsvGetCombinedErrorIdentifier(diag) + ": " +
                       ConvertUStringToStdString(qvsvGetCombinedErrorMessage(diag)));
    return true;
  }
  const char* name() const override { return "demo.capture"; }
  std::vector<std::string> captured;
};

void showListeners() {
  auto listener = std::make_shared<CapturingListener>();
  qvsvRegisterDiagnosticListener(listener);
  qvsv::util::ScopedDiagnosticListener counting("demo.count", [](qvsvDiagnosticImpl*&) {});
  {
    qvsv::util::ScopedWarnOnceFilter once("Quiver:demo:Repeated", nullptr);
    for (int i = 0; i < 3; ++i) {
      qvsvDiagnosticImpl* warning = qvsvCreateDiagnosticFromIdAndMsg("Quiver:demo:Repeated", "shown once per scope");
      qvsvReportAsWarning(warning);
    }
  }
  qvsvDiagnosticImpl* other = qvsvCreateDiagnosticFromIdAndMsg("Quiver:demo:Other", "a different warning");
  qvsvReportAsWarning(other);
  qvsvDiagnosticImpl* error = qvsvCreateDiagnosticFromIdAndMsg("Quiver:demo:Failure", "errors are not captured");
  qvsvReportAsError(error);
  qvsvUnRegisterDiagnosticListener(listener->name());

  std::cout << "The listener captured " << listener->captured.size() << " warnings:\n";
  for (const std::string& line : listener->captured) std::cout << "  " << line << "\n";
  std::cout << "The scoped callback saw " << counting.counter() << " reports; counter of Quiver:demo:Repeated = "
            << qvsvGetDiagnosticCounterValue("Quiver:demo:Repeated", nullptr) << "\n";
}

void showFeatures() {
  tessel::HostCallScope scope;
  std::cout << FormatReportTable(QvFeatureTable::getFeatureReport(),
                                 {"Name", "State", "DefaultState", "nGetsFromC", "nGetsFromT", "nSetsFromT"});
}

const DemoSection kListeners(30, "Listeners, callbacks and counters", showListeners);
const DemoSection kFeatures(70, "Features", showFeatures);

}  // namespace
}  // namespace qvsv::tool
