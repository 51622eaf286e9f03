// The diagnostic: its virtual operations, the pool behind operator new, and
// obtaining, duplicating and releasing diagnostics.
#include <memory>
#include <new>
#include <stdexcept>

#include "qv_services/diagnostic.hpp"
#include "qv_services/errors/diagnostic_state.hpp"

using qvsv::detail::DiagnosticPool;
using qvsv::detail::Queue;
using qvsv::detail::ReusableDiagnostics;

qvsvDiagnosticImpl::qvsvDiagnosticImpl() = default;

void qvsvDiagnosticImpl::reset() {
  candidates_.clear();
  processing_ = false;
  setReusable(false);
  static_ = false;
}

qvsvDiagnosticImpl::~qvsvDiagnosticImpl() {
  // A second destruction would walk a list that is gone: stop first.
  qvsv::detail::CheckLiveDiagnostic(this);
  clearFrom(0);
  if (reusable_) ReusableDiagnostics().erase(this);
}

bool qvsvDiagnosticImpl::refusesItem(const qvsvDiagnosticItem*) const { return false; }

bool qvsvDiagnosticImpl::isOneBelowLimit() const {
  const int limit = Queue().limit;
  return limit >= 1 && count() == static_cast<unsigned>(limit) - 1;
}

bool qvsvDiagnosticImpl::isFull() const {
  const int limit = Queue().limit;
  return limit >= 1 && count() >= static_cast<unsigned>(limit);
}

bool qvsvDiagnosticImpl::isEmpty() const { return items_.empty(); }

void qvsvDiagnosticImpl::appendItem(qvsvDiagnosticItem* item, const qvsvDiagnosticItem* replacement, bool pending) {
  if (item == nullptr || refusesItem(item)) return;
  if (isFull()) {
    // Dropped: an owned item was on its way in and nobody else holds it; a
    // static one stays with its maker.
    if (item->ownedByDiagnostic()) delete item;
    return;
  }
  // Throws std::bad_alloc before the item is listed (it stays the caller's);
  // from here on the diagnostic owns it.
  appendWithoutLimit(item);
  // Tested after the count has grown: the item that brings the count to
  // L - 1 is replaced, and one more item still fits before the queue is full.
  if (isOneBelowLimit() && replacement != nullptr) {
    if (item != replacement) {
      try {
        *item = *replacement;
      } catch (const std::bad_alloc&) {
        qvsv::detail::MarkOutOfMemory(this, item);
        return;
      }
    }
    item->handlesPending = false;
  } else {
    item->handlesPending = pending;
  }
  handOverHandles(item);
}

qvsvDiagnosticImpl::ItemList::iterator qvsvDiagnosticImpl::positionOf(unsigned index) {
  const unsigned n = count();
  if (index >= n) return items_.end();
  // Walk from the nearer end; the position is the same.
  if (index <= n / 2) return std::next(items_.begin(), index);
  return std::prev(items_.end(), n - index);
}

qvsvDiagnosticImpl::ItemList::iterator qvsvDiagnosticImpl::endPosition() { return items_.end(); }

qvsvDiagnosticItem* qvsvDiagnosticImpl::lastItem() const { return items_.empty() ? nullptr : items_.back(); }

qvsvDiagnosticItem* qvsvDiagnosticImpl::firstItem() const { return items_.empty() ? nullptr : items_.front(); }

qvsvDiagnosticItem* qvsvDiagnosticImpl::itemAt(unsigned index) const {
  const unsigned n = count();
  if (index >= n) return nullptr;
  if (index == 0) return items_.front();
  if (index == n - 1) return items_.back();
  return *std::next(items_.begin(), index);
}

void qvsvDiagnosticImpl::setReusable(bool reusable) {
  if (reusable == reusable_) return;
  reusable_ = reusable;
  // Only pooled diagnostics are found by the reuse scan and the clean-up.
  if (!DiagnosticPool().ownsLive(this)) return;
  if (reusable) {
    ReusableDiagnostics().insert(this);
  } else {
    ReusableDiagnostics().erase(this);
  }
}

void qvsvDiagnosticImpl::clearFrom(unsigned k) {
  if (k == 0) {
    processing_ = false;
    candidates_.clear();
  }
  if (items_.empty() || k >= count()) return;
  ItemList doomed;
  doomed.splice(doomed.end(), items_, positionOf(k), items_.end());
  qvsv::detail::DestroyItems(doomed);
}

