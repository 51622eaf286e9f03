// Limits of the regular-expression matchers and the failure category.
#include <atomic>
#include <stdexcept>
#include <string>

#include "qv_services/regexp.hpp"
#include "qv_services/strings/regexp_matcher.hpp"

namespace qvsv::regexp {
namespace {

// The process-wide defaults, read whenever a matcher is made; atomics because
// any thread may make matchers while another changes the defaults.
struct DefaultLimits {
  std::atomic<std::int64_t> milliseconds{match_limits{}.time.count()};
  std::atomic<std::size_t> stackBytes{match_limits{}.stack_bytes};
};

DefaultLimits& defaults() {
  static DefaultLimits limits;
  return limits;
}

class Category final : public std::error_category {
 public:
  const char* name() const noexcept override { return "qvsv.regexp"; }
  std::string message(int value) const override {
    switch (static_cast<errc>(value)) {
      case errc::bad_pattern: return "the pattern is not a valid regular expression";
      case errc::bad_replacement: return "the replacement refers to a group that the pattern does not have";
      case errc::time_limit: return "the match ran past its time limit";
      case errc::stack_limit: return "the match needed more backtrack stack than its limit";
      case errc::text_too_long: return "the text is too long for the regular-expression engine";
      case errc::out_of_memory: return "the regular-expression engine ran out of memory";
      case errc::engine_failure: return "the regular-expression engine failed";
    }
    return "unknown regular-expression failure " + std::to_string(value);
  }
};

}  // namespace

const std::error_category& error_category() noexcept {
  static const Category category;
  return category;
}

namespace details {

void ValidateLimits(const match_limits& limits) {
  if (limits.time.count() < 0) {
    throw std::invalid_argument("regexp time limit must not be negative, got " + std::to_string(limits.time.count()) +
                                " ms");
  }
  if (limits.stack_bytes > static_cast<std::size_t>(INT32_MAX)) {
    throw std::invalid_argument("regexp stack limit must be at most 2147483647 bytes, got " +
                                std::to_string(limits.stack_bytes));
  }
}

std::error_code ErrorFromIcu(UErrorCode status) {
  if (U_SUCCESS(status)) return {};
  switch (status) {
    case U_REGEX_TIME_OUT:
    case U_REGEX_STOPPED_BY_CALLER: return errc::time_limit;
    case U_REGEX_STACK_OVERFLOW: return errc::stack_limit;
    case U_MEMORY_ALLOCATION_ERROR: return errc::out_of_memory;
    case U_REGEX_INVALID_CAPTURE_GROUP_NAME:
    case U_INDEX_OUTOFBOUNDS_ERROR: return errc::bad_replacement;
    default: break;
  }
  // Compile errors form one contiguous range in ICU's list.
  if (status >= U_REGEX_ERROR_START && status < U_REGEX_ERROR_LIMIT) return errc::bad_pattern;
  return errc::engine_failure;
}

void Matcher::setLimits(const match_limits& limits) {
  ValidateLimits(limits);
  UErrorCode status = U_ZERO_ERROR;
  icu_.setStackLimit(static_cast<std::int32_t>(limits.stack_bytes), status);
  // Only a matcher in the middle of a match refuses, and the facade never
  // calls this from inside one.
  if (U_SUCCESS(status)) limits_ = limits;
}

UBool Matcher::onTick(const void* context, std::int32_t) {
  const auto* self = static_cast<const Matcher*>(context);
  return self->limits_.time.count() == 0 || std::chrono::steady_clock::now() < self->deadline_;
}

void Matcher::init(UErrorCode& status) {
  if (U_FAILURE(status)) return;
  icu_.setMatchCallback(&Matcher::onTick, this, status);
  limits_.time = std::chrono::milliseconds(defaults().milliseconds.load(std::memory_order_relaxed));
  limits_.stack_bytes = defaults().stackBytes.load(std::memory_order_relaxed);
  icu_.setStackLimit(static_cast<std::int32_t>(limits_.stack_bytes), status);
}

}  // namespace details

match_limits defaultLimits() noexcept {
  match_limits limits;
  limits.time = std::chrono::milliseconds(defaults().milliseconds.load(std::memory_order_relaxed));
  limits.stack_bytes = defaults().stackBytes.load(std::memory_order_relaxed);
  return limits;
}

match_limits setDefaultLimits(const match_limits& limits) {
  details::ValidateLimits(limits);
  match_limits previous;
  previous.time = std::chrono::milliseconds(defaults().milliseconds.exchange(limits.time.count()));
  previous.stack_bytes = defaults().stackBytes.exchange(limits.stack_bytes);
  return previous;
}

void setLimits(const matcher_handle& matcher, const match_limits& limits) {
  details::ValidateLimits(limits);
  if (matcher != nullptr) static_cast<details::Matcher*>(matcher.get())->setLimits(limits);
}

match_limits limitsOf(const matcher_handle& matcher) {
  return matcher == nullptr ? defaultLimits() : static_cast<const details::Matcher*>(matcher.get())->limits();
}

}  // namespace qvsv::regexp
