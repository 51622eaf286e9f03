// What each kind of report hides, shows once or turns into an error, as a
// listener, a callback and the counters see it.
#include <map>
#include <memory>
#include <sstream>

#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/error_queue.hpp"
#include "qv_services/reporting.hpp"
#include "tessel/console.hpp"
#include "tests/support/test_support.hpp"
#include "tests/suppressor/suppressor_fixture.hpp"

namespace {

// Logs "context identifiers" for what it is offered, and takes it.
class LoggingListener : public qvsv::util::CDiagnosticListener {
 public:
  explicit LoggingListener(std::vector<std::string>& log) : log_(log) {}
  bool notify(qvsvDiagnosticImpl* const& diag, qvsv::util::qvsvDiagnosticListenerContext context,
              const std::u16string&) override {
    std::string line = std::to_string(static_cast<int>(context));
    for (const qvsvDiagnosticItem* item : diag->items()) line += " " + item->identifier;
    log_.push_back(line);
    return true;
  }
  const char* name() const override { return "suppressor.log"; }

 private:
  std::vector<std::string>& log_;
};

// A script of steps separated by "; ": "feature" (suppression on),
// "suppress P[@handle]", "unsuppress P", "state P on|off|once|error",
// "filter ID" (a warn-once filter), or a report "warn|changeable|once|high|error|info ID[@handle],ID...".
// Heard and called list one entry per report that reached them, joined by " | ".
struct Scenario {
  std::string name;
  std::string script;
  std::string heard;
  std::string called;
  std::string hidden;   // "ID suppressed/off/repeated ..." in identifier order
  std::string counted;  // "ID=n ..." in identifier order
};

class WarningReports : public qvsv::test::SuppressorTest, public ::testing::WithParamInterface<Scenario> {
 protected:
  void SetUp() override {
    SuppressorTest::SetUp();
    ASSERT_TRUE(qvsvRegisterDiagnosticListener(listener_));
    ASSERT_TRUE(qvsvRegisterDiagnosticCallback("suppressor.callback", [this](qvsvDiagnosticImpl*& d) {
      std::string line;
      for (const qvsvDiagnosticItem* item : d->items()) line += (line.empty() ? "" : " ") + item->identifier;
      called_.push_back(line);
    }));
  }
  void TearDown() override {
    filters_.clear();
    qvsvUnRegisterDiagnosticListener(listener_->name());
    qvsvUnRegisterDiagnosticCallback("suppressor.callback");
    SuppressorTest::TearDown();
  }
  static qvsvDiagnosticImpl* build(const std::string& items) {
    qvsvDiagnosticImpl* diag = qvsvObtainDiagnostic();
    std::istringstream in(items);
    for (std::string item; std::getline(in, item, ',');) {
      const auto at = item.find('@');
      const double handle = at == std::string::npos ? 0.0 : std::stod(item.substr(at + 1));
      const std::string id = item.substr(0, at);
      qvsvConcatenateDiagnostics(
          diag,
          at == std::string::npos ? make(id.c_str()) : qvsvCreateDiagnosticFromIdAndMsg(&handle, 1, id.c_str(), "m"),
          false);
    }
    return diag;
  }
  // Runs the script; returns how many reports were of a suppressible kind.
  unsigned run(const std::string& script) {
    static const std::map<std::string, void (*)(qvsvDiagnosticImpl*&)> reports{
        {"warn", qvsvReportAsWarning},     {"changeable", qvsvReportAsChangeableWarning},
        {"once", qvsvReportAsWarningOnce}, {"high", qvsvReportAsHighPriorityWarning},
        {"error", qvsvReportAsError},      {"info", qvsvReportAsInfo}};
    unsigned suppressible = 0;
    std::istringstream steps(script);
    for (std::string step; std::getline(steps, step, ';');) {
      std::istringstream words(step);
      std::string verb, pattern, value;
      words >> verb >> pattern >> value;
      const auto at = pattern.find('@');
      if (verb == "feature") {
        enableSuppression();
      } else if (verb == "suppress" && at != std::string::npos) {
        qvsvAddDiagnosticSuppression(pattern.substr(0, at), std::stod(pattern.substr(at + 1)));
      } else if (verb == "suppress") {
        qvsvAddDiagnosticSuppression(pattern);
      } else if (verb == "unsuppress") {
        qvsvRemoveDiagnosticSuppression(pattern);
      } else if (verb == "state") {
        qvsvSetWarningState(pattern, qvsvParseWarningState(value));
      } else if (verb == "filter") {
        filters_.push_back(std::make_unique<qvsv::util::ScopedWarnOnceFilter>(pattern, nullptr));
      } else {
        if (reports.count(verb) == 0) {
          ADD_FAILURE() << "unknown step '" << step << "'";
          continue;
        }
        suppressible += verb == "warn" || verb == "changeable" || verb == "once";
        qvsvDiagnosticImpl* diag = build(pattern);
        reports.at(verb)(diag);
        EXPECT_EQ(diag, nullptr) << "every report consumes the diagnostic";
      }
    }
    return suppressible;
  }
  static std::string joined(const std::vector<std::string>& lines) {
    std::string out;
    for (const auto& line : lines) out += (out.empty() ? "" : " | ") + line;
    return out;
  }

