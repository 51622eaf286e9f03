#include <functional>
#include <memory>

#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/error_queue.hpp"
#include "qv_services/reporting.hpp"
#include "tessel/console.hpp"
#include "tests/suppressor/suppressor_fixture.hpp"

namespace {

using qvsv::util::CDiagnosticListener;
using qvsv::util::qvsvDiagnosticListenerContext;

// Logs "context identifiers" for what it is offered, and takes it.
class LoggingListener : public CDiagnosticListener {
 public:
  explicit LoggingListener(std::vector<std::string>& log) : log_(log) {}
  bool notify(qvsvDiagnosticImpl* const& diag, qvsvDiagnosticListenerContext context, const std::u16string&) override {
    std::string line = std::to_string(static_cast<int>(context));
    for (const qvsvDiagnosticItem* item : diag->items()) line += " " + item->identifier;
    log_.push_back(line);
    return true;
  }
  const char* name() const override { return "suppressor.log"; }

 private:
  std::vector<std::string>& log_;
};

// A listener, a callback and the console, all logged; the warning reports as
// the product makes them.
class WarningReports : public qvsv::test::SuppressorTest {
 protected:
  void SetUp() override {
    SuppressorTest::SetUp();
    listener_ = std::make_shared<LoggingListener>(heard);
    ASSERT_TRUE(qvsvRegisterDiagnosticListener(listener_));
    ASSERT_TRUE(qvsvRegisterDiagnosticCallback("suppressor.callback", [this](qvsvDiagnosticImpl*& d) {
      called.push_back(qvsvGetCombinedErrorIdentifier(d));
    }));
  }
  void TearDown() override {
    qvsvUnRegisterDiagnosticListener(listener_->name());
    qvsvUnRegisterDiagnosticCallback("suppressor.callback");
    SuppressorTest::TearDown();
  }
  static void warn(void (*report)(qvsvDiagnosticImpl*&), const char* id, double handle = 0.0) {
    qvsvDiagnosticImpl* diag = handle == 0.0 ? make(id) : qvsvCreateDiagnosticFromIdAndMsg(&handle, 1, id, "m");
    report(diag);
    EXPECT_EQ(diag, nullptr) << "every report consumes the diagnostic";
  }

  std::vector<std::string> heard;
  std::vector<std::string> called;
  tessel::ConsoleCapture console;

