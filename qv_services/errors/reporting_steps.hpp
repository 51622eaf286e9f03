// The steps between handing a reported diagnostic over and showing it: the
// registered callbacks and the listeners. The listener module installs them;
// until it does, every report goes straight to the host's display.
#pragma once

#include "qv_services/diagnostic.hpp"

namespace qvsv::detail {

enum class ReportKind { Warning = 1, Error = 2, Information = 3 };

struct ReportingSteps {
  // Runs the registered callbacks on the caller's pointer; one may consume
  // the diagnostic (and null the pointer).
  void (*runCallbacks)(qvsvDiagnosticImpl*& diag);
  // Offers the diagnostic to whoever listens for this kind of report; true
  // when someone took it (the report then releases it).
  bool (*offer)(qvsvDiagnosticImpl*& diag, ReportKind kind);
};

// Installs the steps (null removes them); returns the previous ones.
const ReportingSteps* InstallReportingSteps(const ReportingSteps* steps);

}  // namespace qvsv::detail
