// The wrapped allocators that route an allocation through a named tester.
#include <new>

#include "qv_services/fault_injection.hpp"

namespace {

// The named tester while fault injection is open; made on first use. A
// registry that cannot grow leaves the call untested rather than failing it.
QVSV_ExceptionTester* testerFor(const char* name) {
  if (QVSV_ExceptionTester::staticTesterMode == -1) return nullptr;
  try {
    qvsvCreateExceptionTesterByName(name);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
  return qvsvGetExceptionTesterByName(name);
}

}  // namespace

void* qvsvMalloc_DEBUG_DONT_USE_IT(QVSV_ExceptionTester::AllocFunction alloc, std::size_t size,
                                   const char* testerName, const char* file, const char* function, int line) {
  if (QVSV_ExceptionTester* tester = testerFor(testerName)) {
    return tester->reportAlloc(alloc, size, file, function, line);
  }
  return alloc == nullptr ? nullptr : alloc(size);
}

void* qvsvCalloc_DEBUG_DONT_USE_IT(QVSV_ExceptionTester::CallocFunction alloc, std::size_t count, std::size_t size,
                                   const char* testerName, const char* file, const char* function, int line) {
  if (QVSV_ExceptionTester* tester = testerFor(testerName)) {
    return tester->reportCalloc(alloc, count, size, file, function, line);
  }
  return alloc == nullptr ? nullptr : alloc(count, size);
}

void* qvsvRealloc_DEBUG_DONT_USE_IT(QVSV_ExceptionTester::ReallocFunction alloc, void* block, std::size_t size,
                                    const char* testerName, const char* file, const char* function, int line) {
  if (QVSV_ExceptionTester* tester = testerFor(testerName)) {
    return tester->reportRealloc(alloc, block, size, file, function, line);
  }
  return alloc == nullptr ? nullptr : alloc(block, size);
}
