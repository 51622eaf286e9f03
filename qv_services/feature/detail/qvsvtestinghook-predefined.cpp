// The library's hooks for testing the hook machinery itself: one reachable
// from outside the library, one not.
#include "qv_services/testing_hook.hpp"

namespace {

QvTestingHook gModelReferenceTesting("ModelReferenceTesting", "Make all Model blocks normal or accel", __FILE__,
                                     "Quiver Engine [Model Reference]", 0);
QvTestingHook gExportedTest("ExportedTest", "ExportedTest Feature for testing", __FILE__,
                            "ExportedTest qv_services [Feature]", 54321);
QvTestingHook gModuleTest("ModuleTest", "ModuleTest Feature for testing", __FILE__, "ModuleTest qv_services [Feature]",
                          12345);

}  // namespace

QvTestingHook* QVFEAT_ModelReferenceTesting = &gModelReferenceTesting;
QvTestingHook* QVFEAT_ExportedTest = &gExportedTest;
