#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "qv_services/wide_string.hpp"
#include "tessel/ut.hpp"

namespace {

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
  EXPECT_EQ(std::u16string(owned(qvsvStrndup(u"abc", 0)).get()), u"");
  // Not terminated within its two units: nothing past them may be read.
  const char16_t unterminated[2] = {u'x', u'y'};
  EXPECT_EQ(std::u16string(owned(qvsvStrndup(unterminated, 2)).get()), u"xy");
  EXPECT_EQ(sizes, (std::vector<std::size_t>{2 * 5, 2 * 3, 2 * 4, 2 * 1, 2 * 3}));
}

TEST(Duplicate, NullSourceOrFailingAllocatorGivesNull) {
  EXPECT_EQ(qvsvStrdup(nullptr), nullptr);
  EXPECT_EQ(qvsvStrndup(nullptr, 3), nullptr);
  tessel::ScopedAllocationFailure failing;
  EXPECT_EQ(qvsvStrdup(u"abc"), nullptr);
  EXPECT_EQ(qvsvStrndup(u"abc", 2), nullptr);
  EXPECT_EQ(failing.failures(), 2u);
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
  EXPECT_EQ(qvsvStrcpy(nullptr, u"abc"), nullptr);
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

TEST(Format, ScansWideText) {
  int a = 0;
  int b = 0;
  char16_t word[8] = {};
  EXPECT_EQ(qvsvSscanf(u"12 34 \u00E9t\u00E9", "%d %d %S", &a, &b, word), 3);
  EXPECT_EQ(a + b, 46);
  EXPECT_EQ(std::u16string(word), u"\u00E9t\u00E9");
  EXPECT_EQ(qvsvSscanf(nullptr, "%d", &a), 0) << "null scans as the empty text";
  EXPECT_EQ(qvsvSscanf(u"1", nullptr, &a), -1);
}

}  // namespace
