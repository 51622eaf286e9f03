#include <gtest/gtest.h>

#include <random>
#include <string>
#include <thread>
#include <vector>

#include "qv_services/wide_string.hpp"
#include "tessel/foundation.hpp"
#include "tessel/interpreter.hpp"
#include "tests/support/test_support.hpp"

namespace {

// --- The host literal.

TEST(HostLiteral, WritesLineEndsAndDoubleQuotesAsCharCalls) {
  EXPECT_EQ(qvsvMAT2str(u""), u"['']");
  EXPECT_EQ(qvsvMAT2str(u"plain"), u"['plain']");
  EXPECT_EQ(qvsvMAT2str(u"say \"hi\"\n"), u"['say ' char(34) 'hi' char(34) '' char(10) '']");
  EXPECT_EQ(qvsvMAT2str(u"\r\v\f"), u"['' char(13) '' char(11) '' char(12) '']");
  EXPECT_EQ(qvsvMAT2str(u"it's"), u"['it''s']");
}

TEST(HostLiteral, ReadsBackInTheHostLanguage) {
  // Every pair of the characters with a rule and their neighbours, then
  // random texts of them and of anything in the BMP.
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

TEST(Concatenate, EmptySideGivesTheOtherAlone) {
  EXPECT_EQ(ConcatenateStringsWithSpace(u"", u"b"), u"b");
  EXPECT_EQ(ConcatenateStringsWithSpace(u"a", u""), u"a");
  EXPECT_EQ(ConcatenateStringsWithSpace(u"", u""), u"");
}

TEST(Concatenate, JoinsWithTheCatalogueTextInEveryShippedLocale) {
  for (const char* locale : {"en_US", "de_DE"}) {
    const tessel::ScopedGlobalLocale scoped(locale);
    EXPECT_EQ(ConcatenateStringsWithSpace(u"Block", u"Name"), u"Block Name") << locale;
  }
}

TEST(Concatenate, ArgumentsAreNotReadAsPatterns) {
  EXPECT_EQ(ConcatenateStringsWithSpace(u"it's {0}", u"'{1}' 5"), u"it's {0} '{1}' 5");
}

// --- Narrow views.

TEST(TransitionalPointer, SameTextSamePointerValidForever) {
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

TEST(DebuggerAids, ShowUtf8OfTheLastText) {
  std::u16string text = u"\u00E9t\u00E9";
  EXPECT_STREQ(dbg_flstring_str(text), "\xC3\xA9t\xC3\xA9");
  char16_t raw[] = u"raw";
  EXPECT_STREQ(dbg_ucharptr_str(raw), "raw");
  EXPECT_STREQ(dbg_ucharptr_str(nullptr), "");
  EXPECT_STREQ(dbg_get_unknown_exception(), "SHOULD NOT BE CALLED FOR NON-DEBUG BUILD!");
}

}  // namespace
