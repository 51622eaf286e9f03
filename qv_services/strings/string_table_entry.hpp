// The string table's entry: header and text in one host-allocated block.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

#include "qv_services/string_table.hpp"

class qvsvStringTableEntryImpl final : public qvsvStringTableEntry {
 public:
  static constexpr std::uint32_t kPersistent = kPersistentReferenceCount;

  // A dying entry (count 0) is never revived: whoever drove it to 0 frees it,
  // so a lookup that meets it must make a fresh entry instead.
  bool incrementReferenceCount(bool makePersistent) override {
    std::uint32_t c = count_.load(std::memory_order_relaxed);
    for (;;) {
      if (c == 0) return false;
      if (c == kPersistent) return true;
      const std::uint32_t n = makePersistent ? kPersistent : c + 1;
      if (count_.compare_exchange_weak(c, n, std::memory_order_relaxed)) return true;
    }
  }

  bool decrementReferenceCount() override {
    if (count_.load(std::memory_order_relaxed) == kPersistent) return false;
    // Release orders this owner's uses before the free; acquire lets the
    // thread that frees see every other owner's uses.
    const std::uint32_t old = count_.fetch_sub(1, std::memory_order_acq_rel);
    if (old == 1) return true;
    if (old == kPersistent) {
      // Made persistent between the test and the subtraction: put the mark back.
      incrementReferenceCount(true);
    }
    return false;
  }

  std::uint32_t getReferenceCount() const override { return count_.load(std::memory_order_relaxed); }
  const char16_t* c_str() const override { return chars(); }
  std::uint32_t getLength() const override { return length_; }
  const char* lcp_str() const override;

  // Non-virtual forms for the table and qvsvString, which know the type.
  const char16_t* chars() const { return reinterpret_cast<const char16_t*>(this + 1); }
  std::uint32_t length() const { return length_; }
  std::u16string_view view() const { return {chars(), length_}; }
  // The entry whose text starts at chars (which must be an entry's text).
  static qvsvStringTableEntryImpl* fromChars(const char16_t* chars) {
    return const_cast<qvsvStringTableEntryImpl*>(reinterpret_cast<const qvsvStringTableEntryImpl*>(chars) - 1);
  }
  bool isPersistent() const { return count_.load(std::memory_order_relaxed) == kPersistent; }

  // The block size of an entry of `length` code units (for memory figures).
  static constexpr std::size_t blockSize(std::size_t length) {
    return sizeof(qvsvStringTableEntryImpl) + (length + 1) * sizeof(char16_t);
  }

 private:
  friend class qvsvStringTable;

  qvsvStringTableEntryImpl(std::uint32_t length, bool persistent)
      : count_(persistent ? kPersistent : 1), length_(length) {}
  ~qvsvStringTableEntryImpl() override;

  // One utMallocWithCheck block (throws tessel::OutOfMemory) holding the
  // header, `length` code units of chars and a NUL.
  static qvsvStringTableEntryImpl* createInstance(const char16_t* chars, std::uint32_t length, bool persistent);
  static void destroyInstance(qvsvStringTableEntryImpl* e);

  // 0 = dying, kPersistent = persistent, otherwise the number of references.
  std::atomic<std::uint32_t> count_;
  std::uint32_t length_;  // code units, without the NUL
  // Made once by lcp_str() under the narrow-conversion lock; owned.
  mutable std::atomic<std::string*> narrow_{nullptr};
  // The text follows the object in the same block.
};

static_assert(sizeof(qvsvStringTableEntryImpl) % alignof(char16_t) == 0);
