// The one owner of the suppression database, the warning states, the hidden
// counts and the report-once memory.
#pragma once

#include <map>
#include <string>
#include <unordered_set>

#include "qv_services/suppressor.hpp"
#include "qv_services/suppressor/detail/pattern_table.hpp"

namespace qvsv::detail {

// What one pattern of the database covers.
struct Coverage {
  bool everyHandle = false;
  std::unordered_set<double> handles;
  bool empty() const { return !everyHandle && handles.empty(); }
};

struct StateEntry {
  qvsvWarningState state = qvsvWarningState::kOn;
  // Identifiers this pattern has let through once (state once only).
  std::unordered_set<std::string, StringHash, std::equal_to<>> shown;
};

// One per process, never destroyed: scoped objects may end during static
// destruction.
struct SuppressorRegistry {
  PatternTable<Coverage> suppressions;
  PatternTable<StateEntry> states;
  std::map<std::string, qvsvHiddenWarningCounts, std::less<>> hidden;
  std::unordered_set<std::string, StringHash, std::equal_to<>> reportedOnce;
};

SuppressorRegistry& Suppressor();

// Throws std::invalid_argument naming the value when it is not a finite
// number; folds -0.0 into 0.0.
double CheckedHandle(double handle);

// Whether the database covers the identifier with this handle list
// (handles may be null when count is 0).
bool Covers(const SuppressorRegistry& registry, std::string_view identifier, const double* handles, int count);

}  // namespace qvsv::detail
