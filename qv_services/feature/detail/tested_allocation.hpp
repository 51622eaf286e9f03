// The library's own host-allocator calls go through these, so that tests can
// fail any of them by the tester named at the call site (fault_injection.hpp).
// Outside fault injection they cost one comparison over the host allocator.
#pragma once

#include <cstddef>
#include <source_location>

#include "qv_services/fault_injection.hpp"
#include "tessel/foundation.hpp"
#include "tessel/ut.hpp"

namespace qvsv::detail {

inline void* TestedMalloc(const char* tester, std::size_t size,
                          std::source_location where = std::source_location::current()) {
  return qvsvMalloc_DEBUG_DONT_USE_IT(utMalloc, size, tester, where.file_name(), where.function_name(),
                                      static_cast<int>(where.line()));
}

inline void* TestedCalloc(const char* tester, std::size_t count, std::size_t size,
                          std::source_location where = std::source_location::current()) {
  return qvsvCalloc_DEBUG_DONT_USE_IT(utCalloc, count, size, tester, where.file_name(), where.function_name(),
                                      static_cast<int>(where.line()));
}

// Like utMallocWithCheck: throws tessel::OutOfMemory instead of returning null.
inline void* TestedMallocWithCheck(const char* tester, std::size_t size,
                                   std::source_location where = std::source_location::current()) {
  void* block = TestedMalloc(tester, size, where);
  if (block == nullptr) throw tessel::OutOfMemory();
  return block;
}

// Like utRealloc: on failure the block is left as it was.
inline void* TestedRealloc(const char* tester, void* block, std::size_t size,
                           std::source_location where = std::source_location::current()) {
  return qvsvRealloc_DEBUG_DONT_USE_IT(utRealloc, block, size, tester, where.file_name(), where.function_name(),
                                       static_cast<int>(where.line()));
}

}  // namespace qvsv::detail
