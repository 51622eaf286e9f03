#include "tessel/module.hpp"

#include <string>

namespace tessel {

ScopedModule::ScopedModule(ModuleInitialize initialize, ModuleTerminate terminate, ModuleQueryTable query)
    : terminate_(terminate), table_(nullptr) {
  if (initialize != nullptr && initialize() != 0) {
    throw HostError("Tessel:ModuleInitFailed", "the module's initialise function failed");
  }
  table_ = query != nullptr ? query() : nullptr;
  if (table_ == nullptr) return;
  for (std::size_t i = 0; i < table_->count; ++i) {
    const ModuleFunction& fn = table_->functions[i];
    if (fn.name != nullptr && fn.entry != nullptr) RegisterFunction(fn.name, fn.entry);
  }
}

ScopedModule::~ScopedModule() {
  if (table_ != nullptr) {
    for (std::size_t i = 0; i < table_->count; ++i) {
      if (table_->functions[i].name != nullptr) UnregisterFunction(table_->functions[i].name);
    }
  }
  if (terminate_ != nullptr) terminate_();
}

}  // namespace tessel
