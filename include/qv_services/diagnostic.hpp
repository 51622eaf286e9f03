// The diagnostic record: a diagnostic (qvsvDiagnosticImpl) is an ordered list
// of items (qvsvDiagnosticItem), each one message with its identifier, text,
// arguments, object handles, call stack, creation time, causes and metadata.
// The same object serves as a single message, a batch and an error queue.
//
// Ownership. Callers hold a qvsvDiagnosticImpl*; null means "no diagnostic".
// Functions that may create, replace or consume it take it by reference
// (qvsvDiagnosticImpl*&) and null the caller's pointer when they release it.
// A diagnostic owns its non-static items; an item owns its cause diagnostic,
// handle array, host arrays and metadata. Diagnostics and items come from two
// process-wide pools (their operator new), never from plain allocation.
//
// Static items. A static item (isStatic) belongs to whoever made it, not to
// the diagnostics that list it: clearing or releasing them never destroys it,
// a full queue drops it without destroying it, and it takes no causes. A copy
// that the library makes of a static item keeps the mark but belongs to the
// diagnostic it is put in. Two departures are deliberate: the library's two
// shared static items (overflow and out of memory) are replaced by a private
// copy in a diagnostic before that diagnostic changes them, so that no change
// shows in every queue at once; and clearing the pool (error_queue.hpp)
// spares every diagnostic that is some item's cause.
//
// Causes form trees, never cycles: adding a diagnostic as a cause of one of
// its own items (at any depth) is refused, as is any merge that would put an
// item inside its own causes (error_queue.hpp); the caller keeps its pointer.
// Every walk over causes (release, copy, renderings, writers) iterates, so a
// chain may be as deep as memory allows.
//
// Bad input. Null diagnostics read as empty: counts are 0, text getters give
// null, vector getters give empty vectors, setters do nothing. An index that
// is not below the item count finds no item. Nothing here throws for queue
// trouble; overflow and out-of-memory are recorded in the diagnostic itself.
// Releasing a diagnostic or item of the pools twice aborts the process with a
// message on stderr that names the object ("qv_services: diagnostic 0x...
// released twice"), as long as its memory has not been handed out again.
// All of this runs on the host's main thread, without locks.
//
// Running out of memory. An operation on a diagnostic that runs short
// records it there, never by throwing, and leaks nothing; recording
// allocates nothing, as it lists the shared out-of-memory item
// "QV_SERVICES:utils:MemoryAllocationError":
//   - an operation on one item (a cause, metadata, handles, arguments, a
//     replacement, the creation time) that cannot finish makes that item give
//     way to the out-of-memory item: a half-changed item would say something
//     that nobody said, and the count of items stays as it was;
//   - an operation that adds to a diagnostic (merging, candidates,
//     duplication) appends the out-of-memory item after what it managed.
// Only where no diagnostic exists to record it in (a null destination that
// cannot be made, a duplicate that cannot be obtained) does std::bad_alloc
// propagate, and what was handed over is released all the same.
#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "qv_services/export.hpp"
#include "tessel/array.hpp"
#include "tessel/catalog.hpp"

class qvsvDiagnosticImpl;
class qvsvDiagnosticItem;

// A message argument or metadata value: signed 64-bit integer (index 0),
// narrow string (index 1) or wide string (index 2).
using qvsvArgumentValue = resource_core::MsgArgument;
using qvsvArgumentVector = std::vector<qvsvArgumentValue>;
using qvsvMetaDataMap = std::map<std::u16string, qvsvArgumentValue>;

// When in the product's life a diagnostic was made; 0 when never set. Other
// values are chosen by the creators of diagnostics.
enum qvsvErrorCreationTime : std::uint32_t { qvsvErrorCreationTimeUnset = 0 };

// The base of the modelling product's objects whose handles messages carry.
class QVSV_API QVSVKSObjectBase {
 public:
  virtual ~QVSVKSObjectBase();
};

using qvsvObjectVector = std::vector<const QVSVKSObjectBase*>;
using qvsvObjectIterator = qvsvObjectVector::const_iterator;

// Receives the object handles of an item: (diagnostic, handles, count).
using qvsvProcessCallback = void (*)(qvsvDiagnosticImpl* diag, double* handles, int count);
// Turns objects into handles: returns a utMalloc'd array of `count` doubles
// (count set on return), or null on failure. May rewrite the message.
using qvsvHandleConverter = double* (*)(qvsvObjectIterator first, qvsvObjectIterator last, int& count,
                                        std::u16string& message);

