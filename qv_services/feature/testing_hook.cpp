// The testing-hook registry and its report.
#include "qv_services/testing_hook.hpp"

#include <map>
#include <memory>

#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/except.hpp"

namespace {

// Ordered by name, so reports list hooks in byte order.
std::map<std::string, QvTestingHook*>& registry() {
  static std::map<std::string, QvTestingHook*> hooks;
  return hooks;
}

[[noreturn]] void throwInvalidName(const std::string& name) {
  qvsvDiagnosticImpl* diag =
      qvsvCreateDiagnosticFromMessageID(resource_core::BaseMsgID("QV_SERVICES:utils", "InvalidHookName", {name}));
  qvsv::except::ThrowDiagnostic(diag);
}

QvTestingHook* find(const std::string& name) {
  const auto it = registry().find(name);
  if (it == registry().end()) throwInvalidName(name);
  return it->second;
}

}  // namespace

QvTestingHook::QvTestingHook(const char* name, const char* description, const char* fileRegistered,
                             const char* owner, int defaultState, std::function<void(int)> callback)
    : name_(name),
      description_(description),
      fileRegistered_(fileRegistered),
      owner_(owner),
      state_(defaultState),
      defaultState_(defaultState),
      callback_(std::move(callback)) {
  // The first hook of a name keeps the entry.
  registry().emplace(name_ == nullptr ? std::string() : std::string(name_), this);
}

QvTestingHook::QvTestingHook(const QvTestingHook& other) = default;

QvTestingHook::~QvTestingHook() = default;

int QvTestingHook::getHookValFromC() {
  ++reads_;
  return state_;
}

int QvTestingHook::setHookValFromC(int value) {
  const int previous = state_;
  state_ = value;
  if (callback_) callback_(value);
  return previous;
}

int QvTestingHook::getHookValue(const std::string& name) { return find(name)->getHookValFromC(); }

int QvTestingHook::setHookValue(const std::string& name, int value) { return find(name)->setHookValFromC(value); }

txArray* QvTestingHook::getHookReport() {
  const auto& hooks = registry();
  // Owned until returned: a field that cannot be made must not lose the report.
  std::unique_ptr<txArray, void (*)(txArray*)> report(
      txCreateStructMatrix(1, hooks.size(), {"Name", "State", "DefaultState"}), txDestroyArray);
  txIndex i = 0;
  for (const auto& [name, hook] : hooks) {
    txSetFieldByNumber(report.get(), i, 0, txCreateStringFromUTF8(name));
    txSetFieldByNumber(report.get(), i, 1, txCreateDoubleScalar(hook->state_));
    txSetFieldByNumber(report.get(), i, 2, txCreateDoubleScalar(hook->defaultState_));
    ++i;
  }
  return report.release();
}
