// Regular expressions over ICU, for wide (UTF-16) patterns and subjects.
//
// Three ways in:
//  - qvsv::regexp::regex with regex_iterator: a compiled pattern that walks the
//    matches of a subject one by one, with the positions of every group;
//  - matcher handles from createMatcher, for callers that compile a pattern
//    once and keep it (typically in a function-local static);
//  - one-shot regexp_search / regexp_replace over a pattern string.
//
// Pattern and replacement syntax are ICU's. A dot always matches line ends
// (ICU's DOTALL is on for every pattern); options::icase adds case-insensitive
// matching. Positions and lengths are in UTF-16 code units.
//
// Nothing here throws for a bad pattern or a failing match: a pattern that
// does not compile gives a null handle, or a regex that never matches, and the
// functions answer with the no-match result, false or an empty string.
// Memory exhaustion in the library's own allocations propagates as
// std::bad_alloc; ICU reports its own as a failure, answered as above.
//
// Every matcher made here carries limits (match_limits): a time limit per
// call (default one second) and a limit on ICU's backtrack stack (default
// 8 MB). A pattern that backtracks without end, such as "(a+)+$" on forty
// "a" and a "b", or a text too long for the stack, is a failing match like
// any other: no match, false, an empty string. To tell such a failure from a
// genuine no-match, use the overloads that take a std::error_code (cleared on
// success, set to a qvsv::regexp::errc on failure, as std::filesystem does)
// or ask a regex for its status().
//
// Not thread-safe per object: matching changes a regex's or a handle's state,
// so a handle kept in a static must not be used by two threads at once.
//
//   using namespace qvsv::regexp;
//   regex words(u"(\\w)(\\w*)");
//   for (regex_iterator it(u"hello big world", words), end; it != end; ++it) {
//     std::u16string initial = (*it)[1].str();
//   }
//   std::u16string s = regexp_replace(u"(\\w+)@(\\w+)", u"me@host", u"$2 at $1");
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <system_error>
#include <tuple>
#include <type_traits>
#include <vector>

#include "qv_services/export.hpp"

namespace qvsv::regexp {

namespace constants {
// Pattern options. Only bit 0 has a meaning (case-insensitive matching); all
// other bits are ignored.
enum syntax_option_type : unsigned { normal = 0, icase = 1 };
}  // namespace constants

namespace details {
// Deletes a matcher made by createMatcher; null is ignored.
struct QVSV_API MatcherDestroyer {
  void operator()(void* matcher) const noexcept;
};
// The state of one regex: its current subject and its matcher.
class regex_impl_icu;
}  // namespace details

// An owned, opaque compiled pattern; null when the pattern did not compile.
using matcher_handle = std::unique_ptr<void, details::MatcherDestroyer>;

// --- Failures. Why a call failed; a genuine no-match is no failure.
enum class errc {
  bad_pattern = 1,   // the pattern does not compile (or no pattern was given)
  bad_replacement,   // the replacement names a group the pattern lacks, or a bad ${name}
  time_limit,        // the match ran past its time limit
  stack_limit,       // the match needed more backtrack stack than its limit
  text_too_long,     // a text of 2^31 code units or more, which ICU cannot address
  out_of_memory,     // ICU could not allocate
  engine_failure,    // any other failure reported by ICU
};
// The category of errc; its messages name the failure in a sentence.
QVSV_API const std::error_category& error_category() noexcept;
inline std::error_code make_error_code(errc e) noexcept { return {static_cast<int>(e), error_category()}; }

// --- Limits. A matcher takes the process-wide defaults when it is made;
// setLimits changes one matcher afterwards.
struct match_limits {
  // Wall-clock time that one call may spend matching: one regexp_search or
  // regexp_replace, one regex::match. The clock is read every 10,000
  // backtrack states, so a match that never backtracks is never stopped
  // (it is linear in the text anyway). Zero means no limit.
  std::chrono::milliseconds time{1000};
  // Bytes of ICU's backtrack stack (ICU's own default). A lazy or greedy
  // loop over a text of about a million code units needs more; raise it for
  // such texts. Zero means no limit. At most 2^31 - 1.
  std::size_t stack_bytes = 8'000'000;
  bool operator==(const match_limits&) const = default;
};
// The limits given to matchers made from now on (by any thread).
QVSV_API match_limits defaultLimits() noexcept;
// Sets them and returns the previous ones. Throws std::invalid_argument,
// naming the value, for a negative time or a stack above 2^31 - 1 bytes.
QVSV_API match_limits setDefaultLimits(const match_limits& limits);
// Sets the limits of one matcher (nothing for a null handle); throws as
// setDefaultLimits. The handle must not be in use by another thread.
QVSV_API void setLimits(const matcher_handle& matcher, const match_limits& limits);
// The limits of one matcher; the defaults for a null handle.
QVSV_API match_limits limitsOf(const matcher_handle& matcher);

// No-match positions: start and end of a failed match, and of a group that did
// not take part in a match.
inline constexpr std::uint32_t npos = 0xFFFFFFFFu;

// One capture group of a match. The impl pointer borrows the regex's state:
// str() reads the regex's current subject, so take it before the regex is
// reset to another subject or destroyed.
struct QVSV_API group_result {
  std::uint32_t start = npos;
  std::uint32_t end = npos;
  const details::regex_impl_icu* impl = nullptr;  // owned by the regex

