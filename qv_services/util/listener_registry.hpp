// The listener, callback and counter registries, and the steps of the
// reporting path that use them.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "qv_services/listeners.hpp"

namespace qvsv::detail {

struct WarnOnceFilter {
  std::string identifier;
  void* owner;
  unsigned shown = 0;  // warnings of the identifier that reached this filter
};

// One per process, never destroyed: listeners and scoped objects may
// unregister during static destruction.
struct ListenerRegistry {
  // Transparent: unregistering by a listener's name allocates nothing.
  std::map<std::string, std::weak_ptr<util::CDiagnosticListener>, std::less<>> listeners;
  std::map<std::string, util::DiagnosticCallback> callbacks;
  std::map<std::pair<std::string, void*>, util::IDDiagnosticCallback> idCallbacks;
  std::map<std::pair<void*, std::string>, unsigned> counters;  // owner first: per-owner walks
  std::vector<WarnOnceFilter*> filters;                        // innermost last
};

ListenerRegistry& Listeners();

// Removes a listener without allocating (destructors call it).
void UnregisterListener(std::string_view name) noexcept;
// --- Steps of the reporting path. ---
// False when a warn-once filter has already let this warning through.
bool PassesWarnOnceFilters(qvsvDiagnosticImpl* diag);
// Counts the report and tells the identifier callbacks.
void CountAndAnnounce(qvsvDiagnosticImpl* diag);
// Runs the diagnostic callbacks in name order until one consumes diag.
void RunDiagnosticCallbacks(qvsvDiagnosticImpl*& diag);

}  // namespace qvsv::detail
