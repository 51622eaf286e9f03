// Host utilities: the host allocator, the console print function and a
// multibyte-aware character search.
//
// Memory from utMalloc, utCalloc and utRealloc is freed with utFree (null is
// accepted). They return null when memory is exhausted, or when a test's
// tessel::ScopedAllocationFailure says so; utMallocWithCheck throws
// tessel::OutOfMemory instead.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "tessel/export.hpp"

TESSEL_API void* utMalloc(std::size_t size);
TESSEL_API void* utCalloc(std::size_t count, std::size_t size);
// Like realloc: on failure returns null and leaves the block untouched.
TESSEL_API void* utRealloc(void* block, std::size_t size);
TESSEL_API void utFree(void* block);
TESSEL_API void* utMallocWithCheck(std::size_t size);

// printf-style output to the host console (stdout unless captured). Returns
// the number of bytes written, or a negative value for a bad format.
TESSEL_API int utPrintf(const char* format, ...) __attribute__((format(printf, 1, 2)));
// Whether the console shows hotlinks; false unless the host sets it.
TESSEL_API bool utPrintfIsHot();
TESSEL_API void utSetPrintfIsHot(bool hot);

// strchr over UTF-8 text that only matches c at the start of a character, so a
// byte inside a multibyte character is never taken for c. c == 0 finds the
// terminator; a null text gives null.
TESSEL_API const char* utMultiByteStrChr(const char* text, int c);

namespace tessel {

// Makes the host allocator fail on demand while it lives (tests of
// out-of-memory paths). The predicate sees the size of every utMalloc,
// utCalloc, utRealloc and utMallocWithCheck request and returns true to fail
// it. Scopes nest; the innermost decides. Main thread only.
class TESSEL_API ScopedAllocationFailure {
 public:
  explicit ScopedAllocationFailure(std::function<bool(std::size_t size)> shouldFail);
  // Fails every request.
  ScopedAllocationFailure();
  ~ScopedAllocationFailure();
  ScopedAllocationFailure(const ScopedAllocationFailure&) = delete;
  ScopedAllocationFailure& operator=(const ScopedAllocationFailure&) = delete;

  // Requests seen and requests failed while this scope was innermost.
  std::size_t requests() const { return requests_; }
  std::size_t failures() const { return failures_; }

 private:
  friend bool detail_allocationShouldFail(std::size_t);
  std::function<bool(std::size_t)> shouldFail_;
  ScopedAllocationFailure* previous_;
  std::size_t requests_ = 0;
  std::size_t failures_ = 0;
};

// Blocks of utMalloc, utCalloc and utRealloc not yet given to utFree (for leak
// checks in tests).
TESSEL_API std::size_t LiveHostBlockCount();

// Sets utPrintfIsHot for the scope's lifetime.
class TESSEL_API ScopedPrintfIsHot {
 public:
  explicit ScopedPrintfIsHot(bool hot);
  ~ScopedPrintfIsHot();
  ScopedPrintfIsHot(const ScopedPrintfIsHot&) = delete;
  ScopedPrintfIsHot& operator=(const ScopedPrintfIsHot&) = delete;

 private:
  bool previous_;
};

}  // namespace tessel
