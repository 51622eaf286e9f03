// Scoped listeners and the warn-once filter.
#include <algorithm>

#include "qv_services/util/listener_registry.hpp"

namespace qvsv::util {

namespace {

// What a scoped listener registers: it names its scope, so that the scope
// can tell its own registration from anyone else's under the same name.
struct DiagnosticThunk {
  ScopedDiagnosticListener* scope;
  void operator()(qvsvDiagnosticImpl*& diag) const { scope->callBack(diag); }
};

struct IDThunk {
  ScopedIDDiagnosticListener* scope;
  void operator()(std::shared_ptr<resource_core::BaseMsgID>& id, void* owner) const { scope->callBack(id, owner); }
};

}  // namespace

ScopedDiagnosticListener::ScopedDiagnosticListener(const std::string& name, const DiagnosticCallback& fn)
    : name_(name), fn_(fn) {
  // A name already registered refuses the scope; it then hears nothing.
  qvsvRegisterDiagnosticCallback(name_, DiagnosticThunk{this});
}

ScopedDiagnosticListener::~ScopedDiagnosticListener() {
  // Only its own registration: the name may meanwhile belong to someone else.
  auto& callbacks = detail::Listeners().callbacks;
  const auto it = callbacks.find(name_);
  if (it == callbacks.end()) return;
  const auto* thunk = it->second.target<DiagnosticThunk>();
  if (thunk != nullptr && thunk->scope == this) callbacks.erase(it);
}

void ScopedDiagnosticListener::callBack(qvsvDiagnosticImpl*& diag) {
  ++counter_;
  // A copy: the function may end this scope (and so destroy fn_) while it runs.
  if (DiagnosticCallback fn = fn_) fn(diag);
}

ScopedIDDiagnosticListener::ScopedIDDiagnosticListener(const std::string& name, const IDDiagnosticCallback& fn,
                                                       void* owner)
    : name_(name), owner_(owner), fn_(fn) {
  qvsvRegisterIDDiagnosticCallback(name_, IDThunk{this}, owner_);
}

ScopedIDDiagnosticListener::~ScopedIDDiagnosticListener() {
  auto& callbacks = detail::Listeners().idCallbacks;
  const auto it = callbacks.find({name_, owner_});
  if (it == callbacks.end()) return;
  const auto* thunk = it->second.target<IDThunk>();
  if (thunk != nullptr && thunk->scope == this) callbacks.erase(it);
}

void ScopedIDDiagnosticListener::callBack(std::shared_ptr<resource_core::BaseMsgID>& id, void* owner) {
  ++counter_;
  if (IDDiagnosticCallback fn = fn_) fn(id, owner);
}

ScopedWarnOnceFilter::ScopedWarnOnceFilter(const std::string& identifier, void* const owner)
    : filter_(std::make_unique<detail::WarnOnceFilter>()) {
  filter_->identifier = identifier;
  filter_->owner = owner;
  detail::Listeners().filters.push_back(filter_.get());
}

ScopedWarnOnceFilter::~ScopedWarnOnceFilter() {
  auto& filters = detail::Listeners().filters;
  filters.erase(std::remove(filters.begin(), filters.end(), filter_.get()), filters.end());
}

}  // namespace qvsv::util
