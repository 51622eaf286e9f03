#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "qv_services/conversions.hpp"

namespace {

struct WellFormed {
  const char* name;
  std::string utf8;
  std::u16string utf16;
};

void PrintTo(const WellFormed& tc, std::ostream* os) { *os << tc.name; }

class ConversionRoundTrip : public ::testing::TestWithParam<WellFormed> {};

TEST_P(ConversionRoundTrip, BothDirectionsAgree) {
  const WellFormed& tc = GetParam();
  EXPECT_EQ(ConvertStdStringToUString(tc.utf8, false), tc.utf16);
  EXPECT_EQ(ConvertUStringToStdString(tc.utf16, false), tc.utf8);
}

INSTANTIATE_TEST_SUITE_P(
    Conversions, ConversionRoundTrip,
    ::testing::Values(WellFormed{"empty", "", u""}, WellFormed{"ascii", "Az09~", u"Az09~"},
                      WellFormed{"two_byte", "\xC3\xA9\xDF\xBF", u"\u00E9\u07FF"},
                      WellFormed{"three_byte", "\xE2\x82\xAC\xEF\xBF\xBF\xE0\xA0\x80", u"\u20AC\uFFFF\u0800"},
                      WellFormed{"four_byte", "\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF", u"\U0001F600\U0010FFFF"},
                      WellFormed{"embedded_nul", std::string("a\0b", 3), std::u16string(u"a\0b", 3)}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(Conversions, EveryScalarValueRoundTrips) {
  std::u16string all;
  for (char32_t cp = 0; cp <= 0x10FFFF; ++cp) {
    if (cp >= 0xD800 && cp <= 0xDFFF) continue;
    if (cp < 0x10000) {
      all.push_back(static_cast<char16_t>(cp));
    } else {
      all.push_back(static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10)));
      all.push_back(static_cast<char16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF)));
    }
  }
  const std::string utf8 = ConvertUStringToStdString(all, false);
  EXPECT_EQ(utf8.size(), 0x80u * 1 + 0x780u * 2 + (0x10000u - 0x800u - 0x800u) * 3 + 0x100000u * 4);
  EXPECT_EQ(ConvertStdStringToUString(utf8, false), all);
}

struct IllFormed {
  const char* name;
  std::string utf8;
  std::u16string substituted;
  std::size_t firstBadOffset;
};

void PrintTo(const IllFormed& tc, std::ostream* os) { *os << tc.name; }

class IllFormedUtf8 : public ::testing::TestWithParam<IllFormed> {};

TEST_P(IllFormedUtf8, EachMaximalSubpartBecomesOneReplacement) {
  const IllFormed& tc = GetParam();
  EXPECT_EQ(ConvertStdStringToUString(tc.utf8), tc.substituted);
  try {
    ConvertStdStringToUString(tc.utf8, false);
    FAIL() << "no exception";
  } catch (const std::invalid_argument& e) {
    EXPECT_NE(std::string(e.what()).find("offset " + std::to_string(tc.firstBadOffset)), std::string::npos)
        << e.what();
  }
}

INSTANTIATE_TEST_SUITE_P(
    Conversions, IllFormedUtf8,
    ::testing::Values(IllFormed{"lone_continuation", "a\x80z", u"a\uFFFDz", 1},
                      IllFormed{"truncated_at_end", "a\xE2\x82", u"a\uFFFD", 1},
                      IllFormed{"truncated_before_ascii", "\xE2\x28\xA1", u"\uFFFD(\uFFFD", 0},
                      IllFormed{"overlong_two_byte", "\xC0\xAF", u"\uFFFD\uFFFD", 0},
                      IllFormed{"overlong_three_byte", "\xE0\x80\xAF", u"\uFFFD\uFFFD\uFFFD", 0},
                      IllFormed{"encoded_surrogate", "\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD", 0},
                      IllFormed{"above_max", "\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD", 0},
                      IllFormed{"truncated_four_byte", "\xF0\x9F\x98!", u"\uFFFD!", 0},
                      IllFormed{"invalid_bytes", "\xFE\xFF", u"\uFFFD\uFFFD", 0}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(Conversions, UnpairedSurrogatesBecomeReplacementCharacters) {
  const std::u16string text = {u'a', 0xD800, u'b', 0xDC00, 0xDC00, 0xD800};
  EXPECT_EQ(ConvertUStringToStdString(text), "a\xEF\xBF\xBD" "b\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_THROW(ConvertUStringToStdString(text, false), std::invalid_argument);
}

TEST(Conversions, NullPointersAreEmpty) {
  EXPECT_EQ(ConvertStdStringToUString(static_cast<const char*>(nullptr)), u"");
  EXPECT_EQ(ConvertUStringToStdString(static_cast<const char16_t*>(nullptr)), "");
  EXPECT_EQ(ConvertUStringWithEscaping(nullptr, true, kQvsvEscapeStyleAscii), "");
}

struct Escaped {
  std::u16string text;
  std::string escaped;
};

void PrintTo(const Escaped& tc, std::ostream* os) { *os << tc.escaped; }

class AsciiEscaping : public ::testing::TestWithParam<Escaped> {};

TEST_P(AsciiEscaping, WritesOnlyPrintableAscii) {
  EXPECT_EQ(ConvertUStringWithEscaping(GetParam().text.c_str(), true, kQvsvEscapeStyleAscii), GetParam().escaped);
}

INSTANTIATE_TEST_SUITE_P(Conversions, AsciiEscaping,
                         ::testing::Values(Escaped{u"plain text", "plain text"}, Escaped{u"a\\b", "a\\\\b"},
                                           Escaped{u"caf\u00E9", "caf\\u00E9"},
                                           Escaped{u"line\nnext\x7F", "line\\u000Anext\\u007F"},
                                           Escaped{u"\U0001F600", "\\U0001F600"},
                                           Escaped{std::u16string{u'x', 0xD800, u'y'}, "x\\uD800y"}));

TEST(Conversions, EscapingOffIsThePlainConversionAndUnknownStylesAreRejected) {
  EXPECT_EQ(ConvertUStringWithEscaping(u"caf\u00E9", false, 0), "caf\xC3\xA9");
  try {
    ConvertUStringWithEscaping(u"x", true, 3);
    FAIL() << "no exception";
  } catch (const std::invalid_argument& e) {
    EXPECT_NE(std::string(e.what()).find("style 3"), std::string::npos);
  }
}

}  // namespace
