// The diagnostics the form benchmarks write and restore: n top-level items,
// every other one with two causes.
#pragma once

#include <cstdint>
#include <string>

#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/error_queue.hpp"
#include "qv_services/module.hpp"

namespace qvsv::bench {

// n top-level items, every other one with two causes.
inline qvsvDiagnosticImpl* makeDiagnostic(int n) {
  TLInitialize_qv_services();
  qvsvSetMaxDiagnosticsInQueue(0);
  qvsvDiagnosticImpl* diag = nullptr;
  for (int i = 0; i < n; ++i) {
    qvsvDiagnosticImpl* item = qvsvCreateDiagnosticFromIdAndMsg(
        "Quiver:bench:Item", u"Block 'model/subsystem/Gain' has an output of the wrong size.");
    if (i % 2 == 0) {
      qvsvDiagnosticImpl* causes = qvsvCreateDiagnosticFromIdAndMsg("Quiver:bench:Cause", u"Expected 3, got 4.");
      qvsvConcatenateDiagnostics(causes, qvsvCreateDiagnosticFromIdAndMsg("Quiver:bench:Cause", u"Dimension 2."),
                                 false);
      qvsvAddCauseToLastDiagnosticItem(item, causes);
    }
    qvsvConcatenateDiagnostics(diag, item, false);
  }
  return diag;
}

// The same shape made the way the product makes diagnostics: catalogued
// messages with arguments (a number and three texts), so that the argument
// form has arguments to write.
inline qvsvDiagnosticImpl* makeCataloguedDiagnostic(int n) {
  TLInitialize_qv_services();
  qvsvSetMaxDiagnosticsInQueue(0);
  const auto message = [](std::int64_t count, const char* function) {
    return qvsvCreateDiagnosticFromMessageID(resource_core::BaseMsgID(
        "QV_SERVICES:utils", "InjectedException",
        {count, std::string("model/subsystem/Gain.qv"), std::string(function), std::int64_t{42}}));
  };
  qvsvDiagnosticImpl* diag = nullptr;
  for (int i = 0; i < n; ++i) {
    qvsvDiagnosticImpl* item = message(i, "outputSize");
    if (i % 2 == 0) {
      qvsvDiagnosticImpl* causes = message(3, "checkDimension");
      qvsvConcatenateDiagnostics(causes, message(2, "checkDimension"), false);
      qvsvAddCauseToLastDiagnosticItem(item, causes);
    }
    qvsvConcatenateDiagnostics(diag, item, false);
  }
  return diag;
}

}  // namespace qvsv::bench
