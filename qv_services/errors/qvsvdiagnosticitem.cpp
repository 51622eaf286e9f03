// The diagnostic item: construction from the item pool, item copy and
// destruction.
#include <cstring>
#include <memory>
#include <new>

#include "qv_services/diagnostic.hpp"
#include "qv_services/errors/diagnostic_state.hpp"
#include "qv_services/testing_hook.hpp"
#include "tessel/ut.hpp"

QVSVKSObjectBase::~QVSVKSObjectBase() = default;

qvsvDiagnosticItem::qvsvDiagnosticItem() = default;

qvsvDiagnosticItem::~qvsvDiagnosticItem() {
  utFree(handles);
  handles = nullptr;
  numHandles = 0;
  qvsvDiscardDiagnostic(cause);
  delete[] ownedBuffer;
  ownedBuffer = nullptr;
  txDestroyArray(callStack);
  callStack = nullptr;
  txDestroyArray(arguments);
  arguments = nullptr;
  metadata.clear();
}

namespace {

// A full copy of a cause diagnostic: every item, no limit, no hand-over.
// Throws std::bad_alloc with nothing left behind.
qvsvDiagnosticImpl* copyCause(const qvsvDiagnosticImpl* source) {
  if (source == nullptr) return nullptr;
  qvsv::detail::OwnedDiagnostic copy(qvsvObtainDiagnostic());
  for (const qvsvDiagnosticItem* item : source->items()) {
    std::unique_ptr<qvsvDiagnosticItem> clone(new qvsvDiagnosticItem);
    *clone = *item;
    copy->appendWithoutLimit(clone.get());
    clone.release();
  }
  copy->candidates() = source->candidates();
  return copy.release();
}

}  // namespace

qvsvDiagnosticItem& qvsvDiagnosticItem::operator=(const qvsvDiagnosticItem& other) {
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
  if (!handlesCopied) {
    // A copy without its handles would point at the wrong objects: record the
    // shortage instead. The out-of-memory item has no handles, so this ends.
    return *this = *qvsv::detail::OutOfMemoryItem();
  }
  handlesPending = other.handlesPending;
  const int newCount = newHandles == nullptr ? 0 : other.numHandles;
  utFree(handles);
  handles = newHandles;
  numHandles = newCount;
  handleCallback = other.handleCallback;
  isStatic = other.isStatic;
  creationTime = other.creationTime;

  qvsvDiagnosticImpl* newCause = copyCause(other.cause);
  qvsvDiscardDiagnostic(cause);
  cause = newCause;

  if (this != &other) metadata = other.metadata;
  return *this;
}

void* qvsvDiagnosticItem::operator new(std::size_t size) {
  if (size != sizeof(qvsvDiagnosticItem)) return ::operator new(size);
  return qvsv::detail::ItemPool().allocate();
}

void qvsvDiagnosticItem::operator delete(void* block, std::size_t size) {
  if (block == nullptr) return;
  if (size != sizeof(qvsvDiagnosticItem) || !qvsv::detail::ItemPool().tryDeallocate(block)) ::operator delete(block);
}

namespace {

// Items keep the host call stack only while this hook is non-zero.
QvTestingHook gPopulateTStack("QVSV_POPULATE_TSTACK", "Populate tstack for qvsvDiagnostic", __FILE__,
                              "Quiver foundation", 0);

}  // namespace

QvTestingHook* QVFEAT_QVSV_POPULATE_TSTACK = &gPopulateTStack;
