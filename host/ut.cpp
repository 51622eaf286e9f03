// The host allocator, console print and multibyte character search.
#include "tessel/ut.hpp"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tessel/console.hpp"
#include "tessel/foundation.hpp"

namespace tessel {
namespace {

ScopedAllocationFailure*& innermostFailure() {
  static ScopedAllocationFailure* failure = nullptr;
  return failure;
}

// Blocks handed out and not yet freed; relaxed, as it only feeds leak checks.
std::atomic<std::size_t>& liveBlocks() {
  static std::atomic<std::size_t> blocks{0};
  return blocks;
}

void* counted(void* block) {
  if (block != nullptr) liveBlocks().fetch_add(1, std::memory_order_relaxed);
  return block;
}

bool& printfIsHot() {
  static bool hot = false;
  return hot;
}

}  // namespace

bool detail_allocationShouldFail(std::size_t size) {
  ScopedAllocationFailure* failure = innermostFailure();
  if (failure == nullptr) return false;
  ++failure->requests_;
  if (!failure->shouldFail_(size)) return false;
  ++failure->failures_;
  return true;
}

ScopedAllocationFailure::ScopedAllocationFailure(std::function<bool(std::size_t)> shouldFail)
    : shouldFail_(std::move(shouldFail)), previous_(innermostFailure()) {
  innermostFailure() = this;
}

ScopedAllocationFailure::ScopedAllocationFailure()
    : ScopedAllocationFailure([](std::size_t) { return true; }) {}

ScopedAllocationFailure::~ScopedAllocationFailure() {
  ScopedAllocationFailure** link = &innermostFailure();
  while (*link != nullptr && *link != this) link = &(*link)->previous_;
  if (*link == this) *link = previous_;
}

std::size_t LiveHostBlockCount() { return liveBlocks().load(std::memory_order_relaxed); }

ScopedPrintfIsHot::ScopedPrintfIsHot(bool hot) : previous_(utPrintfIsHot()) { utSetPrintfIsHot(hot); }
ScopedPrintfIsHot::~ScopedPrintfIsHot() { utSetPrintfIsHot(previous_); }

}  // namespace tessel

void* utMalloc(std::size_t size) {
  if (tessel::detail_allocationShouldFail(size)) return nullptr;
  // A zero-byte request still returns a block that utFree accepts.
  return tessel::counted(std::malloc(size == 0 ? 1 : size));
}

void* utCalloc(std::size_t count, std::size_t size) {
  if (size != 0 && count > SIZE_MAX / size) return nullptr;
  if (tessel::detail_allocationShouldFail(count * size)) return nullptr;
  return tessel::counted(std::calloc(count == 0 ? 1 : count, size == 0 ? 1 : size));
}

void* utRealloc(void* block, std::size_t size) {
  if (tessel::detail_allocationShouldFail(size)) return nullptr;
  void* grown = std::realloc(block, size == 0 ? 1 : size);
  // Only a reallocation of null makes a new block; otherwise the old one moves.
  return block == nullptr ? tessel::counted(grown) : grown;
}

void utFree(void* block) {
  if (block != nullptr) tessel::liveBlocks().fetch_sub(1, std::memory_order_relaxed);
  std::free(block);
}

void* utMallocWithCheck(std::size_t size) {
  void* block = utMalloc(size);
  if (block == nullptr) throw tessel::OutOfMemory();
  return block;
}

int utPrintf(const char* format, ...) {
  if (format == nullptr) return -1;
  va_list args;
  va_start(args, format);
  va_list copy;
  va_copy(copy, args);
  char small[512];
  const int needed = std::vsnprintf(small, sizeof small, format, args);
  va_end(args);
  if (needed < 0) {
    va_end(copy);
    return needed;
  }
  if (static_cast<std::size_t>(needed) < sizeof small) {
    va_end(copy);
    tessel::ConsoleWrite(std::string_view(small, static_cast<std::size_t>(needed)));
    return needed;
  }
  std::string text(static_cast<std::size_t>(needed) + 1, '\0');
  std::vsnprintf(text.data(), text.size(), format, copy);
  va_end(copy);
  text.resize(static_cast<std::size_t>(needed));
  tessel::ConsoleWrite(text);
  return needed;
}

bool utPrintfIsHot() { return tessel::printfIsHot(); }
void utSetPrintfIsHot(bool hot) { tessel::printfIsHot() = hot; }

const char* utMultiByteStrChr(const char* text, int c) {
  if (text == nullptr) return nullptr;
  const auto wanted = static_cast<unsigned char>(c);
  const auto* p = reinterpret_cast<const unsigned char*>(text);
  for (;;) {
    if (*p == wanted) return reinterpret_cast<const char*>(p);
    if (*p == 0) return nullptr;
    // Step over one whole character; a stray or truncated sequence counts as
    // one byte so that the walk never passes the terminator.
    std::size_t length = 1;
    if (*p >= 0xF0 && *p <= 0xF4) length = 4;
    else if (*p >= 0xE0 && *p <= 0xEF) length = 3;
    else if (*p >= 0xC2 && *p <= 0xDF) length = 2;
    std::size_t i = 1;
    while (i < length && (p[i] & 0xC0) == 0x80) ++i;
    p += i;
  }
}
