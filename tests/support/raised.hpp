// Catching what a call throws, so that tests can check the exception's parts.
#pragma once

#include <gtest/gtest.h>

#include <optional>

namespace qvsv::test {

// The E that f throws; a test failure and nothing when f throws nothing.
// Exceptions of other types pass through and fail the test.
template <typename E, typename F>
std::optional<E> Raised(F&& f) {
  try {
    f();
  } catch (const E& e) {
    return e;
  }
  ADD_FAILURE() << "nothing was thrown";
  return std::nullopt;
}

}  // namespace qvsv::test
