// The library's own host-allocator calls go through these, so that tests can
// fail any of them by the tester named at the call site (fault_injection.hpp).
// Outside fault injection they cost one comparison over the host allocator.
// The call site is taken from the compiler's builtins (GCC and clang alike;
// std::source_location needs a newer clang than Debian's).
#pragma once

#include <cstddef>

#include "qv_services/fault_injection.hpp"
#include "tessel/foundation.hpp"
#include "tessel/ut.hpp"

namespace qvsv::detail {

inline void* TestedMalloc(const char* tester, std::size_t size, const char* file = __builtin_FILE(),
                          const char* function = __builtin_FUNCTION(), int line = __builtin_LINE()) {
  return qvsvMalloc_DEBUG_DONT_USE_IT(utMalloc, size, tester, file, function, line);
}

inline void* TestedCalloc(const char* tester, std::size_t count, std::size_t size, const char* file = __builtin_FILE(),
                          const char* function = __builtin_FUNCTION(), int line = __builtin_LINE()) {
  return qvsvCalloc_DEBUG_DONT_USE_IT(utCalloc, count, size, tester, file, function, line);
}

// Like utMallocWithCheck: throws tessel::OutOfMemory instead of returning null.
inline void* TestedMallocWithCheck(const char* tester, std::size_t size, const char* file = __builtin_FILE(),
                                   const char* function = __builtin_FUNCTION(), int line = __builtin_LINE()) {
  void* block = TestedMalloc(tester, size, file, function, line);
  if (block == nullptr) throw tessel::OutOfMemory();
  return block;
}

// Like utRealloc: on failure the block is left as it was.
inline void* TestedRealloc(const char* tester, void* block, std::size_t size, const char* file = __builtin_FILE(),
                           const char* function = __builtin_FUNCTION(), int line = __builtin_LINE()) {
  return qvsvRealloc_DEBUG_DONT_USE_IT(utRealloc, block, size, tester, file, function, line);
}

}  // namespace qvsv::detail
