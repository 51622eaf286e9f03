#include <rapidjson/document.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "qv_services/sarif_form.hpp"
#include "tests/errors/diagnostics_fixture.hpp"
#include "tests/errors/random_diagnostic_tree.hpp"
#include "tests/support/test_support.hpp"

namespace {

using qvsv::test::DiagnosticsTest;

class SarifForm : public DiagnosticsTest {
 protected:
  // The log parsed; fails the test when it is not JSON.
  static rapidjson::Document parse(const std::string& log) {
    rapidjson::Document document;
    document.Parse(log.c_str(), log.size());
    EXPECT_FALSE(document.HasParseError()) << log;
    return document;
  }
  static const rapidjson::Value& results(const rapidjson::Document& log) { return log["runs"][0]["results"]; }
  static std::string str(const rapidjson::Value& value) { return {value.GetString(), value.GetStringLength()}; }
};

TEST_F(SarifForm, OverflowItemIsMarkedAsNotAFinding) {
  qvsvSetMaxDiagnosticsInQueue(3);
  qvsvDiagnosticImpl* queue = nullptr;
  for (int i = 0; i < 5; ++i) qvsvConcatenateDiagnostics(queue, make(("Q:" + std::to_string(i)).c_str()), false);
  const rapidjson::Document log = parse(qvsvSerializeDiagnosticAsSARIF(queue, qvsvReportKind::Warning));
  const rapidjson::Value& all = results(log);
  ASSERT_EQ(all.Size(), 3u);
  for (rapidjson::SizeType i = 0; i < 2; ++i) {
    EXPECT_EQ(str(all[i]["level"]), "warning");
    EXPECT_FALSE(all[i].HasMember("kind"));
  }
  const rapidjson::Value& overflow = all[2];
  EXPECT_EQ(str(overflow["ruleId"]), "QV_SERVICES:utils:TooManyErrorsErr");
  EXPECT_EQ(str(overflow["kind"]), "informational");
  EXPECT_EQ(str(overflow["level"]), "none");
  EXPECT_TRUE(overflow["properties"]["overflow"].GetBool());
  qvsvDiscardDiagnostic(queue);
}

TEST_F(SarifForm, CausesThreeDeepAreLinkedBothWaysWithTheTopLevelsLevel) {
  qvsvDiagnosticImpl* chain = make("C:3");
  for (int depth = 2; depth >= 0; --depth) {
    qvsvDiagnosticImpl* outer = make(("C:" + std::to_string(depth)).c_str());
    qvsvAddCauseToLastDiagnosticItem(outer, chain);
    chain = outer;
  }
  qvsvConcatenateDiagnostics(chain, make("D:sibling"), false);
  const rapidjson::Document log = parse(qvsvSerializeDiagnosticAsSARIF(chain, qvsvReportKind::Information));
  const rapidjson::Value& all = results(log);
  ASSERT_EQ(all.Size(), 5u);
  const char* order[] = {"C:0", "C:1", "C:2", "C:3", "D:sibling"};
  for (rapidjson::SizeType i = 0; i < 5; ++i) {
    SCOPED_TRACE(order[i]);
    EXPECT_EQ(str(all[i]["ruleId"]), order[i]);
    EXPECT_EQ(str(all[i]["level"]), "note");
    const rapidjson::Value& bag = all[i]["properties"];
    if (i >= 1 && i <= 3) {
      EXPECT_EQ(str(bag["causeOf"]), str(all[i - 1]["guid"]));
      EXPECT_EQ(bag["causeDepth"].GetInt(), static_cast<int>(i));
    } else {
      EXPECT_FALSE(bag.HasMember("causeOf"));
    }
    if (i <= 2) {
      ASSERT_EQ(bag["causes"].Size(), 1u);
      EXPECT_EQ(str(bag["causes"][0]), str(all[i + 1]["guid"]));
    } else {
      EXPECT_FALSE(bag.HasMember("causes"));
    }
  }
  qvsvDiscardDiagnostic(chain);
}

TEST_F(SarifForm, MessageLosesHotlinksButKeepsMarkupAndNonBmpText) {
  qvsvDiagnosticImpl* diag =
      make("A:b", u"See <a href=\"tessel:open('m')\">the block</a> & <b>\U0001F600</b> \u00E9");
  const rapidjson::Document log = parse(qvsvSerializeDiagnosticAsSARIF(diag, qvsvReportKind::Error));
  EXPECT_EQ(str(results(log)[0]["message"]["text"]), "See the block & <b>\xF0\x9F\x98\x80</b> \xC3\xA9");
  qvsvDiscardDiagnostic(diag);
  qvsvDiagnosticImpl* broken = make("A:b", std::u16string(u"x\xD800y"));
  const rapidjson::Document repaired = parse(qvsvSerializeDiagnosticAsSARIF(broken, qvsvReportKind::Error));
  EXPECT_EQ(str(results(repaired)[0]["message"]["text"]), "x\xEF\xBF\xBDy") << "an unpaired surrogate shows as U+FFFD";
  qvsvDiscardDiagnostic(broken);
}

TEST_F(SarifForm, OneRulePerIdentifierWithTheCataloguesText) {
  qvsvDiagnosticImpl* diag = make("QV_SERVICES:utils:InvalidHookName");
  qvsvConcatenateDiagnostics(diag, make("Unknown:x"), false);
  qvsvConcatenateDiagnostics(diag, make("QV_SERVICES:utils:InvalidHookName"), false);
  const rapidjson::Document log = parse(qvsvSerializeDiagnosticAsSARIF(diag, qvsvReportKind::Error));
  const rapidjson::Value& rules = log["runs"][0]["tool"]["driver"]["rules"];
  ASSERT_EQ(rules.Size(), 2u);
  EXPECT_EQ(str(rules[0]["id"]), "QV_SERVICES:utils:InvalidHookName");
  EXPECT_EQ(str(rules[0]["shortDescription"]["text"]), "''{0}'' is not the name of a testing hook.");
  EXPECT_FALSE(rules[1].HasMember("shortDescription"));
  const rapidjson::Value& all = results(log);
  EXPECT_EQ(all[0]["ruleIndex"].GetInt(), 0);
  EXPECT_EQ(all[1]["ruleIndex"].GetInt(), 1);
  EXPECT_EQ(all[2]["ruleIndex"].GetInt(), 0);
  qvsvDiscardDiagnostic(diag);
}

TEST_F(SarifForm, CallStackBecomesFramesWithUriFunctionAndLine) {
  qvsvDiagnosticImpl* diag = make("A:b");
  txArray* stack = txCreateStructMatrix(1, 2, {"file", "name", "line"});
  txSetField(stack, 0, "file", txCreateString(u"C:\\models\\my model.qv"));
  txSetField(stack, 0, "name", txCreateString(u"update"));
  txSetField(stack, 0, "line", txCreateDoubleScalar(12));
  txSetField(stack, 1, "file", txCreateString(u"lib\\a:b.qv"));
  txSetField(stack, 1, "name", txCreateString(u"main"));
  txSetField(stack, 1, "line", txCreateDoubleScalar(0));
  txMakeArrayPersistent(stack);
  diag->lastItem()->callStack = stack;
  const rapidjson::Document log = parse(qvsvSerializeDiagnosticAsSARIF(diag, qvsvReportKind::Error));
  const rapidjson::Value& frames = results(log)[0]["stacks"][0]["frames"];
  ASSERT_EQ(frames.Size(), 2u);
  const rapidjson::Value& first = frames[0]["location"];
  EXPECT_EQ(str(first["physicalLocation"]["artifactLocation"]["uri"]), "file:///C:/models/my%20model.qv");
  EXPECT_EQ(first["physicalLocation"]["region"]["startLine"].GetInt(), 12);
  EXPECT_EQ(str(first["logicalLocations"][0]["name"]), "update");
  EXPECT_EQ(str(frames[1]["location"]["physicalLocation"]["artifactLocation"]["uri"]), "lib/a%3Ab.qv");
  EXPECT_FALSE(frames[1]["location"]["physicalLocation"].HasMember("region")) << "line 0 is no line";
  qvsvDiscardDiagnostic(diag);
}

TEST_F(SarifForm, SeveralDiagnosticsShareOneRunWithTheirOwnLevels) {
  qvsvDiagnosticImpl* error = make("E:1");
  qvsvDiagnosticImpl* warning = make("W:1");
  const rapidjson::Document log = parse(qvsvSerializeDiagnosticsAsSARIF(
      {{error, qvsvReportKind::Error}, {nullptr, qvsvReportKind::Error}, {warning, qvsvReportKind::Warning}}));
  ASSERT_EQ(log["runs"].Size(), 1u);
  ASSERT_EQ(results(log).Size(), 2u);
  EXPECT_EQ(str(results(log)[0]["level"]), "error");
  EXPECT_EQ(str(results(log)[1]["level"]), "warning");
  EXPECT_EQ(parse(qvsvSerializeDiagnosticsAsSARIF({}))["runs"][0]["results"].Size(), 0u);
  qvsvDiscardDiagnostic(error);
  qvsvDiscardDiagnostic(warning);
}

// Random trees give one result per item; with QVSV_SARIF_OUT set, the logs
// are also written there for the official validator (scripts/check_sarif.sh).
TEST_F(SarifForm, RandomTreesGiveOneResultPerItem) {
  qvsv::test::RandomDiagnosticTree trees(31, true);
  const char* out = std::getenv("QVSV_SARIF_OUT");
  for (std::size_t round = 0; round < qvsv::test::Scaled(100, 10); ++round) {
    qvsvDiagnosticImpl* diag = trees.build();
    std::size_t items = 0;
    std::vector<qvsvDiagnosticImpl*> pending{diag};
    while (!pending.empty()) {
      qvsvDiagnosticImpl* d = pending.back();
      pending.pop_back();
      for (qvsvDiagnosticItem* item : d->items()) {
        ++items;
        if (item->cause != nullptr) pending.push_back(item->cause);
      }
    }
    const std::string written = qvsvSerializeDiagnosticAsSARIF(diag, qvsvReportKind::Warning);
    ASSERT_EQ(results(parse(written)).Size(), items);
    if (out != nullptr && round < 20) {
      std::ofstream(std::string(out) + "/random_" + std::to_string(round) + ".sarif") << written;
    }
    qvsvDiscardDiagnostic(diag);
  }
}

}  // namespace
