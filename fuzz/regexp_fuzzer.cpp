// libFuzzer target: patterns, subjects and replacements through every form of
// the regular-expression facade under tight limits, and hotlink removal
// against the pattern it stands for.
#include <unicode/regex.h>

#include <chrono>
#include <system_error>

#include "fuzz/fuzz_support.hpp"
#include "qv_services/regexp.hpp"
#include "qv_services/renderings.hpp"

using namespace qvsv::regexp;
using qvsv::fuzz::Check;

// What hotlink removal must give: ICU with the anchor pattern, no limits.
bool removedByPattern(const std::u16string& text, std::u16string& out) {
  static const icu::UnicodeString pattern(
      u"<a\\s+href\\s*=\\s*\"tessel\\s*:[^\\\\\"]*(?:\\\\.[^\\\\\"]*)*\"\\s*>(.*?)</a>");
  UErrorCode status = U_ZERO_ERROR;
  icu::RegexMatcher matcher(pattern, UREGEX_CASE_INSENSITIVE | UREGEX_DOTALL, status);
  matcher.setStackLimit(0, status);
  const icu::UnicodeString input(false, text.data(), static_cast<std::int32_t>(text.size()));
  matcher.reset(input);
  const icu::UnicodeString result = matcher.replaceAll(u"$1", status);
  if (U_FAILURE(status)) return false;
  out.assign(result.getBuffer(), static_cast<std::size_t>(result.length()));
  return true;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Short limits keep runaway patterns from passing for hangs: each form
  // below stops within 50 ms.
  [[maybe_unused]] static const match_limits previous = setDefaultLimits({std::chrono::milliseconds(50), 1 << 20});

  FuzzedDataProvider in(data, size);
  const auto options = in.ConsumeBool() ? constants::icase : constants::normal;
  const std::u16string pattern = qvsv::fuzz::WideText(in, 64);
  const std::u16string replacement = qvsv::fuzz::WideText(in, 24);
  const std::u16string text = qvsv::fuzz::WideText(in, 4096);

  const matcher_handle handle = createMatcher(pattern, options);
  std::error_code searchStatus;
  const bool found = regexp_search(handle, text, false, searchStatus);
  Check(!(found && searchStatus) && (handle || searchStatus == errc::bad_pattern), "search status is wrong");

  // The pointer form is always case-sensitive and reads up to a NUL.
  if (options == constants::normal && !text.empty() && pattern.find(u'\0') == std::u16string::npos &&
      text.find(u'\0') == std::u16string::npos) {
    std::error_code pointerStatus;
    const bool pointerFound = regexp_search(pattern.c_str(), text.c_str(), false, pointerStatus);
    if (!pointerStatus && !searchStatus) Check(pointerFound == found, "pointer and handle forms disagree");
  }

  // The walk: positions inside the text and in order; found iff any match.
  regex re(pattern, options);
  std::size_t matches = 0;
  std::uint32_t lastEnd = 0;
  for (regex_iterator it(text, re), end; it != end && matches < 1000; ++it, ++matches) {
    Check(it->start <= it->end && it->end <= text.size() && it->start >= lastEnd,
          "match positions outside the text");
    Check(it->str() == text.substr(it->start, it->end - it->start), "match text differs from its positions");
    lastEnd = it->end;
  }
  // The handle form refuses an empty text, where the walk may find an empty match.
  if (!text.empty() && !re.status() && !searchStatus) Check((matches > 0) == found, "search and walk disagree");

  // A failure gives nothing; replacing every match by itself changes nothing.
  std::error_code status;
  const std::u16string replaced = regexp_replace(handle, text, replacement, status);
  Check(!status || replaced.empty(), "a failed replacement gave text");
  const std::u16string same = regexp_replace(handle, text, [](const std::u16string& m, bool&) { return m; }, status);
  Check(status ? same.empty() : same == text, "the identity replacement changed the text");
  match_list list;
  regexp_search(pattern, text, list, options, status);
  Check(!status || list.empty(), "a failed walk left matches");

  const std::u16string stripped = qvsv::removeHotLinks(text);
  Check(stripped.size() <= text.size(), "hotlink removal made the text longer");
  std::u16string expected;
  if (text.size() <= 1024 && removedByPattern(text, expected)) Check(stripped == expected, "hotlink removal differs");
  return 0;
}