  std::uint32_t position() const { return start; }
  std::uint32_t length() const { return end - start; }
  // The group's text; empty without an impl or for a group that did not
  // take part (start == npos).
  std::u16string str() const;
  bool operator==(const group_result&) const = default;
};

// One match: the whole match's positions and one group_result per group,
// entry 0 being the whole match. The no-match result has start == end == npos,
// a null impl and no groups.
struct QVSV_API regex_result {
  std::uint32_t start = npos;
  std::uint32_t end = npos;
  const details::regex_impl_icu* impl = nullptr;  // owned by the regex
  std::vector<group_result> groups;

  std::uint32_t position() const { return start; }
  std::uint32_t length() const { return end - start; }
  std::size_t size() const { return groups.size(); }
  // Unchecked, like a vector's operator[].
  const group_result& operator[](std::size_t i) const { return groups[i]; }
  std::u16string str() const;
  bool operator==(const regex_result&) const = default;
};

// A compiled pattern with a current subject. Movable, not copyable.
class QVSV_API regex {
 public:
  using const_iterator = std::u16string::const_iterator;

  // A regex without a pattern: it never matches.
  regex() noexcept;
  explicit regex(const std::u16string& pattern, constants::syntax_option_type options = constants::normal);
  regex(const_iterator first, const_iterator last, constants::syntax_option_type options = constants::normal);
  regex(regex&&) noexcept;
  regex& operator=(regex&&) noexcept;
  regex(const regex&) = delete;
  regex& operator=(const regex&) = delete;
  ~regex();

  // Makes subject the current text (the regex keeps its own copy) and
  // restarts matching at its beginning. Does nothing for a bad pattern.
  void reset(const std::u16string& subject);
  void reset(const_iterator first, const_iterator last);
  // The next match in the current subject, or the no-match result.
  regex_result match();
  // The substring [pos, pos + len) of the current subject, clipped to it.
  std::u16string str(unsigned pos, unsigned len) const;

  // Why the last compile, reset or match failed; clear after a success or a
  // genuine no-match. A bad pattern keeps errc::bad_pattern for good; a
  // default-constructed regex reports no failure (it has nothing to match).
  std::error_code status() const;
  // Limits of this regex's matcher (see match_limits); setting them restarts
  // matching at the beginning of the current subject. Throws as
  // setDefaultLimits; nothing happens for a bad pattern.
  void setLimits(const match_limits& limits);

 private:
  void init(const std::u16string& pattern, constants::syntax_option_type options);
  void init(const_iterator first, const_iterator last, constants::syntax_option_type options);

  std::unique_ptr<details::regex_impl_icu> impl_;
};

// Walks the matches of a subject. Dereferencing gives the current match;
// the default-constructed iterator is the end. Copies share the regex, and
// with it the position in the subject: advancing one advances the walk of all.
class QVSV_API regex_iterator {
 public:
  using iterator_category = std::forward_iterator_tag;
  using value_type = regex_result;
  using difference_type = std::ptrdiff_t;
  using pointer = const regex_result*;
  using reference = const regex_result&;

  regex_iterator() = default;
  regex_iterator(const std::u16string& subject, regex& re);
  regex_iterator(regex::const_iterator first, regex::const_iterator last, regex& re);

  reference operator*() const { return dereference(); }
  pointer operator->() const { return &dereference(); }
  regex_iterator& operator++() {
    increment();
    return *this;
  }
  regex_iterator operator++(int) {
    regex_iterator before = *this;
    increment();
    return before;
  }
  friend bool operator==(const regex_iterator& a, const regex_iterator& b) { return a.equal(b); }

  void increment();
  const regex_result& dereference() const { return result_; }
  bool equal(const regex_iterator& other) const { return result_ == other.result_; }

