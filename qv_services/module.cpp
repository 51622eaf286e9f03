// The library's host module entry points.
#include "qv_services/module.hpp"

#include <iterator>

#include "qv_services/errors/diagnostic_state.hpp"
#include "qv_services/errors/host_entries.hpp"
#include "qv_services/tracer.hpp"

namespace {

bool& initialized() {
  static bool flag = false;
  return flag;
}

}  // namespace

extern "C" {

int TLInitialize_qv_services() {
  if (initialized()) return 0;
  // The shared overflow and out-of-memory items are made while memory and
  // the catalogue are certainly available.
  qvsv::detail::OverflowItem();
  qvsv::detail::OutOfMemoryItem();
  initialized() = true;
  return 0;
}

void TLTerminate_qv_services() {
  qvsv::detail::ForgetReportedDiagnostic();
  initialized() = false;
}

const tessel::ModuleFunctionTable* QueryTLFcnTable_qv_services() {
  // QvTracerGetStat is overloaded; the cast picks the host entry.
  static const tessel::ModuleFunction functions[] = {
      {"QvTracerGetStat", static_cast<tessel::HostEntryPoint>(&QvTracerGetStat)},
      {qvsv::detail::kGetLastReportedEntry, &qvsv::detail::GetLastReportedEntry},
      {qvsv::detail::kRaiseEntry, &qvsv::detail::RaiseEntry},
  };
  static const tessel::ModuleFunctionTable table{std::size(functions), functions};
  return &table;
}

}  // extern "C"
