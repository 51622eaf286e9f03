// The suppression database: entries by pattern, optionally for one handle.
#include <algorithm>
#include <cmath>
#include <stdexcept>

#include <utility>
#include "qv_services/suppressor/detail/suppressor_registry.hpp"

namespace qvsv::detail {

SuppressorRegistry& Suppressor() {
  static SuppressorRegistry* registry = new SuppressorRegistry;
  return *registry;
}

double CheckedHandle(double handle) {
  if (!std::isfinite(handle)) {
    throw std::invalid_argument("'" + std::to_string(handle) + "' is not an object handle (not a finite number)");
  }
  return handle == 0.0 ? 0.0 : handle;
}

bool Covers(const SuppressorRegistry& registry, std::string_view identifier, const double* handles, int count) {
  return registry.suppressions.visitMatches(identifier, [&](std::string_view, bool, const Coverage& coverage) {
    if (coverage.everyHandle) return true;
    for (int i = 0; i < count; ++i) {
      if (coverage.handles.count(handles[i] == 0.0 ? 0.0 : handles[i]) != 0) return true;
    }
    return false;
  });
}

}  // namespace qvsv::detail

using qvsv::detail::Suppressor;

namespace {

bool add(const std::string& pattern, const double* handle) {
  const qvsv::detail::PatternKey key = qvsv::detail::ParsePattern(pattern);
  const double checked = handle == nullptr ? 0.0 : qvsv::detail::CheckedHandle(*handle);
  qvsv::detail::Coverage& coverage = Suppressor().suppressions.at(key);
  if (handle == nullptr) return !std::exchange(coverage.everyHandle, true);
  return coverage.handles.insert(checked).second;
}

bool remove(const std::string& pattern, const double* handle) {
  const qvsv::detail::PatternKey key = qvsv::detail::ParsePattern(pattern);
  const double checked = handle == nullptr ? 0.0 : qvsv::detail::CheckedHandle(*handle);
  auto& table = Suppressor().suppressions;
  const qvsv::detail::Coverage* found = table.find(key);
  if (found == nullptr) return false;
  qvsv::detail::Coverage& coverage = table.at(key);
  const bool existed = handle == nullptr ? std::exchange(coverage.everyHandle, false)
                                         : coverage.handles.erase(checked) != 0;
  if (coverage.empty()) table.erase(key);
  return existed;
}

}  // namespace

bool qvsvAddDiagnosticSuppression(const std::string& pattern) { return add(pattern, nullptr); }
bool qvsvAddDiagnosticSuppression(const std::string& pattern, double handle) { return add(pattern, &handle); }
bool qvsvRemoveDiagnosticSuppression(const std::string& pattern) { return remove(pattern, nullptr); }
bool qvsvRemoveDiagnosticSuppression(const std::string& pattern, double handle) { return remove(pattern, &handle); }

bool qvsvIsDiagnosticSuppressed(const std::string& identifier) {
  return qvsv::detail::Covers(Suppressor(), identifier, nullptr, 0);
}

bool qvsvIsDiagnosticSuppressed(const std::string& identifier, double handle) {
  return qvsv::detail::Covers(Suppressor(), identifier, &handle, 1);
}

bool qvsvIsDiagnosticItemSuppressed(qvsvDiagnosticImpl* const& diag, unsigned index) {
  const qvsvDiagnosticItem* item = diag == nullptr ? nullptr : diag->itemAt(index);
  if (item == nullptr) return false;
  return qvsv::detail::Covers(Suppressor(), item->identifier, item->handles,
                              item->handles == nullptr ? 0 : item->numHandles);
}

std::vector<qvsvSuppression> qvsvGetDiagnosticSuppressions() {
  std::vector<qvsvSuppression> out;
  for (const auto& [pattern, coverage] : Suppressor().suppressions.sorted()) {
    if (coverage->everyHandle) out.push_back({pattern, std::nullopt});
    std::vector<double> handles(coverage->handles.begin(), coverage->handles.end());
    std::sort(handles.begin(), handles.end());
    for (const double handle : handles) out.push_back({pattern, handle});
  }
  return out;
}

void qvsvClearDiagnosticSuppressions() { Suppressor().suppressions.clear(); }

qvsvHiddenWarningCounts qvsvGetHiddenWarningCounts(const std::string& identifier) {
  const auto& hidden = Suppressor().hidden;
  const auto it = hidden.find(identifier);
  return it == hidden.end() ? qvsvHiddenWarningCounts{} : it->second;
}

std::map<std::string, qvsvHiddenWarningCounts> qvsvGetAllHiddenWarningCounts() {
  const auto& hidden = Suppressor().hidden;
  return {hidden.begin(), hidden.end()};
}

void qvsvResetHiddenWarningCounts() { Suppressor().hidden.clear(); }

bool qvsvResetWarningReportedOnce(const std::string& identifier) {
  auto& shown = Suppressor().reportedOnce;
  const auto it = shown.find(identifier);
  if (it == shown.end()) return false;
  shown.erase(it);
  return true;
}

void qvsvResetAllWarningsReportedOnce() { Suppressor().reportedOnce.clear(); }
