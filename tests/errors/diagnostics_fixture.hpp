// Shared by the diagnostics suites: every test starts from the default queue
// settings and must leave no diagnostic, item or host array behind.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qv_services/diagnostic.hpp"
#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/error_queue.hpp"

namespace qvsv::test {

class DiagnosticsTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // A one-item diagnostic "id" / message.
  static qvsvDiagnosticImpl* make(const char* id, const std::u16string& message = u"m");
  // A queue of n items "Q:i" with messages "i" (built without the limit).
  static qvsvDiagnosticImpl* queueOf(unsigned n, const char* prefix = "Q");
  // Identifiers of the items, in order.
  static std::vector<std::string> ids(qvsvDiagnosticImpl* const& diag);
  // Identifier and message of every item, causes in brackets: "A:b=m[C:d=x;];".
  static std::string tree(const qvsvDiagnosticImpl* diag);
  // Identifiers down the first item's causes, the outermost first.
  static std::vector<std::string> causeChain(const qvsvDiagnosticImpl* diag);

 private:
  std::size_t diagnostics_ = 0;
  std::size_t items_ = 0;
  std::size_t arrays_ = 0;
};

}  // namespace qvsv::test
