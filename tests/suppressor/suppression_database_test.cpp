#include <cmath>
#include <limits>
#include <optional>
#include <stdexcept>

#include "qv_services/diagnostic_creation.hpp"
#include "tests/support/test_support.hpp"
#include "tests/suppressor/suppressor_fixture.hpp"

namespace {

using qvsv::test::SuppressorTest;

class SuppressionDatabase : public SuppressorTest {};

TEST_F(SuppressionDatabase, RefusesTextsThatAreNotPatternsNamingThem) {
  // Each text and how the message shows it.
  const std::vector<std::pair<std::string, std::string>> refused{
      {"", ""},
      {"*", "*"},
      {":*", ":*"},
      {"Quiver*", "Quiver*"},
      {"Quiver:*:Gain", "Quiver:*:Gain"},
      {"Quiver:blocks:Gain*", "Quiver:blocks:Gain*"},
      {"Quiver:**", "Quiver:**"},
      {"Tab\there", "Tab\\x09here"},
      {std::string("Nul\0x", 5), "Nul\\x00x"}};
  for (const auto& [bad, shown] : refused) {
    SCOPED_TRACE(shown);
    try {
      qvsvAddDiagnosticSuppression(bad);
      ADD_FAILURE() << "accepted";
    } catch (const std::invalid_argument& e) {
      EXPECT_NE(std::string(e.what()).find("'" + shown + "'"), std::string::npos) << e.what();
    }
    EXPECT_THROW(qvsvSetWarningState(bad, qvsvWarningState::kOff), std::invalid_argument);
  }
  EXPECT_TRUE(qvsvGetDiagnosticSuppressions().empty()) << "nothing half-added";
  EXPECT_THROW(qvsvAddDiagnosticSuppression("A:b", std::nan("")), std::invalid_argument);
  EXPECT_THROW(qvsvAddDiagnosticSuppression("A:b", -std::numeric_limits<double>::infinity()), std::invalid_argument);
  EXPECT_TRUE(qvsvGetDiagnosticSuppressions().empty());
}

// One entry and one query: does the entry cover it?
struct CoverageRow {
  std::string name;
  std::string pattern;
  std::optional<double> entryHandle;
  std::string identifier;
  std::optional<double> queryHandle;
  bool covered;
};

class SuppressionCoverage : public SuppressorTest, public ::testing::WithParamInterface<CoverageRow> {};

TEST_P(SuppressionCoverage, EntryCoversExactlyWhatItsPatternAndHandleName) {
  const CoverageRow& row = GetParam();
  if (row.entryHandle) {
    ASSERT_TRUE(qvsvAddDiagnosticSuppression(row.pattern, *row.entryHandle));
  } else {
    ASSERT_TRUE(qvsvAddDiagnosticSuppression(row.pattern));
  }
  const bool covered = row.queryHandle ? qvsvIsDiagnosticSuppressed(row.identifier, *row.queryHandle)
                                       : qvsvIsDiagnosticSuppressed(row.identifier);
  EXPECT_EQ(covered, row.covered);
}

INSTANTIATE_TEST_SUITE_P(
    Patterns, SuppressionCoverage,
    ::testing::Values(
        CoverageRow{"ExactMatchesItself", "Quiver:blocks:Gain", {}, "Quiver:blocks:Gain", {}, true},
        CoverageRow{"ExactIsNotAPrefix", "Quiver:blocks:Gain", {}, "Quiver:blocks:GainX", {}, false},
        CoverageRow{"ExactIsNotLonger", "Quiver:blocks:Gain", {}, "Quiver:blocks", {}, false},
        CoverageRow{"PrefixCoversDeeperLevels", "Quiver:*", {}, "Quiver:blocks:Gain", {}, true},
        CoverageRow{"PrefixEndsAtItsColon", "Quiver:*", {}, "QuiverX:blocks", {}, false},
        CoverageRow{"PrefixDoesNotCoverItsStem", "Quiver:*", {}, "Quiver", {}, false},
        CoverageRow{"PrefixIsWholeSegments", "Quiver:bl:*", {}, "Quiver:blocks:Gain", {}, false},
        CoverageRow{"CaseMatters", "quiver:*", {}, "Quiver:blocks", {}, false},
        CoverageRow{"EveryHandleCoversAnyHandle", "Quiver:blocks:*", {}, "Quiver:blocks:Gain", 12.0002, true},
        CoverageRow{"HandleEntryCoversItsHandle", "Quiver:blocks:*", 12.0001, "Quiver:blocks:Gain", 12.0001, true},
        CoverageRow{"HandleEntrySparesOtherHandles", "Quiver:blocks:*", 12.0001, "Quiver:blocks:Gain", 12.0002,
                    false},
        CoverageRow{"HandleEntryIsNotForEveryHandle", "Quiver:blocks:Gain", 12.0001, "Quiver:blocks:Gain", {}, false},
        CoverageRow{"NegativeZeroIsZero", "A:b", -0.0, "A:b", 0.0, true},
        CoverageRow{"HandleEntryStillNeedsThePattern", "Quiver:blocks:*", 12.0001, "Quiver:lines:Wire", 12.0001,
                    false}),
    qvsv::test::RowName());

TEST_F(SuppressionDatabase, AddSaysWhetherNewAndRemoveWhetherItExisted) {
  EXPECT_TRUE(qvsvAddDiagnosticSuppression("A:*"));
  EXPECT_FALSE(qvsvAddDiagnosticSuppression("A:*"));
  EXPECT_TRUE(qvsvAddDiagnosticSuppression("A:*", 3.0));
  EXPECT_FALSE(qvsvAddDiagnosticSuppression("A:*", 3.0));
  EXPECT_TRUE(qvsvAddDiagnosticSuppression("A:x")) << "an exact pattern is another entry";

  EXPECT_TRUE(qvsvRemoveDiagnosticSuppression("A:*"));
  EXPECT_FALSE(qvsvRemoveDiagnosticSuppression("A:*"));
  EXPECT_FALSE(qvsvIsDiagnosticSuppressed("A:y", 4.0));
  EXPECT_TRUE(qvsvIsDiagnosticSuppressed("A:y", 3.0)) << "the handle entry outlives the handle-free one";
  EXPECT_FALSE(qvsvRemoveDiagnosticSuppression("A:*", 4.0));
  EXPECT_TRUE(qvsvRemoveDiagnosticSuppression("A:*", 3.0));
  EXPECT_FALSE(qvsvIsDiagnosticSuppressed("A:y", 3.0));
  EXPECT_FALSE(qvsvRemoveDiagnosticSuppression("B:never"));
  EXPECT_EQ(qvsvGetDiagnosticSuppressions(), (std::vector<qvsvSuppression>{{"A:x", std::nullopt}}));
  qvsvClearDiagnosticSuppressions();
  EXPECT_TRUE(qvsvGetDiagnosticSuppressions().empty());
  EXPECT_FALSE(qvsvIsDiagnosticSuppressed("A:x"));
}

TEST_F(SuppressionDatabase, ListingIsByPatternThenHandleFreeThenHandlesAscending) {
  qvsvAddDiagnosticSuppression("B:b", 2.5);
  qvsvAddDiagnosticSuppression("A:b");
  qvsvAddDiagnosticSuppression("B:b", -1.0);
  qvsvAddDiagnosticSuppression("A:*");
  qvsvAddDiagnosticSuppression("B:b");
  qvsvAddDiagnosticSuppression("B:b", 100.0);
  const std::vector<qvsvSuppression> expected{
      {"A:*", std::nullopt}, {"A:b", std::nullopt}, {"B:b", std::nullopt},
      {"B:b", -1.0},         {"B:b", 2.5},          {"B:b", 100.0}};
  EXPECT_EQ(qvsvGetDiagnosticSuppressions(), expected);
}

TEST_F(SuppressionDatabase, ItemQueryLooksAtEveryHandleOfTheItem) {
  const double handles[] = {1.0, 2.0, 3.0};
  qvsvDiagnosticImpl* diag = qvsvCreateDiagnosticFromIdAndMsg(handles, 3, "Quiver:blocks:Gain", "gain");
  qvsvConcatenateDiagnostics(diag, make("Quiver:lines:Wire"), false);
  EXPECT_FALSE(qvsvIsDiagnosticItemSuppressed(diag, 0));
  qvsvAddDiagnosticSuppression("Quiver:blocks:*", 3.0);
  EXPECT_TRUE(qvsvIsDiagnosticItemSuppressed(diag, 0));
  EXPECT_FALSE(qvsvIsDiagnosticItemSuppressed(diag, 1)) << "the second item has no handles";
  qvsvAddDiagnosticSuppression("Quiver:lines:Wire");
  EXPECT_TRUE(qvsvIsDiagnosticItemSuppressed(diag, 1));
  EXPECT_FALSE(qvsvIsDiagnosticItemSuppressed(diag, 2)) << "no such item";
  EXPECT_FALSE(qvsvIsDiagnosticItemSuppressed(nullptr, 0));
  qvsvDiscardDiagnostic(diag);
}

}  // namespace
