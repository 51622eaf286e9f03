#include "qv_services/conversions.hpp"
#include "tests/strings/strings_test.hpp"

namespace {

void expectStrictFailsAt(auto convert, std::size_t offset) {
  EXPECT_THAT(convert, ThrowsMessage<std::invalid_argument>(HasSubstr("offset " + std::to_string(offset))));
}

TEST(Conversions, EveryScalarValueRoundTripsInItsShortestForm) {
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
  // Lead bytes at each length boundary, so that a consistent misencoding cannot pass as a round trip.
  EXPECT_EQ(ConvertUStringToStdString(u"\u007F\u0080\u07FF\u0800\uFFFF\U00010000\U0010FFFF", false),
            "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
  EXPECT_EQ(ConvertStdStringToUString(std::string("a\0b", 3), false), std::u16string(u"a\0b", 3));
}

struct IllFormed {
  const char* name;
  std::string utf8;
  std::u16string substituted;
  std::size_t firstBadOffset;
};

class IllFormedUtf8 : public ::testing::TestWithParam<IllFormed> {};

TEST_P(IllFormedUtf8, EachMaximalSubpartBecomesOneReplacementAndStrictNamesTheFirstOffset) {
  const IllFormed& tc = GetParam();
  EXPECT_EQ(ConvertStdStringToUString(tc.utf8), tc.substituted);
  expectStrictFailsAt([&] { (void)ConvertStdStringToUString(tc.utf8, false); }, tc.firstBadOffset);
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
    qvsv::test::RowName());

TEST(Conversions, UnpairedSurrogatesBecomeReplacementsAndNullIsEmpty) {
  const std::u16string text = {u'a', 0xD800, u'b', 0xDC00, 0xDC00, 0xD800};
  EXPECT_EQ(ConvertUStringToStdString(text), "a\xEF\xBF\xBD" "b\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
  expectStrictFailsAt([&] { (void)ConvertUStringToStdString(text, false); }, 1);
  EXPECT_EQ(ConvertStdStringToUString(static_cast<const char*>(nullptr)), u"");
  EXPECT_EQ(ConvertUStringToStdString(static_cast<const char16_t*>(nullptr)), "");
  EXPECT_EQ(ConvertUStringWithEscaping(nullptr, true, kQvsvEscapeStyleAscii), "");
}

// The pointer form of escaping reads up to the first NUL; the escapes
// themselves are covered in escaping_test.cpp.
TEST(Conversions, PointerEscapingStopsAtNulAndOffIsThePlainConversion) {
  EXPECT_EQ(ConvertUStringWithEscaping(u"caf\u00E9\n\0x", true, kQvsvEscapeStyleAscii), "caf\\u00E9\\u000A");
  EXPECT_EQ(ConvertUStringWithEscaping(u"caf\u00E9", false, 0), "caf\xC3\xA9");
  EXPECT_THAT([] { (void)ConvertUStringWithEscaping(u"x", true, 3); },
              ThrowsMessage<std::invalid_argument>(HasSubstr("style 3")));
}

}  // namespace
