// The diagnostic item: construction from the item pool, item copy and
// destruction.
#include <cstring>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "qv_services/diagnostic.hpp"
#include "qv_services/errors/diagnostic_state.hpp"
#include "qv_services/testing_hook.hpp"
#include "tessel/ut.hpp"

QVSVKSObjectBase::~QVSVKSObjectBase() = default;

qvsvDiagnosticItem::qvsvDiagnosticItem() = default;

qvsvDiagnosticItem::~qvsvDiagnosticItem() {
  // A second destruction would free the texts and arrays again: stop first.
  qvsv::detail::CheckLiveItem(this);
  utFree(handles);
  handles = nullptr;
  numHandles = 0;
  // Taken out first: the cause is no longer this item's while it is released.
  qvsvDiagnosticImpl* ownCause = std::exchange(cause, nullptr);
  qvsvDiscardDiagnostic(ownCause);
  delete[] ownedBuffer;
  ownedBuffer = nullptr;
  txDestroyArray(callStack);
  callStack = nullptr;
  txDestroyArray(arguments);
  arguments = nullptr;
  metadata.clear();
}

qvsvDiagnosticImpl* qvsvDiagnosticItem::copyCauses(const qvsvDiagnosticImpl* source, const qvsvDiagnosticItem* owner) {
  if (source == nullptr) return nullptr;
  qvsvDiagnosticImpl* root = qvsvObtainDiagnostic();
  root->setCauseOf(owner);
  try {
    // Pairs of (original, copy) still to fill; every copy hangs in the tree as
    // soon as it exists, so releasing the root frees a partial copy.
    std::vector<std::pair<const qvsvDiagnosticImpl*, qvsvDiagnosticImpl*>> pending{{source, root}};
    while (!pending.empty()) {
      const auto [from, to] = pending.back();
      pending.pop_back();
      for (const qvsvDiagnosticItem* item : from->items()) {
        std::unique_ptr<qvsvDiagnosticItem> clone(new qvsvDiagnosticItem);
        const bool complete = clone->assignAllButCause(*item);
        if (!complete) *clone = *qvsv::detail::OutOfMemoryItem();
        to->appendWithoutLimit(clone.get());
        qvsvDiagnosticItem* copy = clone.release();
        if (complete && item->cause != nullptr) {
          copy->cause = qvsvObtainDiagnostic();
          copy->cause->setCauseOf(copy);
          pending.emplace_back(item->cause, copy->cause);
        }
      }
      to->candidates() = from->candidates();
    }
  } catch (...) {
    qvsvDiscardDiagnostic(root);
    throw;
  }
  return root;
}

bool qvsvDiagnosticItem::assignAllButCause(const qvsvDiagnosticItem& other) {
  userWord = other.userWord;
  if (this != &other) {
    message = other.message;
    extraMessage = other.extraMessage;
    identifier = other.identifier;
  }
  // New values first, old ones released after: safe for self-assignment.
  txArray* newArguments = nullptr;
  if (other.arguments != nullptr) {
    newArguments = txCreateSharedDataCopy(other.arguments);
    txMakeArrayPersistent(newArguments);
  }
  txDestroyArray(arguments);
  arguments = newArguments;

  bool handlesCopied = true;
  double* newHandles = qvsv::detail::CopyHandles(other.handles, other.numHandles, handlesCopied);
  if (!handlesCopied) return false;
  handlesPending = other.handlesPending;
  const int newCount = newHandles == nullptr ? 0 : other.numHandles;
  utFree(handles);
  handles = newHandles;
  numHandles = newCount;
  handleCallback = other.handleCallback;
  if (isStatic != other.isStatic) {
    // An owned item stays owned when it becomes a static copy, and a maker's
    // static item stays its maker's when a copy clears the mark.
    pinnedOwned_ = ownedByDiagnostic();
    ownershipPinned_ = true;
  }
  isStatic = other.isStatic;
  creationTime = other.creationTime;
  if (this != &other) metadata = other.metadata;
  return true;
}

qvsvDiagnosticItem& qvsvDiagnosticItem::operator=(const qvsvDiagnosticItem& other) {
  if (!assignAllButCause(other)) {
    // A copy without its handles would point at the wrong objects: record the
    // shortage instead. The out-of-memory item has no handles, so this ends.
    return *this = *qvsv::detail::OutOfMemoryItem();
  }
  qvsvDiagnosticImpl* newCause = copyCauses(other.cause, this);
  qvsvDiagnosticImpl* oldCause = std::exchange(cause, newCause);
  qvsvDiscardDiagnostic(oldCause);
  return *this;
}

void* qvsvDiagnosticItem::operator new(std::size_t size) {
  if (size != sizeof(qvsvDiagnosticItem)) return ::operator new(size);
  return qvsv::detail::ItemPool().allocate();
}

void qvsvDiagnosticItem::operator delete(void* block, std::size_t size) {
  if (block == nullptr) return;
  if (size != sizeof(qvsvDiagnosticItem)) {
    ::operator delete(block);
    return;
  }
  if (!qvsv::detail::ItemPool().tryDeallocate(block)) {
    qvsv::detail::CheckLiveItem(block);  // a pool chunk that is free already: released twice
    ::operator delete(block);
  }
}

namespace {

// Items keep the host call stack only while this hook is non-zero.
QvTestingHook gPopulateTStack("QVSV_POPULATE_TSTACK", "Populate tstack for qvsvDiagnostic", __FILE__,
                              "Quiver foundation", 0);

}  // namespace

QvTestingHook* QVFEAT_QVSV_POPULATE_TSTACK = &gPopulateTStack;
