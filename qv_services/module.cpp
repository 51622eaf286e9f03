// The library's host module entry points.
#include "qv_services/module.hpp"

#include <iterator>

#include "qv_services/errors/diagnostic_state.hpp"
#include "qv_services/errors/host_entries.hpp"
#include "qv_services/feature.hpp"
#include "qv_services/tcos/tcos_entries.hpp"
#include "qv_services/tracer.hpp"

namespace {

bool& initialized() {
  static bool flag = false;
  return flag;
}

// Enters the library's own features in the table again after a terminate
// released it (the host loading the module again in the same process); the
// feature objects themselves, and their states, lived on.
void registerLibraryFeatures() {
  for (QvFeature* feature :
       {QVFEAT_MessageViewer, QVFEAT_AllowConstantRootOutportForAUTOSAR, QVFEAT_DimensionVariants, QVFEAT_MultiSolver,
        QVFEAT_QVUnit, QVFEAT_SimHarnessSameStudio, QVFEAT_SkipContentCheckInTaskDiagram, QVFEAT_QvInterfacePort,
        QVFEAT_QvInterfaceViewMenu, QVFEAT_QvInterfaceView, QVFEAT_QvTLSysBlkInConcurrentExecution,
        QVFEAT_DiagnosticSuppressor}) {
    if (QvFeatureTable::lookupFeature(feature->name()) == nullptr) QvFeatureTable::regFeature(feature->name(), feature);
  }
}

}  // namespace

extern "C" {

int TLInitialize_qv_services() {
  if (initialized()) return 0;
  registerLibraryFeatures();
  // The shared overflow and out-of-memory items are made while memory and
  // the catalogue are certainly available.
  qvsv::detail::OverflowItem();
  qvsv::detail::OutOfMemoryItem();
  initialized() = true;
  return 0;
}

void TLTerminate_qv_services() {
  qvsv::detail::ForgetReportedDiagnostic();
  // The library's last act at unload: features destroyed after this find no
  // table, and lookups find nothing until the module is initialised again.
  QvFeatureTable::releaseFeatureTable();
  initialized() = false;
}

const tessel::ModuleFunctionTable* QueryTLFcnTable_qv_services() {
  // QvTracerGetStat is overloaded; the cast picks the host entry.
  static const tessel::ModuleFunction functions[] = {
      {"QvTracerGetStat", static_cast<tessel::HostEntryPoint>(&QvTracerGetStat)},
      {qvsv::detail::kGetLastReportedEntry, &qvsv::detail::GetLastReportedEntry},
      {qvsv::detail::kRaiseEntry, &qvsv::detail::RaiseEntry},
      {"QvTcosGet", &qvsv::tcos::detail::GetEntry},
      {"QvTcosSet", &qvsv::tcos::detail::SetEntry},
      {"QvTcosProperties", &qvsv::tcos::detail::PropertiesEntry},
      {"QvTcosPropertyReport", &qvsv::tcos::detail::PropertyReportEntry},
      {"QvTcosClasses", &qvsv::tcos::detail::ClassesEntry},
  };
  static const tessel::ModuleFunctionTable table{std::size(functions), functions};
  return &table;
}

}  // extern "C"
