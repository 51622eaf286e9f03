#include <stdexcept>

#include "tests/support/test_support.hpp"
#include "tests/suppressor/suppressor_fixture.hpp"

namespace {

using qvsv::test::SuppressorTest;

struct DecisionRow {
  std::string name;
  std::string identifier;
  qvsvWarningState state;
  std::string pattern;
};

// Patterns at every level, so that each row shows which one wins.
class WarningStateDecision : public SuppressorTest, public ::testing::WithParamInterface<DecisionRow> {
 protected:
  void SetUp() override {
    SuppressorTest::SetUp();
    qvsvSetWarningState("Quiver:*", qvsvWarningState::kOff);
    qvsvSetWarningState("Quiver:blocks:*", qvsvWarningState::kOnce);
    qvsvSetWarningState("Quiver:blocks:Gain", qvsvWarningState::kError);
    qvsvSetWarningState("Quiver:blocks:Sum", qvsvWarningState::kOn);
    qvsvSetWarningState("Quiver:blocks:sub:*", qvsvWarningState::kError);
  }
};

TEST_P(WarningStateDecision, MostSpecificPatternDecides) {
  const DecisionRow& row = GetParam();
  EXPECT_EQ(qvsvGetWarningState(row.identifier), (qvsvWarningStateDecision{row.state, row.pattern}));
}

INSTANTIATE_TEST_SUITE_P(
    Precedence, WarningStateDecision,
    ::testing::Values(DecisionRow{"ExactBeatsEveryPrefix", "Quiver:blocks:Gain", qvsvWarningState::kError,
                                  "Quiver:blocks:Gain"},
                      DecisionRow{"ExactOnBeatsPrefixOnce", "Quiver:blocks:Sum", qvsvWarningState::kOn,
                                  "Quiver:blocks:Sum"},
                      DecisionRow{"LongerPrefixBeatsShorter", "Quiver:blocks:Other", qvsvWarningState::kOnce,
                                  "Quiver:blocks:*"},
                      DecisionRow{"LongestOfThreePrefixes", "Quiver:blocks:sub:Deep", qvsvWarningState::kError,
                                  "Quiver:blocks:sub:*"},
                      DecisionRow{"ShortPrefixAlone", "Quiver:lines:Wire", qvsvWarningState::kOff, "Quiver:*"},
                      DecisionRow{"NoPatternMeansOn", "Other:thing", qvsvWarningState::kOn, ""},
                      DecisionRow{"StemOfAPrefixIsNotCovered", "Quiver", qvsvWarningState::kOn, ""}),
    qvsv::test::RowName());

TEST_F(WarningStateDecision, RemovingAPatternFallsBackToTheNextMostSpecific) {
  EXPECT_TRUE(qvsvRemoveWarningState("Quiver:blocks:Gain"));
  EXPECT_FALSE(qvsvRemoveWarningState("Quiver:blocks:Gain"));
  EXPECT_EQ(qvsvGetWarningState("Quiver:blocks:Gain").pattern, "Quiver:blocks:*");
  EXPECT_TRUE(qvsvRemoveWarningState("Quiver:blocks:*"));
  EXPECT_EQ(qvsvGetWarningState("Quiver:blocks:Gain"), (qvsvWarningStateDecision{qvsvWarningState::kOff, "Quiver:*"}));
}

TEST_F(WarningStateDecision, ListingIsByPatternAndSettingReplaces) {
  qvsvSetWarningState("Quiver:*", qvsvWarningState::kOn);
  const std::vector<std::pair<std::string, qvsvWarningState>> expected{
      {"Quiver:*", qvsvWarningState::kOn},
      {"Quiver:blocks:*", qvsvWarningState::kOnce},
      {"Quiver:blocks:Gain", qvsvWarningState::kError},
      {"Quiver:blocks:Sum", qvsvWarningState::kOn},
      {"Quiver:blocks:sub:*", qvsvWarningState::kError}};
  EXPECT_EQ(qvsvGetWarningStates(), expected);
  qvsvClearWarningStates();
  EXPECT_TRUE(qvsvGetWarningStates().empty());
}

TEST(WarningStateNames, ReadBackAndUnknownNamesAreRefusedByName) {
  for (const auto state : {qvsvWarningState::kOn, qvsvWarningState::kOff, qvsvWarningState::kOnce,
                           qvsvWarningState::kError}) {
    EXPECT_EQ(qvsvParseWarningState(qvsvWarningStateName(state)), state);
  }
  try {
    qvsvParseWarningState("Off");
    ADD_FAILURE() << "names are lower case";
  } catch (const std::invalid_argument& e) {
    EXPECT_NE(std::string(e.what()).find("'Off'"), std::string::npos);
  }
  EXPECT_THROW(qvsvSetWarningState("A:b", static_cast<qvsvWarningState>(7)), std::invalid_argument);
}

}  // namespace
