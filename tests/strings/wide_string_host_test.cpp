#include <gtest/gtest.h>

#include <random>
#include <string>
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

TEST(HostLiteral, EveryCharacterNextToEveryOtherReadsBack) {
  // The characters the literal must treat, their neighbours in code order, and
  // characters beyond ASCII.
  const std::u16string special = u"\t\n\v\f\r\x0E\"'!#[],( )\u00E9\u2028";
  for (const char16_t c : special) {
    for (const char16_t d : special) {
      const std::u16string text{u'x', c, d, c};
      SCOPED_TRACE(static_cast<unsigned>(c) * 65536 + d);
      const std::u16string literal = qvsvMAT2str(text);
      EXPECT_EQ(literal.find_first_of(u"\n\v\f\r\""), std::u16string::npos) << "left as it is in the literal";
      EXPECT_EQ(tessel::EvaluateStringExpression(literal), text);
    }
  }
}

TEST(HostLiteral, RandomTextsReadBack) {
  std::mt19937 rng(11);
  for (std::size_t i = 0, n = qvsv::test::Scaled(2000); i < n; ++i) {
    std::u16string text(rng() % 12, u'\0');
    // Mostly the characters with a rule, some of anything in the BMP.
    for (char16_t& c : text) c = rng() % 3 ? static_cast<char16_t>(u'\t' + rng() % 32) : static_cast<char16_t>(rng());
    SCOPED_TRACE(i);
    ASSERT_EQ(tessel::EvaluateStringExpression(qvsvMAT2str(text)), text);
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

TEST(DebuggerAids, ShowUtf8OfTheLastText) {
  std::u16string text = u"\u00E9t\u00E9";
  EXPECT_STREQ(dbg_flstring_str(text), "\xC3\xA9t\xC3\xA9");
  char16_t raw[] = u"raw";
  EXPECT_STREQ(dbg_ucharptr_str(raw), "raw");
  EXPECT_STREQ(dbg_ucharptr_str(nullptr), "");
  EXPECT_STREQ(dbg_get_unknown_exception(), "SHOULD NOT BE CALLED FOR NON-DEBUG BUILD!");
}

}  // namespace