 private:
  std::shared_ptr<LoggingListener> listener_;
};

TEST_F(WarningReports, SuppressedItemsAreTakenOutAndCountedUnderTheirIdentifier) {
  enableSuppression();
  qvsvAddDiagnosticSuppression("Q:1");
  qvsvDiagnosticImpl* queue = queueOf(3);
  qvsvReportAsWarning(queue);
  EXPECT_EQ(heard, std::vector<std::string>{"1 Q:0 Q:2"});
  EXPECT_EQ(qvsvGetDiagnosticCounterValue("Q:1", nullptr), 1u) << "hidden, yet counted";
  EXPECT_EQ(qvsvGetDiagnosticCounterValue("Q:0", nullptr), 1u);
  EXPECT_EQ(qvsvGetHiddenWarningCounts("Q:1"), (qvsvHiddenWarningCounts{1, 0, 0}));
  EXPECT_EQ(qvsvGetHiddenWarningCounts("Q:0").total(), 0u);
}

TEST_F(WarningReports, WarningWithEveryItemSuppressedReachesNobody) {
  enableSuppression();
  qvsvAddDiagnosticSuppression("Q:*");
  const unsigned reads = QVFEAT_DiagnosticSuppressor->getsFromC();
  qvsvDiagnosticImpl* queue = queueOf(2);
  qvsvReportAsWarning(queue);
  qvsvDiagnosticImpl* tagged = queueOf(1);
  qvsvReportAsWarning(tagged, {{u"key", std::int64_t{1}}});
  EXPECT_EQ(queue, nullptr);
  EXPECT_TRUE(heard.empty());
  EXPECT_TRUE(called.empty()) << "callbacks run after the suppression step";
  EXPECT_EQ(console.text(), "");
  EXPECT_EQ(qvsvGetAllHiddenWarningCounts(),
            (std::map<std::string, qvsvHiddenWarningCounts>{{"Q:0", {2, 0, 0}}, {"Q:1", {1, 0, 0}}}));
  EXPECT_EQ(QVFEAT_DiagnosticSuppressor->getsFromC(), reads + 2) << "one counted read per warning report";
}

TEST_F(WarningReports, HandleEntryHidesTheWarningOfThatObjectOnly) {
  enableSuppression();
  qvsvAddDiagnosticSuppression("Quiver:blocks:AlgebraicLoop", 12.0001);
  warn(qvsvReportAsWarning, "Quiver:blocks:AlgebraicLoop", 12.0001);
  warn(qvsvReportAsWarning, "Quiver:blocks:AlgebraicLoop", 12.0002);
  EXPECT_EQ(heard, std::vector<std::string>{"1 Quiver:blocks:AlgebraicLoop"});
  EXPECT_EQ(qvsvGetDiagnosticCounterValue("Quiver:blocks:AlgebraicLoop", nullptr), 2u);
}

TEST_F(WarningReports, ErrorsInformationAndHighPriorityWarningsAreNeverHidden) {
  enableSuppression();
  qvsvAddDiagnosticSuppression("A:*");
  qvsvSetWarningState("A:*", qvsvWarningState::kOff);
  qvsv::util::ScopedWarnOnceFilter filter("A:w", nullptr);
  const unsigned reads = QVFEAT_DiagnosticSuppressor->getsFromC();
  warn(qvsvReportAsError, "A:e");
  warn(qvsvReportAsInfo, "A:i");
  warn(qvsvReportAsHighPriorityWarning, "A:w");
  warn(qvsvReportAsHighPriorityWarning, "A:w");
  EXPECT_EQ(heard, (std::vector<std::string>{"2 A:e", "3 A:i", "1 A:w", "1 A:w"}));
  EXPECT_EQ(QVFEAT_DiagnosticSuppressor->getsFromC(), reads) << "only suppressible reports read the feature";
  EXPECT_TRUE(qvsvGetAllHiddenWarningCounts().empty());
}

TEST_F(WarningReports, DatabaseSuppressesNothingWhileTheFeatureIsZero) {
  qvsvAddDiagnosticSuppression("A:*");
  warn(qvsvReportAsWarning, "A:w");
  warn(qvsvReportAsChangeableWarning, "A:w");
  warn(qvsvReportAsWarningOnce, "A:w");
  EXPECT_EQ(heard.size(), 3u);
  EXPECT_EQ(qvsvGetDiagnosticSuppressions().size(), 1u) << "the entries stay";
}

TEST_F(WarningReports, ChangeableOffHidesFromCallbacksAndListenersButCounts) {
  qvsvSetWarningState("A:*", qvsvWarningState::kOff);
  warn(qvsvReportAsChangeableWarning, "A:w");
  warn(qvsvReportAsWarning, "A:w");
  EXPECT_EQ(heard, std::vector<std::string>{"1 A:w"}) << "plain warnings ignore states";
  EXPECT_EQ(called, std::vector<std::string>{"A:w"});
  EXPECT_EQ(qvsvGetHiddenWarningCounts("A:w"), (qvsvHiddenWarningCounts{0, 1, 0}));
  EXPECT_EQ(qvsvGetDiagnosticCounterValue("A:w", nullptr), 2u);
}

TEST_F(WarningReports, ChangeableOnceShowsEachIdentifierOnceUntilTheStateIsSetAgain) {
  qvsvSetWarningState("A:*", qvsvWarningState::kOnce);
  for (int i = 0; i < 3; ++i) warn(qvsvReportAsChangeableWarning, "A:w");
  warn(qvsvReportAsChangeableWarning, "A:other");
  EXPECT_EQ(heard, (std::vector<std::string>{"1 A:w", "1 A:other"}));
  EXPECT_EQ(called.size(), 2u);
  EXPECT_EQ(qvsvGetHiddenWarningCounts("A:w"), (qvsvHiddenWarningCounts{0, 0, 2}));
  EXPECT_EQ(qvsvGetDiagnosticCounterValue("A:w", nullptr), 3u);
  qvsvSetWarningState("A:*", qvsvWarningState::kOnce);
  warn(qvsvReportAsChangeableWarning, "A:w");
  EXPECT_EQ(heard.size(), 3u) << "setting the state starts the once memory afresh";
}

TEST_F(WarningReports, ChangeableErrorGoesTheErrorPath) {
  qvsvSetWarningState("A:e", qvsvWarningState::kError);
  warn(qvsvReportAsChangeableWarning, "A:e");
  EXPECT_EQ(heard, std::vector<std::string>{"2 A:e"});
  EXPECT_EQ(called, std::vector<std::string>{"A:e"});
  qvsvUnRegisterDiagnosticListener("suppressor.log");
  warn(qvsvReportAsChangeableWarning, "A:e");
  EXPECT_EQ(console.text(), "Error: m\n") << "unclaimed, it ends in the error display";
  qvsvRegisterDiagnosticListener(std::make_shared<LoggingListener>(heard));  // TearDown unregisters the name
}

TEST_F(WarningReports, ChangeableMixedWarningSplitsIntoErrorThenTheRest) {
  enableSuppression();
  qvsvAddDiagnosticSuppression("Q:3");
  qvsvSetWarningState("Q:0", qvsvWarningState::kError);
  qvsvSetWarningState("Q:2", qvsvWarningState::kError);
  qvsvSetWarningState("Q:3", qvsvWarningState::kError);  // suppression comes first
  qvsvSetWarningState("Q:4", qvsvWarningState::kOff);
  qvsvDiagnosticImpl* queue = queueOf(5);
  qvsvReportAsChangeableWarning(queue);
  EXPECT_EQ(heard, (std::vector<std::string>{"2 Q:0 Q:2", "1 Q:1"}));
  for (const char* id : {"Q:0", "Q:1", "Q:2", "Q:3", "Q:4"}) {
    EXPECT_EQ(qvsvGetDiagnosticCounterValue(id, nullptr), 1u) << id;
  }
}

TEST_F(WarningReports, ReportOnceShowsEachIdentifierOnceUntilReset) {
  warn(qvsvReportAsWarningOnce, "A:w");
  warn(qvsvReportAsWarningOnce, "A:w");
  warn(qvsvReportAsWarningOnce, "A:v");
  EXPECT_EQ(heard, (std::vector<std::string>{"1 A:w", "1 A:v"}));
  EXPECT_EQ(qvsvGetHiddenWarningCounts("A:w"), (qvsvHiddenWarningCounts{0, 0, 1}));
  EXPECT_TRUE(qvsvResetWarningReportedOnce("A:w"));
  EXPECT_FALSE(qvsvResetWarningReportedOnce("A:never"));
  warn(qvsvReportAsWarningOnce, "A:w");
  warn(qvsvReportAsWarningOnce, "A:v");
  EXPECT_EQ(heard.size(), 3u) << "A:w shown again, A:v still remembered";

  enableSuppression();
  qvsvResetAllWarningsReportedOnce();
  qvsvAddDiagnosticSuppression("A:w");
  warn(qvsvReportAsWarningOnce, "A:w");
  qvsvRemoveDiagnosticSuppression("A:w");
  warn(qvsvReportAsWarningOnce, "A:w");
  EXPECT_EQ(heard.back(), "1 A:w") << "a suppressed report does not use up the once";
}

TEST_F(WarningReports, SharedOverflowItemCanBeSuppressed) {
  enableSuppression();
  qvsvAddDiagnosticSuppression("QV_SERVICES:utils:TooManyErrorsErr");
  qvsvSetMaxDiagnosticsInQueue(3);
  const auto overflowed = [this] {
    qvsvDiagnosticImpl* queue = nullptr;
    for (int i = 0; i < 4; ++i) qvsvConcatenateDiagnostics(queue, make("Q:x"), false);
    return queue;
  };
  qvsvDiagnosticImpl* queue = overflowed();
  ASSERT_EQ(ids(queue).front(), "Q:x");
  ASSERT_EQ(ids(queue).back(), "QV_SERVICES:utils:TooManyErrorsErr");
  qvsvReportAsWarning(queue);
  EXPECT_EQ(heard, std::vector<std::string>{"1 Q:x Q:x"}) << "both overflow items are taken out";
  qvsvDiagnosticImpl* again = overflowed();
  qvsvReportAsWarning(again);
  EXPECT_EQ(heard.size(), 2u) << "the shared item survived its first suppression";
}

// Everything a report can touch, as text: the console, the listener's log,
// the callback's log and the counters.
std::string observeEveryReport() {
  std::vector<std::string> heard;
  std::vector<std::string> called;
  auto listener = std::make_shared<LoggingListener>(heard);
  tessel::ConsoleCapture console;
  std::string out;
  const auto run = [&](bool withListener) {
    if (withListener) qvsvRegisterDiagnosticListener(listener);
    qvsvRegisterDiagnosticCallback("observe", [&](qvsvDiagnosticImpl*& d) {
      called.push_back(qvsvGetCombinedErrorIdentifier(d));
    });
    const double handle = 12.0001;
    qvsvDiagnosticImpl* diag = qvsvCreateDiagnosticFromIdAndMsg(&handle, 1, "Quiver:blocks:Gain", "gain");
    qvsvReportAsWarning(diag);
    diag = qvsvCreateDiagnosticFromIdAndMsg("Quiver:blocks:Sum", u"sum");
    qvsvReportAsWarning(diag, {{u"k", std::string("v")}});
    diag = qvsvCreateDiagnosticFromIdAndMsg("Quiver:blocks:Gain", u"an error");
    qvsvReportAsError(diag);
    diag = qvsvCreateDiagnosticFromIdAndMsg("Quiver:blocks:Gain", u"information");
    qvsvReportAsInfo(diag);
    diag = qvsvCreateDiagnosticFromIdAndMsg("Quiver:blocks:Sum", u"changeable");
    qvsvReportAsChangeableWarning(diag);
    diag = qvsvCreateDiagnosticFromIdAndMsg("Quiver:blocks:Sum", u"high");
    qvsvReportAsHighPriorityWarning(diag);
    qvsvUnRegisterDiagnosticCallback("observe");
    qvsvUnRegisterDiagnosticListener(listener->name());
  };
  run(true);
  run(false);  // the default listener and the displays
  QvFeatureHostCommand::set("MessageViewer", 0);
  run(true);
  QvFeatureHostCommand::set("MessageViewer", 1);
  for (const auto& line : heard) out += "heard " + line + "\n";
  for (const auto& line : called) out += "called " + line + "\n";
  for (const auto& key : qvsvGetDiagnosticCounterKeys(nullptr)) {
    out += "count " + key + " " + std::to_string(qvsvGetDiagnosticCounterValue(key, nullptr)) + "\n";
  }
  return out + console.text();
}

class FeatureAtZero : public qvsv::test::SuppressorTest {};

TEST_F(FeatureAtZero, FullDatabaseLeavesEveryExistingReportByteIdentical) {
  const std::string before = observeEveryReport();
  ASSERT_NE(before.find("Warning: gain"), std::string::npos) << before;
  qvsvClearDiagnosticCounters(nullptr);
  qvsvAddDiagnosticSuppression("Quiver:*");
  qvsvAddDiagnosticSuppression("Quiver:blocks:Gain");
  qvsvAddDiagnosticSuppression("Quiver:blocks:Gain", 12.0001);
  EXPECT_EQ(observeEveryReport(), before);
  EXPECT_TRUE(qvsvGetAllHiddenWarningCounts().empty());
}

}  // namespace