 private:
  regex_result result_;
  regex* regex_ = nullptr;  // borrowed; null for the end iterator
};

// Compiles a pattern; null for a pattern that does not compile.
[[nodiscard]] QVSV_API matcher_handle createMatcher(const std::u16string& pattern,
                                                    constants::syntax_option_type options = constants::normal);
[[nodiscard]] QVSV_API matcher_handle createMatcher(regex::const_iterator first, regex::const_iterator last,
                                                    constants::syntax_option_type options = constants::normal);

// --- Yes-or-no search: wholeMatch asks for a match of the whole text, else a
// match anywhere is enough.
// The pointer form compiles pattern for this call and is always
// case-sensitive; a null pattern or text gives false.
QVSV_API bool regexp_search(const char16_t* pattern, const char16_t* text, bool wholeMatch);
// The handle form gives false for a null handle and for an empty text, even
// when the pattern would match the empty string.
QVSV_API bool regexp_search(const matcher_handle& matcher, const std::u16string& text, bool wholeMatch);

// --- Every match: out is cleared, then gets one entry per match holding the
// whole match's text and the texts of groups 1..n (empty for a group that did
// not take part).
using match_list = std::vector<std::tuple<std::u16string, std::vector<std::u16string>>>;
QVSV_API void regexp_search(regex& re, const std::u16string& text, match_list& out);
QVSV_API void regexp_search(const std::u16string& pattern, const std::u16string& text, match_list& out,
                            constants::syntax_option_type options = constants::normal);

// --- Replacement of every match. With a replacement text, ICU's syntax
// applies ("$1" inserts group 1, a backslash escapes the next character). A
// null handle, a bad pattern or a bad replacement gives an empty string.
QVSV_API std::u16string regexp_replace(const matcher_handle& matcher, const std::u16string& text,
                                       const std::u16string& replacement);
QVSV_API std::u16string regexp_replace(const std::u16string& pattern, const std::u16string& text,
                                       const std::u16string& replacement,
                                       constants::syntax_option_type options = constants::normal);
// UTF-8 in and out; ill-formed UTF-8 is read with U+FFFD in place of each bad
// sequence (see conversions.hpp).
QVSV_API std::string regexp_replace(const std::string& pattern, const std::string& text,
                                    const std::string& replacement,
                                    constants::syntax_option_type options = constants::normal);

// A replacement computed per match: called once per match, in order, with the
// matched text; what it returns replaces the match literally (no "$"
// syntax). The flag starts false at every call; setting it to true stops the
// replacing after this match, and the rest of the text is kept as it is.
using replace_callback = std::function<std::u16string(const std::u16string& match, bool& stop)>;
QVSV_API std::u16string regexp_replace(const matcher_handle& matcher, const std::u16string& text,
                                       const replace_callback& replace);
QVSV_API std::u16string regexp_replace(const std::u16string& pattern, const std::u16string& text,
                                       const replace_callback& replace,
                                       constants::syntax_option_type options = constants::normal);

// --- The same functions, reporting failures. Each gives the same result as
// its counterpart above and sets ec to the reason of a failure, or clears it
// when the call succeeded or found no match. A failure in the middle of a
// walk leaves `out` empty, and a failed replacement gives an empty string,
// whatever had been found before.
QVSV_API bool regexp_search(const char16_t* pattern, const char16_t* text, bool wholeMatch, std::error_code& ec);
QVSV_API bool regexp_search(const matcher_handle& matcher, const std::u16string& text, bool wholeMatch,
                            std::error_code& ec);
QVSV_API void regexp_search(regex& re, const std::u16string& text, match_list& out, std::error_code& ec);
QVSV_API void regexp_search(const std::u16string& pattern, const std::u16string& text, match_list& out,
                            constants::syntax_option_type options, std::error_code& ec);
QVSV_API std::u16string regexp_replace(const matcher_handle& matcher, const std::u16string& text,
                                       const std::u16string& replacement, std::error_code& ec);
QVSV_API std::u16string regexp_replace(const std::u16string& pattern, const std::u16string& text,
                                       const std::u16string& replacement, constants::syntax_option_type options,
                                       std::error_code& ec);
QVSV_API std::string regexp_replace(const std::string& pattern, const std::string& text,
                                    const std::string& replacement, constants::syntax_option_type options,
                                    std::error_code& ec);
QVSV_API std::u16string regexp_replace(const matcher_handle& matcher, const std::u16string& text,
                                       const replace_callback& replace, std::error_code& ec);
QVSV_API std::u16string regexp_replace(const std::u16string& pattern, const std::u16string& text,
                                       const replace_callback& replace, constants::syntax_option_type options,
                                       std::error_code& ec);

}  // namespace qvsv::regexp

template <>
struct std::is_error_code_enum<qvsv::regexp::errc> : std::true_type {};
