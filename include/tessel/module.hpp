// Host modules: libraries that the host loads with an initialise/terminate
// pair and a table of host-callable functions.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tessel/export.hpp"
#include "tessel/interpreter.hpp"

namespace tessel {

struct ModuleFunction {
  const char* name;
  HostEntryPoint entry;
};

struct ModuleFunctionTable {
  std::size_t count;
  const ModuleFunction* functions;
};

using ModuleInitialize = int (*)();
using ModuleTerminate = void (*)();
using ModuleQueryTable = const ModuleFunctionTable* (*)();

// Loads a module for the scope's lifetime: runs its initialise function
// (a non-zero result throws HostError "Tessel:ModuleInitFailed"), registers
// every function of its table with the interpreter, and on destruction
// unregisters them and runs terminate. A name already registered by someone
// else is left to its owner: the module neither replaces nor, when it goes,
// removes it. If registering throws (out of memory), what was registered is
// unregistered and terminate runs before the exception leaves.
class TESSEL_API ScopedModule {
 public:
  ScopedModule(ModuleInitialize initialize, ModuleTerminate terminate, ModuleQueryTable query);
  ~ScopedModule();
  ScopedModule(const ScopedModule&) = delete;
  ScopedModule& operator=(const ScopedModule&) = delete;

 private:
  ModuleTerminate terminate_;
  // The names this module registered, kept as strings so that unloading
  // allocates nothing.
  std::vector<std::string> registered_;
};

}  // namespace tessel
