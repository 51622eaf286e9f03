// Warning states by pattern: the most specific pattern decides.
#include <stdexcept>

#include "qv_services/suppressor/detail/suppressor_registry.hpp"

using qvsv::detail::Suppressor;

namespace {

constexpr const char* kStateNames[] = {"on", "off", "once", "error"};

}  // namespace

const char* qvsvWarningStateName(qvsvWarningState state) {
  const auto index = static_cast<unsigned>(state);
  return index < std::size(kStateNames) ? kStateNames[index] : "?";
}

qvsvWarningState qvsvParseWarningState(const std::string& name) {
  for (unsigned i = 0; i < std::size(kStateNames); ++i) {
    if (name == kStateNames[i]) return static_cast<qvsvWarningState>(i);
  }
  throw std::invalid_argument("'" + name + "' is not a warning state (on, off, once or error)");
}

void qvsvSetWarningState(const std::string& pattern, qvsvWarningState state) {
  if (static_cast<unsigned>(state) >= std::size(kStateNames)) {
    throw std::invalid_argument(std::to_string(static_cast<int>(state)) + " is not a warning state");
  }
  const qvsv::detail::PatternKey key = qvsv::detail::ParsePattern(pattern);
  // A fresh entry: setting a state, even the same one, forgets what "once" let through.
  Suppressor().states.at(key) = qvsv::detail::StateEntry{state, {}};
}

bool qvsvRemoveWarningState(const std::string& pattern) {
  const qvsv::detail::PatternKey key = qvsv::detail::ParsePattern(pattern);
  return Suppressor().states.erase(key);
}

qvsvWarningStateDecision qvsvGetWarningState(const std::string& identifier) {
  qvsvWarningStateDecision decision;
  Suppressor().states.visitMatches(identifier, [&](std::string_view key, bool prefix, const auto& entry) {
    decision.state = entry.state;
    decision.pattern = prefix ? std::string(key) + "*" : std::string(key);
    return true;
  });
  return decision;
}

std::vector<std::pair<std::string, qvsvWarningState>> qvsvGetWarningStates() {
  std::vector<std::pair<std::string, qvsvWarningState>> out;
  for (const auto& [pattern, entry] : Suppressor().states.sorted()) out.emplace_back(pattern, entry->state);
  return out;
}

void qvsvClearWarningStates() { Suppressor().states.clear(); }
