// The string table under threads that intern, copy, compare, drop, make
// persistent and collect the same and different texts at once. These run
// under ThreadSanitizer and AddressSanitizer too, which turn a revived dying
// entry or an entry freed twice into a report.

#include <atomic>
#include <latch>
#include <map>
#include <new>
#include <memory>

#include "qv_services/string_table.hpp"
#include "tessel/ut.hpp"
#include "tests/strings/strings_test.hpp"

namespace {

constexpr int kThreads = 4;  // more than the cores, so that threads are preempted mid-operation
constexpr std::uint32_t kPersistent = qvsvStringTableEntry::kPersistentReferenceCount;

std::u16string textOf(const std::string& prefix, std::size_t i) {
  const std::string narrow = prefix + std::to_string(i);
  return std::u16string(narrow.begin(), narrow.end());
}

class StringTableConcurrency : public ::testing::Test {
 protected:
  void SetUp() override { qvsvStringTableDebug::destroyTable(); }
  void TearDown() override {
    qvsvStringTableCollectGarbageNow();
    EXPECT_EQ(table().getNumStrings(), persistentTexts_) << "entries left behind";
    qvsvStringTableDebug::destroyTable();
  }

  static qvsvStringTable& table() { return *qvsvStringTable::getInstance(); }

  // Runs body(thread index) on `count` threads released at the same moment.
  template <typename Body>
  static void runTogether(Body body, int count = kThreads) {
    std::latch start(count);
    std::vector<std::thread> threads;
    for (int t = 0; t < count; ++t) {
      threads.emplace_back([&, t] {
        start.arrive_and_wait();
        body(t);
      });
    }
    for (std::thread& thread : threads) thread.join();
  }

