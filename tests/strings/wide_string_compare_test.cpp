#include <climits>
#include <memory>

#include "qv_services/wide_string.hpp"
#include "tessel/foundation.hpp"
#include "tessel/ut.hpp"
#include "tests/strings/strings_test.hpp"

namespace {

constexpr unsigned kAll = UINT_MAX;

// The whitespace-insensitive families give the exact difference a[i] - b[i],
// so rows hold exact values. n = kAll selects the unlimited form.
struct WsRow {
  const char* name;
  std::u16string a;
  std::u16string b;
  unsigned n;
  int ws;   // qvsvStrcmpWS / qvsvStrncmpWS
  int iws;  // qvsvStrcmpiWS / qvsvStrncmpiWS
};

class WhitespaceInsensitive : public ::testing::TestWithParam<WsRow> {};

TEST_P(WhitespaceInsensitive, WideFamilies) {
  const WsRow& row = GetParam();
  if (row.n == kAll) {
    EXPECT_EQ(qvsvStrcmpWS(row.a.c_str(), row.b.c_str()), row.ws);
    EXPECT_EQ(qvsvStrcmpiWS(row.a.c_str(), row.b.c_str()), row.iws);
  }
  EXPECT_EQ(qvsvStrncmpWS(row.a.c_str(), row.b.c_str(), row.n), row.ws);
  EXPECT_EQ(qvsvStrncmpiWS(row.a.c_str(), row.b.c_str(), row.n), row.iws);
}

INSTANTIATE_TEST_SUITE_P(
    WideString, WhitespaceInsensitive,
    ::testing::Values(
        WsRow{"tab_matches_blank", u"a\tb", u"a b", kAll, 0, 0},
        WsRow{"unicode_spaces_match_one_for_one", u"a\u00A0\u2003b", u"a\n\u3000b", kAll, 0, 0},
        WsRow{"runs_are_not_collapsed", u"a  b", u"a b", kAll, ' ' - 'b', ' ' - 'b'},
        WsRow{"space_never_matches_missing", u"ab ", u"ab", kAll, ' ', ' '},
        WsRow{"missing_never_matches_space", u"a", u"a\t", kAll, -'\t', -'\t'},
        WsRow{"case_and_space_together", u"A\nB", u"a b", kAll, 'A' - 'a', 0},
        WsRow{"folding_beyond_ascii", u"\u00C4\u03A3x", u"\u00E4\u03C2x", kAll, 0xC4 - 0xE4, 0},
        WsRow{"sign_follows_unfolded_units", u"B", u"a", kAll, 'B' - 'a', 'B' - 'a'},
        WsRow{"units_are_unsigned", u"\uFFFF", u"a", kAll, 0xFFFF - 'a', 0xFFFF - 'a'},
        WsRow{"zero_width_space_is_not_whitespace", u"a\u200Bb", u"a b", kAll, 0x200B - ' ', 0x200B - ' '},
        WsRow{"n_zero_is_always_equal", u"a", u"b", 0, 0, 0},
        WsRow{"n_stops_before_difference", u"a bX", u"a\tbY", 3, 0, 0},
        WsRow{"n_reaches_difference", u"a bX", u"a\tbY", 4, 'X' - 'Y', 'X' - 'Y'},
        WsRow{"n_beyond_shorter_end", u"ab", u"abc", 100, -'c', -'c'}),
    qvsv::test::RowName());

TEST(WhitespaceInsensitive, NullIsEmpty) {
  EXPECT_EQ(qvsvStrcmpWS(static_cast<const char16_t*>(nullptr), u""), 0);
  EXPECT_EQ(qvsvStrcmpiWS(u"a", nullptr), 'a');
  EXPECT_EQ(qvsvStrncmpWS(nullptr, static_cast<const char16_t*>(nullptr), 5), 0);
  EXPECT_EQ(qvsvStrcmpWS(static_cast<const char*>(nullptr), "x"), -'x');
  EXPECT_EQ(qvsvStrncmpWS("", static_cast<const char*>(nullptr), 3), 0);
}

// The narrow forms use C's isspace and compare signed chars.
TEST(WhitespaceInsensitive, NarrowFormsUseCIsspaceAndSignedChars) {
  const struct {
    const char* a;
    const char* b;
    unsigned n;
    int expected;
  } rows[] = {{"a\t\v\fb", "a\r\n b", kAll, 0}, {"a  b", "a b", kAll, ' ' - 'b'}, {"\xE9", "e", kAll, -23 - 'e'},
              {"a\xC2\xA0", "a  ", kAll, -62 - ' '}, {"ab c", "ab\td", 3, 0},          {"x", "y", 0, 0}};
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.a) + " | " + row.b);
    if (row.n == kAll) {
      EXPECT_EQ(qvsvStrcmpWS(row.a, row.b), row.expected);
    }
    EXPECT_EQ(qvsvStrncmpWS(row.a, row.b, row.n), row.expected);
  }
}

TEST(CodeUnitComparison, NullIsEmptyHugeCountsMeanNoLimitAndFoldingIsFull) {
  EXPECT_EQ(qvsvStrcmp(nullptr, u""), 0);
  EXPECT_GT(qvsvStrcmp(u"\uFFFF", u"\U0001F600"), 0) << "code-unit order, not code-point order";
  EXPECT_EQ(qvsvStrncmp(u"abc", u"abd", 2), 0);
  EXPECT_LT(qvsvStrncmp(u"abc", u"abd", kAll), 0);
  EXPECT_EQ(qvsvStrncmpi(u"ABCx", u"abcy", 3), 0);
  EXPECT_LT(qvsvStrncmpi(u"ABCx", u"abcy", kAll), 0);
  EXPECT_EQ(qvsvStrcmpi(u"STRASSE", u"stra\u00DFe"), 0);
  EXPECT_EQ(qvsvStrcmpi(u"\u039C\u0391\u03A3", u"\u03BC\u03B1\u03C2"), 0);
}

