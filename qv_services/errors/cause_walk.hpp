// Walking a diagnostic and its causes without recursion: a chain of causes
// may be as deep as memory allows, far deeper than any stack.
#pragma once

#include <cstddef>
#include <vector>

#include "qv_services/diagnostic.hpp"

namespace qvsv::detail {

// Visits every item of diag and of its causes depth first, in list order,
// each item's causes right after it. enter(item, depth) is called on arrival
// (depth 0 for diag's own items) and answers whether to walk into the item's
// cause; leave(item, depth, walkedIn) follows once the item's causes are done
// (at once when it was not walked into). The stack of open levels lives on
// the heap: a few dozen bytes per level.
template <typename Enter, typename Leave>
void WalkItems(const qvsvDiagnosticImpl* diag, Enter&& enter, Leave&& leave) {
  if (diag == nullptr) return;
  struct Level {
    qvsvDiagnosticImpl::ItemList::const_iterator next;
    qvsvDiagnosticImpl::ItemList::const_iterator end;
    const qvsvDiagnosticItem* parent;  // the item whose causes these are; null at the top
  };
  std::vector<Level> levels;
  levels.push_back({diag->items().begin(), diag->items().end(), nullptr});
  while (!levels.empty()) {
    Level& level = levels.back();
    if (level.next == level.end) {
      const qvsvDiagnosticItem* parent = level.parent;
      levels.pop_back();
      if (parent != nullptr) leave(*parent, levels.size() - 1, true);
      continue;
    }
    const qvsvDiagnosticItem* item = *level.next++;
    const std::size_t depth = levels.size() - 1;
    if (enter(*item, depth) && item->cause != nullptr) {
      levels.push_back({item->cause->items().begin(), item->cause->items().end(), item});
    } else {
      leave(*item, depth, false);
    }
  }
}

template <typename Enter>
void WalkItems(const qvsvDiagnosticImpl* diag, Enter&& enter) {
  WalkItems(diag, enter, [](const qvsvDiagnosticItem&, std::size_t, bool) {});
}

}  // namespace qvsv::detail
