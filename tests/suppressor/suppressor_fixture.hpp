// Shared by the suppressor suites: every test starts with empty tables, no
// hidden counts, the feature DiagnosticSuppressor at 0, and leaves it so.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "qv_services/feature.hpp"
#include "qv_services/listeners.hpp"
#include "qv_services/suppressor.hpp"
#include "tests/errors/diagnostics_fixture.hpp"

namespace qvsv::test {

class SuppressorTest : public DiagnosticsTest {
 protected:
  void SetUp() override {
    DiagnosticsTest::SetUp();
    reset();
  }
  void TearDown() override {
    reset();
    QvFeatureHostCommand::set("DiagnosticSuppressor", 0);
    QvFeatureHostCommand::set("MessageViewer", 1);
    DiagnosticsTest::TearDown();
  }
  static void reset() {
    qvsvClearDiagnosticSuppressions();
    qvsvClearWarningStates();
    qvsvResetHiddenWarningCounts();
    qvsvResetAllWarningsReportedOnce();
    qvsvClearDiagnosticCounters(nullptr);
  }
  static void enableSuppression() { QvFeatureHostCommand::set("DiagnosticSuppressor", 1); }

  // Both tables as one comparable value.
  using Tables = std::pair<std::vector<qvsvSuppression>, std::vector<std::pair<std::string, qvsvWarningState>>>;
  static Tables tables() { return {qvsvGetDiagnosticSuppressions(), qvsvGetWarningStates()}; }
};

}  // namespace qvsv::test
