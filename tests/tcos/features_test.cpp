// The features of the object-system bridges ship with fixed defaults and
// owners: deferral stays off until a user turns it on, and the interface
// features refresh the host's menus when they change.
#include <gtest/gtest.h>

#include <string>

#include "qv_services/feature.hpp"
#include "qv_services/module.hpp"
#include "tests/support/test_support.hpp"

namespace {

struct FeatureRow {
  std::string name;
  int defaultState;
  const char* owner;
  bool refreshesMenus;
};

// Loading the module registers the features (another test may have unloaded it).
class TcosFeatures : public testing::TestWithParam<FeatureRow> {
 protected:
  void SetUp() override { TLInitialize_qv_services(); }
};

TEST_P(TcosFeatures, ShipWithTheirDefaultAndOwner) {
  const FeatureRow& row = GetParam();
  const QvFeature* feature = QvFeatureTable::lookupFeature(row.name);
  ASSERT_NE(feature, nullptr);
  EXPECT_EQ(feature->defaultState(), row.defaultState);
  EXPECT_STREQ(feature->owner(), row.owner);
  EXPECT_EQ(feature->hasCallback(), row.refreshesMenus);
}

INSTANTIATE_TEST_SUITE_P(
    Registered, TcosFeatures,
    testing::Values(FeatureRow{"AllowConstantRootOutportForAUTOSAR", 0, "Gantry.AUTOSAR", false},
                    FeatureRow{"DimensionVariants", 0, "Gantry.Variants", false},
                    FeatureRow{"MultiSolver", 0, "Quiver.ArchitecturalModeling", false},
                    FeatureRow{"QVUnit", 0, "Quiver.Unit", false},
                    FeatureRow{"SimHarnessSameStudio", 0, "Quiver.Harness", false},
                    FeatureRow{"SkipContentCheckInTaskDiagram", 0, "Quiver/ModelingDistributedSystems", false},
                    FeatureRow{"QvInterfacePort", 0, "Quiver.InterfacePort", true},
                    FeatureRow{"QvInterfaceViewMenu", 1, "Quiver.InterfaceView", true},
                    FeatureRow{"QvInterfaceView", 1, "Quiver.InterfaceView", true},
                    FeatureRow{"QvTLSysBlkInConcurrentExecution", 1, "Quiver.ArchitecturalModeling", false}),
    qvsv::test::RowName());

}  // namespace
