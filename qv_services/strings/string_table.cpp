// The interned string table: a concurrent map from text to entry, with
// deferred release of new entries and the debugging statistics.
#include <oneapi/tbb/concurrent_hash_map.h>
#include <oneapi/tbb/spin_mutex.h>

#include <algorithm>
#include <cinttypes>
#include <cstring>
#include <limits>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "qv_services/conversions.hpp"
#include "qv_services/string_table.hpp"
#include "qv_services/strings/string_table_entry.hpp"
#include "qv_services/strings/string_table_hash.hpp"
#include "tessel/array.hpp"
#include "tessel/interpreter.hpp"
#include "tessel/ut.hpp"

namespace {

using Entry = qvsvStringTableEntryImpl;

// Everything the table allocates comes from the host allocator, so the host's
// allocation-failure scopes reach the map and the list as well as the entries.
template <typename T>
struct HostAllocator {
  using value_type = T;
  HostAllocator() noexcept = default;
  template <typename U>
  HostAllocator(const HostAllocator<U>&) noexcept {}  // NOLINT: rebinding is implicit
  T* allocate(std::size_t n) {
    if (n > std::numeric_limits<std::size_t>::max() / sizeof(T)) throw std::bad_array_new_length();
    return static_cast<T*>(utMallocWithCheck(n * sizeof(T)));
  }
  void deallocate(T* p, std::size_t) noexcept { utFree(p); }
  friend bool operator==(const HostAllocator&, const HostAllocator&) { return true; }
};

// A lookup that takes a reference to the entry it finds, while the map still
// holds the bucket's lock: the entry's item cannot be erased under that lock,
// so the entry cannot be freed before the reference is taken. `acquired` is
// false when the text was absent or its entry was dying.
struct ReferenceProbe {
  std::u16string_view text;
  std::size_t hash;  // of text
  bool persistent;
  mutable Entry* entry = nullptr;
  mutable bool acquired = false;
};

// Keys are the entries' own texts (a view, so that lookups may use text that
// has no terminator).
struct TextHashCompare {
  using is_transparent = void;

  static std::size_t hash(std::u16string_view key) { return qvsv::strings::detail::textHash(key); }
  static std::size_t hash(const ReferenceProbe& probe) { return probe.hash; }

  static bool equal(std::u16string_view a, std::u16string_view b) {
    if (a.size() != b.size()) return false;
    if (a.data() == b.data()) return true;
    // Most texts are short, and a call to memcmp costs more than comparing them.
    if (a.size() > 16) return std::memcmp(a.data(), b.data(), a.size() * sizeof(char16_t)) == 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
      if (a[i] != b[i]) return false;
    }
    return true;
  }
  // Called by the map under the bucket's lock, once for the matching item (a
  // second call would take a second reference, which the tests of exact
  // counts would show).
  static bool equal(const ReferenceProbe& probe, std::u16string_view key) {
    if (!equal(probe.text, key)) return false;
    probe.entry = Entry::fromChars(key.data());
    probe.acquired = probe.entry->incrementReferenceCount(probe.persistent);
    return true;
  }
};

using Map = tbb::concurrent_hash_map<std::u16string_view, Entry*, TextHashCompare,
                                     HostAllocator<std::pair<const std::u16string_view, Entry*>>>;
using EntryList = std::vector<Entry*, HostAllocator<Entry*>>;

// Every release is counted; the ten-millionth since the last collection runs
// the next one.
constexpr std::uint32_t kReleasesPerCollection = 10'000'000;

constexpr double kPersistentInStats = 999999;

// Enters minus exits: while non-zero (negative after an unmatched exit too),
// every release collects garbage.
std::atomic<int>& noLeakModeCounter() {
  static std::atomic<int> counter{0};
  return counter;
}

// One lock for the narrow forms of all entries: they are made once each, so
// contention is rare and a per-entry lock would cost memory in every entry.
tbb::spin_mutex& narrowConversionLock() {
  static tbb::spin_mutex lock;
  return lock;
}

Entry* asImpl(qvsvStringTableEntry* e) { return static_cast<Entry*>(e); }

// The entry of a present text with a reference taken for the caller; null when
// the text is absent or its entry is dying. Only the bucket's lock is taken,
// shared: interning a present text is the common case and the item lock would
// double its atomic operations.
Entry* referencePresent(const Map& map, std::u16string_view text, bool persistent) {
  const ReferenceProbe probe{text, qvsv::strings::detail::textHash(text), persistent};
  return map.count(probe) != 0 && probe.acquired ? probe.entry : nullptr;
}

