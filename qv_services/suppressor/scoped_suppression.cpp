// Scoped changes of the suppression database and the warning states.
#include <optional>
#include <vector>

#include "qv_services/suppressor/detail/suppressor_registry.hpp"

namespace qvsv::util {

using detail::Coverage;
using detail::PatternKey;
using detail::StateEntry;
using detail::Suppressor;

// What a pattern held before each change, undone newest first so that the
// oldest record, what it held before the scope, is restored last.
struct ScopedDiagnosticSuppression::UndoLog {
  struct Record {
    PatternKey key;
    bool isState;
    std::optional<Coverage> coverage;  // isState false: the entry before, none when absent
    std::optional<StateEntry> state;   // isState true
  };
  std::vector<Record> records;

  void rememberCoverage(const PatternKey& key) {
    const Coverage* coverage = Suppressor().suppressions.find(key);
    records.push_back({key, false, coverage == nullptr ? std::nullopt : std::optional<Coverage>(*coverage), {}});
  }
  void rememberState(const PatternKey& key) {
    const StateEntry* state = Suppressor().states.find(key);
    records.push_back({key, true, {}, state == nullptr ? std::nullopt : std::optional<StateEntry>(*state)});
  }

  template <typename Table, typename Value>
  static void restore(Table& table, const PatternKey& key, std::optional<Value>& previous) {
    if (previous) {
      table.at(key) = std::move(*previous);
    } else {
      table.erase(key);
    }
  }

  void undo() noexcept {
    for (auto it = records.rbegin(); it != records.rend(); ++it) {
      if (it->isState) {
        restore(Suppressor().states, it->key, it->state);
      } else {
        restore(Suppressor().suppressions, it->key, it->coverage);
      }
    }
    records.clear();
  }
};

ScopedDiagnosticSuppression::ScopedDiagnosticSuppression() : undo_(new UndoLog) {}

ScopedDiagnosticSuppression::~ScopedDiagnosticSuppression() {
  undo_->undo();
  delete undo_;
}

// Each change parses first, so that a refused pattern leaves no record.
bool ScopedDiagnosticSuppression::suppress(const std::string& pattern) {
  undo_->rememberCoverage(detail::ParsePattern(pattern));
  return qvsvAddDiagnosticSuppression(pattern);
}

bool ScopedDiagnosticSuppression::suppress(const std::string& pattern, double handle) {
  const PatternKey key = detail::ParsePattern(pattern);
  detail::CheckedHandle(handle);
  undo_->rememberCoverage(key);
  return qvsvAddDiagnosticSuppression(pattern, handle);
}

bool ScopedDiagnosticSuppression::unsuppress(const std::string& pattern) {
  undo_->rememberCoverage(detail::ParsePattern(pattern));
  return qvsvRemoveDiagnosticSuppression(pattern);
}

bool ScopedDiagnosticSuppression::unsuppress(const std::string& pattern, double handle) {
  const PatternKey key = detail::ParsePattern(pattern);
  detail::CheckedHandle(handle);
  undo_->rememberCoverage(key);
  return qvsvRemoveDiagnosticSuppression(pattern, handle);
}

void ScopedDiagnosticSuppression::setWarningState(const std::string& pattern, qvsvWarningState state) {
  const PatternKey key = detail::ParsePattern(pattern);
  undo_->rememberState(key);
  qvsvSetWarningState(pattern, state);
}

bool ScopedDiagnosticSuppression::removeWarningState(const std::string& pattern) {
  undo_->rememberState(detail::ParsePattern(pattern));
  return qvsvRemoveWarningState(pattern);
}

}  // namespace qvsv::util
