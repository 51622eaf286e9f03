#include "qv_services/conversions.hpp"
#include "qv_services/wide_string.hpp"
#include "tessel/foundation.hpp"
#include "tessel/interpreter.hpp"
#include "tests/strings/strings_test.hpp"

namespace {

// --- Trimming and collapsing.

struct SpacingRow {
  const char* name;
  std::u16string input;
  std::u16string trimmed;
  std::u16string collapsed;
};

class Spacing : public ::testing::TestWithParam<SpacingRow> {};

TEST_P(Spacing, TrimAndCollapse) {
  const SpacingRow& row = GetParam();
  EXPECT_EQ(qvsvTrimStr(row.input), row.trimmed);
  std::u16string inPlace = row.input;
  qvsvTrimUString(inPlace);
  EXPECT_EQ(inPlace, row.trimmed);
  EXPECT_EQ(qvsvRemoveExtraSpacesUString(row.input), row.collapsed);
  EXPECT_EQ(qvsvIsWhitespaceString(row.input), row.trimmed.empty());
}

INSTANTIATE_TEST_SUITE_P(
    WideString, Spacing,
    ::testing::Values(SpacingRow{"run_keeps_its_first_character", u"  a \t b  ", u"a \t b", u"a b"},
                      SpacingRow{"run_starting_with_tab_keeps_tab", u"a\t  \nb", u"a\t  \nb", u"a\tb"},
                      SpacingRow{"only_whitespace", u" \t\r\n ", u"", u""}, SpacingRow{"empty", u"", u"", u""},
                      SpacingRow{"unicode_spaces", u"\u2003a\u00A0\u3000b\u0085", u"a\u00A0\u3000b", u"a\u00A0b"},
                      SpacingRow{"single_inner_spaces_stay", u"a b c", u"a b c", u"a b c"},
                      SpacingRow{"zero_width_space_is_text", u"\u200Ba  ", u"\u200Ba", u"\u200Ba"},
                      SpacingRow{"single_character", u" x ", u"x", u"x"}),
    qvsv::test::RowName());

TEST(Spacing, NarrowCollapsingUsesTheCLocale) {
  EXPECT_EQ(qvsvRemoveExtraSpaces("  a \t b  "), "a b");
  EXPECT_EQ(qvsvRemoveExtraSpaces("a\v\fb\n"), "a\vb");
  EXPECT_EQ(qvsvRemoveExtraSpaces("\xC2\xA0" "a"), "\xC2\xA0" "a") << "UTF-8 NBSP bytes are not C whitespace";
  EXPECT_EQ(qvsvRemoveExtraSpaces(std::string("a\0 \0b", 5)), std::string("a\0 \0b", 5));
  EXPECT_EQ(qvsvRemoveExtraSpaces("   "), "");
}

// --- Ellipsis: only texts longer than the limit are cut, and only to five
// or more units.

TEST(Ellipsis, CutsOnlyTextsLongerThanTheLimitAndOnlyToFiveOrMore) {
  for (const auto& [maxLength, expected] : std::vector<std::pair<unsigned, std::u16string>>{
           {9, u"012345..."}, {10, u"0123456789"}, {5, u"01..."}, {4, u"0123456789"}, {0, u"0123456789"}}) {
    std::u16string s = u"0123456789";
    qvsvStrAppendEllipsis(s, maxLength);
    EXPECT_EQ(s, expected) << maxLength;
  }
}

// --- Splitting at escaped delimiters.
// The rules case by case; that splitting undoes escaping for any pieces is
// the wide-string fuzz target's property (fuzz/wide_string_fuzzer.cpp).

struct SplitRow {
  const char* name;
  std::string text;
  char escape;
  std::vector<std::string> pieces;
};

class Split : public ::testing::TestWithParam<SplitRow> {};

TEST_P(Split, NarrowAndWideCutAlike) {
  const SplitRow& row = GetParam();
  std::vector<std::string> narrow{"stale"};
  delimited_string_to_vector(narrow, row.text, ',', row.escape);
  EXPECT_EQ(narrow, row.pieces);

  std::vector<std::u16string> wide{u"stale"};
  delimited_ustring_to_vector(wide, ConvertStdStringToUString(row.text), u',', static_cast<char16_t>(row.escape));
  std::vector<std::u16string> expected;
  for (const std::string& piece : row.pieces) expected.push_back(ConvertStdStringToUString(piece));
  EXPECT_EQ(wide, expected);
}

INSTANTIATE_TEST_SUITE_P(
    WideString, Split,
    ::testing::Values(SplitRow{"empty_text_no_piece", "", '\\', {}},
                      SplitRow{"only_delimiter", ",", 0, {"", ""}},
                      SplitRow{"no_escaping_with_zero", "a\\,b", 0, {"a\\", "b"}},
                      SplitRow{"odd_run_escapes", "b\\,c", '\\', {"b,c"}},
                      SplitRow{"even_run_cuts", "b\\\\,c", '\\', {"b\\", "c"}},
                      SplitRow{"run_of_three_escapes", "b\\\\\\,c", '\\', {"b\\,c"}},
                      SplitRow{"escaped_at_start", "\\,a,b", '\\', {",a", "b"}},
                      SplitRow{"escaped_then_cut", "a\\,,b", '\\', {"a,", "b"}},
                      SplitRow{"other_escapes_stay", "a\\x,\\", '\\', {"a\\x", "\\"}},
                      SplitRow{"non_ascii_pieces", "\xC3\xA9,\xE2\x82\xAC", '\\', {"\xC3\xA9", "\xE2\x82\xAC"}},
                      SplitRow{"other_escape_character", "a#,b##,c", '#', {"a,b#", "c"}}),
    qvsv::test::RowName());

TEST(Split, NarrowDelimiterByteInsideACharacterOrNulCuts) {
  std::vector<std::string> out;
  // 0xA9 is the second byte of "\u00E9" and, alone, a (stray) character of its own.
  delimited_string_to_vector(out, "caf\xC3\xA9\xA9" "b", '\xA9', 0);
  EXPECT_THAT(out, ElementsAre("caf\xC3\xA9", "b"));
  delimited_string_to_vector(out, std::string("a\0b,c", 5), ',', 0);
  EXPECT_THAT(out, ElementsAre(std::string("a\0b", 3), "c"));
  delimited_string_to_vector(out, std::string("a\0b,c", 5), '\0', 0);
  EXPECT_THAT(out, ElementsAre("a", "b,c"));
}

// --- The host literal.

TEST(HostLiteral, WritesLineEndsAndDoubleQuotesAsCharCallsAndReadsBack) {
  EXPECT_EQ(qvsvMAT2str(u""), u"['']");
  EXPECT_EQ(qvsvMAT2str(u"say \"hi\"\n"), u"['say ' char(34) 'hi' char(34) '' char(10) '']");
  EXPECT_EQ(qvsvMAT2str(u"\r\v\f"), u"['' char(13) '' char(11) '' char(12) '']");
  EXPECT_EQ(qvsvMAT2str(u"it's"), u"['it''s']");
  // Every pair of the characters with a rule and their neighbours, then
  // random texts of them and of anything in the BMP, read back by the host.
  const std::u16string special = u"\t\n\v\f\r\x0E\"'!#[],( )\u00E9\u2028";
  std::vector<std::u16string> texts;
  for (const char16_t c : special) {
    for (const char16_t d : special) texts.push_back({u'x', c, d, c});
  }
  std::mt19937 rng(11);
  for (std::size_t i = 0, n = qvsv::test::Scaled(2000); i < n; ++i) {
    std::u16string& text = texts.emplace_back(rng() % 12, u'\0');
    for (char16_t& c : text) c = rng() % 3 ? static_cast<char16_t>(u'\t' + rng() % 32) : static_cast<char16_t>(rng());
  }
  for (const std::u16string& text : texts) {
    const std::u16string literal = qvsvMAT2str(text);
    ASSERT_EQ(literal.find_first_of(u"\n\v\f\r\""), std::u16string::npos);
    ASSERT_EQ(tessel::EvaluateStringExpression(literal), text);
  }
}

// --- Joining through the catalogue.

TEST(Concatenate, JoinsWithTheCatalogueTextUnlessASideIsEmpty) {
  for (const char* locale : {"en_US", "de_DE"}) {
    const tessel::ScopedGlobalLocale scoped(locale);
    EXPECT_EQ(ConcatenateStringsWithSpace(u"Block", u"Name"), u"Block Name") << locale;
  }
  EXPECT_EQ(ConcatenateStringsWithSpace(u"", u"b"), u"b");
  EXPECT_EQ(ConcatenateStringsWithSpace(u"a", u""), u"a");
  EXPECT_EQ(ConcatenateStringsWithSpace(u"it's {0}", u"'{1}' 5"), u"it's {0} '{1}' 5") << "not read as patterns";
}

// --- Narrow views.

TEST(NarrowViews, TransitionalPointerIsTheSameForTheSameTextAndValidForever) {
  EXPECT_EQ(qvsvGetTransitonalConstCharPtr(nullptr), nullptr);
  const char* first = qvsvGetTransitonalConstCharPtr(u"caf\u00E9");
  EXPECT_STREQ(first, "caf\xC3\xA9");
  // Many more entries force the map to grow; the first pointer must survive.
  for (int i = 0; i < 2000; ++i) qvsvGetTransitonalConstCharPtr(std::u16string(u"entry " + std::u16string(i % 50 + 1, u'x')).c_str());
  const std::u16string again = u"caf\u00E9";
  EXPECT_EQ(qvsvGetTransitonalConstCharPtr(again.c_str()), first);
  EXPECT_STREQ(first, "caf\xC3\xA9");
  const char16_t unpaired[] = {u'a', static_cast<char16_t>(0xD800), u'\0'};
  EXPECT_STREQ(qvsvGetTransitonalConstCharPtr(unpaired), "a\xEF\xBF\xBD");
  // The debugger aids show UTF-8 too.
  std::u16string text = u"\u00E9t\u00E9";
  EXPECT_STREQ(dbg_flstring_str(text), "\xC3\xA9t\xC3\xA9");
  char16_t raw[] = u"raw";
  EXPECT_STREQ(dbg_ucharptr_str(raw), "raw");
  EXPECT_STREQ(dbg_ucharptr_str(nullptr), "");
}

TEST(SharedState, LiteralCollatorAndCacheServeSeveralThreads) {
  std::vector<std::thread> threads;
  std::vector<int> failures(4, 0);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &failures] {
      for (std::size_t i = 0, n = qvsv::test::Scaled(300, 20); i < n; ++i) {
        const std::u16string text = u"row " + std::u16string(1, static_cast<char16_t>(u'a' + i % 26)) + u"\n\"";
        failures[t] += tessel::EvaluateStringExpression(qvsvMAT2str(text)) != text;
        failures[t] += qvsvStrcmp_Collation(u"R\u00F4le", u"role") != 0;
        failures[t] += std::string(qvsvGetTransitonalConstCharPtr(text.c_str())).size() != text.size();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures, std::vector<int>(4, 0));
}

}  // namespace
