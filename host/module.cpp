#include "tessel/module.hpp"

#include <utility>

namespace tessel {
namespace {

// Unregisters what a module registered and runs its terminate, once.
void unload(std::vector<std::string>& registered, ModuleTerminate& terminate) noexcept {
  for (const std::string& name : registered) UnregisterFunction(name);
  registered.clear();
  if (terminate != nullptr) std::exchange(terminate, nullptr)();
}

}  // namespace

ScopedModule::ScopedModule(ModuleInitialize initialize, ModuleTerminate terminate, ModuleQueryTable query)
    : terminate_(nullptr) {
  if (initialize != nullptr && initialize() != 0) {
    throw HostError("Tessel:ModuleInitFailed", "the module's initialise function failed");
  }
  terminate_ = terminate;
  try {
    const ModuleFunctionTable* table = query != nullptr ? query() : nullptr;
    if (table == nullptr) return;
    registered_.reserve(table->count);
    for (std::size_t i = 0; i < table->count; ++i) {
      const ModuleFunction& fn = table->functions[i];
      if (fn.name == nullptr || fn.entry == nullptr) continue;
      std::string name(fn.name);
      if (RegisterFunction(name, fn.entry)) registered_.push_back(std::move(name));
    }
  } catch (...) {
    // The destructor will not run for a constructor that throws.
    unload(registered_, terminate_);
    throw;
  }
}

ScopedModule::~ScopedModule() { unload(registered_, terminate_); }

}  // namespace tessel
