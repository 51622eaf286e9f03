#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qv_services/wide_string.hpp"
#include "tessel/ut.hpp"

namespace {

// A utMalloc block that frees itself.
struct HostBlock {
  explicit HostBlock(char16_t* p) : p(p) {}
  ~HostBlock() { utFree(p); }
  HostBlock(const HostBlock&) = delete;
  HostBlock& operator=(const HostBlock&) = delete;
  char16_t* p;
};

TEST(Duplicate, CopiesTextAndTerminatorIntoAHostBlockOfTheRightSize) {
  std::vector<std::size_t> sizes;
  tessel::ScopedAllocationFailure watch([&](std::size_t size) {
    sizes.push_back(size);
    return false;
  });
  const HostBlock whole(qvsvStrdup(u"ab\U0001F600"));
  ASSERT_NE(whole.p, nullptr);
  EXPECT_EQ(std::u16string(whole.p), u"ab\U0001F600");
  const HostBlock cut(qvsvStrndup(u"abcdef", 2));
  EXPECT_EQ(std::u16string(cut.p), u"ab");
  EXPECT_EQ(sizes, (std::vector<std::size_t>{2 * 5, 2 * 3}));
}

TEST(Duplicate, NdupStopsAtTheTerminatorOrAtN) {
  const HostBlock longer(qvsvStrndup(u"abc", 10));
  EXPECT_EQ(std::u16string(longer.p), u"abc");
  const HostBlock none(qvsvStrndup(u"abc", 0));
  EXPECT_EQ(std::u16string(none.p), u"");
  // Not terminated within its two units: nothing past them may be read.
  const char16_t unterminated[2] = {u'x', u'y'};
  const HostBlock exact(qvsvStrndup(unterminated, 2));
  EXPECT_EQ(std::u16string(exact.p), u"xy");
}

TEST(Duplicate, NullSourceOrFailingAllocatorGivesNull) {
  EXPECT_EQ(qvsvStrdup(nullptr), nullptr);
  EXPECT_EQ(qvsvStrndup(nullptr, 3), nullptr);
  tessel::ScopedAllocationFailure failing;
  EXPECT_EQ(qvsvStrdup(u"abc"), nullptr);
  EXPECT_EQ(qvsvStrndup(u"abc", 2), nullptr);
  EXPECT_EQ(failing.failures(), 2u);
}

TEST(Copy, NullSourceCopiesEmptyAndNullDestinationIsLeftAlone) {
  char16_t buf[8];
  std::fill(std::begin(buf), std::end(buf), u'#');
  EXPECT_EQ(qvsvStrcpy(buf, u"abc"), buf);
  EXPECT_EQ(std::u16string(buf), u"abc");
  EXPECT_EQ(qvsvStrcpy(buf, nullptr), buf);
  EXPECT_EQ(buf[0], u'\0');
  EXPECT_EQ(qvsvStrcpy(nullptr, u"abc"), nullptr);
  EXPECT_EQ(qvsvStrncpy(nullptr, u"abc", 2), nullptr);
}

TEST(Copy, NcopyStopsAfterNUnitsWithoutTerminating) {
  char16_t buf[8];
  std::fill(std::begin(buf), std::end(buf), u'#');
  qvsvStrncpy(buf, u"abcdef", 3);
  EXPECT_EQ(std::u16string(buf, 4), u"abc#");
  qvsvStrncpy(buf, u"xy", 5);
  EXPECT_EQ(std::u16string(buf), u"xy");
}

TEST(Search, FindsCharactersAndTextsWithNullAsEmpty) {
  const char16_t* text = u"a\U0001F600b";
  EXPECT_EQ(qvsvStrchr(text, u'b'), text + 3);
  EXPECT_EQ(qvsvStrchr(text, u'z'), nullptr);
  EXPECT_EQ(qvsvStrchr(text, u'\0'), text + 4);
  EXPECT_EQ(qvsvStrchr(nullptr, u'a'), nullptr);
  EXPECT_EQ(qvsvStrstr(text, u"\U0001F600b"), text + 1);
  EXPECT_EQ(qvsvStrstr(text, u"ba"), nullptr);
  EXPECT_EQ(qvsvStrstr(text, nullptr), text);
  EXPECT_EQ(qvsvStrstr(nullptr, u"a"), nullptr);
}

struct ClassRow {
  char16_t c;
  int space, alpha, alnum, digit;
};

class CharacterClasses : public ::testing::TestWithParam<ClassRow> {};

TEST_P(CharacterClasses, FollowUnicodeProperties) {
  const ClassRow& row = GetParam();
  EXPECT_EQ(qvsvIsSpace(row.c), row.space);
  EXPECT_EQ(qvsvIsalpha(row.c), row.alpha);
  EXPECT_EQ(qvsvIsalphanum(row.c), row.alnum);
  EXPECT_EQ(qvsvIsdigit(row.c), row.digit);
}

INSTANTIATE_TEST_SUITE_P(WideString, CharacterClasses,
                         ::testing::Values(ClassRow{u' ', 1, 0, 0, 0}, ClassRow{u'\u00A0', 1, 0, 0, 0},
                                           ClassRow{u'\u2029', 1, 0, 0, 0}, ClassRow{u'\u200B', 0, 0, 0, 0},
                                           ClassRow{u'\u00E9', 0, 1, 1, 0}, ClassRow{u'\u4E2D', 0, 1, 1, 0},
                                           ClassRow{u'\u0663', 0, 0, 1, 1}, ClassRow{u'7', 0, 0, 1, 1},
                                           ClassRow{u'_', 0, 0, 0, 0}, ClassRow{static_cast<char16_t>(0xD83D), 0, 0, 0, 0}));

// --- Formatting through ustdio.

TEST(Format, WritesIcuSyntaxIntoWideBuffers) {
  char16_t buf[32];
  EXPECT_EQ(qvsvSnprintf(buf, 32, "%d-%S|%.2f", 5, u"wide\u00E9", 3.14159), 12);
  EXPECT_EQ(std::u16string(buf), u"5-wide\u00E9|3.14");
  EXPECT_EQ(qvsvSprintf(buf, "%s", "narrow"), 6);
  EXPECT_EQ(std::u16string(buf), u"narrow");
}

TEST(Format, TruncatedOutputIsTerminatedAndReportsTheFullLength) {
  char16_t buf[8];
  std::fill(std::begin(buf), std::end(buf), u'#');
  EXPECT_EQ(qvsvSnprintf(buf, 4, "%d", 123456), 6);
  EXPECT_EQ(std::u16string(buf), u"123");
  EXPECT_EQ(buf[4], u'#') << "nothing written past size";
  EXPECT_EQ(qvsvSnprintf(nullptr, 0, "%d", 123456), 6) << "size 0 only measures";
}

TEST(Format, BadArgumentsGiveMinusOne) {
  char16_t buf[4];
  EXPECT_EQ(qvsvSnprintf(buf, 4, nullptr), -1);
  EXPECT_EQ(qvsvSnprintf(buf, -1, "x"), -1);
  EXPECT_EQ(qvsvSnprintf(nullptr, 4, "x"), -1);
  EXPECT_EQ(qvsvSprintf(nullptr, "x"), -1);
  int value = 0;
  EXPECT_EQ(qvsvSscanf(u"1", nullptr, &value), -1);
}

TEST(Format, ScansWideText) {
  int a = 0;
  int b = 0;
  char16_t word[8] = {};
  EXPECT_EQ(qvsvSscanf(u"12 34 \u00E9t\u00E9", "%d %d %S", &a, &b, word), 3);
  EXPECT_EQ(a, 12);
  EXPECT_EQ(b, 34);
  EXPECT_EQ(std::u16string(word), u"\u00E9t\u00E9");
  EXPECT_EQ(qvsvSscanf(nullptr, "%d", &a), 0) << "null scans as the empty text";
}

}  // namespace
