// The library's host module entry points.
#include "qv_services/module.hpp"

#include "qv_services/errors/diagnostic_state.hpp"

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

void TLTerminate_qv_services() { initialized() = false; }

const tessel::ModuleFunctionTable* QueryTLFcnTable_qv_services() {
  static const tessel::ModuleFunctionTable table{0, nullptr};
  return &table;
}

}  // extern "C"
