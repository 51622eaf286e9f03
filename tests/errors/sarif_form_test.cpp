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
  // "member=value" for each result, or "-" where it has no such string member.
  static std::string column(const rapidjson::Value& all, const char* member) {
    std::string out;
    for (const auto& result : all.GetArray()) out += (result.HasMember(member) ? str(result[member]) : "-") + " ";
    return out;
  }
};

TEST_F(SarifForm, OverflowItemIsMarkedAsNotAFinding) {
  qvsvSetMaxDiagnosticsInQueue(3);
  qvsvDiagnosticImpl* queue = nullptr;
  for (int i = 0; i < 5; ++i) qvsvConcatenateDiagnostics(queue, make("Q:x"), false);
  const rapidjson::Document log = parse(qvsvSerializeDiagnosticAsSARIF(queue, qvsvReportKind::Warning));
  EXPECT_EQ(column(results(log), "ruleId"), "Q:x Q:x QV_SERVICES:utils:TooManyErrorsErr ");
  EXPECT_EQ(column(results(log), "level"), "warning warning none ");
  EXPECT_EQ(column(results(log), "kind"), "- - informational ");
  EXPECT_TRUE(results(log)[2]["properties"]["overflow"].GetBool());
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
  EXPECT_EQ(column(all, "ruleId"), "C:0 C:1 C:2 C:3 D:sibling ");
  EXPECT_EQ(column(all, "level"), "note note note note note ");
  std::string links;
  for (rapidjson::SizeType i = 0; i < all.Size(); ++i) {
    const rapidjson::Value& bag = all[i]["properties"];
    if (bag.HasMember("causeOf")) {
      links += std::to_string(i) + " of " + (str(bag["causeOf"]) == str(all[i - 1]["guid"]) ? "previous" : "?") +
               " at " + std::to_string(bag["causeDepth"].GetInt()) + "; ";
    }
    if (bag.HasMember("causes")) {
      links += std::to_string(i) + " by " + (str(bag["causes"][0]) == str(all[i + 1]["guid"]) ? "next" : "?") + " (" +
               std::to_string(bag["causes"].Size()) + "); ";
    }
  }
  EXPECT_EQ(links, "0 by next (1); 1 of previous at 1; 1 by next (1); 2 of previous at 2; 2 by next (1); "
                   "3 of previous at 3; ");
  qvsvDiscardDiagnostic(chain);
}

TEST_F(SarifForm, MessageLosesHotlinksButKeepsMarkupAndNonBmpText) {
  qvsvDiagnosticImpl* diag = make("A:b", u"See <a href=\"tessel:open('m')\">the block</a> & <b>\U0001F600</b> \u00E9");
  const rapidjson::Document log = parse(qvsvSerializeDiagnosticAsSARIF(diag, qvsvReportKind::Error));
  EXPECT_EQ(str(results(log)[0]["message"]["text"]), "See the block & <b>\xF0\x9F\x98\x80</b> \xC3\xA9");
  qvsvDiscardDiagnostic(diag);
}

TEST_F(SarifForm, OneRulePerIdentifierWithTheCataloguesText) {
  qvsvDiagnosticImpl* diag = make("QV_SERVICES:utils:InvalidHookName");
  qvsvConcatenateDiagnostics(diag, make("Unknown:x"), false);
  qvsvConcatenateDiagnostics(diag, make("QV_SERVICES:utils:InvalidHookName"), false);
  const rapidjson::Document log = parse(qvsvSerializeDiagnosticAsSARIF(diag, qvsvReportKind::Error));
  const rapidjson::Value& rules = log["runs"][0]["tool"]["driver"]["rules"];
  EXPECT_EQ(column(rules, "id"), "QV_SERVICES:utils:InvalidHookName Unknown:x ");
  EXPECT_EQ(str(rules[0]["shortDescription"]["text"]), "''{0}'' is not the name of a testing hook.");
  EXPECT_FALSE(rules[1].HasMember("shortDescription"));
  std::string indices;
  for (const auto& result : results(log).GetArray()) indices += std::to_string(result["ruleIndex"].GetInt());
  EXPECT_EQ(indices, "010");
  qvsvDiscardDiagnostic(diag);
}

TEST_F(SarifForm, CallStackBecomesFramesWithUriFunctionAndLine) {
  qvsvDiagnosticImpl* diag = make("A:b");
  txArray* stack = txCreateStructMatrix(1, 2, {"file", "name", "line"});
  txSetField(stack, 0, "file", txCreateString(u"C:\\models\\my model.qv"));
  txSetField(stack, 0, "name", txCreateString(u"update"));
  txSetField(stack, 0, "line", txCreateDoubleScalar(12));
  txSetField(stack, 1, "file", txCreateString(u"lib\\a:b.qv"));
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
  EXPECT_EQ(column(results(log), "level"), "error warning ");
  EXPECT_EQ(parse(qvsvSerializeDiagnosticsAsSARIF({}))["runs"][0]["results"].Size(), 0u);
  qvsvDiscardDiagnostic(error);
  qvsvDiscardDiagnostic(warning);
}

std::size_t itemCount(const qvsvDiagnosticImpl* diag) {
  std::size_t n = 0;
  for (const qvsvDiagnosticItem* item : diag->items()) n += 1 + (item->cause == nullptr ? 0 : itemCount(item->cause));
  return n;
}

// Random trees give one result per item; with QVSV_SARIF_OUT set, the logs
// are also written there for the official validator (scripts/check_sarif.sh).
TEST_F(SarifForm, RandomTreesGiveOneResultPerItem) {
  qvsv::test::RandomDiagnosticTree trees(31, true);
  const char* out = std::getenv("QVSV_SARIF_OUT");
  for (std::size_t round = 0; round < qvsv::test::Scaled(100, 10); ++round) {
    qvsvDiagnosticImpl* diag = trees.build();
    const std::string written = qvsvSerializeDiagnosticAsSARIF(diag, qvsvReportKind::Warning);
    ASSERT_EQ(results(parse(written)).Size(), itemCount(diag));
    if (out != nullptr && round < 20) {
      std::ofstream(std::string(out) + "/random_" + std::to_string(round) + ".sarif") << written;
    }
    qvsvDiscardDiagnostic(diag);
  }
}

}  // namespace
