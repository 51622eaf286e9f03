#include <memory>

#include "qv_services/feature.hpp"
#include "qv_services/listeners.hpp"
#include "qv_services/reporting.hpp"
#include "tessel/console.hpp"
#include "tests/errors/diagnostics_fixture.hpp"

namespace {

using qvsv::test::DiagnosticsTest;
using qvsv::util::CDiagnosticListener;
using qvsv::util::qvsvDiagnosticListenerContext;

// Records what it was offered and answers as told.
class RecordingListener : public CDiagnosticListener {
 public:
  RecordingListener(const char* name, bool takes) : name_(name), takes_(takes) {}
  bool notify(qvsvDiagnosticImpl* const& diag, qvsvDiagnosticListenerContext context, const std::u16string&) override {
    seen.push_back({qvsvGetCombinedErrorIdentifier(diag), context});
    return takes_;
  }
  const char* name() const override { return name_; }
  std::vector<std::pair<std::string, int>> seen;

 private:
  const char* name_;
  bool takes_;
};

// Every test leaves the registries as it found them and MessageViewer at 1.
class Listeners : public DiagnosticsTest {
 protected:
  void TearDown() override {
    QvFeatureHostCommand::set("MessageViewer", 1);
    DiagnosticsTest::TearDown();
  }
  std::shared_ptr<RecordingListener> add(const char* name, bool takes) {
    auto listener = std::make_shared<RecordingListener>(name, takes);
    EXPECT_TRUE(qvsvRegisterDiagnosticListener(listener));
    registered_.push_back(name);
    return listener;
  }
  ~Listeners() override {
    for (const auto& name : registered_) qvsvUnRegisterDiagnosticListener(name);
  }
  std::vector<std::string> registered_;
  tessel::ConsoleCapture console_;
};

TEST_F(Listeners, WalkInNameOrderAndStopAtTheFirstThatTakes) {
  auto b = add("b", true);
  auto a = add("a", true);
  auto c = add("c", false);
  qvsvDiagnosticImpl* diag = make("A:b");
  EXPECT_TRUE(qvsvNotifyDiagnosticListeners(diag, qvsv::util::kErrorContext));
  EXPECT_EQ(a->seen.size(), 1u);
  EXPECT_TRUE(b->seen.empty()) << "a listener that takes hides the diagnostic from later names";
  EXPECT_TRUE(c->seen.empty());
  qvsvDiscardDiagnostic(diag);
}

TEST_F(Listeners, AnswerIsTheLastCalledListenersAndEmptyDiagnosticsReachNobody) {
  auto a = add("a", false);
  qvsvDiagnosticImpl* diag = make("A:b");
  EXPECT_FALSE(qvsvNotifyDiagnosticListeners(diag, qvsv::util::kErrorContext));
  qvsvDiagnosticImpl* empty = qvsvObtainDiagnostic();
  EXPECT_FALSE(qvsvNotifyDiagnosticListeners(empty, qvsv::util::kErrorContext));
  EXPECT_EQ(a->seen.size(), 1u);
  EXPECT_FALSE(qvsvNotifyDiagnosticListeners(nullptr, qvsv::util::kErrorContext));
  qvsvDiscardDiagnostic(diag);
  qvsvDiscardDiagnostic(empty);
}

TEST_F(Listeners, ExpiredListenersAreSkippedAndTheDefaultIsNotUsed) {
  add("gone", true);  // dropped at once: only the registry's weak reference remains
  qvsvDiagnosticImpl* diag = make("A:b", u"nobody hears this");
  EXPECT_FALSE(qvsvNotifyDiagnosticListeners(diag, qvsv::util::kWarningContext));
  EXPECT_EQ(console_.text(), "") << "the default listener would have shown the warning";
  auto replacement = std::make_shared<RecordingListener>("gone", true);
  EXPECT_TRUE(qvsvRegisterDiagnosticListener(replacement)) << "an expired entry is replaced";
  auto rival = std::make_shared<RecordingListener>("gone", true);
  EXPECT_FALSE(qvsvRegisterDiagnosticListener(rival)) << "a live entry stays";
  EXPECT_FALSE(qvsvRegisterDiagnosticListener(nullptr));
  EXPECT_TRUE(qvsvNotifyDiagnosticListeners(diag, qvsv::util::kWarningContext));
  EXPECT_EQ(replacement->seen.size(), 1u);
  qvsvDiscardDiagnostic(diag);
}

TEST_F(Listeners, WithNoneRegisteredTheDefaultListenerShowsWarningsOnly) {
  qvsvDiagnosticImpl* diag = make("A:b", u"careful");
  EXPECT_TRUE(qvsvNotifyDiagnosticListeners(diag, qvsv::util::kWarningContext));
  EXPECT_FALSE(qvsvNotifyDiagnosticListeners(diag, qvsv::util::kErrorContext));
  EXPECT_EQ(console_.text(), "Warning: careful\n");
  EXPECT_EQ(qvsvGetNumItemsInDiagnostic(diag), 1) << "the default listener shows a duplicate";
  qvsvDiscardDiagnostic(diag);
}

class ReportingPath : public Listeners {};

TEST_F(ReportingPath, ConsumingCallbackHidesTheDiagnosticFromEverythingAfterIt) {
  auto listener = add("z", true);
  std::vector<std::string> order;
  ASSERT_TRUE(qvsvRegisterDiagnosticCallback("1-watch", [&](qvsvDiagnosticImpl*&) { order.push_back("watch"); }));
  EXPECT_FALSE(qvsvRegisterDiagnosticCallback("1-watch", [](qvsvDiagnosticImpl*&) {})) << "one callback per name";
  ASSERT_TRUE(qvsvRegisterDiagnosticCallback("2-eat", [&](qvsvDiagnosticImpl*& d) {
    order.push_back("eat");
    qvsvDiscardDiagnostic(d);
  }));
  ASSERT_TRUE(qvsvRegisterDiagnosticCallback("3-late", [&](qvsvDiagnosticImpl*&) { order.push_back("late"); }));
  qvsvDiagnosticImpl* diag = make("A:b");
  qvsvReportAsError(diag);
  EXPECT_EQ(diag, nullptr);
  EXPECT_EQ(order, (std::vector<std::string>{"watch", "eat"}));
  EXPECT_TRUE(listener->seen.empty());
  EXPECT_EQ(console_.text(), "");
  for (const char* name : {"1-watch", "2-eat", "3-late"}) qvsvUnRegisterDiagnosticCallback(name);
}

TEST_F(ReportingPath, ContextsAndTheMessageViewerRead) {
  auto listener = add("a", true);
  const unsigned reads = QVFEAT_MessageViewer->getsFromC();
  qvsvDiagnosticImpl* warning = make("W:1");
  qvsvReportAsWarning(warning);
  qvsvDiagnosticImpl* error = make("E:1");
  qvsvReportAsError(error);
  qvsvDiagnosticImpl* info = make("I:1");
  qvsvReportAsInfo(info);
  EXPECT_EQ(listener->seen, (std::vector<std::pair<std::string, int>>{{"W:1", 1}, {"E:1", 2}, {"I:1", 3}}));
  EXPECT_EQ(QVFEAT_MessageViewer->getsFromC(), reads + 1) << "read by warnings only";

  QvFeatureHostCommand::set("MessageViewer", 0);
  qvsvDiagnosticImpl* hidden = make("W:2", u"to the display");
  qvsvReportAsWarning(hidden);
  EXPECT_EQ(listener->seen.size(), 3u) << "MessageViewer 0: listeners never see warnings";
  EXPECT_EQ(QVFEAT_MessageViewer->getsFromC(), reads + 2) << "the read is counted even when it is 0";
  EXPECT_EQ(console_.text(), "Warning: to the display\n");
}

TEST_F(ReportingPath, MetadataOverloadStoresPairsOnTheLastItemBeforeListenersSeeIt) {
  auto capture = std::make_shared<RecordingListener>("a", false);
  qvsvRegisterDiagnosticListener(capture);
  registered_.push_back("a");
  std::vector<std::u16string> seenKeys;
  qvsvRegisterDiagnosticCallback("meta", [&](qvsvDiagnosticImpl*& d) {
    for (const auto& [key, value] : d->lastItem()->metadata) seenKeys.push_back(key);
  });
  qvsvDiagnosticImpl* diag = queueOf(2);
  qvsvReportAsWarning(diag, {{u"z", std::int64_t{1}}, {u"a", std::string("x")}});
  EXPECT_EQ(seenKeys, (std::vector<std::u16string>{u"a", u"z"}));
  qvsvUnRegisterDiagnosticCallback("meta");
}

TEST_F(ReportingPath, CountersCountReportsByIdentifierAndResetDiffersFromClear) {
  qvsvClearDiagnosticCounters(nullptr);
  for (int i = 0; i < 3; ++i) {
    qvsvDiagnosticImpl* diag = make("Count:me");
    qvsvReportAsError(diag);
  }
  qvsvDiagnosticImpl* empty = qvsvObtainDiagnostic();
  qvsvReportAsError(empty);
  EXPECT_EQ(qvsvGetDiagnosticCounterValue("Count:me", nullptr), 3u);
  int owner = 0;
  qvsvIncrementDiagnosticCounterValue("mine", &owner);
  qvsvResetDiagnosticCounters(nullptr);
  EXPECT_EQ(qvsvGetDiagnosticCounterValue("Count:me", nullptr), 0u);
  EXPECT_EQ(qvsvGetDiagnosticCounterKeys(nullptr), std::vector<std::string>{"Count:me"}) << "reset keeps the key";
  EXPECT_EQ(qvsvGetDiagnosticCounterValue("mine", &owner), 1u) << "other owners are untouched";
  qvsvClearDiagnosticCounters(nullptr);
  EXPECT_TRUE(qvsvGetDiagnosticCounterKeys(nullptr).empty());
  qvsvClearDiagnosticCounters(&owner);
}

TEST_F(ReportingPath, IdentifierCallbacksHearEveryTopLevelItemWithTheirOwner) {
  int owner = 0;
  std::vector<std::string> heard;
  qvsv::util::ScopedIDDiagnosticListener ids(
      "ids",
      [&](std::shared_ptr<resource_core::BaseMsgID>& id, void* o) {
        EXPECT_EQ(o, &owner);
        heard.push_back(id->identifier());
      },
      &owner);
  qvsvDiagnosticImpl* diag = queueOf(2);
  qvsvReportAsInfo(diag);
  EXPECT_EQ(heard, (std::vector<std::string>{"Q:0", "Q:1"}));
  EXPECT_EQ(ids.counter(), 2u);
  EXPECT_FALSE(qvsvRegisterIDDiagnosticCallback("ids", [](auto&, void*) {}, &owner));
  EXPECT_TRUE(qvsvRegisterIDDiagnosticCallback("ids", [](auto&, void*) {}, nullptr)) << "keyed by name and owner";
  qvsvUnRegisterIDDiagnosticCallback("ids", nullptr);
}

TEST_F(ReportingPath, ScopedListenersCountAndAScopeOfATakenNameHearsNothing) {
  unsigned outerSeen = 0;
  {
    qvsv::util::ScopedDiagnosticListener outer("scope", [&](qvsvDiagnosticImpl*&) { ++outerSeen; });
    for (int i = 0; i < 3; ++i) {
      qvsvDiagnosticImpl* diag = make("A:b");
      qvsvReportAsError(diag);
    }
    EXPECT_EQ(outer.counter(), 3u);
    outer.resetCounter();
    EXPECT_EQ(outer.counter(), 0u);
    {
      qvsv::util::ScopedDiagnosticListener inner("scope", [](qvsvDiagnosticImpl*&) {});
      qvsvDiagnosticImpl* diag = make("A:b");
      qvsvReportAsError(diag);
      EXPECT_EQ(inner.counter(), 0u) << "the name is taken: the inner scope is refused";
      EXPECT_EQ(outer.counter(), 1u);
    }
    qvsvDiagnosticImpl* diag = make("A:b");
    qvsvReportAsError(diag);
    EXPECT_EQ(outer.counter(), 2u) << "the refused scope's end leaves the outer registration alone";
  }
  EXPECT_EQ(outerSeen, 5u);
  EXPECT_TRUE(qvsvRegisterDiagnosticCallback("scope", [](qvsvDiagnosticImpl*&) {})) << "unregistered at the end";
  qvsvUnRegisterDiagnosticCallback("scope");
}

TEST_F(ReportingPath, WarnOnceFilterLetsOneWarningThroughPerScopeAndOwner) {
  auto listener = add("a", true);
  int model = 0;
  auto warn = [] {
    qvsvDiagnosticImpl* diag = qvsvCreateDiagnosticFromIdAndMsg("Once:w", "w");
    qvsvReportAsWarning(diag);
  };
  {
    qvsv::util::ScopedWarnOnceFilter filter("Once:w", &model);
    warn();
    warn();
    qvsvDiagnosticImpl* error = qvsvCreateDiagnosticFromIdAndMsg("Once:w", "an error is not filtered");
    qvsvReportAsError(error);
    {
      qvsv::util::ScopedWarnOnceFilter inner("Once:w", &model);
      warn();
      warn();
    }
  }
  warn();
  EXPECT_EQ(listener->seen.size(), 4u) << "one per scope, the error, and one after the scopes";
}

class TestWarnings : public Listeners {};

TEST_F(TestWarnings, HelperCapturesWarningsWhileItLives) {
  const double handle = 8.0;
  {
    qvsv::util::TestWarningHelper helper;
    qvsvDiagnosticImpl* diag =
        qvsvCreateDiagnosticFromMessageID(resource_core::BaseMsgID("QVSV_TEST:extra", "Pair", {std::int64_t{1}, std::string("x")}));
    qvsvSetHandlesInErrorQueueLastDiagnostic(&handle, 1, diag);
    qvsvReportAsWarning(diag);
    EXPECT_EQ(helper.getNumberCapturedDiagnostics(), 1u);
    EXPECT_EQ(helper.getDiagnosticID(0), "QVSV_TEST:extra:Pair");
    EXPECT_EQ(helper.getDiagnosticMessage(0), u"first 1, second x");
    EXPECT_EQ(helper.getDiagnosticArguments(0).size(), 2u);
    EXPECT_EQ(helper.getDiagnosticHandles(0), std::vector<double>{8.0});
    EXPECT_EQ(helper.getDiagnosticID(5), "");
    QvFeatureHostCommand::set("MessageViewer", 0);
    qvsvDiagnosticImpl* unseen = make("A:b");
    qvsvReportAsWarning(unseen);
    EXPECT_EQ(helper.getNumberCapturedDiagnostics(), 1u);
  }
  EXPECT_EQ(qvsv::util::TestWarningHelper::getNumberCapturedDiagnostics(), 0u) << "no test listener any more";
}

}  // namespace
