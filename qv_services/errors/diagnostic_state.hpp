// Process-wide state of the diagnostics core: the two pools, the index of
// reusable diagnostics, the queue settings and callbacks, and the two shared
// static items. One owner each, created on first use; main thread only.
#pragma once

#include <cstdint>
#include <memory>
#include <set>

#include "qv_services/error_queue.hpp"
#include "qv_services/errors/chunk_pool.hpp"

namespace qvsv::detail {

// The pools live for the whole process (never destroyed, so that diagnostics
// released during static destruction still find them). Inline: they sit on
// the path of every new and delete of a diagnostic or item.
inline ChunkPool& DiagnosticPool() {
  static ChunkPool* pool = new ChunkPool(sizeof(qvsvDiagnosticImpl), alignof(qvsvDiagnosticImpl));
  return *pool;
}

inline ChunkPool& ItemPool() {
  static ChunkPool* pool = new ChunkPool(sizeof(qvsvDiagnosticItem), alignof(qvsvDiagnosticItem));
  return *pool;
}

// Live pooled diagnostics whose reusable mark is set, in address order.
std::set<qvsvDiagnosticImpl*>& ReusableDiagnostics();

struct QueueState {
  int limit = 128;
  bool skipDetailedStack = false;
  // The list's maximum size; a test hook may lower it.
  std::size_t maxItems = UINT32_MAX;
  qvsvProcessCallback process = nullptr;
  qvsvCreateHotlinkCallback createHotlink = nullptr;
  qvsvExtraMessageCallback extraMessage = nullptr;
  qvsvObjectDiscoveryCallback objectDiscovery = nullptr;
};

QueueState& Queue();

// The shared static items, made on first use from the item pool with their
// catalogue text in the current locale, and never destroyed.
qvsvDiagnosticItem* OverflowItem();
qvsvDiagnosticItem* OutOfMemoryItem();

// Out of memory, recorded in the diagnostic itself; neither allocates:
// RecordOutOfMemory appends the shared out-of-memory item (without the limit
// tests; nothing when the diagnostic already ends with it), and when not even
// a list node can be had, the last item gives way to it. MarkOutOfMemory puts
// the shared item in place of one item of the list, which is destroyed.
void RecordOutOfMemory(qvsvDiagnosticImpl* diag) noexcept;
void MarkOutOfMemory(qvsvDiagnosticImpl* diag, qvsvDiagnosticItem* item) noexcept;

// Owners for what is being built, so that a std::bad_alloc half-way leaks
// nothing: a diagnostic goes back to its pool, a host array is destroyed.
struct DiagnosticReleaser {
  void operator()(qvsvDiagnosticImpl* diag) const noexcept;
};
using OwnedDiagnostic = std::unique_ptr<qvsvDiagnosticImpl, DiagnosticReleaser>;
struct ArrayDestroyer {
  void operator()(txArray* array) const noexcept;
};
using OwnedArray = std::unique_ptr<txArray, ArrayDestroyer>;

// Releases a caller's diagnostic that a function consumes, however the
// function ends (also by an exception): the caller handed it over.
class ConsumedDiagnostic {
 public:
  explicit ConsumedDiagnostic(qvsvDiagnosticImpl*& diag) : diag_(diag) {}
  ~ConsumedDiagnostic() { qvsvDiscardDiagnostic(diag_); }
  ConsumedDiagnostic(const ConsumedDiagnostic&) = delete;
  ConsumedDiagnostic& operator=(const ConsumedDiagnostic&) = delete;

 private:
  qvsvDiagnosticImpl*& diag_;
};

// The diagnostic's item at position, or its first or last item (null when
// empty), made the diagnostic's own first: a shared static item (overflow, out
// of memory) is replaced in the list by a private copy, so that changing one
// diagnostic never changes what every other diagnostic lists too. Throws
// std::bad_alloc when the copy cannot be made (the list is then unchanged).
qvsvDiagnosticItem* OwnItem(qvsvDiagnosticImpl::ItemList::iterator position);
qvsvDiagnosticItem* OwnFirstItem(qvsvDiagnosticImpl* diag);
qvsvDiagnosticItem* OwnLastItem(qvsvDiagnosticImpl* diag);

// Builds the persistent cell array that an item keeps of its arguments.
txArray* MakeArgumentArray(const qvsvArgumentVector& arguments);
// Copies count handles into a utMalloc'd array; null when count <= 0, handles
// is null, or memory is short (then ok is false).
double* CopyHandles(const double* handles, int count, bool& ok);
// Replaces the handles of the diagnostic's item; on allocation failure the
// item gives way to the out-of-memory item.
void SetItemHandles(qvsvDiagnosticImpl* diag, qvsvDiagnosticItem* item, const double* handles, int count);

// Reads an item's arguments back, one value per element of its argument array
// (see qvsvGetArgumentsFromLastDiagnostic); none without a cell array.
qvsvArgumentVector ArgumentsOf(const qvsvDiagnosticItem* item);
int ArgumentCountOf(const qvsvDiagnosticItem* item);

// --- Ownership checks. ---
// Ends the process with "qv_services: <what> <address> released twice ..." on stderr.
[[noreturn]] void AbortReleasedTwice(const char* what, const void* object);
// Abort with a message naming the object when it is a chunk of its pool that
// is no longer live (released already); nothing for live or foreign objects.
void CheckLiveDiagnostic(const void* diag);
void CheckLiveItem(const void* item);
// The live item that holds diag as its cause, when one was recorded and still
// holds it; null for a diagnostic that is nobody's cause.
const qvsvDiagnosticItem* CauseOwner(const qvsvDiagnosticImpl* diag);
// The live item whose cause field is *field, or null when field points
// anywhere else.
const qvsvDiagnosticItem* ItemWithCauseField(qvsvDiagnosticImpl* const* field);
// True when item is one of diag's items or of its causes', at any depth.
bool TreeHoldsItem(const qvsvDiagnosticImpl* diag, const qvsvDiagnosticItem* item);
// Destroys the items that their diagnostic owns, and their causes, level by
// level: each cause's items join the list instead of being released
// recursively. Items that are not owned (static ones) are only unlisted.
void DestroyItems(qvsvDiagnosticImpl::ItemList& items);
// Concatenation without the ownership checks of qvsvConcatenateDiagnostics,
// for callers that made them already.
void Concatenate(qvsvDiagnosticImpl*& dest, qvsvDiagnosticImpl*& src, bool atFront);

// Test hook: lowers the list's maximum size (0 restores the default).
QVSV_API void SetMaxListSizeForTesting(std::size_t maxItems);
// Live pooled diagnostics and items (for leak checks in tests).
QVSV_API std::size_t LiveDiagnosticCount();
QVSV_API std::size_t LiveItemCount();

}  // namespace qvsv::detail
