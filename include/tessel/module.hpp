// Host modules: libraries that the host loads with an initialise/terminate
// pair and a table of host-callable functions.
#pragma once

#include <cstddef>

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
// unregisters them and runs terminate.
class TESSEL_API ScopedModule {
 public:
  ScopedModule(ModuleInitialize initialize, ModuleTerminate terminate, ModuleQueryTable query);
  ~ScopedModule();
  ScopedModule(const ScopedModule&) = delete;
  ScopedModule& operator=(const ScopedModule&) = delete;

 private:
  ModuleTerminate terminate_;
  const ModuleFunctionTable* table_;
};

}  // namespace tessel
