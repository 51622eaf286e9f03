// The module's terminate path releases the feature table. Each case runs in a
// child process, because terminate ends the table for the whole process and
// the child's exit then destroys the static features after the release.
#include <gtest/gtest.h>

#include <cstdlib>

#include "qv_services/feature.hpp"
#include "qv_services/module.hpp"

namespace {

// A static feature of this program, destroyed at exit after any release.
QvFeature gExitFeature("zz_TerminateTestFeature", "destroyed after terminate", __FILE__, "tests", 7, 1);

TEST(ModuleTerminateDeathTest, TerminateReleasesTheTableAndLaterLookupsFindNothing) {
  EXPECT_EXIT(
      {
        TLInitialize_qv_services();
        const bool before = QvFeatureTable::lookupFeature("MessageViewer") == QVFEAT_MessageViewer;
        TLTerminate_qv_services();
        const bool after = QvFeatureTable::lookupFeature("MessageViewer") == nullptr &&
                           QvFeatureTable::lookupFeature("zz_TerminateTestFeature") == nullptr;
        // The static features (the library's and gExitFeature) are destroyed at exit.
        std::exit(before && after ? 0 : 3);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST(ModuleTerminateDeathTest, StaticFeaturesDestroyedAfterTerminateTouchNothingFreed) {
  EXPECT_EXIT(
      {
        TLTerminate_qv_services();
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST(ModuleTerminateDeathTest, InitialiseAfterTerminateRegistersTheLibrarysFeaturesAgain) {
  EXPECT_EXIT(
      {
        TLInitialize_qv_services();
        QvFeatureHostCommand::set("MultiSolver", 1);
        TLTerminate_qv_services();
        TLInitialize_qv_services();
        const bool back = QvFeatureTable::lookupFeature("MessageViewer") == QVFEAT_MessageViewer &&
                          QvFeatureTable::lookupFeature("DiagnosticSuppressor") == QVFEAT_DiagnosticSuppressor;
        const bool stateKept = QvFeatureHostCommand::get("MultiSolver") == 1;
        // Initialising a module that is initialised already succeeds, so a
        // host may load it twice.
        const bool again = TLInitialize_qv_services() == 0;
        std::exit(back && stateKept && again ? 0 : 3);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
