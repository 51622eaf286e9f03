// The object behind a matcher handle and a regex's state. Private to the
// library: callers see them only as opaque pointers.
#pragma once

#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <system_error>

#include "qv_services/regexp.hpp"

namespace qvsv::regexp::details {

// Checks limits and throws std::invalid_argument naming a bad value.
void ValidateLimits(const match_limits& limits);

// What a failing ICU status means to a caller; success for a success.
std::error_code ErrorFromIcu(UErrorCode status);

// icu::RegexMatcher is final, so the handle points at this thin owner of one
// instead; the handle's destroyer deletes it through the virtual destructor.
// Every facade call that matches goes through find/matches below, which
// start the call's clock; ICU asks onTick every 10,000 backtrack states
// whether to go on.
class Matcher {
 public:
  // Compiles pattern with the default limits; status tells whether it worked.
  Matcher(const icu::UnicodeString& pattern, constants::syntax_option_type options, UErrorCode& status);
  // The same with the always case-sensitive flags of the pointer-form search.
  Matcher(const icu::UnicodeString& pattern, std::uint32_t icuFlags, UErrorCode& status);
  virtual ~Matcher() = default;
  Matcher(const Matcher&) = delete;
  Matcher& operator=(const Matcher&) = delete;

  icu::RegexMatcher& icu() { return icu_; }

  // Points the matcher at text without copying it; the text must stay alive
  // and unchanged while the matcher reads it (one call of the facade). After
  // that the matcher keeps a stale alias that nothing reads until the next
  // reset.
  void resetToAlias(const char16_t* text, std::int32_t length) {
    alias_.setTo(false, text, length);
    icu_.reset(alias_);
  }

  // One timed step of matching each.
  bool find(UErrorCode& status) {
    startClock();
    return icu_.find(status);
  }
  bool findFromStart(UErrorCode& status) {
    startClock();
    return icu_.find(0, status);
  }
  bool matches(UErrorCode& status) {
    startClock();
    return icu_.matches(status);
  }

  const match_limits& limits() const { return limits_; }
  // Applies limits (validated first); ICU restarts the current subject.
  void setLimits(const match_limits& limits);

 private:
  void init(UErrorCode& status);
  void startClock() {
    // A limit beyond a century is no limit; adding it to now() would overflow.
    constexpr std::chrono::hours kCentury{24 * 365 * 100};
    deadline_ = limits_.time >= kCentury ? std::chrono::steady_clock::time_point::max()
                                         : std::chrono::steady_clock::now() + limits_.time;
  }
  static UBool onTick(const void* context, std::int32_t steps);

  // Declared before icu_ so that it outlives the matcher that refers to it.
  icu::UnicodeString alias_;
  icu::RegexMatcher icu_;
  match_limits limits_;
  std::chrono::steady_clock::time_point deadline_;
};

// ICU counts in int32_t; longer texts cannot be matched.
inline bool FitsIcu(std::size_t length) { return length <= static_cast<std::size_t>(INT32_MAX); }

inline std::u16string ToU16(const icu::UnicodeString& s) {
  return std::u16string(s.getBuffer(), static_cast<std::size_t>(s.length()));
}

// The state of one regex: the subject it walks (held here because the ICU
// matcher only refers to it), the compiled pattern (null when it did not
// compile) and the outcome of its last operation.
class regex_impl_icu {
 public:
  icu::UnicodeString subject;
  matcher_handle matcher;
  std::error_code status;

  Matcher* get() const { return static_cast<Matcher*>(matcher.get()); }
  // [pos, pos + len) of the subject, clipped to it.
  std::u16string substring(std::uint32_t pos, std::uint32_t len) const;
};

}  // namespace qvsv::regexp::details
