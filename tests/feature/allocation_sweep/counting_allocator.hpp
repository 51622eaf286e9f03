// The sweep's allocation counter: this test program replaces the global
// operator new and delete family with versions that count every request made
// on an armed thread, can fail the k-th of them, and tag the blocks they hand
// out so that blocks still live after a run can be counted. The host
// allocator (utMalloc & co.) is failed through the same count while a run is
// armed, so "the k-th allocation" means the k-th of either kind.
#pragma once

#include <cstddef>
#include <optional>

#include "tessel/ut.hpp"

namespace qvsv::test::sweep {

// Operator-new blocks handed out while armed and not yet deleted.
std::size_t LiveHeapBlocks();

// Arms the current thread for its lifetime: every operator new and every
// host-allocator request is counted, and request number failAt (1-based; 0
// fails none) fails: operator new throws std::bad_alloc (the nothrow forms
// return null), the host allocator returns null. Not nestable.
class ArmedRun {
 public:
  explicit ArmedRun(std::size_t failAt);
  ~ArmedRun();
  ArmedRun(const ArmedRun&) = delete;
  ArmedRun& operator=(const ArmedRun&) = delete;

  // Requests counted so far, and whether request failAt came.
  std::size_t requests() const;
  bool failed() const;
  // Stops counting and failing (the checks after a run allocate freely).
  void disarm();

 private:
  std::optional<tessel::ScopedAllocationFailure> host_;
};

}  // namespace qvsv::test::sweep
