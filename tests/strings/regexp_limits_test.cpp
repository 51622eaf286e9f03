// Limits of the regular-expression matchers: a runaway or oversized match
// fails like any other failing match in every form, and the error_code forms
// tell that failure from a genuine no-match.

#include <cstdint>
#include <functional>
#include <system_error>

#include "qv_services/conversions.hpp"
#include "qv_services/regexp.hpp"
#include "tests/strings/strings_test.hpp"

namespace {

using namespace qvsv::regexp;
using namespace std::chrono_literals;

// Sets the process-wide limits for one test and restores them.
class ScopedDefaultLimits {
 public:
  explicit ScopedDefaultLimits(const match_limits& limits) : previous_(setDefaultLimits(limits)) {}
  ~ScopedDefaultLimits() { setDefaultLimits(previous_); }

 private:
  match_limits previous_;
};

// Forty "a" and a "b": about a day of backtracking without a limit.
const std::u16string kRunawayPattern = u"(a+)+$";
const std::u16string kRunawayText = std::u16string(40, u'a') + u"b";

// A loop that saves a backtrack state per unit, over a quarter million units,
// more than ICU's default stack; without limits it takes well under a second.
const std::u16string kStackPattern = u"<((?:a|b)*)>";
std::u16string stackText() { return u"<" + std::u16string(250'000, u'a') + u">"; }

std::u16string yesNo(bool b) { return b ? u"true" : u"false"; }
const replace_callback kBracket = [](const std::u16string& m, bool&) { return u"{" + m + u"}"; };

// One form of the facade, called with an error_code or (given null) without
// one; each gives a text that shows its result, and `failure` is what it
// gives for a failing match.
using Text = const std::u16string&;
using Status = std::error_code*;
struct Form {
  std::string name;
  std::u16string failure;
  std::function<std::u16string(Text, Text, Status)> run;
};

const Form kForms[] = {
    {"pointer_search", u"false", [](Text p, Text t, Status ec) {
       return yesNo(ec ? regexp_search(p.c_str(), t.c_str(), false, *ec) : regexp_search(p.c_str(), t.c_str(), false));
     }},
    {"handle_search", u"false", [](Text p, Text t, Status ec) {
       return yesNo(ec ? regexp_search(createMatcher(p), t, false, *ec) : regexp_search(createMatcher(p), t, false));
     }},
    {"handle_whole_match", u"false", [](Text p, Text t, Status ec) {
       return yesNo(ec ? regexp_search(createMatcher(p), t, true, *ec) : regexp_search(createMatcher(p), t, true));
     }},
    {"collect", u"", [](Text p, Text t, Status ec) {
       match_list out{{u"stale", {}}};
       ec ? regexp_search(p, t, out, constants::normal, *ec) : regexp_search(p, t, out);
       std::u16string shown;
       for (const auto& [whole, groups] : out) shown += u"[" + whole + u"]";
       return shown;
     }},
    {"regex_match", u"no match", [](Text p, Text t, Status ec) {
       regex re(p);
       re.reset(t);
       const regex_result r = re.match();
       if (ec) *ec = re.status();
       return r == regex_result() ? u"no match" : r.str();
     }},
    {"replace_text_handle", u"", [](Text p, Text t, Status ec) {
       return ec ? regexp_replace(createMatcher(p), t, u"<$1>", *ec) : regexp_replace(createMatcher(p), t, u"<$1>");
     }},
    {"replace_text_pattern", u"", [](Text p, Text t, Status ec) {
       return ec ? regexp_replace(p, t, u"<$1>", constants::normal, *ec) : regexp_replace(p, t, u"<$1>");
     }},
    {"replace_narrow", u"", [](Text p, Text t, Status ec) {
       const std::string np = ConvertUStringToStdString(p), nt = ConvertUStringToStdString(t), r = "<$1>";
       return ConvertStdStringToUString(ec ? regexp_replace(np, nt, r, constants::normal, *ec) : regexp_replace(np, nt, r));
     }},
    {"replace_callable", u"", [](Text p, Text t, Status ec) {
       return ec ? regexp_replace(p, t, kBracket, constants::normal, *ec) : regexp_replace(p, t, kBracket);
     }},
};

void PrintTo(const Form& form, std::ostream* os) { *os << form.name; }

class RegexpLimits : public ::testing::TestWithParam<Form> {};

struct Failure {
  const char* name;
  match_limits limits;
  std::u16string pattern;
  std::u16string text;
  errc status;
};

TEST_P(RegexpLimits, EveryFailureGivesTheFailureResultAndNamesItsCause) {
  // The stack case has no time limit, so that a slow machine cannot stop the
  // match before the stack runs out.
  std::vector<Failure> failures = {{"runaway", {20ms, match_limits{}.stack_bytes}, kRunawayPattern, kRunawayText,
                                    errc::time_limit},
                                   {"stack", {0ms, match_limits{}.stack_bytes}, kStackPattern, stackText(),
                                    errc::stack_limit}};
  for (const char16_t* pattern : {u"(", u"a)", u"[a-", u"*a", u"a{2,1}", u"\\", u"(?<n>a)\\k<m>"}) {
    failures.push_back({"bad pattern", match_limits{}, pattern, u"((( a [ b", errc::bad_pattern});
  }
  for (const Failure& f : failures) {
    SCOPED_TRACE(std::string(f.name) + " " + ConvertUStringToStdString(f.pattern));
    const ScopedDefaultLimits limits(f.limits);
    std::error_code ec = errc::engine_failure;
    EXPECT_EQ(GetParam().run(f.pattern, f.text, &ec), GetParam().failure);
    EXPECT_EQ(ec, f.status) << ec.message();
    EXPECT_EQ(GetParam().run(f.pattern, f.text, nullptr), GetParam().failure);
  }
}

TEST_P(RegexpLimits, LargerStackAndGenuineNoMatchClearTheStatus) {
  std::error_code ec = errc::engine_failure;
  const std::u16string noMatch = GetParam().run(kRunawayPattern, u"bbbb", &ec);
  EXPECT_FALSE(ec) << ec.message();
  EXPECT_EQ(noMatch, GetParam().run(kRunawayPattern, u"bbbb", nullptr));
  const ScopedDefaultLimits roomy({0ms, 0});
  ec = errc::engine_failure;
  EXPECT_NE(GetParam().run(kStackPattern, stackText(), &ec), GetParam().failure);
  EXPECT_FALSE(ec) << ec.message();
}

INSTANTIATE_TEST_SUITE_P(Regexp, RegexpLimits, ::testing::ValuesIn(kForms), qvsv::test::RowName());

TEST(RegexpLimitsApi, MatchersTakeTheDefaultsWhenMadeAndKeepTheirOwn) {
  const match_limits custom{250ms, 1 << 20};
  matcher_handle before = createMatcher(u"a");
  {
    const ScopedDefaultLimits scoped(custom);
    EXPECT_EQ(defaultLimits(), custom);
    EXPECT_EQ(limitsOf(createMatcher(u"a")), custom);
    EXPECT_EQ(limitsOf(before), match_limits{});
    EXPECT_EQ(limitsOf(nullptr), custom) << "a null handle reports the defaults";
  }
  setLimits(before, custom);
  EXPECT_EQ(limitsOf(before), custom);
  EXPECT_EQ(defaultLimits(), match_limits{});
}

TEST(RegexpLimitsApi, BadLimitsThrowNamingTheValueAndChangeNothing) {
  const auto refused = [](const std::function<void()>& call, const std::string& value) {
    EXPECT_THAT(call, ThrowsMessage<std::invalid_argument>(HasSubstr(value)));
  };
  refused([] { setDefaultLimits({-5ms, 0}); }, "-5");
  refused([] { setDefaultLimits({1ms, std::size_t{1} << 31}); }, "2147483648");
  refused([] { setLimits(createMatcher(u"a"), {-1ms, 0}); }, "-1");
  refused([] { regex(u"a").setLimits({-7ms, 0}); }, "-7");
  EXPECT_EQ(defaultLimits(), match_limits{});
  const ScopedDefaultLimits largest({1ms, std::size_t{INT32_MAX}});
  EXPECT_EQ(defaultLimits().stack_bytes, std::size_t{INT32_MAX}) << "the largest stack is taken";
}

// A handle's or a regex's own limits override the defaults; a regex's status
// is that of its last walk.
TEST(RegexpStatus, OwnLimitsOverrideTheDefaultsAndStatusFollowsTheLastWalk) {
  const matcher_handle runaway = createMatcher(kRunawayPattern);
  setLimits(runaway, {10ms, match_limits{}.stack_bytes});
  std::error_code ec;
  EXPECT_FALSE(regexp_search(runaway, kRunawayText, false, ec));
  EXPECT_EQ(ec, errc::time_limit);
  regex roomy(kStackPattern);
  roomy.setLimits({0ms, 0});
  roomy.reset(stackText());
  EXPECT_EQ(roomy.match().length(), 250'002u);
  EXPECT_FALSE(roomy.status());

  regex bad(u"[");
  bad.reset(u"[[");
  EXPECT_EQ(bad.status(), errc::bad_pattern);
  EXPECT_FALSE(regex().status());
  regex re(kRunawayPattern);
  re.setLimits({10ms, match_limits{}.stack_bytes});
  re.reset(kRunawayText);
  EXPECT_EQ(re.match(), regex_result());
  EXPECT_EQ(re.status(), errc::time_limit);
  re.reset(u"xaay");
  EXPECT_EQ(re.match(), regex_result());
  EXPECT_FALSE(re.status());
  re.reset(u"aa");
  EXPECT_EQ(re.match().str(), u"aa");
  EXPECT_FALSE(re.status());
}

TEST(RegexpStatus, ReplacementFailuresNameTheReplacement) {
  std::error_code ec;
  EXPECT_EQ(regexp_replace(u"(a)", u"xax", u"$2", constants::normal, ec), u"");
  EXPECT_EQ(ec, errc::bad_replacement) << ec.message();
  EXPECT_EQ(regexp_replace(u"(a)", u"xax", u"${nope}", constants::normal, ec), u"");
  EXPECT_EQ(ec, errc::bad_replacement);
  EXPECT_EQ(regexp_replace(u"(a)", u"xax", replace_callback(), constants::normal, ec), u"");
  EXPECT_EQ(ec, errc::bad_replacement);
  EXPECT_EQ(regexp_replace(u"(a)", u"xax", u"[$1]", constants::normal, ec), u"x[a]x");
  EXPECT_FALSE(ec);
}

TEST(RegexpStatus, MessagesNameEveryFailure) {
  for (int value = static_cast<int>(errc::bad_pattern); value <= static_cast<int>(errc::engine_failure); ++value) {
    const std::error_code ec(value, error_category());
    EXPECT_FALSE(ec.message().empty());
    EXPECT_EQ(ec.message().find("unknown"), std::string::npos) << value;
  }
  EXPECT_STREQ(error_category().name(), "qvsv.regexp");
}

}  // namespace
