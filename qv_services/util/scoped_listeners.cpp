// Scoped listeners and the warn-once filter.
#include <algorithm>

#include "qv_services/util/listener_registry.hpp"

namespace qvsv::util {

ScopedDiagnosticListener::ScopedDiagnosticListener(const std::string& name, const DiagnosticCallback& fn)
    : name_(name), fn_(fn) {
  previous_ = detail::SwapDiagnosticCallback(name_, [this](qvsvDiagnosticImpl*& diag) { callBack(diag); });
}

ScopedDiagnosticListener::~ScopedDiagnosticListener() {
  detail::SwapDiagnosticCallback(name_, std::move(previous_));
}

void ScopedDiagnosticListener::callBack(qvsvDiagnosticImpl*& diag) {
  ++counter_;
  if (fn_) fn_(diag);
}

ScopedIDDiagnosticListener::ScopedIDDiagnosticListener(const std::string& name, const IDDiagnosticCallback& fn,
                                                       void* owner)
    : name_(name), owner_(owner), fn_(fn) {
  previous_ = detail::SwapIDDiagnosticCallback(
      name_, owner_, [this](std::shared_ptr<resource_core::BaseMsgID>& id, void* o) { callBack(id, o); });
}

ScopedIDDiagnosticListener::~ScopedIDDiagnosticListener() {
  detail::SwapIDDiagnosticCallback(name_, owner_, std::move(previous_));
}

void ScopedIDDiagnosticListener::callBack(std::shared_ptr<resource_core::BaseMsgID>& id, void* owner) {
  ++counter_;
  if (fn_) fn_(id, owner);
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