// One message. Fields are public for the library's own modules and for
// subclasses' item filters; callers read them through the getters below.
class QVSV_API qvsvDiagnosticItem {
 public:
  qvsvDiagnosticItem();
  // Destruction frees the handles, the cause, the owned buffer, both host
  // arrays and the metadata.
  ~qvsvDiagnosticItem();
  qvsvDiagnosticItem(const qvsvDiagnosticItem&) = delete;
  // Item copy: everything but the handle converter, the owned buffer and the
  // call stack, which the target keeps; the cause is deep-copied into a new
  // diagnostic and the argument array shared (copy-on-write) and persistent.
  // Whether the target belongs to its diagnostic does not change with it.
  qvsvDiagnosticItem& operator=(const qvsvDiagnosticItem& other);

  // True when the diagnostics that list the item own it and destroy it when
  // they clear it: a non-static item, or a library-made copy of a static one.
  bool ownedByDiagnostic() const {
    if (isShared) return false;
    return ownershipPinned_ ? pinnedOwned_ : !isStatic;
  }

  static void* operator new(std::size_t size);
  static void operator delete(void* block, std::size_t size);

  std::u16string message;
  std::u16string extraMessage;
  std::string identifier;
  bool handlesPending = false;
  double* handles = nullptr;  // utMalloc'd; null when there are none
  int numHandles = 0;
  qvsvProcessCallback handleCallback = nullptr;  // null: the global process callback
  qvsvHandleConverter handleConverter = nullptr;
  std::uint32_t userWord = 0;  // copied with the item, otherwise not interpreted
  // Static items take no causes and belong to their maker (see the top).
  bool isStatic = false;
  bool isShared = false;  // one of the two shared items; never copied
  qvsvErrorCreationTime creationTime = qvsvErrorCreationTimeUnset;
  qvsvDiagnosticImpl* cause = nullptr;
  char* ownedBuffer = nullptr;  // new[]'d by whoever sets it, delete[]'d with the item
  txArray* callStack = nullptr;  // persistent struct array (file, name, line)
  txArray* arguments = nullptr;  // persistent cell array of scalars and strings
  qvsvMetaDataMap metadata;

 private:
  // Copies everything but the cause; false when the handles could not be copied.
  bool assignAllButCause(const qvsvDiagnosticItem& other);
  // A full copy of a cause tree (every item, no limit, no hand-over), made
  // level by level rather than by recursion; its root records owner.
  static qvsvDiagnosticImpl* copyCauses(const qvsvDiagnosticImpl* source, const qvsvDiagnosticItem* owner);

  // Set when an item copy changes the static mark: the item then stays owned
  // (or not) as it was before, whatever the copied mark says.
  bool ownershipPinned_ = false;
  bool pinnedOwned_ = false;
};

class QVSV_API qvsvDiagnosticImpl {
 public:
  using ItemList = std::list<qvsvDiagnosticItem*>;

  // Diagnostics are obtained from the pool with qvsvObtainDiagnostic (which
  // may reuse one) or constructed with new, which takes pool memory for this
  // class and ordinary memory for subclasses.
  qvsvDiagnosticImpl();
  qvsvDiagnosticImpl(const qvsvDiagnosticImpl&) = delete;
  qvsvDiagnosticImpl& operator=(const qvsvDiagnosticImpl&) = delete;

  // The virtual operations, in slot order.
  // Empties the candidates and clears the processing, reusable and static
  // marks; the items stay.
  virtual void reset();
  virtual ~qvsvDiagnosticImpl();
  // True when the item must not be appended; the base class refuses nothing.
  virtual bool refusesItem(const qvsvDiagnosticItem* item) const;
  // True when the queue limit L is at least 1 and the count is L - 1.
  virtual bool isOneBelowLimit() const;
  // True when L is at least 1 and the count is at least L.
  virtual bool isFull() const;
  virtual bool isEmpty() const;
  // Appends the item unless refused or full (then it stays with the caller or
  // is dropped); the item that brings the count to L - 1 is overwritten with
  // a copy of the replacement when one is given; pending handles are handed
  // to the item's or the global process callback.
  virtual void appendItem(qvsvDiagnosticItem* item, const qvsvDiagnosticItem* replacement, bool pending);
  virtual ItemList::iterator positionOf(unsigned index);
  virtual ItemList::iterator endPosition();
  virtual qvsvDiagnosticItem* lastItem() const;
  virtual qvsvDiagnosticItem* firstItem() const;

  static void* operator new(std::size_t size);
  static void operator delete(void* block, std::size_t size);

