// Who hears a report, in which order, and what the counters, filters and the
// test helper keep of it.
#include "qv_services/listeners.hpp"

#include <memory>

#include "qv_services/feature.hpp"
#include "qv_services/reporting.hpp"
#include "tessel/console.hpp"
#include "tests/errors/diagnostics_fixture.hpp"

namespace {

using qvsv::util::kErrorContext;
using qvsv::util::kWarningContext;

// Records what it was offered and answers as told.
class RecordingListener : public qvsv::util::CDiagnosticListener {
 public:
  RecordingListener(const char* name, bool takes) : name_(name), takes_(takes) {}
  bool notify(qvsvDiagnosticImpl* const& diag, qvsv::util::qvsvDiagnosticListenerContext context,
              const std::u16string&) override {
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
class Listeners : public qvsv::test::DiagnosticsTest {
 protected:
  void TearDown() override {
    QvFeatureHostCommand::set("MessageViewer", 1);
    for (const auto& name : registered_) qvsvUnRegisterDiagnosticListener(name);
    DiagnosticsTest::TearDown();
  }
  std::shared_ptr<RecordingListener> add(const char* name, bool takes) {
    auto listener = std::make_shared<RecordingListener>(name, takes);
    EXPECT_TRUE(qvsvRegisterDiagnosticListener(listener));
    registered_.push_back(name);
    return listener;
  }
  static void report(void (*how)(qvsvDiagnosticImpl*&), const char* id) {
    qvsvDiagnosticImpl* diag = make(id);
    how(diag);
  }
  std::vector<std::string> registered_;
  tessel::ConsoleCapture console_;
};

TEST_F(Listeners, WalkInNameOrderPastExpiredOnesUntilOneTakesAndAnswerAsTheLastCalled) {
  add("0-gone", true);  // dropped at once: only the registry's weak reference remains
  auto c = add("c", true);
  auto b = add("b", true);
  auto a = add("a", false);
  qvsvDiagnosticImpl* diag = make("A:b");
  EXPECT_TRUE(qvsvNotifyDiagnosticListeners(diag, kErrorContext));
  EXPECT_EQ(a->seen.size() + b->seen.size(), 2u);
  EXPECT_TRUE(c->seen.empty()) << "a listener that takes hides the diagnostic from later names";
  qvsvUnRegisterDiagnosticListener("b");
  qvsvUnRegisterDiagnosticListener("c");
  EXPECT_FALSE(qvsvNotifyDiagnosticListeners(diag, kWarningContext));
  EXPECT_EQ(console_.text(), "") << "with listeners registered the default one is not asked";

  qvsvDiagnosticImpl* empty = qvsvObtainDiagnostic();
  EXPECT_FALSE(qvsvNotifyDiagnosticListeners(empty, kErrorContext));
  EXPECT_FALSE(qvsvNotifyDiagnosticListeners(nullptr, kErrorContext));
  EXPECT_EQ(a->seen.size(), 2u) << "empty diagnostics reach nobody";

  auto replacement = std::make_shared<RecordingListener>("0-gone", true);
  EXPECT_TRUE(qvsvRegisterDiagnosticListener(replacement)) << "an expired entry is replaced";
  EXPECT_FALSE(qvsvRegisterDiagnosticListener(std::make_shared<RecordingListener>("0-gone", true)))
      << "a live entry stays";
  EXPECT_FALSE(qvsvRegisterDiagnosticListener(nullptr));
  EXPECT_TRUE(qvsvNotifyDiagnosticListeners(diag, kWarningContext));
  EXPECT_EQ(replacement->seen.size(), 1u);
  qvsvDiscardDiagnostic(diag);
  qvsvDiscardDiagnostic(empty);
}

TEST_F(Listeners, WithNoneRegisteredTheDefaultListenerShowsWarningsOnly) {
  qvsvDiagnosticImpl* diag = make("A:b", u"careful");
  EXPECT_TRUE(qvsvNotifyDiagnosticListeners(diag, kWarningContext));
  EXPECT_FALSE(qvsvNotifyDiagnosticListeners(diag, kErrorContext));
  EXPECT_EQ(console_.text(), "Warning: careful\n");
  EXPECT_EQ(qvsvGetNumItemsInDiagnostic(diag), 1) << "the default listener shows a duplicate";
  qvsvDiscardDiagnostic(diag);
}

TEST_F(Listeners, ConsumingCallbackHidesTheReportFromLaterCallbacksAndListeners) {
  auto listener = add("z", true);
  std::vector<std::string> order;
  ASSERT_TRUE(qvsvRegisterDiagnosticCallback("1-watch", [&](qvsvDiagnosticImpl*&) { order.push_back("watch"); }));
  EXPECT_FALSE(qvsvRegisterDiagnosticCallback("1-watch", [](qvsvDiagnosticImpl*&) {})) << "one callback per name";
  ASSERT_TRUE(qvsvRegisterDiagnosticCallback("2-eat", [&](qvsvDiagnosticImpl*& d) {
    order.push_back("eat");
    qvsvDiscardDiagnostic(d);
  }));
  ASSERT_TRUE(qvsvRegisterDiagnosticCallback("3-late", [&](qvsvDiagnosticImpl*&) { order.push_back("late"); }));
  report(qvsvReportAsError, "A:b");
  EXPECT_EQ(order, (std::vector<std::string>{"watch", "eat"}));
  EXPECT_TRUE(listener->seen.empty());
  EXPECT_EQ(console_.text(), "");
  for (const char* name : {"1-watch", "2-eat", "3-late"}) qvsvUnRegisterDiagnosticCallback(name);
}

TEST_F(Listeners, MessageViewerIsReadOncePerWarningAndAtZeroKeepsWarningsFromListeners) {
  auto listener = add("a", true);
  const unsigned reads = QVFEAT_MessageViewer->getsFromC();
  report(qvsvReportAsWarning, "W:1");
  report(qvsvReportAsError, "E:1");
  report(qvsvReportAsInfo, "I:1");
  EXPECT_EQ(listener->seen, (std::vector<std::pair<std::string, int>>{{"W:1", 1}, {"E:1", 2}, {"I:1", 3}}));
  QvFeatureHostCommand::set("MessageViewer", 0);
  report(qvsvReportAsWarning, "W:2");
  EXPECT_EQ(listener->seen.size(), 3u);
  EXPECT_EQ(QVFEAT_MessageViewer->getsFromC(), reads + 2) << "read by warnings only, counted even at 0";
  EXPECT_EQ(console_.text(), "Warning: m\n");
}

TEST_F(Listeners, MetadataOfAWarningIsOnItsLastItemBeforeCallbacksRun) {
  std::vector<std::u16string> keys;
  qvsvRegisterDiagnosticCallback("meta", [&](qvsvDiagnosticImpl*& d) {
    for (const auto& [key, value] : d->lastItem()->metadata) keys.push_back(key);
  });
  qvsvDiagnosticImpl* diag = queueOf(2);
  qvsvReportAsWarning(diag, {{u"z", std::int64_t{1}}, {u"a", std::string("x")}});
  EXPECT_EQ(keys, (std::vector<std::u16string>{u"a", u"z"}));
  qvsvUnRegisterDiagnosticCallback("meta");
}

TEST_F(Listeners, CountersCountReportsByIdentifierAndResetKeepsTheKeysThatClearDrops) {
  qvsvClearDiagnosticCounters(nullptr);
  for (int i = 0; i < 3; ++i) report(qvsvReportAsError, "Count:me");
  qvsvDiagnosticImpl* empty = qvsvObtainDiagnostic();
  qvsvReportAsError(empty);
  EXPECT_EQ(qvsvGetDiagnosticCounterValue("Count:me", nullptr), 3u);
  int owner = 0;
  qvsvIncrementDiagnosticCounterValue("mine", &owner);
  qvsvResetDiagnosticCounters(nullptr);
  EXPECT_EQ(qvsvGetDiagnosticCounterValue("Count:me", nullptr), 0u);
  EXPECT_EQ(qvsvGetDiagnosticCounterKeys(nullptr), std::vector<std::string>{"Count:me"});
  EXPECT_EQ(qvsvGetDiagnosticCounterValue("mine", &owner), 1u) << "other owners are untouched";
  qvsvClearDiagnosticCounters(nullptr);
  EXPECT_TRUE(qvsvGetDiagnosticCounterKeys(nullptr).empty());
  qvsvClearDiagnosticCounters(&owner);
}

TEST_F(Listeners, WarnOnceFilterLetsOneWarningThroughPerScopeAndOwner) {
  auto listener = add("a", true);
  int model = 0;
  {
    qvsv::util::ScopedWarnOnceFilter filter("Once:w", &model);
    report(qvsvReportAsWarning, "Once:w");
    report(qvsvReportAsWarning, "Once:w");
    report(qvsvReportAsError, "Once:w");  // errors are not filtered
    {
      qvsv::util::ScopedWarnOnceFilter inner("Once:w", &model);
      report(qvsvReportAsWarning, "Once:w");
      report(qvsvReportAsWarning, "Once:w");
    }
  }
  report(qvsvReportAsWarning, "Once:w");
  EXPECT_EQ(listener->seen.size(), 4u) << "one per scope, the error, and one after the scopes";
}

TEST_F(Listeners, TestHelpersShareOneListenerThatCapturesWarningsWhileOneLives) {
  const double handle = 8.0;
  {
    qvsv::util::TestWarningHelper outer;
    { qvsv::util::TestWarningHelper inner; }
    qvsvDiagnosticImpl* diag = qvsvCreateDiagnosticFromMessageID(
        resource_core::BaseMsgID("QVSV_TEST:extra", "Pair", {std::int64_t{1}, std::string("x")}));
    qvsvSetHandlesInErrorQueueLastDiagnostic(&handle, 1, diag);
    qvsvReportAsWarning(diag);
    ASSERT_EQ(outer.getNumberCapturedDiagnostics(), 1u) << "an inner helper's end leaves the listener";
    EXPECT_EQ(outer.getDiagnosticID(0), "QVSV_TEST:extra:Pair");
    EXPECT_EQ(outer.getDiagnosticMessage(0), u"first 1, second x");
    EXPECT_EQ(outer.getDiagnosticArguments(0).size(), 2u);
    EXPECT_EQ(outer.getDiagnosticHandles(0), std::vector<double>{8.0});
    EXPECT_EQ(outer.getDiagnosticID(5), "");
    QvFeatureHostCommand::set("MessageViewer", 0);
    report(qvsvReportAsWarning, "A:b");
    EXPECT_EQ(outer.getNumberCapturedDiagnostics(), 1u);
    QvFeatureHostCommand::set("MessageViewer", 1);
  }
  EXPECT_EQ(qvsv::util::TestWarningHelper::getNumberCapturedDiagnostics(), 0u) << "no test listener any more";
}

}  // namespace
