#include "tests/feature/allocation_sweep/counting_allocator.hpp"

#include <cstdint>
#include <cstdlib>
#include <new>

namespace qvsv::test::sweep {
namespace {

// Main thread only; other threads are never armed.
thread_local bool tArmed = false;
std::size_t gRequests = 0;
std::size_t gFailAt = 0;
bool gFailed = false;
std::size_t gLiveTagged = 0;

// True when this request is the one to fail.
bool countRequest() {
  if (!tArmed) return false;
  if (++gRequests != gFailAt) return false;
  gFailed = true;
  return true;
}

// Every block carries a header just below the pointer handed out: where the
// underlying block starts and whether it was made while armed.
struct Header {
  void* base;
  std::uint32_t magic;
  std::uint32_t tagged;
};
static_assert(sizeof(Header) == 16);
constexpr std::uint32_t kMagic = 0x5eed5eedu;

void* allocate(std::size_t size, std::size_t alignment) {
  if (countRequest()) return nullptr;
  // The header sits in the alignment's slack, or in 16 bytes of its own.
  const std::size_t offset = alignment > sizeof(Header) ? alignment : sizeof(Header);
  void* base = alignment > alignof(std::max_align_t) ? std::aligned_alloc(alignment, (offset + size + alignment - 1) / alignment * alignment)
                                                      : std::malloc(offset + size);
  if (base == nullptr) return nullptr;
  auto* user = static_cast<std::byte*>(base) + offset;
  auto* header = reinterpret_cast<Header*>(user - sizeof(Header));
  header->base = base;
  header->magic = kMagic;
  header->tagged = tArmed ? 1u : 0u;
  if (tArmed) ++gLiveTagged;
  return user;
}

void release(void* block) {
  if (block == nullptr) return;
  auto* header = reinterpret_cast<Header*>(static_cast<std::byte*>(block) - sizeof(Header));
  if (header->magic != kMagic) std::abort();  // not ours: a mismatched delete
  header->magic = 0;
  if (header->tagged != 0) --gLiveTagged;
  std::free(header->base);
}

void* allocateOrThrow(std::size_t size, std::size_t alignment) {
  void* block = allocate(size, alignment);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

}  // namespace

std::size_t LiveHeapBlocks() { return gLiveTagged; }

ArmedRun::ArmedRun(std::size_t failAt) {
  gRequests = 0;
  gFailAt = failAt;
  gFailed = false;
  host_.emplace([](std::size_t) { return countRequest(); });
  tArmed = true;
}

ArmedRun::~ArmedRun() { disarm(); }

std::size_t ArmedRun::requests() const { return gRequests; }
bool ArmedRun::failed() const { return gFailed; }

void ArmedRun::disarm() {
  tArmed = false;
  host_.reset();
}

}  // namespace qvsv::test::sweep


// --- The replaced family: plain, array, aligned, nothrow and sized forms. ---
void* operator new(std::size_t size) { return qvsv::test::sweep::allocateOrThrow(size, 0); }
void* operator new[](std::size_t size) { return qvsv::test::sweep::allocateOrThrow(size, 0); }
void* operator new(std::size_t size, std::align_val_t align) {
  return qvsv::test::sweep::allocateOrThrow(size, static_cast<std::size_t>(align));
}
void* operator new[](std::size_t size, std::align_val_t align) {
  return qvsv::test::sweep::allocateOrThrow(size, static_cast<std::size_t>(align));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return qvsv::test::sweep::allocate(size, 0); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return qvsv::test::sweep::allocate(size, 0); }
void* operator new(std::size_t size, std::align_val_t align, const std::nothrow_t&) noexcept {
  return qvsv::test::sweep::allocate(size, static_cast<std::size_t>(align));
}
void* operator new[](std::size_t size, std::align_val_t align, const std::nothrow_t&) noexcept {
  return qvsv::test::sweep::allocate(size, static_cast<std::size_t>(align));
}

void operator delete(void* block) noexcept { qvsv::test::sweep::release(block); }
void operator delete[](void* block) noexcept { qvsv::test::sweep::release(block); }
void operator delete(void* block, std::size_t) noexcept { qvsv::test::sweep::release(block); }
void operator delete[](void* block, std::size_t) noexcept { qvsv::test::sweep::release(block); }
void operator delete(void* block, std::align_val_t) noexcept { qvsv::test::sweep::release(block); }
void operator delete[](void* block, std::align_val_t) noexcept { qvsv::test::sweep::release(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { qvsv::test::sweep::release(block); }
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept { qvsv::test::sweep::release(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { qvsv::test::sweep::release(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { qvsv::test::sweep::release(block); }
void operator delete(void* block, std::align_val_t, const std::nothrow_t&) noexcept {
  qvsv::test::sweep::release(block);
}
void operator delete[](void* block, std::align_val_t, const std::nothrow_t&) noexcept {
  qvsv::test::sweep::release(block);
}