void printHeader(const void* table, std::size_t entries) {
  utPrintf("qvsvStringTable instance 0x%" PRIxPTR ", (%d entries)\n", reinterpret_cast<std::uintptr_t>(table),
           static_cast<int>(entries));
}

// Destroys a host array on scope exit unless it was handed on.
class ArrayOwner {
 public:
  explicit ArrayOwner(txArray* a = nullptr) : a_(a) {}
  ~ArrayOwner() { txDestroyArray(a_); }
  ArrayOwner(const ArrayOwner&) = delete;
  ArrayOwner& operator=(const ArrayOwner&) = delete;
  txArray* get() const { return a_; }
  txArray* release() { return std::exchange(a_, nullptr); }

 private:
  txArray* a_;
};

}  // namespace

// --- Entries ---

qvsvStringTableEntry::~qvsvStringTableEntry() = default;

qvsvStringTableEntryImpl::~qvsvStringTableEntryImpl() = default;

qvsvStringTableEntryImpl* qvsvStringTableEntryImpl::createInstance(const char16_t* chars, std::uint32_t length,
                                                                   bool persistent) {
  void* block = utMallocWithCheck(blockSize(length));
  auto* e = new (block) qvsvStringTableEntryImpl(length, persistent);
  auto* text = reinterpret_cast<char16_t*>(e + 1);
  if (length != 0) std::memcpy(text, chars, length * sizeof(char16_t));
  text[length] = u'\0';
  return e;
}

void qvsvStringTableEntryImpl::destroyInstance(qvsvStringTableEntryImpl* e) {
  delete e->narrow_.load(std::memory_order_acquire);
  e->~qvsvStringTableEntryImpl();
  utFree(e);
}

const char* qvsvStringTableEntryImpl::lcp_str() const {
  std::string* narrow = narrow_.load(std::memory_order_acquire);
  if (narrow == nullptr) {
    tbb::spin_mutex::scoped_lock lock(narrowConversionLock());
    narrow = narrow_.load(std::memory_order_relaxed);
    if (narrow == nullptr) {
      narrow = new std::string(ConvertUStringWithEscaping(chars(), true, kQvsvEscapeStyleAscii));
      narrow_.store(narrow, std::memory_order_release);
    }
  }
  return narrow->c_str();
}

// --- The table ---

struct qvsvStringTable::State {
  Map map;
  // The table's own reference to each new non-persistent entry, held until
  // the next collection so that a text built again soon is still there.
  std::mutex pendingMutex;
  EntryList pending;  // guarded by pendingMutex
  // Every release on every thread adds to it: a line of its own, so that
  // the map's buckets and counters beside it are not pulled along.
  alignas(64) std::atomic<std::uint32_t> releasesSinceCollection{0};

  // Drops one reference; the last one takes the entry's item out of the map
  // (if it is still this entry's: the text may map to a fresh entry already)
  // and frees the entry. The caller holds no accessor on the text.
  void dropReference(Entry* e) {
    if (!e->decrementReferenceCount()) return;
    {
      Map::accessor item;
      if (map.find(item, e->view()) && item->second == e) map.erase(item);
    }
    Entry::destroyInstance(e);
  }

  // The non-empty entries, in map order. Takes no lock: callers make sure no
  // other thread changes the map meanwhile.
  std::vector<const Entry*> snapshot(const qvsvStringTableEntry* empty) const {
    std::vector<const Entry*> entries;
    entries.reserve(map.size());
    for (const auto& item : map) {
      if (item.second != empty) entries.push_back(item.second);
    }
    return entries;
  }
};

std::atomic<qvsvStringTable*> qvsvStringTable::sInstance{nullptr};

qvsvStringTable::qvsvStringTable() : state_(new State), empty_(nullptr) {
  try {
    empty_ = getStringInternal(nullptr, 0, true);
  } catch (...) {
    delete state_;
    throw;
  }
}

qvsvStringTable::~qvsvStringTable() {
  // Every entry goes, whatever its count; the map's nodes only point into them.
  for (const auto& item : state_->map) Entry::destroyInstance(item.second);
  delete state_;
}

