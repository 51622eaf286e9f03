#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <string>

#include "tessel/console.hpp"
#include "tessel/foundation.hpp"
#include "tessel/ut.hpp"

namespace {

TEST(Console, CaptureCollectsPrintfAndNestedCapturesTakeOver) {
  tessel::ConsoleCapture outer;
  utPrintf("%s=%d\n", "x", 3);
  {
    tessel::ConsoleCapture inner;
    utPrintf("inner");
    EXPECT_EQ(inner.text(), "inner");
  }
  utPrintf("%s", std::string(2000, 'y').c_str());
  EXPECT_EQ(outer.take(), "x=3\n" + std::string(2000, 'y'));
  EXPECT_EQ(outer.text(), "");
}

TEST(Allocator, LiveBlocksFollowEveryWayABlockIsMadeOrFreed) {
  const std::size_t before = tessel::LiveHostBlockCount();
  void* a = utRealloc(utMalloc(8), 4096);  // the same block, maybe moved
  void* b = utCalloc(2, 8);
  void* c = utRealloc(nullptr, 16);  // a new block
  EXPECT_EQ(tessel::LiveHostBlockCount(), before + 3);
  void* empty = utMalloc(0);
  EXPECT_NE(empty, nullptr) << "zero size gives a block that can be freed";
  for (void* block : {a, b, c, empty}) utFree(block);
  utFree(nullptr);
  EXPECT_EQ(tessel::LiveHostBlockCount(), before);
  EXPECT_EQ(utCalloc(SIZE_MAX / 2, 4), nullptr) << "overflowing products fail";
}

TEST(Allocator, FailureScopeFailsTheRequestsItsPredicateChooses) {
  const std::size_t before = tessel::LiveHostBlockCount();
  void* kept = utMalloc(16);
  {
    tessel::ScopedAllocationFailure failAll;
    EXPECT_EQ(utMalloc(8), nullptr);
    EXPECT_EQ(utCalloc(2, 8), nullptr);
    EXPECT_EQ(utRealloc(kept, 64), nullptr) << "the block stays valid";
    EXPECT_THROW(utMallocWithCheck(8), tessel::OutOfMemory);
    EXPECT_EQ(failAll.requests(), 4u);
    EXPECT_EQ(failAll.failures(), 4u);
  }
  EXPECT_EQ(tessel::LiveHostBlockCount(), before + 1);
  std::memset(kept, 0, 16);
  utFree(kept);
  tessel::ScopedAllocationFailure bigOnes([](std::size_t size) { return size > 100; });
  void* small = utMalloc(10);
  EXPECT_NE(small, nullptr);
  EXPECT_EQ(utMalloc(1000), nullptr);
  EXPECT_EQ(bigOnes.failures(), 1u);
  utFree(small);
}

struct StrChrCase {
  const char* text;
  int c;
  int expected;  // offset, -1 for none
};

void PrintTo(const StrChrCase& tc, std::ostream* os) { *os << "offset " << tc.expected; }

class MultiByteStrChr : public ::testing::TestWithParam<StrChrCase> {};

TEST_P(MultiByteStrChr, MatchesOnlyAtCharacterStarts) {
  const StrChrCase& tc = GetParam();
  const char* found = utMultiByteStrChr(tc.text, tc.c);
  EXPECT_EQ(found == nullptr ? -1 : static_cast<int>(found - tc.text), tc.expected);
}

INSTANTIATE_TEST_SUITE_P(Ut, MultiByteStrChr,
                         ::testing::Values(StrChrCase{"abc", 'x', -1}, StrChrCase{"abc", 0, 3},
                                           StrChrCase{"\xC3\xA9,", ',', 2},
                                           StrChrCase{"\xC3\xA9", 0xA9, -1},  // a continuation byte is never a match
                                           StrChrCase{"x\xC3\xA9", 0xC3, 1},  // a lead byte is
                                           StrChrCase{"\xF0\x9F\x98\x80|", '|', 4},  // four-byte character
                                           StrChrCase{"\xE2\x82", '|', -1},          // truncated at the end
                                           StrChrCase{"\xE2|\x82", '|', 1},          // stray bytes count one each
                                           StrChrCase{nullptr, 'a', -1}));

TEST(Foundation, StrtodReadsAPointWhateverTheLocale) {
  char* end = nullptr;
  const char text[] = "1.25e3x";
  EXPECT_EQ(tessel::StrtodLocaleIndependent(text, &end), 1250.0);
  EXPECT_EQ(end, text + 6);
  EXPECT_EQ(tessel::StrtodLocaleIndependent(nullptr, &end), 0.0);
}

}  // namespace
