// The host interpreter: the function registry, feval and its built-ins.
#include "tessel/interpreter.hpp"

#include <algorithm>
#include <map>
#include <memory>
#include <numeric>
#include <vector>

#include "host/builtins.hpp"

namespace tessel {

HostError::HostError(std::string identifier, const std::string& message)
    : std::runtime_error(message), identifier_(std::move(identifier)), stack_(GetCallStackFrames()) {}

namespace {

// Owns every registered host function; created on first use with the built-ins.
class FunctionRegistry {
 public:
  static FunctionRegistry& instance() {
    static FunctionRegistry registry;
    return registry;
  }

  bool add(const std::string& name, HostFunction fn) {
    if (!fn) return false;
    return functions_.emplace(name, std::make_shared<HostFunction>(std::move(fn))).second;
  }

  bool remove(const std::string& name) { return functions_.erase(name) != 0; }

  std::shared_ptr<HostFunction> find(const std::string& name) const {
    const auto it = functions_.find(name);
    return it == functions_.end() ? nullptr : it->second;
  }

 private:
  FunctionRegistry() { detail::RegisterBuiltins([this](const std::string& n, HostFunction f) { add(n, std::move(f)); }); }

  // Held by shared pointer so that a function may unregister itself while it runs.
  std::map<std::string, std::shared_ptr<HostFunction>> functions_;
};

}  // namespace

void feval(const std::string& name, int nlhs, txArray* plhs[], int nrhs, txArray* prhs[]) {
  if (nlhs < 0 || nrhs < 0 || (nlhs > 0 && plhs == nullptr) || (nrhs > 0 && prhs == nullptr)) {
    throw HostError("Tessel:BadArguments", "feval of '" + name + "': bad argument counts or null argument lists");
  }
  const std::shared_ptr<HostFunction> fn = FunctionRegistry::instance().find(name);
  if (!fn) throw HostError("Tessel:UndefinedFunction", "Undefined function '" + name + "'.");
  std::fill(plhs, plhs + nlhs, nullptr);
  auto destroyOutputs = [&] {
    for (int i = 0; i < nlhs; ++i) {
      txDestroyArray(plhs[i]);
      plhs[i] = nullptr;
    }
  };
  try {
    (*fn)(nlhs, plhs, nrhs, prhs);
  } catch (...) {
    destroyOutputs();
    throw;
  }
  for (int i = 0; i < nlhs; ++i) {
    if (plhs[i] == nullptr) {
      destroyOutputs();
      throw HostError("Tessel:OutputNotSet",
                      "'" + name + "' did not set output " + std::to_string(i + 1) + " of " + std::to_string(nlhs) + ".");
    }
  }
}

bool RegisterFunction(const std::string& name, HostFunction fn) {
  return FunctionRegistry::instance().add(name, std::move(fn));
}

bool UnregisterFunction(const std::string& name) { return FunctionRegistry::instance().remove(name); }

bool IsFunctionRegistered(const std::string& name) { return FunctionRegistry::instance().find(name) != nullptr; }

ScopedFunction::ScopedFunction(std::string name, HostFunction fn) : name_(std::move(name)) {
  if (!RegisterFunction(name_, std::move(fn))) {
    throw std::invalid_argument("host function '" + name_ + "' is already registered");
  }
}

ScopedFunction::~ScopedFunction() { UnregisterFunction(name_); }

}  // namespace tessel
