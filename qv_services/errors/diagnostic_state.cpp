#include "qv_services/errors/diagnostic_state.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iterator>
#include <new>
#include <utility>

#include "qv_services/conversions.hpp"
#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/errors/cause_walk.hpp"
#include "qv_services/feature/detail/tested_allocation.hpp"
#include "tessel/ut.hpp"

namespace qvsv::detail {

std::set<qvsvDiagnosticImpl*>& ReusableDiagnostics() {
  static std::set<qvsvDiagnosticImpl*>* reusable = new std::set<qvsvDiagnosticImpl*>;
  return *reusable;
}

QueueState& Queue() {
  static QueueState state;
  return state;
}

namespace {

qvsvDiagnosticItem* makeSharedItem(const char* key) {
  auto* item = new qvsvDiagnosticItem;
  item->identifier = std::string("QV_SERVICES:utils:") + key;
  try {
    item->message = qvsvGetMessageFromMessageIDAsUString(resource_core::BaseMsgID("QV_SERVICES:utils", key), true);
  } catch (const std::exception& e) {
    // A missing catalogue must not stop the queue from marking its overflow.
    item->message = ConvertStdStringToUString(std::string(e.what()));
  }
  item->isStatic = true;
  item->isShared = true;
  return item;
}

}  // namespace

qvsvDiagnosticItem* OverflowItem() {
  static qvsvDiagnosticItem* item = makeSharedItem("TooManyErrorsErr");
  return item;
}

qvsvDiagnosticItem* OutOfMemoryItem() {
  static qvsvDiagnosticItem* item = makeSharedItem("MemoryAllocationError");
  return item;
}

void RecordOutOfMemory(qvsvDiagnosticImpl* diag) noexcept {
  if (diag == nullptr) return;
  qvsvDiagnosticItem* outOfMemory = nullptr;
  try {
    outOfMemory = OutOfMemoryItem();  // made at start-up; this only finds it
  } catch (...) {
    return;
  }
  if (diag->lastItem() == outOfMemory) return;
  try {
    diag->appendWithoutLimit(outOfMemory);
    return;
  } catch (...) {
    // Not even a list node: the last item makes room.
  }
  if (diag->isEmpty()) return;
  qvsvDiagnosticItem*& last = diag->items().back();
  if (!last->isShared) delete last;
  last = outOfMemory;
}

void MarkOutOfMemory(qvsvDiagnosticImpl* diag, qvsvDiagnosticItem* item) noexcept {
  if (diag == nullptr || item == nullptr) return;
  qvsvDiagnosticItem* outOfMemory = nullptr;
  try {
    outOfMemory = OutOfMemoryItem();
  } catch (...) {
    return;
  }
  auto& items = diag->items();
  const auto it = std::find(items.begin(), items.end(), item);
  if (it == items.end() || item == outOfMemory) return;
  if (!item->isShared) delete item;
  *it = outOfMemory;
}

void DiagnosticReleaser::operator()(qvsvDiagnosticImpl* diag) const noexcept { qvsvDiscardDiagnostic(diag); }

void ArrayDestroyer::operator()(txArray* array) const noexcept { txDestroyArray(array); }

qvsvDiagnosticItem* OwnItem(qvsvDiagnosticImpl::ItemList::iterator position) {
  qvsvDiagnosticItem* item = *position;
  if (!item->isShared) return item;
  std::unique_ptr<qvsvDiagnosticItem> copy(new qvsvDiagnosticItem);
  *copy = *item;
  *position = copy.get();
  return copy.release();
}

qvsvDiagnosticItem* OwnFirstItem(qvsvDiagnosticImpl* diag) {
  if (diag == nullptr || diag->isEmpty()) return nullptr;
  return OwnItem(diag->items().begin());
}

qvsvDiagnosticItem* OwnLastItem(qvsvDiagnosticImpl* diag) {
  if (diag == nullptr || diag->isEmpty()) return nullptr;
  return OwnItem(std::prev(diag->items().end()));
}

txArray* MakeArgumentArray(const qvsvArgumentVector& arguments) {
  OwnedArray cell(txCreateCellMatrix(1, arguments.size()));
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const qvsvArgumentValue& value = arguments[i];
    txArray* element = nullptr;
    if (const auto* number = std::get_if<std::int64_t>(&value)) {
      element = txCreateDoubleScalar(static_cast<double>(*number));
    } else if (const auto* narrow = std::get_if<std::string>(&value)) {
      element = txCreateString(ConvertStdStringToUString(*narrow));
    } else {
      element = txCreateString(std::get<std::u16string>(value));
    }
    txSetCell(cell.get(), i, element);
  }
  txMakeArrayPersistent(cell.get());
  return cell.release();
}

