#include <cmath>
#include <limits>
#include <optional>
#include <stdexcept>

#include <gmock/gmock.h>

#include "qv_services/diagnostic_creation.hpp"
#include "tests/support/test_support.hpp"
#include "tests/suppressor/suppressor_fixture.hpp"

namespace {

using qvsv::test::SuppressorTest;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

class SuppressionDatabase : public SuppressorTest {};

TEST_F(SuppressionDatabase, RefusesTextsThatAreNotPatternsNamingThem) {
  // Each text and how the message shows it.
  const std::vector<std::pair<std::string, std::string>> refused{
      {"", ""}, {"*", "*"}, {":*", ":*"}, {"Quiver*", "Quiver*"}, {"Quiver:*:Gain", "Quiver:*:Gain"},
      {"A:Gain*", "A:Gain*"}, {"Quiver:**", "Quiver:**"}, {"Tab\there", "Tab\\x09here"},
      {std::string("Nul\0x", 5), "Nul\\x00x"}};
  for (const auto& [bad, shown] : refused) {
    EXPECT_THAT([&] { qvsvAddDiagnosticSuppression(bad); },
                ThrowsMessage<std::invalid_argument>(HasSubstr("'" + shown + "'")));
    EXPECT_THROW(qvsvSetWarningState(bad, qvsvWarningState::kOff), std::invalid_argument) << shown;
  }
  EXPECT_THROW(qvsvAddDiagnosticSuppression("A:b", std::nan("")), std::invalid_argument);
  EXPECT_THROW(qvsvAddDiagnosticSuppression("A:b", -std::numeric_limits<double>::infinity()), std::invalid_argument);
  EXPECT_EQ(tables(), Tables{}) << "nothing half-added";
}

// One entry and one query, each "text" or "text@handle": does the entry cover the query?
struct CoverageRow {
  std::string name;
  std::string entry;
  std::string query;
  bool covered;
};

std::pair<std::string, std::optional<double>> split(const std::string& text) {
  const auto at = text.find('@');
  if (at == std::string::npos) return {text, std::nullopt};
  return {text.substr(0, at), std::stod(text.substr(at + 1))};
}

class SuppressionCoverage : public SuppressorTest, public ::testing::WithParamInterface<CoverageRow> {};

TEST_P(SuppressionCoverage, EntryCoversExactlyWhatItsPatternAndHandleName) {
  const auto [pattern, entryHandle] = split(GetParam().entry);
  const auto [identifier, queryHandle] = split(GetParam().query);
  ASSERT_TRUE(entryHandle ? qvsvAddDiagnosticSuppression(pattern, *entryHandle)
                          : qvsvAddDiagnosticSuppression(pattern));
  EXPECT_EQ(queryHandle ? qvsvIsDiagnosticSuppressed(identifier, *queryHandle) : qvsvIsDiagnosticSuppressed(identifier),
            GetParam().covered);
}

INSTANTIATE_TEST_SUITE_P(
    Patterns, SuppressionCoverage,
    ::testing::Values(
        CoverageRow{"ExactMatchesItself", "Quiver:blocks:Gain", "Quiver:blocks:Gain", true},
        CoverageRow{"ExactIsNotAPrefix", "Quiver:blocks:Gain", "Quiver:blocks:GainX", false},
        CoverageRow{"ExactIsNotLonger", "Quiver:blocks:Gain", "Quiver:blocks", false},
        CoverageRow{"PrefixCoversDeeperLevels", "Quiver:*", "Quiver:blocks:Gain", true},
        CoverageRow{"PrefixEndsAtItsColon", "Quiver:*", "QuiverX:blocks", false},
        CoverageRow{"PrefixDoesNotCoverItsStem", "Quiver:*", "Quiver", false},
        CoverageRow{"PrefixIsWholeSegments", "Quiver:bl:*", "Quiver:blocks:Gain", false},
        CoverageRow{"CaseMatters", "quiver:*", "Quiver:blocks", false},
        CoverageRow{"EveryHandleCoversAnyHandle", "Quiver:blocks:*", "Quiver:blocks:Gain@12.0002", true},
        CoverageRow{"HandleEntryCoversItsHandle", "Quiver:blocks:*@12.0001", "Quiver:blocks:Gain@12.0001", true},
        CoverageRow{"HandleEntrySparesOtherHandles", "Quiver:blocks:*@12.0001", "Quiver:blocks:Gain@12.0002", false},
        CoverageRow{"HandleEntryIsNotForEveryHandle", "Quiver:blocks:Gain@12.0001", "Quiver:blocks:Gain", false},
        CoverageRow{"NegativeZeroIsZero", "A:b@-0.0", "A:b@0", true},
        CoverageRow{"HandleEntryStillNeedsThePattern", "Quiver:blocks:*@12.0001", "Quiver:lines:Wire@12.0001", false}),
    qvsv::test::RowName());

TEST_F(SuppressionDatabase, AddSaysWhetherNewRemoveWhetherItExistedAndListingIsOrdered) {
  EXPECT_TRUE(qvsvAddDiagnosticSuppression("B:*"));
  EXPECT_FALSE(qvsvAddDiagnosticSuppression("B:*"));
  EXPECT_TRUE(qvsvAddDiagnosticSuppression("B:*", 3.0));
  EXPECT_FALSE(qvsvAddDiagnosticSuppression("B:*", 3.0));
  for (const double handle : {100.0, -1.0}) qvsvAddDiagnosticSuppression("B:*", handle);
  EXPECT_TRUE(qvsvAddDiagnosticSuppression("A:x")) << "an exact pattern is another entry";
  EXPECT_EQ(qvsvGetDiagnosticSuppressions(),
            (std::vector<qvsvSuppression>{
                {"A:x", std::nullopt}, {"B:*", std::nullopt}, {"B:*", -1.0}, {"B:*", 3.0}, {"B:*", 100.0}}))
      << "by pattern, then the handle-free entry, then handles ascending";

  EXPECT_TRUE(qvsvRemoveDiagnosticSuppression("B:*"));
  EXPECT_FALSE(qvsvRemoveDiagnosticSuppression("B:*"));
  EXPECT_FALSE(qvsvIsDiagnosticSuppressed("B:y", 4.0));
  EXPECT_TRUE(qvsvIsDiagnosticSuppressed("B:y", 3.0)) << "the handle entries outlive the handle-free one";
  EXPECT_FALSE(qvsvRemoveDiagnosticSuppression("B:*", 4.0));
  for (const double handle : {3.0, 100.0, -1.0}) EXPECT_TRUE(qvsvRemoveDiagnosticSuppression("B:*", handle));
  EXPECT_FALSE(qvsvIsDiagnosticSuppressed("B:y", 3.0));
  EXPECT_EQ(qvsvGetDiagnosticSuppressions(), (std::vector<qvsvSuppression>{{"A:x", std::nullopt}}));
  qvsvClearDiagnosticSuppressions();
  EXPECT_FALSE(qvsvIsDiagnosticSuppressed("A:x"));
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
