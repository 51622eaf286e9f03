// What the object-system bridges ship: a catalogue that has every key the
// area throws (the util suite reads each text in both locales), and features with fixed defaults and owners (deferral stays off until a
// user turns it on; the interface features refresh the host's menus).
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "qv_services/feature.hpp"
#include "qv_services/module.hpp"
#include "tests/support/test_support.hpp"

namespace {

TEST(TcosCatalogue, EveryKeyThrownIsInTheCatalogue) {
  const std::filesystem::path root(QVSV_SOURCE_DIR);
  const auto en = qvsv::test::ShippedCatalogueKeys("tcos");
  // The keys a source throws: Diagnostic("Key", ... and WithCause("Key", ...
  std::size_t seen = 0;
  for (const auto& file : std::filesystem::directory_iterator(root / "qv_services/tcos")) {
    std::stringstream text;
    text << std::ifstream(file.path()).rdbuf();
    const std::string source = text.str();
    for (const std::string marker : {"Diagnostic(\"", "WithCause(\""}) {
      for (auto at = source.find(marker); at != std::string::npos; at = source.find(marker, at + 1)) {
        const auto begin = at + marker.size();
        const std::string key = source.substr(begin, source.find('"', begin) - begin);
        ++seen;
        EXPECT_TRUE(en.count(key)) << key << " in " << file.path().filename();
      }
    }
  }
  EXPECT_GT(seen, 20u);
}

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