// The collator belongs to the process: it is made afresh for each locale
// here, and one for the default locale is left behind.
TEST(Collation, IgnoresCaseAndAccentsGivesOneForOrderAndFollowsTheGlobalLocale) {
  {
    const tessel::ScopedGlobalLocale english("en_US");
    qvsvResetCollatorForTesting();
    EXPECT_EQ(qvsvStrcmp_Collation(u"role", u"R\u00F4le"), 0);
    EXPECT_EQ(qvsvStrcmp_Collation(u"\u00C5ngstr\u00F6m", u"angstrom"), 0);
    EXPECT_EQ(qvsvStrcmp_Collation(nullptr, u""), 0);
    EXPECT_EQ(qvsvStrcmp_Collation(u"apple", u"Banana"), -1);
    EXPECT_EQ(qvsvStrcmp_Collation(u"Banana", u"apple"), 1);
    EXPECT_EQ(qvsvStrcmp_Collation(u"\u00E4", u"z"), -1);
    const tessel::ScopedGlobalLocale swedish("sv_SE");
    qvsvResetCollatorForTesting();
    EXPECT_EQ(qvsvStrcmp_Collation(u"\u00E4", u"z"), 1) << "Swedish sorts \u00E4 after z";
    EXPECT_NE(qvsvStrcmp_Collation(u"\u00E4", u"a"), 0) << "and treats it as a letter of its own";
  }
  qvsvResetCollatorForTesting();
}

// A utMalloc block that frees itself.
using HostBlock = std::unique_ptr<char16_t, decltype(&utFree)>;
HostBlock owned(char16_t* p) { return HostBlock(p, &utFree); }

TEST(Duplicate, CopiesUpToTheTerminatorOrNIntoHostBlocksOfTheRightSize) {
  std::vector<std::size_t> sizes;
  tessel::ScopedAllocationFailure watch([&](std::size_t size) {
    sizes.push_back(size);
    return false;
  });
  EXPECT_EQ(std::u16string(owned(qvsvStrdup(u"ab\U0001F600")).get()), u"ab\U0001F600");
  EXPECT_EQ(std::u16string(owned(qvsvStrndup(u"abcdef", 2)).get()), u"ab");
  EXPECT_EQ(std::u16string(owned(qvsvStrndup(u"abc", 10)).get()), u"abc");
  // Not terminated within its two units: nothing past them may be read.
  const char16_t unterminated[2] = {u'x', u'y'};
  EXPECT_EQ(std::u16string(owned(qvsvStrndup(unterminated, 2)).get()), u"xy");
  EXPECT_EQ(sizes, (std::vector<std::size_t>{2 * 5, 2 * 3, 2 * 4, 2 * 3}));
}

TEST(Duplicate, NullSourceOrFailingAllocatorGivesNull) {
  EXPECT_EQ(qvsvStrdup(nullptr), nullptr);
  EXPECT_EQ(qvsvStrndup(nullptr, 3), nullptr);
  tessel::ScopedAllocationFailure failing;
  EXPECT_EQ(qvsvStrdup(u"abc"), nullptr);
  EXPECT_EQ(qvsvStrndup(u"abc", 2), nullptr);
}

TEST(Copy, NullSourceCopiesEmptyNullDestinationIsLeftAloneAndNStopsTheCopy) {
  char16_t buf[8];
  std::fill(std::begin(buf), std::end(buf), u'#');
  EXPECT_EQ(qvsvStrncpy(buf, u"abcdef", 3), buf);
  EXPECT_EQ(std::u16string(buf, 4), u"abc#") << "not terminated when n is reached";
  EXPECT_EQ(qvsvStrcpy(buf, u"xy"), buf);
  EXPECT_EQ(std::u16string(buf), u"xy");
  qvsvStrcpy(buf, nullptr);
  EXPECT_EQ(buf[0], u'\0');
  EXPECT_EQ(qvsvStrncpy(nullptr, u"abc", 2), nullptr);
}

TEST(Search, FindsCharactersAndTextsWithNullAsEmpty) {
  const char16_t* text = u"a\U0001F600b";
  EXPECT_EQ(qvsvStrchr(text, u'b'), text + 3);
  EXPECT_EQ(qvsvStrchr(text, u'\0'), text + 4);
  EXPECT_EQ(qvsvStrchr(nullptr, u'a'), nullptr);
  EXPECT_EQ(qvsvStrstr(text, u"\U0001F600b"), text + 1);
  EXPECT_EQ(qvsvStrstr(text, nullptr), text);
  EXPECT_EQ(qvsvStrstr(nullptr, u"a"), nullptr);
}

TEST(CharacterClasses, FollowUnicodePropertiesNotTheCLocale) {
  // Each row: the character, then whether it is space, alpha, alphanumeric, digit.
  const std::vector<std::pair<char16_t, std::vector<int>>> rows = {
      {u'\u00A0', {1, 0, 0, 0}}, {u'\u2029', {1, 0, 0, 0}}, {u'\u200B', {0, 0, 0, 0}},  {u'\u4E2D', {0, 1, 1, 0}},
      {u'\u0663', {0, 0, 1, 1}}, {u'_', {0, 0, 0, 0}},       {char16_t(0xD83D), {0, 0, 0, 0}}};
  for (const auto& [c, expected] : rows) {
    EXPECT_EQ((std::vector<int>{qvsvIsSpace(c), qvsvIsalpha(c), qvsvIsalphanum(c), qvsvIsdigit(c)}), expected)
        << "U+" << std::hex << static_cast<unsigned>(c);
  }
}

}  // namespace
