#include <cinttypes>
#include <cstdio>
#include <new>
#include <unordered_set>

#include "qv_services/string_table.hpp"
#include "tessel/array.hpp"
#include "tessel/console.hpp"
#include "tessel/ut.hpp"
#include "tests/strings/strings_test.hpp"

namespace {

constexpr std::uint32_t kPersistent = qvsvStringTableEntry::kPersistentReferenceCount;

// Every test starts and ends with a fresh table, so counts are its own.
class StringTable : public ::testing::Test {
 protected:
  void SetUp() override { qvsvStringTableDebug::destroyTable(); }
  void TearDown() override { qvsvStringTableDebug::destroyTable(); }

  static qvsvStringTable& table() { return *qvsvStringTable::getInstance(); }
  static std::uint32_t refCount(const qvsvString& s) { return table().getRefCount(s); }

  // Text and count, as the statistics list them.
  using StatsRow = std::pair<std::u16string, double>;

  static std::vector<StatsRow> stats() {
    txArray* cell = qvsvStringTableDebug::getStats();
    EXPECT_EQ(txGetN(cell), 2u);
    std::vector<StatsRow> rows;
    const txIndex m = txGetM(cell);
    for (txIndex r = 0; r < m; ++r) rows.push_back({txGetString(txGetCell(cell, r)), txGetScalar(txGetCell(cell, m + r))});
    txDestroyArray(cell);
    return rows;
  }