void qvsvDiagnosticImpl::handOverHandles(qvsvDiagnosticItem* item) {
  if (!item->handlesPending || item->numHandles < 1 || item->handles == nullptr) return;
  const qvsvProcessCallback callback = item->handleCallback != nullptr ? item->handleCallback : Queue().process;
  if (callback == nullptr) return;
  // Cleared before the call: the callback may take the item out of this diagnostic.
  item->handlesPending = false;
  // Meanwhile the diagnostic belongs to whoever runs this hand-over: the
  // callback can neither release it nor merge it away (nested hand-overs keep
  // the mark until the outermost one ends).
  const bool outer = handingOver_;
  handingOver_ = true;
  try {
    callback(this, item->handles, item->numHandles);
  } catch (...) {
    handingOver_ = outer;
    throw;
  }
  handingOver_ = outer;
}

void qvsvDiagnosticImpl::appendWithoutLimit(qvsvDiagnosticItem* item) {
  if (items_.size() >= Queue().maxItems) throw std::length_error("list<T> too long");
  items_.push_back(item);
}

void qvsvDiagnosticImpl::spliceItems(ItemList::iterator where, qvsvDiagnosticImpl& from, std::size_t n) {
  if (n > Queue().maxItems - items_.size()) throw std::length_error("list<T> too long");
  if (n == from.items_.size()) {
    items_.splice(where, from.items_);
  } else {
    items_.splice(where, from.items_, from.items_.begin(), std::next(from.items_.begin(), static_cast<std::ptrdiff_t>(n)));
  }
}

void* qvsvDiagnosticImpl::operator new(std::size_t size) {
  // Subclasses are bigger than the pool's chunks and live in ordinary memory.
  if (size != sizeof(qvsvDiagnosticImpl)) return ::operator new(size);
  return DiagnosticPool().allocate();
}

void qvsvDiagnosticImpl::operator delete(void* block, std::size_t size) {
  if (block == nullptr) return;
  if (size != sizeof(qvsvDiagnosticImpl)) {
    ::operator delete(block);
    return;
  }
  if (!DiagnosticPool().tryDeallocate(block)) {
    qvsv::detail::CheckLiveDiagnostic(block);  // a pool chunk that is free already: released twice
    ::operator delete(block);
  }
}

qvsvDiagnosticImpl* qvsvObtainDiagnostic() {
  for (qvsvDiagnosticImpl* candidate : ReusableDiagnostics()) {
    if (candidate->isEmpty() && !candidate->isStatic()) {
      candidate->setReusable(false);
      return candidate;
    }
  }
  return new qvsvDiagnosticImpl;
}

// Out of memory after the copy exists, the copy ends where the shortage came
// with the out-of-memory item (no half-copied item is kept); only a copy that
// cannot be obtained at all throws std::bad_alloc.
qvsvDiagnosticImpl* qvsvDuplicateDiagnostic(qvsvDiagnosticImpl* const& diag) {
  if (diag == nullptr) return nullptr;
  qvsvDiagnosticImpl* copy = qvsvObtainDiagnostic();
  try {
    if (!diag->isEmpty()) {
      // A limit of 0 copies nothing here, unlike everywhere else.
      const unsigned limit = static_cast<unsigned>(Queue().limit);
      const unsigned n = std::min(diag->count(), limit);
      auto it = diag->items().begin();
      for (unsigned i = 0; i < n; ++i, ++it) {
        std::unique_ptr<qvsvDiagnosticItem> clone(new qvsvDiagnosticItem);
        *clone = **it;
        clone->handlesPending = false;
        copy->appendItem(clone.get(), nullptr, false);
        clone.release();
      }
    }
    copy->candidates().insert(copy->candidates().end(), diag->candidates().begin(), diag->candidates().end());
  } catch (const std::bad_alloc&) {
    qvsv::detail::RecordOutOfMemory(copy);
  }
  return copy;
}

void qvsvDiscardDiagnostic(qvsvDiagnosticImpl*& diag) {
  if (diag == nullptr) return;
  qvsv::detail::CheckLiveDiagnostic(diag);
  if (diag->handingOver()) {
    // Released from inside a process callback: the operation that runs the
    // callback still owns the diagnostic and goes on with it.
    diag = nullptr;
    return;
  }
  if (diag->candidateScopes() > 0) {
    // Released from inside its candidate processing, which ends it.
    if (diag->releaseDeferred()) qvsv::detail::AbortReleasedTwice("diagnostic", diag);
    diag->setReleaseDeferred(true);
    diag = nullptr;
    return;
  }
  diag->setStatic(false);
  delete diag;
  diag = nullptr;
}

void qvsvSetDiagnosticStatic(qvsvDiagnosticImpl*& diag) {
  if (diag != nullptr) diag->setStatic(true);
}