double* CopyHandles(const double* handles, int count, bool& ok) {
  ok = true;
  if (handles == nullptr || count <= 0) return nullptr;
  auto* copy = static_cast<double*>(
      TestedMalloc(qvsv::fault::kHandleArray, sizeof(double) * static_cast<std::size_t>(count)));
  if (copy == nullptr) {
    ok = false;
    return nullptr;
  }
  std::memcpy(copy, handles, sizeof(double) * static_cast<std::size_t>(count));
  return copy;
}

void SetItemHandles(qvsvDiagnosticImpl* diag, qvsvDiagnosticItem* item, const double* handles, int count) {
  bool ok = true;
  double* copy = CopyHandles(handles, count, ok);
  if (!ok) {
    MarkOutOfMemory(diag, item);
    return;
  }
  utFree(item->handles);
  item->handles = copy;
  item->numHandles = copy == nullptr ? 0 : count;
}

void AbortReleasedTwice(const char* what, const void* object) {
  std::fprintf(stderr, "qv_services: %s %p released twice (its memory is no longer a live %s of the pool)\n", what,
               object, what);
  std::fflush(stderr);
  std::abort();
}

void CheckLiveDiagnostic(const void* diag) {
  const ChunkPool& pool = DiagnosticPool();
  if (pool.containsAddress(diag) && !pool.ownsLive(diag)) AbortReleasedTwice("diagnostic", diag);
}

void CheckLiveItem(const void* item) {
  const ChunkPool& pool = ItemPool();
  if (pool.containsAddress(item) && !pool.ownsLive(item)) AbortReleasedTwice("diagnostic item", item);
}

const qvsvDiagnosticItem* CauseOwner(const qvsvDiagnosticImpl* diag) {
  const qvsvDiagnosticItem* owner = diag == nullptr ? nullptr : diag->causeOf();
  if (owner == nullptr || !ItemPool().ownsLive(owner) || owner->cause != diag) return nullptr;
  return owner;
}

const qvsvDiagnosticItem* ItemWithCauseField(qvsvDiagnosticImpl* const* field) {
  const void* chunk = ItemPool().liveChunkContaining(field);
  if (chunk == nullptr) return nullptr;
  const auto* item = static_cast<const qvsvDiagnosticItem*>(chunk);
  return &item->cause == field ? item : nullptr;
}

bool TreeHoldsItem(const qvsvDiagnosticImpl* diag, const qvsvDiagnosticItem* item) {
  bool found = false;
  WalkItems(diag, [&](const qvsvDiagnosticItem& visited, std::size_t) {
    if (&visited == item) found = true;
    return !found;
  });
  return found;
}

void DestroyItems(qvsvDiagnosticImpl::ItemList& items) {
  while (!items.empty()) {
    qvsvDiagnosticItem* item = items.front();
    items.pop_front();
    if (!item->ownedByDiagnostic()) continue;
    if (item->cause != nullptr) {
      qvsvDiagnosticImpl* cause = std::exchange(item->cause, nullptr);
      items.splice(items.end(), cause->items());
      qvsvDiscardDiagnostic(cause);  // empty now: nothing left to walk
    }
    delete item;
  }
}

void SetMaxListSizeForTesting(std::size_t maxItems) { Queue().maxItems = maxItems == 0 ? UINT32_MAX : maxItems; }

std::size_t LiveDiagnosticCount() { return DiagnosticPool().liveCount(); }
std::size_t LiveItemCount() { return ItemPool().liveCount(); }

}  // namespace qvsv::detail
