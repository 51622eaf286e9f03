// Registering listeners, callbacks and counters, notifying listeners, and the
// reporting steps that consult them.
#include "qv_services/util/listener_registry.hpp"

#include <algorithm>

#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/errors/diagnostic_state.hpp"

namespace qvsv::detail {

ListenerRegistry& Listeners() {
  static ListenerRegistry* registry = new ListenerRegistry;
  return *registry;
}

void UnregisterListener(std::string_view name) noexcept {
  auto& listeners = Listeners().listeners;
  const auto it = listeners.find(name);
  if (it != listeners.end()) listeners.erase(it);
}
namespace {

bool listsIdentifier(qvsvDiagnosticImpl* diag, const std::string& identifier) {
  return std::any_of(diag->items().begin(), diag->items().end(),
                     [&](const qvsvDiagnosticItem* item) { return item->identifier == identifier; });
}

std::shared_ptr<resource_core::BaseMsgID> identifierOf(const qvsvDiagnosticItem* item) {
  const auto colon = item->identifier.rfind(':');
  std::string catalog = colon == std::string::npos ? std::string() : item->identifier.substr(0, colon);
  std::string key = colon == std::string::npos ? item->identifier : item->identifier.substr(colon + 1);
  return std::make_shared<MutableBaseMsgID>(std::move(catalog), std::move(key), ArgumentsOf(item));
}

}  // namespace

bool PassesWarnOnceFilters(qvsvDiagnosticImpl* diag) {
  auto& registry = Listeners();
  bool passes = true;
  std::vector<std::pair<std::string, void*>> seen;
  // Innermost first; an outer filter of the same identifier and owner is shadowed.
  for (auto it = registry.filters.rbegin(); it != registry.filters.rend(); ++it) {
    WarnOnceFilter* filter = *it;
    const std::pair<std::string, void*> key{filter->identifier, filter->owner};
    if (std::find(seen.begin(), seen.end(), key) != seen.end()) continue;
    seen.push_back(key);
    if (!listsIdentifier(diag, filter->identifier)) continue;
    if (filter->shown++ > 0) passes = false;
  }
  return passes;
}

void CountAndAnnounce(qvsvDiagnosticImpl* diag) {
  auto& registry = Listeners();
  for (const qvsvDiagnosticItem* item : diag->items()) ++registry.counters[{nullptr, item->identifier}];
  if (registry.idCallbacks.empty()) return;
  for (const qvsvDiagnosticItem* item : diag->items()) {
    // By key, so that callbacks may (un)register others while the walk runs.
    std::pair<std::string, void*> key;
    for (auto it = registry.idCallbacks.begin(); it != registry.idCallbacks.end();
         it = registry.idCallbacks.upper_bound(key)) {
      key = it->first;
      util::IDDiagnosticCallback fn = it->second;
      std::shared_ptr<resource_core::BaseMsgID> id = identifierOf(item);
      fn(id, key.second);
    }
  }
}

void RunDiagnosticCallbacks(qvsvDiagnosticImpl*& diag) {
  auto& callbacks = Listeners().callbacks;
  if (diag == nullptr || diag->isEmpty() || callbacks.empty()) return;
  std::string name;
  for (auto it = callbacks.begin(); it != callbacks.end() && diag != nullptr; it = callbacks.upper_bound(name)) {
    name = it->first;
    util::DiagnosticCallback fn = it->second;
    fn(diag);
  }
}

}  // namespace qvsv::detail

namespace qvsv::util {

CDiagnosticListener::~CDiagnosticListener() = default;

bool CDiagnosticListener::notifyAboutDiagnostic(qvsvDiagnosticImpl* const& diag,
                                                qvsvDiagnosticListenerContext context) {
  static const std::u16string kEmpty;
  return notify(diag, context, kEmpty);
}

}  // namespace qvsv::util

using qvsv::detail::Listeners;

bool qvsvRegisterDiagnosticListener(const std::shared_ptr<qvsv::util::CDiagnosticListener>& listener) {
  if (!listener) return false;
  auto& listeners = Listeners().listeners;
  const std::string name = listener->name() == nullptr ? std::string() : listener->name();
  const auto it = listeners.find(name);
  if (it != listeners.end()) {
    if (!it->second.expired()) return false;
    it->second = listener;
    return true;
  }
  listeners.emplace(name, listener);
  return true;
}

void qvsvUnRegisterDiagnosticListener(const std::string& name) { Listeners().listeners.erase(name); }

namespace {

qvsv::util::CDiagnosticListener& defaultListener() {
  static auto* listener = new qvsv::util::CDefaultWarningListener;
  return *listener;
}

}  // namespace

bool qvsvNotifyDiagnosticListeners(qvsvDiagnosticImpl* const& diag, qvsv::util::qvsvDiagnosticListenerContext context) {
  if (diag == nullptr || diag->isEmpty()) return false;
  auto& listeners = Listeners().listeners;
  if (listeners.empty()) return defaultListener().notifyAboutDiagnostic(diag, context);
  bool taken = false;
  std::string name;
  for (auto it = listeners.begin(); it != listeners.end(); it = listeners.upper_bound(name)) {
    name = it->first;
    const std::shared_ptr<qvsv::util::CDiagnosticListener> listener = it->second.lock();
    if (!listener) continue;
    taken = listener->notifyAboutDiagnostic(diag, context);
    if (taken) break;
  }
  return taken;
}

bool qvsvRegisterDiagnosticCallback(const std::string& name, qvsv::util::DiagnosticCallback fn) {
  if (!fn) return false;
  return Listeners().callbacks.emplace(name, std::move(fn)).second;
}

void qvsvUnRegisterDiagnosticCallback(const std::string& name) { Listeners().callbacks.erase(name); }

bool qvsvRegisterIDDiagnosticCallback(const std::string& name, qvsv::util::IDDiagnosticCallback fn, void* owner) {
  if (!fn) return false;
  return Listeners().idCallbacks.emplace(std::make_pair(name, owner), std::move(fn)).second;
}

void qvsvUnRegisterIDDiagnosticCallback(const std::string& name, void* owner) {
  Listeners().idCallbacks.erase({name, owner});
}

unsigned qvsvGetDiagnosticCounterValue(const std::string& key, void* owner) {
  const auto& counters = Listeners().counters;
  const auto it = counters.find({owner, key});
  return it == counters.end() ? 0 : it->second;
}

void qvsvIncrementDiagnosticCounterValue(const std::string& key, void* owner) { ++Listeners().counters[{owner, key}]; }

namespace {

// The counters of one owner are contiguous: the map orders by owner first.
template <typename Fn>
void forOwner(void* owner, Fn&& fn) {
  auto& counters = Listeners().counters;
  auto it = counters.lower_bound({owner, std::string()});
  while (it != counters.end() && it->first.first == owner) it = fn(it);
}

}  // namespace

void qvsvResetDiagnosticCounters(void* owner) {
  forOwner(owner, [](auto it) {
    it->second = 0;
    return std::next(it);
  });
}

void qvsvClearDiagnosticCounters(void* owner) {
  forOwner(owner, [](auto it) { return Listeners().counters.erase(it); });
}

std::vector<std::string> qvsvGetDiagnosticCounterKeys(void* owner) {
  std::vector<std::string> keys;
  forOwner(owner, [&](auto it) {
    keys.push_back(it->first.second);
    return std::next(it);
  });
  return keys;
}