  std::vector<std::string> heard_;
  std::vector<std::string> called_;
  std::vector<std::unique_ptr<qvsv::util::ScopedWarnOnceFilter>> filters_;
  std::shared_ptr<LoggingListener> listener_ = std::make_shared<LoggingListener>(heard_);
  tessel::ConsoleCapture console_;
};

TEST_P(WarningReports, HideShowOrPromoteEachItemAndCountEveryOne) {
  const Scenario& row = GetParam();
  const unsigned reads = QVFEAT_DiagnosticSuppressor->getsFromC();
  const unsigned suppressible = run(row.script);
  EXPECT_EQ(joined(heard_), row.heard);
  EXPECT_EQ(joined(called_), row.called);
  std::string hidden, counted;
  for (const auto& [id, counts] : qvsvGetAllHiddenWarningCounts()) {
    hidden += (hidden.empty() ? "" : " ") + id + " " + std::to_string(counts.suppressed) + "/" +
              std::to_string(counts.switchedOff) + "/" + std::to_string(counts.repeated);
  }
  for (const auto& id : qvsvGetDiagnosticCounterKeys(nullptr)) {
    counted += (counted.empty() ? "" : " ") + id + "=" + std::to_string(qvsvGetDiagnosticCounterValue(id, nullptr));
  }
  EXPECT_EQ(hidden, row.hidden);
  EXPECT_EQ(counted, row.counted) << "hidden items are counted like shown ones";
  EXPECT_EQ(QVFEAT_DiagnosticSuppressor->getsFromC(), reads + suppressible)
      << "one counted read per warning report of a suppressible kind";
  EXPECT_EQ(console_.text(), "");
}

INSTANTIATE_TEST_SUITE_P(
    Suppressor, WarningReports,
    ::testing::Values(
        Scenario{"SuppressedItemIsTakenOut", "feature; suppress Q:1; warn Q:0,Q:1,Q:2", "1 Q:0 Q:2", "Q:0 Q:2",
                 "Q:1 1/0/0", "Q:0=1 Q:1=1 Q:2=1"},
        Scenario{"AllItemsSuppressedReachNobody", "feature; suppress Q:*; warn Q:0,Q:1; warn Q:1", "", "",
                 "Q:0 1/0/0 Q:1 2/0/0", "Q:0=1 Q:1=2"},
        Scenario{"HandleEntryHidesThatObjectOnly",
                 "feature; suppress Q:loop@12.0001; warn Q:loop@12.0001; warn Q:loop@12.0002", "1 Q:loop", "Q:loop",
                 "Q:loop 1/0/0", "Q:loop=2"},
        Scenario{"ErrorsInformationAndHighPriorityAreNeverHidden",
                 "feature; suppress A:*; state A:* off; filter A:w; error A:e; info A:i; high A:w; high A:w",
                 "2 A:e | 3 A:i | 1 A:w | 1 A:w", "A:e | A:i | A:w | A:w", "", "A:e=1 A:i=1 A:w=2"},
        Scenario{"FeatureAtZeroSuppressesNothing", "suppress A:*; suppress A:w; warn A:w; changeable A:w; once A:w",
                 "1 A:w | 1 A:w | 1 A:w", "A:w | A:w | A:w", "", "A:w=3"},
        Scenario{"ChangeableOffHidesPlainWarningsIgnoreStates", "state A:* off; changeable A:w; warn A:w", "1 A:w",
                 "A:w", "A:w 0/1/0", "A:w=2"},
        Scenario{"ChangeableOnceShowsEachIdentifierOnce",
                 "state A:* once; changeable A:w; changeable A:w; changeable A:x; changeable A:w", "1 A:w | 1 A:x",
                 "A:w | A:x", "A:w 0/0/2", "A:w=3 A:x=1"},
        Scenario{"SettingOnceAgainStartsItsMemoryAfresh",
                 "state A:* once; changeable A:w; state A:* once; changeable A:w", "1 A:w | 1 A:w", "A:w | A:w", "",
                 "A:w=2"},
        Scenario{"ChangeableErrorGoesTheErrorPath", "state A:e error; changeable A:e", "2 A:e", "A:e", "", "A:e=1"},
        Scenario{"MixedWarningSplitsIntoErrorThenTheRestAfterSuppression",
                 "feature; suppress Q:3; state Q:0 error; state Q:2 error; state Q:3 error; state Q:4 off; "
                 "changeable Q:0,Q:1,Q:2,Q:3,Q:4",
                 "2 Q:0 Q:2 | 1 Q:1", "Q:0 Q:2 | Q:1", "Q:3 1/0/0 Q:4 0/1/0", "Q:0=1 Q:1=1 Q:2=1 Q:3=1 Q:4=1"},
        Scenario{"ReportOnceShowsEachIdentifierOnce", "once A:w; once A:w; once A:v", "1 A:w | 1 A:v", "A:w | A:v",
                 "A:w 0/0/1", "A:v=1 A:w=2"},
        Scenario{"SuppressedReportDoesNotUseUpTheOnce", "feature; suppress A:w; once A:w; unsuppress A:w; once A:w",
                 "1 A:w", "A:w", "A:w 1/0/0", "A:w=2"}),
    qvsv::test::RowName());

TEST_F(WarningReports, ResettingReportOnceShowsThatIdentifierAgain) {
  run("once A:w; once A:v");
  EXPECT_TRUE(qvsvResetWarningReportedOnce("A:w"));
  EXPECT_FALSE(qvsvResetWarningReportedOnce("A:never"));
  run("once A:w; once A:v");
  EXPECT_EQ(joined(heard_), "1 A:w | 1 A:v | 1 A:w");
}

TEST_F(WarningReports, SharedOverflowItemCanBeSuppressedAgainAndAgain) {
  run("feature; suppress QV_SERVICES:utils:TooManyErrorsErr");
  qvsvSetMaxDiagnosticsInQueue(3);
  for (int round = 0; round < 2; ++round) {
    qvsvDiagnosticImpl* queue = nullptr;
    for (int i = 0; i < 4; ++i) qvsvConcatenateDiagnostics(queue, make("Q:x"), false);
    ASSERT_EQ(ids(queue).back(), "QV_SERVICES:utils:TooManyErrorsErr");
    qvsvReportAsWarning(queue);
  }
  EXPECT_EQ(joined(heard_), "1 Q:x Q:x | 1 Q:x Q:x") << "both overflow items are taken out, each time";
}

TEST_F(WarningReports, UnclaimedChangeableErrorEndsInTheErrorDisplay) {
  qvsvUnRegisterDiagnosticListener(listener_->name());
  run("state A:e error; changeable A:e; state A:w off; changeable A:w");
  EXPECT_EQ(console_.text(), "Error: m\n");
}

}  // namespace