qvsvStringTable* qvsvStringTable::getInstance() {
  qvsvStringTable* table = sInstance.load(std::memory_order_acquire);
  if (table != nullptr) return table;
  auto* fresh = new qvsvStringTable;
  // Should two first uses race after all, one table wins and the other goes.
  if (sInstance.compare_exchange_strong(table, fresh, std::memory_order_acq_rel)) return fresh;
  delete fresh;
  return table;
}

void qvsvStringTable::destroyInstance() {
  qvsvStringTable* table = sInstance.load(std::memory_order_acquire);
  if (table == nullptr) return;
  table->doCollectGarbage(false);
  sInstance.store(nullptr, std::memory_order_release);
  delete table;
}

void qvsvStringTable::forceGarbageCollectionNow() {
  if (qvsvStringTable* table = sInstance.load(std::memory_order_acquire)) table->doCollectGarbage(true);
}

void qvsvStringTableCollectGarbageNow() { qvsvStringTable::forceGarbageCollectionNow(); }

qvsvStringTableEntry* qvsvStringTable::getString(const char16_t* chars, std::uint32_t length, bool persistent) {
  if (chars == nullptr) return getStringInternal(nullptr, 0, persistent);
  // The text is found by what lies up to its NUL, whatever the length says;
  // a shorter length only shapes a new entry.
  const std::size_t whole = std::char_traits<char16_t>::length(chars);
  if (whole > length && whole != 0) {
    if (Entry* present = referencePresent(state_->map, std::u16string_view(chars, whole), persistent)) return present;
  }
  return getStringInternal(chars, std::min<std::size_t>(whole, length), persistent);
}

void qvsvStringTable::releaseString(qvsvStringTableEntry*& e) {
  if (e != nullptr && !asImpl(e)->isPersistent()) releaseStringInternal(e);
  e = empty_;
}

qvsvStringTableEntry* qvsvStringTable::getEmptyString() const { return empty_; }

qvsvStringTableEntry* qvsvStringTable::getStringInternal(const char16_t* chars, std::size_t length, bool persistent) {
  Map& map = state_->map;
  std::u16string_view text(chars, chars == nullptr ? 0 : length);
  if (text.empty() && empty_ != nullptr) return empty_;
  if (Entry* present = referencePresent(map, text, persistent)) return present;
  // The text ends at a NUL. No key holds one, so the lookup above missed
  // such a text whatever came before it; look again for what did.
  if (const std::size_t nul = text.find(u'\0'); nul != std::u16string_view::npos) {
    text = text.substr(0, nul);
    if (text.empty() && empty_ != nullptr) return empty_;
    if (Entry* present = referencePresent(map, text, persistent)) return present;
  }
  if (text.size() > std::numeric_limits<std::uint32_t>::max()) {
    throw std::length_error("qvsvString: a text of " + std::to_string(text.size()) +
                            " code units exceeds the table's limit of 4294967295");
  }

  Entry* fresh = Entry::createInstance(text.data(), static_cast<std::uint32_t>(text.size()), persistent);
  for (;;) {
    Map::accessor item;
    bool inserted = false;
    try {
      inserted = map.insert(item, fresh->view());
    } catch (...) {
      if (item.empty()) {
        // The map failed before the entry went in: nobody else can know it.
        Entry::destroyInstance(fresh);
        throw;
      }
      // Growing the map failed after the entry went in. Its bucket was
      // unlocked meanwhile, so another thread may hold it already: it stays
      // in the map, and only this caller's reference goes (the last one
      // frees it as any release does).
      item->second = fresh;
      item.release();
      state_->dropReference(fresh);
      throw;
    }
    if (inserted) {
      item->second = fresh;
      if (persistent) return fresh;
      fresh->incrementReferenceCount(false);  // the table's own reference
      try {
        std::lock_guard<std::mutex> lock(state_->pendingMutex);
        state_->pending.push_back(fresh);
      } catch (...) {
        // Without a place in the list the table cannot hold its reference:
        // give back both, the table's and this caller's. Another thread may
        // hold the entry already, as above.
        item.release();
        fresh->decrementReferenceCount();
        state_->dropReference(fresh);
        throw;
      }
      return fresh;
    }
    Entry* present = item->second;
    if (present->incrementReferenceCount(persistent)) {
      // Another thread interned the text first.
      Entry::destroyInstance(fresh);
      return present;
    }
    // Dying: the thread that dropped its last reference frees it; the fresh
    // entry takes its place.
    map.erase(item);
  }
}

