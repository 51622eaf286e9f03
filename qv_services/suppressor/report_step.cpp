// What the warning reports hide, show once, or turn into errors.
#include "qv_services/suppressor/report_step.hpp"

#include "qv_services/feature.hpp"
#include "qv_services/feature/detail/feature_access.hpp"
#include "qv_services/listeners.hpp"
#include "qv_services/suppressor/detail/suppressor_registry.hpp"

namespace qvsv::detail {
namespace {

enum class Verdict { kShow, kSuppressed, kSwitchedOff, kRepeated, kError };

Verdict stateVerdict(SuppressorRegistry& registry, const std::string& identifier) {
  Verdict verdict = Verdict::kShow;
  registry.states.visitMatches(identifier, [&](std::string_view, bool, StateEntry& entry) {
    switch (entry.state) {
      case qvsvWarningState::kOn: break;
      case qvsvWarningState::kOff: verdict = Verdict::kSwitchedOff; break;
      case qvsvWarningState::kOnce:
        if (!entry.shown.insert(identifier).second) verdict = Verdict::kRepeated;
        break;
      case qvsvWarningState::kError: verdict = Verdict::kError; break;
    }
    return true;  // the most specific pattern alone decides
  });
  return verdict;
}

Verdict verdictFor(SuppressorRegistry& registry, const qvsvDiagnosticItem& item, WarningReport kind, bool suppressing) {
  if (suppressing &&
      Covers(registry, item.identifier, item.handles, item.handles == nullptr ? 0 : item.numHandles)) {
    return Verdict::kSuppressed;
  }
  if (kind == WarningReport::kChangeable) return stateVerdict(registry, item.identifier);
  if (kind == WarningReport::kOnce && !registry.reportedOnce.insert(item.identifier).second) return Verdict::kRepeated;
  return Verdict::kShow;
}

void countHidden(SuppressorRegistry& registry, const std::string& identifier, Verdict verdict) {
  auto it = registry.hidden.find(identifier);
  if (it == registry.hidden.end()) it = registry.hidden.emplace(identifier, qvsvHiddenWarningCounts{}).first;
  qvsvHiddenWarningCounts& counts = it->second;
  ++(verdict == Verdict::kSuppressed ? counts.suppressed
     : verdict == Verdict::kSwitchedOff ? counts.switchedOff
                                        : counts.repeated);
  // Hidden, yet counted like every reported warning.
  qvsvIncrementDiagnosticCounterValue(identifier, nullptr);
}

}  // namespace

qvsvDiagnosticImpl* HideWarningItems(qvsvDiagnosticImpl*& diag, WarningReport kind) {
  if (diag == nullptr || diag->isEmpty()) return nullptr;
  SuppressorRegistry& registry = Suppressor();
  // One counted read per warning report, as MessageViewer is read.
  const bool suppressing =
      QvFeatureNativeAccess::get(QVFEAT_DiagnosticSuppressor) != 0 && !registry.suppressions.empty();
  const bool stated = kind == WarningReport::kChangeable && !registry.states.empty();
  if (!suppressing && !stated && kind != WarningReport::kOnce) return nullptr;

  qvsvDiagnosticImpl* promoted = nullptr;
  auto& items = diag->items();
  for (auto it = items.begin(); it != items.end();) {
    qvsvDiagnosticItem* item = *it;
    const Verdict verdict = verdictFor(registry, *item, kind, suppressing);
    if (verdict == Verdict::kShow) {
      ++it;
    } else if (verdict == Verdict::kError) {
      if (promoted == nullptr) promoted = qvsvObtainDiagnostic();
      const auto next = std::next(it);
      promoted->items().splice(promoted->items().end(), items, it);
      it = next;
    } else {
      countHidden(registry, item->identifier, verdict);
      it = items.erase(it);
      if (!item->isShared) delete item;  // the two shared static items belong to no diagnostic
    }
  }
  if (promoted != nullptr && diag->isEmpty()) {
    // Every item is an error: the whole diagnostic goes, candidates and all.
    items.splice(items.end(), promoted->items());
    qvsvDiscardDiagnostic(promoted);
    promoted = diag;
    diag = nullptr;
  }
  return promoted;
}

}  // namespace qvsv::detail
