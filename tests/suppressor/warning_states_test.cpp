#include <stdexcept>

#include <gmock/gmock.h>

#include "tests/support/test_support.hpp"
#include "tests/suppressor/suppressor_fixture.hpp"

namespace {

using qvsv::test::SuppressorTest;
using State = qvsvWarningState;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

struct DecisionRow {
  std::string name;
  std::string identifier;
  State state;
  std::string pattern;
};

// Patterns at every level, so that each row shows which one wins.
class WarningStateDecision : public SuppressorTest, public ::testing::WithParamInterface<DecisionRow> {
 protected:
  void SetUp() override {
    SuppressorTest::SetUp();
    qvsvSetWarningState("Quiver:*", State::kOff);
    qvsvSetWarningState("Quiver:blocks:*", State::kOnce);
    qvsvSetWarningState("Quiver:blocks:Gain", State::kError);
    qvsvSetWarningState("Quiver:blocks:Sum", State::kOn);
    qvsvSetWarningState("Quiver:blocks:sub:*", State::kError);
  }
};

TEST_P(WarningStateDecision, MostSpecificPatternDecides) {
  const DecisionRow& row = GetParam();
  EXPECT_EQ(qvsvGetWarningState(row.identifier), (qvsvWarningStateDecision{row.state, row.pattern}));
}

INSTANTIATE_TEST_SUITE_P(
    Precedence, WarningStateDecision,
    ::testing::Values(DecisionRow{"ExactBeatsEveryPrefix", "Quiver:blocks:Gain", State::kError, "Quiver:blocks:Gain"},
                      DecisionRow{"ExactOnBeatsPrefixOnce", "Quiver:blocks:Sum", State::kOn, "Quiver:blocks:Sum"},
                      DecisionRow{"LongerPrefixBeatsShorter", "Quiver:blocks:Other", State::kOnce, "Quiver:blocks:*"},
                      DecisionRow{"LongestOfThreePrefixes", "Quiver:blocks:sub:Deep", State::kError,
                                  "Quiver:blocks:sub:*"},
                      DecisionRow{"ShortPrefixAlone", "Quiver:lines:Wire", State::kOff, "Quiver:*"},
                      DecisionRow{"NoPatternMeansOn", "Other:thing", State::kOn, ""},
                      DecisionRow{"StemOfAPrefixIsNotCovered", "Quiver", State::kOn, ""}),
    qvsv::test::RowName());

TEST_F(WarningStateDecision, SettingReplacesAndRemovingFallsBackToTheNextMostSpecific) {
  qvsvSetWarningState("Quiver:*", State::kOn);
  EXPECT_EQ(qvsvGetWarningStates(),
            (std::vector<std::pair<std::string, State>>{{"Quiver:*", State::kOn},
                                                        {"Quiver:blocks:*", State::kOnce},
                                                        {"Quiver:blocks:Gain", State::kError},
                                                        {"Quiver:blocks:Sum", State::kOn},
                                                        {"Quiver:blocks:sub:*", State::kError}}));
  EXPECT_TRUE(qvsvRemoveWarningState("Quiver:blocks:Gain"));
  EXPECT_FALSE(qvsvRemoveWarningState("Quiver:blocks:Gain"));
  EXPECT_EQ(qvsvGetWarningState("Quiver:blocks:Gain").pattern, "Quiver:blocks:*");
  EXPECT_TRUE(qvsvRemoveWarningState("Quiver:blocks:*"));
  EXPECT_EQ(qvsvGetWarningState("Quiver:blocks:Gain"), (qvsvWarningStateDecision{State::kOn, "Quiver:*"}));
  qvsvClearWarningStates();
  EXPECT_TRUE(qvsvGetWarningStates().empty());
}

TEST(WarningStateNames, ReadBackAndUnknownNamesAreRefusedByName) {
  for (const auto state : {State::kOn, State::kOff, State::kOnce, State::kError}) {
    EXPECT_EQ(qvsvParseWarningState(qvsvWarningStateName(state)), state);
  }
  EXPECT_THAT([] { qvsvParseWarningState("Off"); }, ThrowsMessage<std::invalid_argument>(HasSubstr("'Off'")))
      << "names are lower case";
  EXPECT_THROW(qvsvSetWarningState("A:b", static_cast<State>(7)), std::invalid_argument);
}

}  // namespace
