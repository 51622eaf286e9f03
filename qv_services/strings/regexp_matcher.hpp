// The object behind a matcher handle and a regex's state. Private to the
// library: callers see them only as opaque pointers.
#pragma once

#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <cstdint>
#include <string>

#include "qv_services/regexp.hpp"

namespace qvsv::regexp::details {

// icu::RegexMatcher is final, so the handle points at this thin owner of one
// instead; the handle's destroyer deletes it through the virtual destructor.
class Matcher {
 public:
  // Compiles pattern; status tells whether it worked.
  Matcher(const icu::UnicodeString& pattern, constants::syntax_option_type options, UErrorCode& status);
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

 private:
  // Declared before icu_ so that it outlives the matcher that refers to it.
  icu::UnicodeString alias_;
  icu::RegexMatcher icu_;
};

// ICU counts in int32_t; longer texts cannot be matched.
inline bool FitsIcu(std::size_t length) { return length <= static_cast<std::size_t>(INT32_MAX); }

inline std::u16string ToU16(const icu::UnicodeString& s) {
  return std::u16string(s.getBuffer(), static_cast<std::size_t>(s.length()));
}

// The state of one regex: the subject it walks (held here because the ICU
// matcher only refers to it) and the compiled pattern (null when it did not
// compile).
class regex_impl_icu {
 public:
  icu::UnicodeString subject;
  matcher_handle matcher;

  Matcher* get() const { return static_cast<Matcher*>(matcher.get()); }
  // [pos, pos + len) of the subject, clipped to it.
  std::u16string substring(std::uint32_t pos, std::uint32_t len) const;
};

}  // namespace qvsv::regexp::details