void qvsvStringTable::releaseStringInternal(qvsvStringTableEntry* entry) {
  state_->dropReference(asImpl(entry));
  if (noLeakModeCounter().load(std::memory_order_relaxed) == 0 &&
      state_->releasesSinceCollection.fetch_add(1, std::memory_order_relaxed) + 1 < kReleasesPerCollection) {
    return;
  }
  state_->releasesSinceCollection.store(0, std::memory_order_relaxed);
  doCollectGarbage(false);
}

// Forced and automatic collections work alike.
void qvsvStringTable::doCollectGarbage(bool /*forced*/) {
  EntryList taken;
  {
    std::lock_guard<std::mutex> lock(state_->pendingMutex);
    taken.swap(state_->pending);
  }
  // A release may start a nested collection (in no-leak mode); it works on
  // the list as it is then, and this one on what it took.
  for (Entry* e : taken) releaseStringInternal(e);
  state_->releasesSinceCollection.store(0, std::memory_order_relaxed);
}

std::size_t qvsvStringTable::getNumStrings() const { return state_->map.size() - 1; }

std::uint32_t qvsvStringTable::getRefCount(const qvsvString& s) const {
  const Entry* e = asImpl(s.entry_);
  if (e == empty_) return 0;
  if (e->isPersistent()) return qvsvStringTableEntry::kPersistentReferenceCount;
  std::lock_guard<std::mutex> lock(state_->pendingMutex);
  const std::uint32_t count = e->getReferenceCount();
  if (count == qvsvStringTableEntry::kPersistentReferenceCount) return count;
  const bool pending = std::find(state_->pending.begin(), state_->pending.end(), e) != state_->pending.end();
  return pending ? count - 1 : count;
}

bool qvsvStringTable::isPersistent(const qvsvString& s) const { return asImpl(s.entry_)->isPersistent(); }

txArray* qvsvStringTable::getStats() const {
  const std::vector<const Entry*> entries = state_->snapshot(empty_);
  const txIndex rows = entries.size();
  ArrayOwner cell(txCreateCellMatrix(rows, 2));
  for (txIndex r = 0; r < rows; ++r) {
    const Entry* e = entries[r];
    txSetCell(cell.get(), r, txCreateString(e->view()));
    txSetCell(cell.get(), rows + r,
              txCreateDoubleScalar(e->isPersistent() ? kPersistentInStats : e->getReferenceCount()));
  }
  // The host sorts, so that the order is the one its own sort gives.
  txArray* sortOutputs[2] = {nullptr, nullptr};
  txArray* sortInputs[1] = {cell.get()};
  tessel::feval("@(x)sort(x(:,1))", 2, sortOutputs, 1, sortInputs);
  const ArrayOwner sortedColumn(sortOutputs[0]);
  const ArrayOwner permutation(sortOutputs[1]);
  txArray* rowOutputs[1] = {nullptr};
  txArray* rowInputs[2] = {cell.get(), permutation.get()};
  tessel::feval("@(x,i) x(i,:)", 1, rowOutputs, 2, rowInputs);
  return rowOutputs[0];
}

void qvsvStringTable::printStats() const {
  std::vector<const Entry*> entries = state_->snapshot(empty_);
  std::sort(entries.begin(), entries.end(), [](const Entry* a, const Entry* b) { return a->view() < b->view(); });
  printHeader(this, getNumStrings());
  for (const Entry* e : entries) {
    if (e->isPersistent()) {
      utPrintf(" (%s), persistent\n", e->lcp_str());
    } else {
      utPrintf(" (%s), %d references\n", e->lcp_str(), static_cast<int>(e->getReferenceCount()));
    }
  }
}

// --- Debugging ---

namespace qvsvStringTableDebug {

std::size_t getNumStrings() { return qvsvStringTable::getInstance()->getNumStrings(); }

txArray* getStats() { return qvsvStringTable::getInstance()->getStats(); }

void printStats() {
  if (const qvsvStringTable* table = qvsvStringTable::sInstance.load(std::memory_order_acquire)) {
    table->printStats();
  } else {
    printHeader(nullptr, 0);
  }
}

void destroyTable() { qvsvStringTable::destroyInstance(); }

void enterTableNoLeakMode() { noLeakModeCounter().fetch_add(1, std::memory_order_relaxed); }

void exitTableNoLeakMode() { noLeakModeCounter().fetch_sub(1, std::memory_order_relaxed); }

}  // namespace qvsvStringTableDebug
