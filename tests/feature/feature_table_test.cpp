#include <gtest/gtest.h>

#include <memory>

#include "qv_services/feature.hpp"
#include "tessel/console.hpp"
#include "tessel/interpreter.hpp"

namespace {

std::vector<int>& callbackValues() {
  static std::vector<int> values;
  return values;
}

// A feature with a callback, and a second one under a taken name.
QvFeature gWithCallback("zz_TestFeature", "a feature of the tests", __FILE__, "tests", 42, 5,
                        [](int value) { callbackValues().push_back(value); });

class FeatureTable : public ::testing::Test {
 protected:
  void SetUp() override { QvFeatureTable::resetUsageCounters(); }
  void TearDown() override {
    QvFeatureHostCommand::set("zz_TestFeature", 5);
    QvFeatureHostCommand::set("MessageViewer", 1);
    QvFeatureTable::resetUsageCounters();
  }
  static const txArray* reportEntry(const txArray* report, const std::string& name, txIndex& index) {
    for (index = 0; index < txGetNumberOfElements(report); ++index) {
      if (txGetStringUTF8(txGetField(report, index, "Name")) == name) return report;
    }
    return nullptr;
  }
};

TEST_F(FeatureTable, LibraryFeaturesAreRegisteredWithTheirDefaults) {
  EXPECT_EQ(QvFeatureTable::lookupFeature("MessageViewer"), QVFEAT_MessageViewer);
  EXPECT_EQ(QVFEAT_MessageViewer->defaultState(), 1);
  EXPECT_EQ(QVFEAT_QvInterfaceView->trackingNumber(), 863564);
  EXPECT_TRUE(QVFEAT_QvInterfacePort->hasCallback());
  EXPECT_FALSE(QVFEAT_MultiSolver->hasCallback());
  EXPECT_STREQ(QVFEAT_DiagnosticSuppressor->owner(), "Digitsmith");
  EXPECT_NE(std::string(QVFEAT_MessageViewer->fileRegistered()).find("qv_services/errors/qvsverror_creation_util"),
            std::string::npos);
  EXPECT_NE(std::string(QVFEAT_QVUnit->fileRegistered()).find("qv_services/tcos/deferredtcosclass"), std::string::npos);
  EXPECT_EQ(QvFeatureTable::lookupFeature("NeverRegistered"), nullptr);
}

TEST_F(FeatureTable, HostReadsAndSetsAreCountedUntilAReset) {
  callbackValues().clear();
  EXPECT_EQ(QvFeatureHostCommand::get("zz_TestFeature"), 5);
  QvFeatureHostCommand::set("zz_TestFeature", 9);
  EXPECT_EQ(gWithCallback.getsFromT(), 1u);
  EXPECT_EQ(gWithCallback.setsFromT(), 1u);
  EXPECT_EQ(callbackValues(), std::vector<int>{9});
  EXPECT_THROW(QvFeatureHostCommand::get("NeverRegistered"), std::invalid_argument);
  QvFeatureTable::resetUsageCounters();
  EXPECT_EQ(gWithCallback.setsFromT(), 0u);
  EXPECT_EQ(QvFeatureHostCommand::get("zz_TestFeature"), 9) << "a reset keeps the states";
}

TEST_F(FeatureTable, ReportHasElevenFieldsInOrderAndTheCounts) {
  QvFeatureHostCommand::get("zz_TestFeature");
  tessel::HostCallScope scope;
  const txArray* report = QvFeatureTable::getFeatureReport();
  const char* fields[] = {"Name",        "Description",  "Owner",      "FileRegistered", "Ticket",    "State",
                          "DefaultState", "HasCallback", "nGetsFromC", "nGetsFromT",     "nSetsFromT"};
  ASSERT_EQ(txGetNumberOfFields(report), 11);
  for (int i = 0; i < 11; ++i) EXPECT_STREQ(txGetFieldNameByNumber(report, i), fields[i]);
  EXPECT_EQ(txGetM(report), 1u);
  EXPECT_GE(txGetN(report), 13u) << "twelve of the library's and the test's own";
  txIndex i = 0;
  ASSERT_NE(reportEntry(report, "zz_TestFeature", i), nullptr);
  EXPECT_EQ(txGetScalar(txGetField(report, i, "nGetsFromT")), 1.0);
  EXPECT_EQ(txGetScalar(txGetField(report, i, "Ticket")), 42.0);
  EXPECT_TRUE(txIsLogical(txGetField(report, i, "HasCallback")));
  EXPECT_EQ(txGetScalar(txGetField(report, i, "HasCallback")), 1.0);
  EXPECT_EQ(txGetStringUTF8(txGetField(report, i, "Owner")), "tests");
}

TEST_F(FeatureTable, SecondFeatureOfANameIsNotEnteredButErasesTheNameWhenDestroyed) {
  auto shadow = std::make_unique<QvFeature>("zz_TestFeature", "shadow", __FILE__, "tests", 1, 0);
  EXPECT_EQ(QvFeatureTable::lookupFeature("zz_TestFeature"), &gWithCallback);
  shadow.reset();
  EXPECT_EQ(QvFeatureTable::lookupFeature("zz_TestFeature"), nullptr);
  QvFeatureTable::regFeature("zz_TestFeature", &gWithCallback);
}

TEST_F(FeatureTable, InterfaceFeaturesRefreshTheHostsCustomizations) {
  const int before = tessel::RefreshCustomizationsCount();
  QvFeatureHostCommand::set("QvInterfaceView", 0);
  QvFeatureHostCommand::set("QvInterfaceView", 1);
  EXPECT_EQ(tessel::RefreshCustomizationsCount(), before + 2);
}

TEST_F(FeatureTable, PrintStatsWritesTheUsageTable) {
  QvFeatureHostCommand::get("zz_TestFeature");
  tessel::ConsoleCapture console;
  QvFeatureTable::printStats();
  const std::string rule(76, '-');
  const std::string& text = console.text();
  EXPECT_EQ(text.rfind(rule + "\nFEATURE   \tNCALLS[C code]\tNGETS[T code]\tNSETS[T code]\n" + rule + "\n", 0), 0u);
  EXPECT_NE(text.find("                          zz_TestFeature\t         0\t         1\t         0\n"),
            std::string::npos);
  EXPECT_EQ(text.substr(text.size() - rule.size() - 1), rule + "\n");
}

// Runs last in its own process state: the table can be released and made anew.
TEST(FeatureTableRelease, ReleasedTableIsMadeAgainOnUseAndEmptyReportKeepsTheFields) {
  QvFeatureTable::releaseFeatureTable();
  tessel::HostCallScope scope;
  const txArray* report = QvFeatureTable::getFeatureReport();
  EXPECT_EQ(txGetM(report), 1u);
  EXPECT_EQ(txGetN(report), 0u);
  EXPECT_EQ(txGetNumberOfFields(report), 11);
  // Put the library's features back for anything that runs after.
  for (QvFeature* f : {QVFEAT_MessageViewer, QVFEAT_AllowConstantRootOutportForAUTOSAR, QVFEAT_DimensionVariants,
                       QVFEAT_MultiSolver, QVFEAT_QVUnit, QVFEAT_SimHarnessSameStudio,
                       QVFEAT_SkipContentCheckInTaskDiagram, QVFEAT_QvInterfacePort, QVFEAT_QvInterfaceViewMenu,
                       QVFEAT_QvInterfaceView, QVFEAT_QvTLSysBlkInConcurrentExecution, QVFEAT_DiagnosticSuppressor,
                       &gWithCallback}) {
    QvFeatureTable::regFeature(f->name(), f);
  }
}

}  // namespace
