// The regular-expression facade: regex, its iterator, matcher handles and the
// one-shot search and replace functions, all over icu::RegexMatcher.
#include "qv_services/regexp.hpp"

#include <algorithm>

#include "qv_services/conversions.hpp"
#include "qv_services/strings/regexp_matcher.hpp"

namespace qvsv::regexp {
namespace details {

namespace {

std::uint32_t icuFlags(constants::syntax_option_type options) {
  // Dot matches line ends in every pattern of the library; only bit 0 of the
  // options is read.
  std::uint32_t flags = UREGEX_DOTALL;
  if ((options & constants::icase) != 0) flags |= UREGEX_CASE_INSENSITIVE;
  return flags;
}

}  // namespace

Matcher::Matcher(const icu::UnicodeString& pattern, constants::syntax_option_type options, UErrorCode& status)
    : icu_(pattern, icuFlags(options), status) {
  init(status);
}

Matcher::Matcher(const icu::UnicodeString& pattern, std::uint32_t flags, UErrorCode& status)
    : icu_(pattern, flags, status) {
  init(status);
}

void MatcherDestroyer::operator()(void* matcher) const noexcept { delete static_cast<Matcher*>(matcher); }

std::u16string regex_impl_icu::substring(std::uint32_t pos, std::uint32_t len) const {
  const auto size = static_cast<std::uint32_t>(subject.length());
  if (pos >= size) return {};
  return std::u16string(subject.getBuffer() + pos, std::min(len, size - pos));
}

}  // namespace details

namespace {

using details::ErrorFromIcu;
using details::FitsIcu;
using details::Matcher;

Matcher* matcherOf(const matcher_handle& handle) { return static_cast<Matcher*>(handle.get()); }

// The one no-match value that every failing match returns.
const regex_result& noMatch() {
  static const regex_result kNoMatch;
  return kNoMatch;
}

// ICU reports -1 for a group that did not take part; that becomes npos.
std::uint32_t fromIcu(std::int32_t position) { return static_cast<std::uint32_t>(position); }

std::u16string textOf(const details::regex_impl_icu* impl, std::uint32_t start, std::uint32_t end) {
  if (impl == nullptr || start == npos || end < start) return {};
  return impl->substring(start, end - start);
}

// Why a handle cannot take this text, or success.
std::error_code refuse(const Matcher* matcher, std::size_t textLength) {
  if (matcher == nullptr) return errc::bad_pattern;
  if (!FitsIcu(textLength)) return errc::text_too_long;
  return {};
}

}  // namespace

std::u16string group_result::str() const { return textOf(impl, start, end); }

std::u16string regex_result::str() const { return textOf(impl, start, end); }

// --- regex

regex::regex() noexcept = default;
regex::regex(const std::u16string& pattern, constants::syntax_option_type options) { init(pattern, options); }
regex::regex(const_iterator first, const_iterator last, constants::syntax_option_type options) {
  init(first, last, options);
}
regex::regex(regex&&) noexcept = default;
regex& regex::operator=(regex&&) noexcept = default;
regex::~regex() = default;

void regex::init(const std::u16string& pattern, constants::syntax_option_type options) {
  auto fresh = std::make_unique<details::regex_impl_icu>();
  impl_ = std::move(fresh);
  impl_->matcher = createMatcher(pattern, options);
  if (impl_->matcher == nullptr) impl_->status = errc::bad_pattern;
}

void regex::init(const_iterator first, const_iterator last, constants::syntax_option_type options) {
  init(std::u16string(first, last), options);
}

void regex::reset(const std::u16string& subject) {
  Matcher* matcher = impl_ ? impl_->get() : nullptr;
  if (matcher == nullptr) return;
  if (FitsIcu(subject.size())) {
    impl_->subject.setTo(subject.data(), static_cast<std::int32_t>(subject.size()));
    impl_->status.clear();
  } else {
    // Nothing of it can be matched: the walk finds nothing and says why.
    impl_->subject.remove();
    impl_->status = errc::text_too_long;
  }
  matcher->icu().reset(impl_->subject);
}

void regex::reset(const_iterator first, const_iterator last) { reset(std::u16string(first, last)); }

regex_result regex::match() {
  Matcher* matcher = impl_ ? impl_->get() : nullptr;
  if (matcher == nullptr) return noMatch();
  // A text too long for ICU stays a failure for the whole walk.
  if (impl_->status == errc::text_too_long) return noMatch();
  icu::RegexMatcher& icu = matcher->icu();
  UErrorCode status = U_ZERO_ERROR;
  const bool found = matcher->find(status);
  impl_->status = ErrorFromIcu(status);
  if (!found || U_FAILURE(status)) return noMatch();

  regex_result result;
  result.impl = impl_.get();
  const std::int32_t start = icu.start(status);
  if (U_FAILURE(status)) return result;
  result.start = fromIcu(start);
  const std::int32_t end = icu.end(status);
  result.end = U_FAILURE(status) ? npos : fromIcu(end);

  const std::int32_t groupCount = icu.groupCount();
  result.groups.reserve(static_cast<std::size_t>(groupCount) + 1);
  for (std::int32_t i = 0; i <= groupCount; ++i) {
    UErrorCode groupStatus = U_ZERO_ERROR;
    const std::int32_t groupStart = icu.start(i, groupStatus);
    const std::int32_t groupEnd = icu.end(i, groupStatus);
    const bool ok = U_SUCCESS(groupStatus);
    result.groups.push_back({ok ? fromIcu(groupStart) : npos, ok ? fromIcu(groupEnd) : npos, impl_.get()});
  }
  return result;
}

std::u16string regex::str(unsigned pos, unsigned len) const { return impl_ ? impl_->substring(pos, len) : std::u16string(); }

std::error_code regex::status() const { return impl_ ? impl_->status : std::error_code(); }

void regex::setLimits(const match_limits& limits) {
  details::ValidateLimits(limits);
  Matcher* matcher = impl_ ? impl_->get() : nullptr;
  if (matcher == nullptr) return;
  matcher->setLimits(limits);
  // ICU has restarted the subject; keep pointing at the regex's own copy.
  matcher->icu().reset(impl_->subject);
}

// --- regex_iterator

regex_iterator::regex_iterator(const std::u16string& subject, regex& re) : regex_(&re) {
  re.reset(subject);
  increment();
}

regex_iterator::regex_iterator(regex::const_iterator first, regex::const_iterator last, regex& re) : regex_(&re) {
  re.reset(first, last);
  increment();
}

void regex_iterator::increment() {
  if (regex_ == nullptr) return;
  result_ = regex_->match();
  // Once at the end, stay there without asking the regex again.
  if (result_ == noMatch()) regex_ = nullptr;
}

// --- matcher handles

matcher_handle createMatcher(const std::u16string& pattern, constants::syntax_option_type options) {
  if (!FitsIcu(pattern.size())) return nullptr;
  const icu::UnicodeString text(pattern.data(), static_cast<std::int32_t>(pattern.size()));
  UErrorCode status = U_ZERO_ERROR;
  auto matcher = std::make_unique<Matcher>(text, options, status);
  // A pattern that does not compile is no error for the caller: the null
  // handle never matches.
  if (U_FAILURE(status)) return nullptr;
  return matcher_handle(matcher.release());
}

matcher_handle createMatcher(regex::const_iterator first, regex::const_iterator last,
                             constants::syntax_option_type options) {
  return createMatcher(std::u16string(first, last), options);
}

// --- search

bool regexp_search(const char16_t* pattern, const char16_t* text, bool wholeMatch, std::error_code& ec) {
  if (pattern == nullptr || text == nullptr) {
    ec = pattern == nullptr ? errc::bad_pattern : std::error_code();
    return false;
  }
  UErrorCode status = U_ZERO_ERROR;
  // Always case-sensitive, whatever options other forms take.
  Matcher matcher(icu::UnicodeString(pattern), std::uint32_t{UREGEX_DOTALL}, status);
  if (U_FAILURE(status)) {
    ec = errc::bad_pattern;
    return false;
  }
  const icu::UnicodeString input(true, text, -1);  // read-only alias; outlives the matcher's use of it
  matcher.icu().reset(input);
  const bool found = wholeMatch ? matcher.matches(status) : matcher.findFromStart(status);
  ec = ErrorFromIcu(status);
  return U_SUCCESS(status) && found;
}

bool regexp_search(const char16_t* pattern, const char16_t* text, bool wholeMatch) {
  std::error_code ignored;
  return regexp_search(pattern, text, wholeMatch, ignored);
}

bool regexp_search(const matcher_handle& handle, const std::u16string& text, bool wholeMatch, std::error_code& ec) {
  Matcher* matcher = matcherOf(handle);
  ec = refuse(matcher, text.size());
  // An empty text never matches here, even for a pattern that matches "".
  if (ec || text.empty()) return false;
  matcher->resetToAlias(text.data(), static_cast<std::int32_t>(text.size()));
  UErrorCode status = U_ZERO_ERROR;
  const bool found = wholeMatch ? matcher->matches(status) : matcher->findFromStart(status);
  ec = ErrorFromIcu(status);
  return U_SUCCESS(status) && found;
}

bool regexp_search(const matcher_handle& handle, const std::u16string& text, bool wholeMatch) {
  std::error_code ignored;
  return regexp_search(handle, text, wholeMatch, ignored);
}

void regexp_search(regex& re, const std::u16string& text, match_list& out, std::error_code& ec) {
  out.clear();
  for (regex_iterator it(text, re), end; it != end; ++it) {
    std::vector<std::u16string> groups;
    if (it->size() > 1) groups.reserve(it->size() - 1);
    for (std::size_t i = 1; i < it->size(); ++i) groups.push_back((*it)[i].str());
    out.emplace_back(it->str(), std::move(groups));
  }
  ec = re.status();
  // A walk cut short by a failure is no list of the matches.
  if (ec) out.clear();
}

void regexp_search(regex& re, const std::u16string& text, match_list& out) {
  std::error_code ignored;
  regexp_search(re, text, out, ignored);
}

void regexp_search(const std::u16string& pattern, const std::u16string& text, match_list& out,
                   constants::syntax_option_type options, std::error_code& ec) {
  regex re(pattern, options);
  regexp_search(re, text, out, ec);
}

void regexp_search(const std::u16string& pattern, const std::u16string& text, match_list& out,
                   constants::syntax_option_type options) {
  std::error_code ignored;
  regexp_search(pattern, text, out, options, ignored);
}

// --- replace

std::u16string regexp_replace(const matcher_handle& handle, const std::u16string& text,
                              const std::u16string& replacement, std::error_code& ec) {
  Matcher* matcher = matcherOf(handle);
  ec = refuse(matcher, std::max(text.size(), replacement.size()));
  if (ec) return {};
  matcher->resetToAlias(text.data(), static_cast<std::int32_t>(text.size()));
  const icu::UnicodeString replacementText(false, replacement.data(), static_cast<std::int32_t>(replacement.size()));
  // ICU's replaceAll drops the status of its searches, so a search that
  // fails part-way would pass for the end of the matches; this loop keeps it.
  icu::RegexMatcher& icu = matcher->icu();
  icu::UnicodeString result;
  UErrorCode status = U_ZERO_ERROR;
  while (matcher->find(status) && U_SUCCESS(status)) {
    icu.appendReplacement(result, replacementText, status);
    if (U_FAILURE(status)) {
      // Whatever ICU objects to here lies in the replacement text.
      ec = status == U_MEMORY_ALLOCATION_ERROR ? make_error_code(errc::out_of_memory)
                                               : make_error_code(errc::bad_replacement);
      return {};
    }
  }
  if (U_SUCCESS(status)) icu.appendTail(result);
  ec = ErrorFromIcu(status);
  return ec ? std::u16string() : details::ToU16(result);
}

std::u16string regexp_replace(const matcher_handle& handle, const std::u16string& text,
                              const std::u16string& replacement) {
  std::error_code ignored;
  return regexp_replace(handle, text, replacement, ignored);
}

std::u16string regexp_replace(const std::u16string& pattern, const std::u16string& text,
                              const std::u16string& replacement, constants::syntax_option_type options,
                              std::error_code& ec) {
  return regexp_replace(createMatcher(pattern, options), text, replacement, ec);
}

std::u16string regexp_replace(const std::u16string& pattern, const std::u16string& text,
                              const std::u16string& replacement, constants::syntax_option_type options) {
  std::error_code ignored;
  return regexp_replace(pattern, text, replacement, options, ignored);
}

std::string regexp_replace(const std::string& pattern, const std::string& text, const std::string& replacement,
                           constants::syntax_option_type options, std::error_code& ec) {
  return ConvertUStringToStdString(regexp_replace(ConvertStdStringToUString(pattern, true),
                                                  ConvertStdStringToUString(text, true),
                                                  ConvertStdStringToUString(replacement, true), options, ec),
                                   true);
}

std::string regexp_replace(const std::string& pattern, const std::string& text, const std::string& replacement,
                           constants::syntax_option_type options) {
  std::error_code ignored;
  return regexp_replace(pattern, text, replacement, options, ignored);
}

std::u16string regexp_replace(const matcher_handle& handle, const std::u16string& text,
                              const replace_callback& replace, std::error_code& ec) {
  Matcher* matcher = matcherOf(handle);
  ec = replace ? refuse(matcher, text.size()) : make_error_code(errc::bad_replacement);
  if (ec) return {};
  matcher->resetToAlias(text.data(), static_cast<std::int32_t>(text.size()));
  icu::RegexMatcher& icu = matcher->icu();
  std::u16string out;
  out.reserve(text.size());
  std::size_t copied = 0;
  UErrorCode status = U_ZERO_ERROR;
  while (matcher->find(status) && U_SUCCESS(status)) {
    const auto start = static_cast<std::size_t>(icu.start(status));
    const auto end = static_cast<std::size_t>(icu.end(status));
    if (U_FAILURE(status)) break;
    out.append(text, copied, start - copied);
    bool stop = false;
    out += replace(text.substr(start, end - start), stop);
    copied = end;
    if (stop) break;
  }
  ec = ErrorFromIcu(status);
  if (ec) return {};
  out.append(text, copied, std::u16string::npos);
  return out;
}

std::u16string regexp_replace(const matcher_handle& handle, const std::u16string& text,
                              const replace_callback& replace) {
  std::error_code ignored;
  return regexp_replace(handle, text, replace, ignored);
}

std::u16string regexp_replace(const std::u16string& pattern, const std::u16string& text,
                              const replace_callback& replace, constants::syntax_option_type options,
                              std::error_code& ec) {
  return regexp_replace(createMatcher(pattern, options), text, replace, ec);
}

std::u16string regexp_replace(const std::u16string& pattern, const std::u16string& text,
                              const replace_callback& replace, constants::syntax_option_type options) {
  std::error_code ignored;
  return regexp_replace(pattern, text, replace, options, ignored);
}

}  // namespace qvsv::regexp