  std::size_t persistentTexts_ = 0;  // what TearDown expects to survive a collection
};

TEST_F(StringTableConcurrency, SameTextsInternedAtOnceShareOneEntryEach) {
  const std::size_t texts = 64;
  for (std::size_t round = 0; round < qvsv::test::Scaled(200, 10); ++round) {
    std::vector<std::vector<qvsvString>> held(kThreads);
    const std::string prefix = std::string("round").append(std::to_string(round)).append("_");
    runTogether([&](int t) {
      // Half of the threads walk the texts backwards.
      for (std::size_t i = 0; i < texts; ++i) held[t].emplace_back(textOf(prefix, t % 2 ? texts - 1 - i : i));
    });
    ASSERT_EQ(table().getNumStrings(), texts);
    for (std::size_t i = 0; i < texts; ++i) {
      const qvsvString& first = held[0][i];
      for (int t = 1; t < kThreads; ++t) {
        const qvsvString& other = held[t][t % 2 ? texts - 1 - i : i];
        ASSERT_EQ(other.c_str(), first.c_str()) << qvsvToStdString(first);
      }
      ASSERT_EQ(table().getRefCount(first), static_cast<std::uint32_t>(kThreads));
    }
    held.clear();
    qvsvStringTableCollectGarbageNow();
    ASSERT_EQ(table().getNumStrings(), 0u);
  }
}

// Strings of two texts are made and dropped as fast as possible, so that
// entries die while other threads look them up and fresh entries replace
// them. Two strings of one text made one after the other must always share an
// entry: that fails if a lookup revives a dying entry (then freed under it) or
// if a release erases the fresh replacement of the entry it frees. Long texts
// widen the moment between an entry's death and its removal from the map,
// which the second fault needs; no-leak mode makes entries die on every drop.
struct ChurnCase {
  const char* name;
  bool noLeakMode;
  std::size_t textLength;
  std::size_t iterations;  // per thread, before scaling
};

void PrintTo(const ChurnCase& c, std::ostream* os) { *os << c.name; }

class StringTableConcurrencyChurn : public StringTableConcurrency, public ::testing::WithParamInterface<ChurnCase> {};

TEST_P(StringTableConcurrencyChurn, TwoStringsOfOneTextAlwaysShareAnEntry) {
  const ChurnCase& c = GetParam();
  std::vector<std::u16string> texts;
  for (std::size_t i = 0; i < 2; ++i) {
    texts.push_back(textOf("churn", i));
    texts.back().resize(c.textLength, u'~');
  }
  const std::size_t iterations = qvsv::test::Scaled(c.iterations, c.textLength > 8 ? 60000 : 20000);
  std::atomic<std::size_t> mismatches{0};
  {
    std::unique_ptr<qvsvStringTableDebug::ScopedTableNoLeakModeToggle> toggle;
    if (c.noLeakMode) toggle = std::make_unique<qvsvStringTableDebug::ScopedTableNoLeakModeToggle>();
    runTogether([&](int t) {
      std::minstd_rand random(static_cast<unsigned>(t) + 1);
      for (std::size_t i = 0; i < iterations; ++i) {
        const std::u16string& text = texts[random() % texts.size()];
        const qvsvString a(text);
        const qvsvString b(text.c_str());
        const qvsvString copy = a;
        if (!a.equals(b) || !copy.equals(a) || copy.str() != text) mismatches.fetch_add(1);
        // Without no-leak mode, collections come from a thread of their own.
        if (!c.noLeakMode && t == 0 && i % 8 == 0) qvsvStringTableCollectGarbageNow();
      }
    });
  }
  EXPECT_EQ(mismatches.load(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Cases, StringTableConcurrencyChurn,
                         ::testing::Values(ChurnCase{"ShortDeferred", false, 8, 300000},
                                           ChurnCase{"ShortNoLeakMode", true, 8, 300000},
                                           ChurnCase{"LongDeferred", false, 512, 60000},
                                           ChurnCase{"LongNoLeakMode", true, 512, 60000}),
                         [](const auto& info) { return std::string(info.param.name); });

// Threads keep slots of strings that they assign, copy, move and release at
// random, from a shared set of seeds as well as from texts; afterwards every
// text's count equals the strings that hold it.
TEST_F(StringTableConcurrency, CountsMatchTheLiveStrings) {
  const std::size_t kTexts = 12, kSlots = 48;
  std::vector<std::u16string> texts;
  for (std::size_t i = 0; i < kTexts; ++i) texts.push_back(textOf("count", i));
  const std::vector<qvsvString> seeds(texts.begin(), texts.end());
  std::vector<std::vector<qvsvString>> slots(kThreads, std::vector<qvsvString>(kSlots));
  const std::size_t iterations = qvsv::test::Scaled(200000, 2000);
  runTogether([&](int t) {
    std::minstd_rand random(static_cast<unsigned>(t) + 11);
    std::vector<qvsvString>& mine = slots[t];
    for (std::size_t i = 0; i < iterations; ++i) {
      qvsvString& slot = mine[random() % kSlots];
      switch (random() % 6) {
        case 0: slot = texts[random() % kTexts]; break;
        case 1: slot = seeds[random() % kTexts]; break;
        case 2: slot = mine[random() % kSlots]; break;
        case 3: slot = std::move(mine[random() % kSlots]); break;
        case 4: slot.release(); break;
        case 5: if (t == 0 && i % 128 == 0) qvsvStringTableCollectGarbageNow(); break;
      }
    }
  });
  std::map<const char16_t*, std::size_t> seedOf;
  for (std::size_t i = 0; i < kTexts; ++i) seedOf[seeds[i].c_str()] = i;
  std::vector<std::uint32_t> expected(kTexts, 1);  // the seed itself
  for (const auto& mine : slots) {
    for (const qvsvString& s : mine) {
      if (s.empty()) continue;
      const auto seed = seedOf.find(s.c_str());
      ASSERT_NE(seed, seedOf.end()) << "a second entry for " << qvsvToStdString(s);
      ++expected[seed->second];
    }
  }
  for (std::size_t i = 0; i < kTexts; ++i) EXPECT_EQ(table().getRefCount(seeds[i]), expected[i]) << i;
  EXPECT_EQ(table().getNumStrings(), kTexts);
}

// Copies come and go while another thread makes the text persistent: the
// persistent mark must survive every decrement that raced with it.
TEST_F(StringTableConcurrency, PersistentMarkSurvivesRacingDecrements) {
  const std::size_t rounds = qvsv::test::Scaled(200, 20);
  for (std::size_t round = 0; round < rounds; ++round) {
    const std::u16string text = textOf("persist", round);
    const qvsvString base(text);
    const char16_t* const chars = base.c_str();
    std::atomic<int> copying{0};
    std::atomic<bool> done{false};
    runTogether([&](int t) {
      if (t == 0) {
        // Strike while the other thread is copying and dropping.
        while (copying.load() == 0) std::this_thread::yield();
        const qvsvString p = qvsvString::persistent(text);
        EXPECT_EQ(p.c_str(), chars);
        done.store(true);
        return;
      }
      copying.fetch_add(1);
      for (int i = 0; i < 100 || !done.load(std::memory_order_relaxed); ++i) {
        qvsvString copy = base;
        copy.release();
      }
    }, 2);  // one thread per core, so that both really run at once
    ASSERT_EQ(table().getRefCount(base), kPersistent) << "round " << round;
    ++persistentTexts_;
  }
}

// An allocation fails at every point of interning in turn; just before it
// fails, another thread interns the same text. Once the new entry is in the
// map (while the map grows, or the pending list does) that thread finds it
// and keeps it, so the failed insertion must leave it there, alive, with that
// thread's reference alone.
TEST_F(StringTableConcurrency, FailedInsertionKeepsAnEntryThatAnotherThreadFound) {
  std::vector<std::u16string> wanted;
  // Enough texts for the map to outgrow its first block of buckets.
  for (std::size_t i = 0; i < 1200; ++i) wanted.push_back(textOf("grow", i));
  const std::thread::id mainThread = std::this_thread::get_id();
  std::size_t failAt = 0;
  for (bool failed = true; failed; ++failAt) {
    SCOPED_TRACE("failure at allocation " + std::to_string(failAt));
    failed = false;
    {
      std::vector<qvsvString> live;
      std::vector<qvsvString> found;  // the other thread's strings
      std::size_t current = 0;        // the text being interned
      std::size_t requests = 0;       // the main thread's allocations
      std::size_t ofThisText = 0;     // ... while interning the current text
      try {
        tessel::ScopedAllocationFailure failure([&](std::size_t) {
          if (std::this_thread::get_id() != mainThread) return false;
          const std::size_t index = ofThisText++;
          if (requests++ != failAt) return false;
          // Requests 0 and 1 make the entry and the map's node; the later
          // ones come once the entry is in the map. (The node is made under
          // the bucket's lock, which the other thread would wait for, and
          // growing the map from that thread would spoil the growth that
          // this sweep is after: the map never shrinks.)
          if (index >= 2) std::thread([&] { found.emplace_back(wanted[current]); }).join();
          return true;
        });
        for (current = 0; current < wanted.size(); ++current) {
          ofThisText = 0;
          live.emplace_back(wanted[current]);
        }
      } catch (const std::bad_alloc&) {
        failed = true;
      }
      for (const qvsvString& s : found) ASSERT_EQ(table().getRefCount(s), 1u);
      live.insert(live.end(), found.begin(), found.end());
      for (const qvsvString& s : live) ASSERT_EQ(qvsvString(s.str()).c_str(), s.c_str()) << "a second entry";
      ASSERT_EQ(table().getNumStrings(), live.size());
    }
    qvsvStringTableCollectGarbageNow();
    ASSERT_EQ(table().getNumStrings(), 0u);
  }
  EXPECT_GT(failAt, 600u);  // entries, nodes, the map's growth and the list's all failed once
}

TEST_F(StringTableConcurrency, NarrowFormIsMadeOncePerEntry) {
  const std::size_t texts = qvsv::test::Scaled(2000, 100);
  std::vector<qvsvString> strings;
  for (std::size_t i = 0; i < texts; ++i) strings.emplace_back(std::u16string(u"n\u00E9").append(textOf("", i)));
  std::vector<std::vector<const char*>> seen(kThreads, std::vector<const char*>(texts));
  runTogether([&](int t) {
    for (std::size_t i = 0; i < texts; ++i) seen[t][i] = strings[i].get_converted_lcp_str();
  });
  for (std::size_t i = 0; i < texts; ++i) {
    for (int t = 1; t < kThreads; ++t) ASSERT_EQ(seen[t][i], seen[0][i]);
    ASSERT_EQ(std::string(seen[0][i]), "n\\u00E9" + std::to_string(i));
  }
}

}  // namespace