  unsigned count() const { return static_cast<unsigned>(items_.size()); }
  // The item at index (front walk), or null when index is not below the count.
  qvsvDiagnosticItem* itemAt(unsigned index) const;
  const ItemList& items() const { return items_; }
  ItemList& items() { return items_; }
  std::vector<void*>& candidates() { return candidates_; }
  const std::vector<void*>& candidates() const { return candidates_; }
  bool processing() const { return processing_; }
  void setProcessing(bool processing) { processing_ = processing; }
  bool isReusable() const { return reusable_; }
  // The pool keeps an index of reusable diagnostics, so the mark changes here.
  void setReusable(bool reusable);
  bool isStatic() const { return static_; }
  void setStatic(bool isStatic) { static_ = isStatic; }

  // Destroys the non-static items from index k to the end and erases their
  // list nodes; k == 0 also clears the processing flag and the candidates.
  void clearFrom(unsigned k);
  // Hands pending handles of the item to its callback or the global one.
  void handOverHandles(qvsvDiagnosticItem* item);
  // Appends at the end without the filter and limit tests (the list's
  // maximum size still holds: std::length_error "list<T> too long").
  void appendWithoutLimit(qvsvDiagnosticItem* item);
  // Moves the first n items of another diagnostic's list before where,
  // checking the list's maximum size first; moving them all takes constant time.
  void spliceItems(ItemList::iterator where, qvsvDiagnosticImpl& from, std::size_t n);

  // --- For the library's own modules. ---
  // The item that holds this diagnostic as its cause, as recorded when it
  // became one (a hint: the library checks that the item is live and still
  // holds it before trusting it).
  const qvsvDiagnosticItem* causeOf() const { return causeOf_; }
  void setCauseOf(const qvsvDiagnosticItem* item) { causeOf_ = item; }
  // Candidate processing running for this diagnostic (nested calls count), a
  // release asked for meanwhile (carried out when the outermost one ends), and
  // a process callback running for one of its items.
  unsigned candidateScopes() const { return candidateScopes_; }
  void enterCandidates() { ++candidateScopes_; }
  void leaveCandidates() { --candidateScopes_; }
  bool releaseDeferred() const { return releaseDeferred_; }
  void setReleaseDeferred(bool deferred) { releaseDeferred_ = deferred; }
  bool handingOver() const { return handingOver_; }

 private:
  std::vector<void*> candidates_;
  bool processing_ = false;
  ItemList items_;
  bool reusable_ = false;
  bool static_ = false;
  bool handingOver_ = false;
  bool releaseDeferred_ = false;
  unsigned candidateScopes_ = 0;
  const qvsvDiagnosticItem* causeOf_ = nullptr;  // not owned: the item that owns this diagnostic
};

// --- Creation, copy and release. ---
// A diagnostic from the pool: an empty, reusable, non-static live one when
// there is one (its reusable mark is cleared), else a new one.
QVSV_API qvsvDiagnosticImpl* qvsvObtainDiagnostic();
// A deep copy of the first min(count, L) items (none when L is 0) and the
// candidates; null for null. Out of memory, the copy ends with the
// out-of-memory item after the items copied so far.
QVSV_API qvsvDiagnosticImpl* qvsvDuplicateDiagnostic(qvsvDiagnosticImpl* const& diag);
// Releases the diagnostic and nulls the pointer; nothing for null. Two
// releases from inside callbacks are not carried out at once: a queue released
// by its own candidate function is released when its candidate processing
// ends (error_queue.hpp), and the diagnostic whose handles a process callback
// is receiving belongs to the operation that runs the callback, so releasing
// it there only nulls the callback's pointer.
QVSV_API void qvsvDiscardDiagnostic(qvsvDiagnosticImpl*& diag);
QVSV_API void qvsvSetDiagnosticStatic(qvsvDiagnosticImpl*& diag);

// --- Item getters (zero-based index). ---
QVSV_API int qvsvGetNumItemsInDiagnostic(qvsvDiagnosticImpl* const& diag);
// An empty identifier is first set to "QV_SERVICES:utils:UNDEFINED_ID".
QVSV_API const char* qvsvGetIdentifierFromDiagnosticItem(qvsvDiagnosticImpl* const& diag, unsigned index);
QVSV_API const char16_t* qvsvGetMessageFromDiagnosticItem(qvsvDiagnosticImpl* const& diag, unsigned index);
QVSV_API const char16_t* qvsvGetExtraMessageFromDiagnosticItem(qvsvDiagnosticImpl* const& diag, unsigned index);
QVSV_API std::vector<double> qvsvGetHandlesFromDiagnosticItem(qvsvDiagnosticImpl* const& diag, int index);
QVSV_API qvsvErrorCreationTime qvsvGetErrorCreationTimeFromDiagnosticItem(qvsvDiagnosticImpl* const& diag,
                                                                          unsigned index);