  // The text of the entry that getString gives; releasing it leaves the
  // caller's pointer at the empty entry.
  static std::u16string entryText(const char16_t* chars, std::uint32_t length) {
    qvsvStringTableEntry* e = table().getString(chars, length, false);
    const std::u16string text = e->c_str();
    EXPECT_EQ(e->getLength(), text.size());
    table().releaseString(e);
    EXPECT_EQ(e, table().getEmptyString());
    return text;
  }
};

TEST_F(StringTable, EveryFormOfEmptyTextSharesTheUncountedEmptyEntry) {
  const char16_t* const null = nullptr;
  qvsvString released(u"abc");
  released.release();
  const qvsvString forms[] = {qvsvString(), qvsvString(null), qvsvString(std::u16string(u"\0abc", 4)),
                              qvsvString::persistent(null), released};
  const qvsvStringTableEntry* empty = table().getEmptyString();
  for (const qvsvString& s : forms) {
    EXPECT_EQ(s.c_str(), empty->c_str());
    EXPECT_EQ(refCount(s), 0u);
  }
  EXPECT_EQ(entryText(nullptr, 7), u"");
  qvsvStringTableCollectGarbageNow();
  EXPECT_EQ(table().getNumStrings(), 0u);
  EXPECT_THAT(stats(), IsEmpty());
}

// The table keeps its own reference to a new entry until the next
// collection; getRefCount leaves it out, the statistics show it.
TEST_F(StringTable, NewEntryWaitsForCollectionAndRefCountLeavesTheTableOut) {
  {
    const qvsvString a(u"abc");
    const qvsvString b = a;
    EXPECT_EQ(refCount(a), 2u);
    EXPECT_THAT(stats(), ElementsAre(StatsRow{u"abc", 3}));
  }
  EXPECT_THAT(stats(), ElementsAre(StatsRow{u"abc", 1}));
  const qvsvString again(u"abc");
  qvsvStringTable::forceGarbageCollectionNow();
  EXPECT_EQ(refCount(again), 1u);
  EXPECT_THAT(stats(), ElementsAre(StatsRow{u"abc", 1}));
  { const qvsvString dropped(u"dropped"); }
  EXPECT_EQ(table().getNumStrings(), 2u);
  qvsvStringTableCollectGarbageNow();
  EXPECT_EQ(table().getNumStrings(), 1u);
}

// Every release counts, on whatever thread: the last ones here come from
// threads that release only once each.
TEST_F(StringTable, CollectsOnItsOwnAtTheTenMillionthRelease) {
  { const qvsvString dropped(u"dropped"); }  // release 1
  const qvsvString kept(u"kept");
  for (std::size_t i = 1; i < 9'999'996; ++i) qvsvString copy = kept;
  for (int i = 0; i < 4; ++i) {
    ASSERT_EQ(table().getNumStrings(), 2u) << "collected before release " << 9'999'996 + i;
    std::thread([&] { qvsvString copy = kept; }).join();
  }
  EXPECT_EQ(table().getNumStrings(), 1u);
  EXPECT_EQ(refCount(kept), 1u);
}

TEST_F(StringTable, NoLeakModeFreesNewStringsAtOnceAndNests) {
  const auto survivesDrop = [&](const char16_t* text) {
    { const qvsvString s(text); }
    const bool present = table().getNumStrings() == 1;
    qvsvStringTableCollectGarbageNow();
    return present;
  };
  {
    qvsvStringTableDebug::ScopedTableNoLeakModeToggle outer;
    {
      qvsvStringTableDebug::ScopedTableNoLeakModeToggle inner;
      EXPECT_FALSE(survivesDrop(u"inner"));
    }
    EXPECT_FALSE(survivesDrop(u"outer"));
    const qvsvString kept(u"kept");
    { const qvsvString copy = kept; }
    EXPECT_THAT(stats(), ElementsAre(StatsRow{u"kept", 1}));
  }
  EXPECT_TRUE(survivesDrop(u"after"));
  // The mode counts enters minus exits: an exit without an enter turns it on
  // until an enter balances it.
  qvsvStringTableDebug::exitTableNoLeakMode();
  EXPECT_FALSE(survivesDrop(u"unbalanced"));
  qvsvStringTableDebug::enterTableNoLeakMode();
  EXPECT_TRUE(survivesDrop(u"balanced"));
}

TEST_F(StringTable, PersistentEntryIsImmortalAndReportedAs999999) {
  const char16_t* chars = nullptr;
  {
    const qvsvString plain(u"abc");
    chars = plain.c_str();
    const qvsvString p = qvsvString::persistent(u"abc");
    EXPECT_TRUE(p.equals(plain) && table().isPersistent(plain));
    qvsvString copy = p;
    copy = u"other";
    EXPECT_EQ(refCount(p), kPersistent);
  }
  qvsvStringTableCollectGarbageNow();
  EXPECT_THAT(stats(), ElementsAre(StatsRow{u"abc", 999999}));
  const qvsvString later(u"abc");
  EXPECT_EQ(later.c_str(), chars);
}

TEST_F(StringTable, AppendChangesTheReceiverPlusDoesNotAndSubstrFollowsStdString) {
  qvsvString a(u"ab");
  const qvsvString sum = a + qvsvString(u"cd");
  EXPECT_TRUE(a.equals(u"ab") && sum.equals(u"abcd") && (a + std::u16string(u"!")).equals(u"ab!"));
  EXPECT_TRUE(a.append(qvsvString(u"cd")).equals(sum) && a.equals(sum));
  a.append(std::u16string(u"ef"));
  a.append(u'g');
  a.append(std::u16string(u"0123456"), 5, 100);
  a.append(std::u16string(u"xyz"), 3, 1);
  EXPECT_THROW(a.append(std::u16string(u"xyz"), 4, 1), std::out_of_range);
  EXPECT_EQ(a.str(), u"abcdefg56");

  const qvsvString s(u"abcdef");
  EXPECT_EQ(s.substr(4).str(), u"ef");
  EXPECT_EQ(s.substr(1, 3).str(), u"bcd");
  EXPECT_EQ(s.substr(3, 99).str(), u"def");
  EXPECT_TRUE(s.substr(6).empty());
  EXPECT_THAT([&] { (void)s.substr(7, 0); }, ThrowsMessage<std::out_of_range>("invalid string position"));
}

TEST_F(StringTable, SplitKeepsEveryPieceAndJoinUndoesIt) {
  std::vector<qvsvString> out{qvsvString(u"stale")};
  qvsvString::split(out, qvsvString(), u',');
  EXPECT_THAT(out, IsEmpty());
  // The source may live in the vector that is cleared.
  out = {qvsvString(u",x,,y,")};
  qvsvString::split(out, out[0], u',');
  EXPECT_EQ(qvsvString::join(out, u';').str(), u";x;;y;");
  const qvsvString one(u"only");
  EXPECT_EQ(qvsvString::join({one}, u',').c_str(), one.c_str());
  std::mt19937 random(7);
  const std::u16string alphabet = u"ab,\u00E9\U0001F600";
  for (int round = 0; round < 500; ++round) {
    std::u16string text;
    for (int i = static_cast<int>(random() % 12); i > 0; --i) text.push_back(alphabet[random() % alphabet.size()]);
    qvsvString::split(out, text, u',');
    ASSERT_EQ(qvsvString::join(out, u',').str(), text);
    for (const qvsvString& piece : out) ASSERT_EQ(piece.str().find(u','), std::u16string::npos);
  }
}

TEST_F(StringTable, AssignmentsKeepCountsExact) {
  const qvsvString a(u"a");
  qvsvString s = a;
  s = s;
  s = a;  // the same entry: nothing changes
  EXPECT_EQ(refCount(a), 2u);
  s = u"b";
  EXPECT_EQ(refCount(a), 1u);
  s = std::u16string(u"a");
  qvsvString moved = std::move(s);
  EXPECT_TRUE(s.empty());  // NOLINT: moved-from strings are defined to be empty
  s = std::move(moved);
  EXPECT_EQ(refCount(a), 2u);
}

// getString finds a text by what lies up to its NUL; the length given only
// shapes an entry that it has to make.
TEST_F(StringTable, TextEndsAtItsFirstNulWhateverTheLengthGiven) {
  const qvsvString cut(std::u16string(u"ab\0cd", 5));
  EXPECT_EQ(cut.length(), 2u);
  EXPECT_TRUE(cut.equals(std::u16string(u"ab\0zz", 5)));
  EXPECT_TRUE(qvsvString(u"ab").append(u'\0').equals(u"ab"));
  EXPECT_EQ(entryText(u"abcdef", 3), u"abc");
  EXPECT_EQ(entryText(u"abc", 100), u"abc");
  const qvsvString whole(u"abcdef");
  for (const std::uint32_t length : {0u, 3u, 100u}) EXPECT_EQ(entryText(u"abcdef", length), u"abcdef") << length;
  EXPECT_EQ(refCount(whole), 1u);
  EXPECT_EQ(table().getNumStrings(), 3u) << "a length that cuts no NUL makes no second entry";
}

TEST_F(StringTable, EqualityHashAndOrderFollowTheEntry) {
  const qvsvString a(u"Gain");
  const qvsvString b = qvsvString(u"Ga") + u"in";
  const qvsvString c(u"Gaim");
  EXPECT_TRUE(a == b && !a.equals(c) && qvsvString().equals(static_cast<const char16_t*>(nullptr)));
  EXPECT_EQ((std::unordered_set<qvsvString>{a, b, c}.size()), 2u);
  EXPECT_LT(qvsvStrcmp(c, a), 0);
  // The wide-string comparisons reach the interned texts, first argument first.
  EXPECT_EQ(qvsvStrcmpWS(qvsvString(u"a\tb"), qvsvString(u"a b")), 0);
  EXPECT_EQ(qvsvStrcmpi(qvsvString(u"\u00C9T\u00C9"), qvsvString(u"\u00E9t\u00E9")), 0);
  EXPECT_LT(qvsvStrncmp(qvsvString(u"abc"), qvsvString(u"abd"), 3), 0);
  EXPECT_EQ(qvsvStrncmpi(qvsvString(u"ABx"), qvsvString(u"aby"), 2), 0);
  EXPECT_GT(qvsvStrcmp(qvsvString(u"b"), qvsvString(u"a")), 0);
}

// That the narrow form is made once per entry is a concurrency test.
TEST_F(StringTable, NarrowFormIsEscapedAsciiAndHostCopyIsExact) {
  const qvsvString s(u"x\u00E9\\\U0001F600");
  EXPECT_EQ(qvsvToStdString(s), "x\\u00E9\\\\\\U0001F600");
  txArray* array = s.getTxArray();
  EXPECT_EQ(txGetString(array), s.str());
  txDestroyArray(array);
}

TEST_F(StringTable, StatsAndTheirPrintoutAreSortedByText) {
  const qvsvString z(u"z\u00E9"), upper(u"B");
  const qvsvString y = qvsvString::persistent(u"y");
  qvsvStringTableCollectGarbageNow();
  const qvsvString a(u"a"), a2 = a;
  {
    tessel::HostCallScope scope;
    EXPECT_THAT(stats(), ElementsAre(StatsRow{u"B", 1}, StatsRow{u"a", 3}, StatsRow{u"y", 999999},
                                     StatsRow{u"z\u00E9", 1}));
  }
  tessel::ConsoleCapture console;
  qvsvStringTableDebug::printStats();
  char header[96];
  std::snprintf(header, sizeof header, "qvsvStringTable instance 0x%" PRIxPTR ", (4 entries)\n",
                reinterpret_cast<std::uintptr_t>(&table()));
  EXPECT_EQ(console.text(), std::string(header) +
                                " (B), 1 references\n (a), 3 references\n (y), persistent\n (z\\u00E9), 1 references\n");
}

// The allocation-failure sweep over interning is in the concurrency tests,
// where another thread also finds the entry being made.
TEST_F(StringTable, PresentTextNeedsNoAllocation) {
  const qvsvString present(u"present");
  tessel::ScopedAllocationFailure failure;
  const qvsvString again(u"present");
  EXPECT_EQ(again.c_str(), present.c_str());
  EXPECT_THROW(qvsvString(u"absent"), std::bad_alloc);
  EXPECT_EQ(failure.failures(), 1u);
}

TEST_F(StringTable, DestroyedTableIsRecreatedOnlyByUse) {
  (void)qvsvString::persistent(u"kept until destroyed");
  qvsvStringTableDebug::destroyTable();
  qvsvStringTableCollectGarbageNow();
  tessel::ConsoleCapture console;
  qvsvStringTableDebug::printStats();
  EXPECT_EQ(console.text(), "qvsvStringTable instance 0x0, (0 entries)\n");
  const qvsvString fresh(u"kept until destroyed");
  EXPECT_FALSE(table().isPersistent(fresh));
  EXPECT_EQ(qvsvStringTableDebug::getNumStrings(), 1u);
}

}  // namespace
