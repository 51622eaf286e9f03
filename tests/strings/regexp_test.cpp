#include <tuple>

#include "qv_services/regexp.hpp"
#include "tests/strings/strings_test.hpp"

namespace {

using namespace qvsv::regexp;

constexpr auto kIcase = constants::icase;

match_list collect(const std::u16string& pattern, const std::u16string& text,
                   constants::syntax_option_type options = constants::normal) {
  match_list out{{u"stale", {}}};
  regexp_search(pattern, text, out, options);
  return out;
}

std::tuple<std::u16string, std::vector<std::u16string>> hit(std::u16string whole, std::vector<std::u16string> groups) {
  return {std::move(whole), std::move(groups)};
}

const auto kDash = [](const std::u16string&, bool&) { return std::u16string(u"-"); };

// Options: the dot matches line ends in every form; bit zero is the case
// option, which the pointer form ignores; folding is full.
TEST(RegexpSearch, DotMatchesLineEndsAndOnlyBitZeroFoldsCaseFully) {
  EXPECT_TRUE(regexp_search(u"a.b", u"a\nb", true));
  EXPECT_TRUE(regexp_search(createMatcher(u"a.b"), u"a\rb", true));
  EXPECT_THAT(collect(u"<.*>", u"<x\ny>"), ElementsAre(hit(u"<x\ny>", {})));
  EXPECT_EQ(regexp_replace(u"a.", u"a\nb", u"-"), u"-b");
  EXPECT_FALSE(regexp_search(u"abc", u"xABCx", false));
  EXPECT_TRUE(regexp_search(createMatcher(u"abc", kIcase), u"xABCx", false));
  EXPECT_FALSE(regexp_search(createMatcher(u"abc", static_cast<constants::syntax_option_type>(2)), u"ABC", true));
  EXPECT_TRUE(regexp_search(createMatcher(u"abc", static_cast<constants::syntax_option_type>(3)), u"ABC", true));
  EXPECT_TRUE(regexp_search(createMatcher(u"stra\u00DFe", kIcase), u"STRASSE", true));
}

// A handle serves many texts; whole match needs the whole text; the handle
// form refuses an empty text that the pointer form matches, and null is no
// match.
TEST(RegexpSearch, WholeMatchNeedsTheWholeTextAndOnlyThePointerFormMatchesEmptyText) {
  const matcher_handle digits = createMatcher(u"[0-9]+");
  for (int round = 0; round < 2; ++round) {
    EXPECT_TRUE(regexp_search(digits, u"123", true));
    EXPECT_FALSE(regexp_search(digits, u"123a", true));
    EXPECT_TRUE(regexp_search(digits, u"a123", false));
  }
  EXPECT_FALSE(regexp_search(u"[0-9]+", u"a123", true));
  EXPECT_FALSE(regexp_search(createMatcher(u"^$"), u"", true));
  EXPECT_FALSE(regexp_search(createMatcher(u"x*"), u"", false));
  EXPECT_TRUE(regexp_search(u"^$", u"", true));
  EXPECT_TRUE(regexp_search(u"x*", u"", false));
  EXPECT_FALSE(regexp_search(nullptr, u"abc", false));
  EXPECT_FALSE(regexp_search(u"abc", nullptr, false));
}

// Every form's failure result for a bad pattern is in regexp_limits_test.cpp;
// these are the parts of a regex that hold no match.
TEST(RegexpSearch, BadPatternHasNoMatcherAndARegexWithNothingInIt) {
  EXPECT_EQ(createMatcher(u"(a"), nullptr);
  regex re(u"(a");
  re.reset(u"a ( b");
  EXPECT_EQ(re.match().start, npos);
  EXPECT_EQ(regex_iterator(u"((( a [ b", re), regex_iterator());
  EXPECT_EQ(re.str(0, 3), u"");
}

// Start, end and text of the whole match and of each group.
using Groups = std::vector<std::tuple<std::uint32_t, std::uint32_t, std::u16string>>;
Groups groupsOf(const regex_result& m) {
  Groups out;
  for (std::size_t i = 0; i < m.size(); ++i) out.emplace_back(m[i].start, m[i].end, m[i].str());
  return out;
}

// Positions count UTF-16 code units; a group that did not take part is npos
// with empty text.
TEST(Regex, ResultHoldsTheWholeMatchAndEveryGroup) {
  regex re(u"(\\w+)@(\\w+)");
  re.reset(u"mail \U0001F600me@host now");
  const regex_result m = re.match();
  EXPECT_EQ(groupsOf(m), (Groups{{7, 14, u"me@host"}, {7, 9, u"me"}, {10, 14, u"host"}}));
  EXPECT_EQ(m.position() + m.length(), 14u);
  EXPECT_EQ(m.str(), u"me@host");
  EXPECT_EQ(re.match(), regex_result()) << "one match only";
  EXPECT_EQ(re.str(10, 100), u"host now") << "clipped to the subject";
  EXPECT_EQ(re.str(0xFFFFFFFFu, 1), u"");
  regex alternatives(u"(a)|(b)");
  alternatives.reset(u"b");
  EXPECT_EQ(groupsOf(alternatives.match()), (Groups{{0, 1, u"b"}, {npos, npos, u""}, {0, 1, u"b"}}));
  EXPECT_THAT(collect(u"(a)|(b)", u"ab"), ElementsAre(hit(u"a", {u"a", u""}), hit(u"b", {u"", u"b"})));
  EXPECT_THAT(collect(u"\\d", u"1 2"), ElementsAre(hit(u"1", {}), hit(u"2", {})));
}

// reset restarts on its own copy of the subject; a regex can be made from a
// range and moved.
TEST(Regex, ResetRestartsOnItsOwnCopyAndAMovedRegexKeepsWorking) {
  const std::u16string source = u"([b0-9])";
  regex moved(source.begin() + 1, source.end() - 1, kIcase);
  regex re = std::move(moved);
  EXPECT_EQ(moved.match(), regex_result());
  {
    std::u16string subject = u"aB2";
    re.reset(subject);
    subject.assign(u"zzzz");
  }
  EXPECT_EQ(re.match().str(), u"B");
  re.reset(u"9");
  EXPECT_EQ(re.match().str(), u"9");
  EXPECT_EQ(re.match(), regex_result());
}

TEST(Regex, IteratorVisitsEveryMatchIncludingEmptyOnesThenStaysAtTheEnd) {
  regex re(u"x*");
  std::vector<std::pair<std::uint32_t, std::u16string>> seen;
  const std::u16string text = u"axxb";
  regex_iterator it(text.begin(), text.end(), re);
  for (const regex_iterator end; it != end; ++it) seen.emplace_back(it->position(), it->str());
  using P = std::pair<std::uint32_t, std::u16string>;
  EXPECT_THAT(seen, ElementsAre(P{0, u""}, P{1, u"xx"}, P{3, u""}, P{4, u""}));
  ++it;
  EXPECT_EQ(it, regex_iterator());
}

struct ReplaceCase {
  const char* name;
  std::u16string pattern;
  std::u16string text;
  std::u16string replacement;
  std::u16string expected;
};

class RegexpReplace : public ::testing::TestWithParam<ReplaceCase> {};

TEST_P(RegexpReplace, PatternAndHandleFormsAgree) {
  const ReplaceCase& tc = GetParam();
  EXPECT_EQ(regexp_replace(tc.pattern, tc.text, tc.replacement), tc.expected);
  EXPECT_EQ(regexp_replace(createMatcher(tc.pattern), tc.text, tc.replacement), tc.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Regexp, RegexpReplace,
    ::testing::Values(ReplaceCase{"groups", u"(\\w+)@(\\w+)", u"me@host, you@there", u"$2 at $1", u"host at me, there at you"},
                      ReplaceCase{"escaped_dollar", u"\\d+", u"cost 5", u"\\$", u"cost $"},
                      ReplaceCase{"no_match_keeps_text", u"z", u"abc", u"-", u"abc"},
                      ReplaceCase{"empty_matches", u"x*", u"axb", u"-", u"-a--b-"},
                      ReplaceCase{"empty_text", u"x*", u"", u"-", u"-"},
                      ReplaceCase{"missing_group_is_a_failure", u"(a)", u"a", u"$2", u""},
                      ReplaceCase{"trailing_backslash_is_a_failure", u"a", u"a", u"\\", u""}),
    qvsv::test::RowName());

TEST(RegexpReplaceCallable, CalledOncePerMatchInOrderAndInsertedLiterally) {
  std::vector<std::u16string> calls;
  const std::u16string out = regexp_replace(u"\\d+", u"a1b22c333", [&](const std::u16string& m, bool&) {
    calls.push_back(m);
    return u"$" + std::u16string(m.size(), u'#');
  });
  EXPECT_EQ(out, u"a$#b$##c$###");
  EXPECT_THAT(calls, ElementsAre(u"1", u"22", u"333"));
  for (const char16_t* text : {u"", u"axb", u"xx", u"\U0001F600x"}) {
    EXPECT_EQ(regexp_replace(u"x*", text, kDash), regexp_replace(u"x*", text, u"-")) << "empty matches as ICU";
  }
  EXPECT_EQ(regexp_replace(createMatcher(u"b"), u"abc", replace_callback()), u"");
}

TEST(RegexpReplaceCallable, StopFlagKeepsTheRestOfTheText) {
  int calls = 0;
  const auto upToSecond = [&](const std::u16string& m, bool& stop) {
    EXPECT_FALSE(stop) << "the flag starts false at every call";
    stop = ++calls == 2;
    return u"<" + m + u">";
  };
  EXPECT_EQ(regexp_replace(u"\\d", u"1 2 3 4", upToSecond, kIcase), u"<1> <2> 3 4");
  EXPECT_EQ(calls, 2);
}

TEST(RegexpReplaceNarrow, ReadsAndWritesUtf8) {
  EXPECT_EQ(regexp_replace(std::string("(\\w)\xC3\xA9"), std::string("caf\xC3\xA9 th\xC3\xA9"), std::string("$1e")),
            "cafe the");
  EXPECT_EQ(regexp_replace(std::string("A."), std::string("a\xF0\x9F\x98\x80"), std::string("x"), kIcase), "x")
      << "one code point, whatever its length in UTF-8";
}

}  // namespace