// The cause stays owned by the item.
QVSV_API qvsvDiagnosticImpl* qvsvGetCauseFromDiagnosticItem(qvsvDiagnosticImpl* const& diag, unsigned index);
// The cause passes to the caller; the item's cause becomes null.
QVSV_API qvsvDiagnosticImpl* qvsvRemoveCauseFromDiagnosticItem(qvsvDiagnosticImpl*& diag, unsigned index);
QVSV_API bool qvsvCheckDiagnosticForMessageIdentifier(qvsvDiagnosticImpl* const& diag, const char* id,
                                                      unsigned index);
// The item's call stack as "file>name:line" lines (at most 20).
QVSV_API std::string qvsvGetTStackFromDiagnostic(qvsvDiagnosticImpl* const& diag, unsigned index);
using qvsvTStackFrames = std::vector<std::tuple<std::string, std::string, int>>;
// Fills frames with every (file, name, line) of the item's call stack.
QVSV_API qvsvTStackFrames& qvsvPopulateTStackFromDiagnostic(qvsvTStackFrames& frames,
                                                             qvsvDiagnosticImpl* const& diag, unsigned index);

// --- First and last items. The creation-time pair acts on the FIRST item. ---
QVSV_API const char* qvsvGetFirstErrorIdentifier(qvsvDiagnosticImpl* const& diag);
QVSV_API const char16_t* qvsvGetFirstErrorMessage(qvsvDiagnosticImpl* const& diag);
// Empty, the single item's identifier (an empty one reads as
// "QV_SERVICES:utils:UNDEFINED_ID", without changing the item), or
// "Tessel:TException:MultipleErrors".
QVSV_API std::string qvsvGetCombinedErrorIdentifier(qvsvDiagnosticImpl* const& diag);
// Empty, the single item's message, or the catalogue's multiple-errors preamble.
QVSV_API std::u16string qvsvGetCombinedErrorMessage(qvsvDiagnosticImpl* const& diag);
// One value per element of the last item's argument array, so that the size
// always equals the count below: text becomes a wide string; a numeric or
// logical array with elements becomes its first element as an integer (NaN
// reads as 0, values beyond the range as its nearest end); anything else (an
// empty array, a cell, a struct, an unset element) reads as the empty wide
// string. An argument array that is not a cell holds no arguments.
QVSV_API qvsvArgumentVector qvsvGetArgumentsFromLastDiagnostic(qvsvDiagnosticImpl* const& diag);
QVSV_API int qvsvGetNumbArgumentsFromLastDiagnostic(qvsvDiagnosticImpl* const& diag);
QVSV_API qvsvErrorCreationTime qvsvGetLastErrorCreationTime(qvsvDiagnosticImpl* const& diag);
QVSV_API void qvsvSetLastErrorCreationTime(qvsvDiagnosticImpl* const& diag, qvsvErrorCreationTime time);

// --- Causes. The cause is merged into the item's cause diagnostic and the
// caller's cause pointer nulled. Nothing happens, and the caller keeps the
// cause, with a null diagnostic, a missing or static item, a cause that
// contains the item (the diagnostic itself, or one it is a cause of), and a
// cause that another item holds (a pointer from qvsvGetCauseFromDiagnosticItem).
// When the item's cause diagnostic cannot be made, the cause is released and
// the item gives way to the out-of-memory item. ---
QVSV_API void qvsvAddCauseToDiagnosticItem(qvsvDiagnosticImpl*& diag, unsigned index, qvsvDiagnosticImpl*& cause);
QVSV_API void qvsvAddCauseToLastDiagnosticItem(qvsvDiagnosticImpl*& diag, qvsvDiagnosticImpl*& cause);

namespace qvsv {

// --- Metadata of the last item. The pointer stays valid until the item changes. ---
QVSV_API void SetMetaDataToLastDiagnostic(qvsvDiagnosticImpl*& diag, const std::u16string& key,
                                          const qvsvArgumentValue& value);
QVSV_API const qvsvArgumentValue* GetMetaDataFromLastDiagnostic(qvsvDiagnosticImpl* const& diag,
                                                                const std::u16string& key);

}  // namespace qvsv
