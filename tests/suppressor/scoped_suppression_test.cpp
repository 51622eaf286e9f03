#include "qv_services/reporting.hpp"
#include "tessel/console.hpp"
#include "tests/suppressor/suppressor_fixture.hpp"

namespace {

using qvsv::util::ScopedDiagnosticSuppression;

class ScopedSuppression : public qvsv::test::SuppressorTest {
 protected:
  void SetUp() override {
    SuppressorTest::SetUp();
    qvsvAddDiagnosticSuppression("A:*");
    qvsvAddDiagnosticSuppression("A:*", 1.0);
    qvsvAddDiagnosticSuppression("B:b", 2.0);
    qvsvSetWarningState("A:*", qvsvWarningState::kOff);
    qvsvSetWarningState("C:c", qvsvWarningState::kError);
  }
};

TEST_F(ScopedSuppression, NestedScopesEachRestoreWhatTheyFound) {
  const Tables initial = tables();
  {
    ScopedDiagnosticSuppression outer;
    EXPECT_FALSE(outer.suppress("A:*")) << "answers as the free function does";
    EXPECT_TRUE(outer.unsuppress("A:*"));
    EXPECT_TRUE(outer.suppress("N:new", 5.0));
    outer.setWarningState("A:*", qvsvWarningState::kOnce);
    const Tables afterOuter = tables();
    {
      ScopedDiagnosticSuppression inner;
      EXPECT_TRUE(inner.unsuppress("A:*", 1.0));
      EXPECT_TRUE(inner.unsuppress("N:new", 5.0));
      EXPECT_TRUE(inner.suppress("A:*"));
      EXPECT_TRUE(inner.removeWarningState("C:c"));
      inner.setWarningState("A:*", qvsvWarningState::kError);
      inner.setWarningState("A:*", qvsvWarningState::kOn);
      EXPECT_NE(tables(), afterOuter);
    }
    EXPECT_EQ(tables(), afterOuter);
  }
  EXPECT_EQ(tables(), initial);
}

TEST_F(ScopedSuppression, OnceMemoryOfAPatternIsRestoredWithIt) {
  tessel::ConsoleCapture console;
  qvsvSetWarningState("O:*", qvsvWarningState::kOnce);
  const auto warn = [this] {
    qvsvDiagnosticImpl* diag = make("O:w");
    qvsvReportAsChangeableWarning(diag);
  };
  warn();
  {
    ScopedDiagnosticSuppression scope;
    scope.setWarningState("O:*", qvsvWarningState::kOnce);
    warn();  // a fresh memory inside the scope: shown
  }
  warn();  // the old memory is back: hidden
  EXPECT_EQ(console.text(), "Warning: m\nWarning: m\n");
  EXPECT_EQ(qvsvGetHiddenWarningCounts("O:w").repeated, 1u);
}

TEST_F(ScopedSuppression, ChangesToPatternsTheScopeDidNotTouchStay) {
  {
    ScopedDiagnosticSuppression scope;
    scope.suppress("S:scoped");
    qvsvAddDiagnosticSuppression("F:free");
    qvsvSetWarningState("F:free", qvsvWarningState::kOnce);
  }
  EXPECT_FALSE(qvsvIsDiagnosticSuppressed("S:scoped"));
  EXPECT_TRUE(qvsvIsDiagnosticSuppressed("F:free"));
  EXPECT_EQ(qvsvGetWarningState("F:free").state, qvsvWarningState::kOnce);
}

}  // namespace
