// Hotlink removal by scanning against the pattern it stands for, and on the
// texts that made the pattern take quadratic time.
#include <gtest/gtest.h>
#include <unicode/regex.h>

#include <random>
#include <string>
#include <vector>

#include "qv_services/conversions.hpp"
#include "qv_services/renderings.hpp"
#include "tests/support/test_support.hpp"

namespace {

// What the removal must give: ICU with the anchor pattern, without limits.
std::u16string removeByPattern(const std::u16string& text) {
  static const icu::UnicodeString pattern(
      u"<a\\s+href\\s*=\\s*\"tessel\\s*:[^\\\\\"]*(?:\\\\.[^\\\\\"]*)*\"\\s*>(.*?)</a>");
  UErrorCode status = U_ZERO_ERROR;
  icu::RegexMatcher matcher(pattern, UREGEX_CASE_INSENSITIVE | UREGEX_DOTALL, status);
  matcher.setStackLimit(0, status);
  const icu::UnicodeString input(false, text.data(), static_cast<std::int32_t>(text.size()));
  matcher.reset(input);
  const icu::UnicodeString result = matcher.replaceAll(u"$1", status);
  EXPECT_TRUE(U_SUCCESS(status)) << u_errorName(status);
  return std::u16string(result.getBuffer(), static_cast<std::size_t>(result.length()));
}

// Random texts: anchors assembled from alternatives for each of their parts
// (case, full case folding, Unicode white space, escapes, and near misses
// such as a missing space or a wrong scheme), between runs of loose pieces.
class TextMaker {
 public:
  explicit TextMaker(std::uint32_t seed) : rng_(seed) {}

  std::u16string text() {
    std::u16string out;
    for (std::size_t n = upTo(4); n > 0; --n) {
      out += loose(upTo(3));
      out += anchor();
    }
    return out + loose(upTo(3));
  }

 private:
  std::size_t upTo(std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n)(rng_); }
  const std::u16string& oneOf(const std::vector<std::u16string>& choices) { return choices[upTo(choices.size() - 1)]; }
  std::u16string spaces(std::size_t atLeast) {
    static const std::vector<std::u16string> kSpaces = {u" ", u"\t", u"\n", u"\u00A0", u"\u0085", u"\u000B",
                                                        u"\u2028", u"\u200B"};
    std::u16string out;
    for (std::size_t n = atLeast + upTo(2); n > 0; --n) out += oneOf(kSpaces);
    return out;
  }
  std::u16string loose(std::size_t count) {
    static const std::vector<std::u16string> kLoose = {
        u"x", u"<", u">", u"/", u"a", u"\"", u"\\", u"</a>", u"</A>", u"</", u"<a", u" ", u"\U0001F600",
        u"\xD800", u"\u212A", u"\u00DF", u"s"};
    std::u16string out;
    for (; count > 0; --count) out += oneOf(kLoose);
    return out;
  }
  std::u16string anchor() {
    static const std::vector<std::u16string> kOpen = {u"<a", u"<A", u"<a", u"<b", u"<\u00E1"};
    static const std::vector<std::u16string> kHref = {u"href", u"HREF", u"hReF", u"hre"};
    static const std::vector<std::u16string> kScheme = {u"tessel", u"TESSEL", u"te\u00DFel", u"tes\u017Fel",
                                                        u"te\u1E9Eel", u"tess", u"http"};
    static const std::vector<std::u16string> kRef = {u"x", u"\\\"", u"\\\\", u"\\", u" ", u"<", u">",
                                                     u"\\\xD83D\xDE00", u"\U0001F600", u"\"", u"'"};
    static const std::vector<std::u16string> kClose = {u"</a>", u"</A>", u"</a>", u"", u"</", u"</a"};
    std::u16string out = oneOf(kOpen) + spaces(upTo(5) == 0 ? 0 : 1) + oneOf(kHref) + spaces(0) +
                         (upTo(9) == 0 ? u":" : u"=") + spaces(0) + u"\"" + oneOf(kScheme) + spaces(0) +
                         (upTo(9) == 0 ? u"=" : u":");
    for (std::size_t n = upTo(3); n > 0; --n) out += oneOf(kRef);
    out += (upTo(9) == 0 ? u"" : u"\"") + spaces(0) + (upTo(9) == 0 ? u"" : u">");
    return out + loose(upTo(3)) + oneOf(kClose);
  }

  std::mt19937 rng_;
};

TEST(HotlinkRemoval, ScanGivesWhatThePatternGivesOnRandomTexts) {
  TextMaker maker(20251123);
  std::size_t changed = 0;
  const std::size_t rounds = qvsv::test::Scaled(40000, 2000);
  for (std::size_t round = 0; round < rounds; ++round) {
    const std::u16string text = maker.text();
    const std::u16string expected = removeByPattern(text);
    ASSERT_EQ(qvsv::removeHotLinks(text), expected) << ::testing::PrintToString(text);
    if (expected != text) ++changed;
  }
  // The comparison means something only if many texts hold anchors.
  EXPECT_GT(changed, rounds / 20);
}

// Cases the random texts reach only rarely; the narrow form must agree.
TEST(HotlinkRemoval, RareShapesMatchThePatternInWideAndUtf8Text) {
  const std::pair<std::u16string, std::u16string> cases[] = {
      {u"<a href=\"tessel:say(\\\"hi\\\")\">say</a>!", u"say!"},
      {u"<a href=\"tessel:a\">one</a>,<a href=\"tessel:b\">t\nwo</a>", u"one,t\nwo"},
      {u"<a href=\"tessel:x\">a <a href=\"tessel:y\">b</a>!", u"a <a href=\"tessel:y\">b!"},
      {u"<a href=\"TE\u00DFEL:x\">\U0001F600</a>", u"\U0001F600"},
      {u"<a href=\"tessel:\\\">\">q</a>", u"q"},
      {u"[<a href=\"tessel:x\"></a>]", u"[]"}};
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(removeByPattern(text), expected) << "the case itself follows the pattern";
    EXPECT_EQ(qvsv::removeHotLinks(text), expected);
    EXPECT_EQ(qvsv::removeHotLinks(ConvertUStringToStdString(text)), ConvertUStringToStdString(expected));
  }
}

// 20,000 unclosed anchors: the pattern looked for "</a>" to the end of the
// text from each of them (about 520 KB here; minutes with the pattern).
TEST(HotlinkRemoval, ManyUnclosedAnchorsAreKeptInOnePass) {
  const std::u16string opening = u"<a href=\"tessel:x\">";
  std::u16string text;
  const std::size_t anchors = qvsv::test::Scaled(20000, 2000);
  for (std::size_t i = 0; i < anchors; ++i) text += opening + u"unclosed";
  text += u"<a href=\"tessel:y\">closed</a>";
  // The first anchor's body runs to the only "</a>" and takes in the rest.
  EXPECT_EQ(qvsv::removeHotLinks(text), text.substr(opening.size(), text.size() - opening.size() - 4));
}

// A body of a million units is past ICU's default backtrack stack; the scan
// has none, so the anchor goes rather than the text coming back unchanged.
TEST(HotlinkRemoval, HugeBodyIsRemovedWhereThePatternWouldRunOutOfStack) {
  const std::u16string body(1'000'000, u'b');
  EXPECT_EQ(qvsv::removeHotLinks(u"<a href=\"tessel:x\">" + body + u"</a>."), body + u".");
  const std::string narrow = "<A HREF=\"tessel:x\">" + std::string(1000, 'n') + "</A>";
  EXPECT_EQ(qvsv::removeHotLinks(narrow), std::string(1000, 'n'));
}

}  // namespace
