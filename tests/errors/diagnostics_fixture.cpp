#include "tests/errors/diagnostics_fixture.hpp"

#include "qv_services/conversions.hpp"
#include "qv_services/errors/diagnostic_state.hpp"
#include "qv_services/module.hpp"
#include "tessel/array.hpp"
#include "tessel/catalog.hpp"

namespace qvsv::test {

void DiagnosticsTest::SetUp() {
  // The shared static items exist before the counts are taken.
  TLInitialize_qv_services();
  resource_core::AddCatalogFolder(QVSV_TEST_CATALOG_ROOT);
  diagnostics_ = qvsv::detail::LiveDiagnosticCount();
  items_ = qvsv::detail::LiveItemCount();
  arrays_ = tessel::LiveArrayCount();
}

void DiagnosticsTest::TearDown() {
  qvsvSetMaxDiagnosticsInQueue(128);
  qvsvSetSkipDetailedStackDiagnostics(false);
  qvsvClearGlobalProcessCallback();
  qvsvClearGlobalQVCreateHotlinkCallback();
  qvsvClearGlobalQVExtraMessageCallback();
  qvsvClearGlobalQVObjectDiscoveryCallback();
  qvsv::detail::SetMaxListSizeForTesting(0);
  resource_core::RemoveCatalogFolder(QVSV_TEST_CATALOG_ROOT);
  EXPECT_EQ(qvsv::detail::LiveDiagnosticCount(), diagnostics_) << "diagnostics leaked or freed twice";
  EXPECT_EQ(qvsv::detail::LiveItemCount(), items_) << "items leaked or freed twice";
  EXPECT_EQ(tessel::LiveArrayCount(), arrays_) << "host arrays leaked";
}

qvsvDiagnosticImpl* DiagnosticsTest::make(const char* id, const std::u16string& message) {
  return qvsvCreateDiagnosticFromIdAndMsg(id, message);
}

qvsvDiagnosticImpl* DiagnosticsTest::queueOf(unsigned n, const char* prefix) {
  const int limit = qvsvGetMaxDiagnosticsInQueue();
  qvsvSetMaxDiagnosticsInQueue(0);
  qvsvDiagnosticImpl* queue = qvsvObtainDiagnostic();
  for (unsigned i = 0; i < n; ++i) {
    const std::string id = std::string(prefix) + ":" + std::to_string(i);
    qvsvConcatenateDiagnostics(queue, make(id.c_str(), std::u16string(1, static_cast<char16_t>(u'0' + i % 10))),
                               false);
  }
  qvsvSetMaxDiagnosticsInQueue(limit);
  return queue;
}

std::vector<std::string> DiagnosticsTest::ids(qvsvDiagnosticImpl* const& diag) {
  std::vector<std::string> out;
  if (diag == nullptr) return out;
  for (const qvsvDiagnosticItem* item : diag->items()) out.push_back(item->identifier);
  return out;
}

std::string DiagnosticsTest::tree(const qvsvDiagnosticImpl* diag) {
  if (diag == nullptr) return "null";
  std::string out;
  for (const qvsvDiagnosticItem* item : diag->items()) {
    out += item->identifier + "=" + ConvertUStringToStdString(item->message);
    if (item->cause != nullptr && !item->cause->isEmpty()) out += "[" + tree(item->cause) + "]";
    out += ";";
  }
  return out;
}

std::vector<std::string> DiagnosticsTest::causeChain(const qvsvDiagnosticImpl* diag) {
  std::vector<std::string> out;
  for (; diag != nullptr && !diag->isEmpty(); diag = diag->items().front()->cause) {
    out.push_back(diag->items().front()->identifier);
  }
  return out;
}

}  // namespace qvsv::test
