// Features of the modelling product's object-system bridges.
#include "qv_services/feature.hpp"
#include "tessel/interpreter.hpp"

namespace {

// The interface features change menus: the host refreshes its customisations.
void refreshCustomizations(int) { tessel::feval("qv_refresh_customizations", 0, nullptr, 0, nullptr); }

QvFeature gAllowConstantRootOutportForAUTOSAR(
    "AllowConstantRootOutportForAUTOSAR",
    "Permit root outports to be constant for the AUTOSAR target (with a warning)", __FILE__, "Gantry.AUTOSAR", 1009411,
    0);
QvFeature gDimensionVariants("DimensionVariants", "Support symbolic dimension specification for code gen", __FILE__,
                             "Gantry.Variants", 1010022, 0);
QvFeature gMultiSolver("MultiSolver", "Support for multiple solver types in Quiver", __FILE__,
                       "Quiver.ArchitecturalModeling", 982254, 0);
QvFeature gQVUnit("QVUnit", "Support unit specification", __FILE__, "Quiver.Unit", 1010022, 0);
QvFeature gSimHarnessSameStudio("SimHarnessSameStudio", "Sim Harness opens in same studio", __FILE__,
                                "Quiver.Harness", 1063855, 0);
QvFeature gSkipContentCheckInTaskDiagram("SkipContentCheckInTaskDiagram", "Allow arbitrary blocks on task diagram",
                                         __FILE__, "Quiver/ModelingDistributedSystems", 793420, 0);
QvFeature gQvInterfacePort("QvInterfacePort", "Support for system architecture interface modeling in Quiver",
                           __FILE__, "Quiver.InterfacePort", 981607, 0, refreshCustomizations);
QvFeature gQvInterfaceViewMenu("QvInterfaceViewMenu", "Interface View Menus for entry point to the feature", __FILE__,
                               "Quiver.InterfaceView", 123456, 1, refreshCustomizations);
QvFeature gQvInterfaceView("QvInterfaceView", "Support for viewing (no editing) interface of a model in Quiver",
                           __FILE__, "Quiver.InterfaceView", 863564, 1, refreshCustomizations);
QvFeature gQvTLSysBlkInConcurrentExecution("QvTLSysBlkInConcurrentExecution",
                                           "Tessel System Block support in Concurrent Execution", __FILE__,
                                           "Quiver.ArchitecturalModeling", 983473, 1);

}  // namespace

QvFeature* QVFEAT_AllowConstantRootOutportForAUTOSAR = &gAllowConstantRootOutportForAUTOSAR;
QvFeature* QVFEAT_DimensionVariants = &gDimensionVariants;
QvFeature* QVFEAT_MultiSolver = &gMultiSolver;
QvFeature* QVFEAT_QVUnit = &gQVUnit;
QvFeature* QVFEAT_SimHarnessSameStudio = &gSimHarnessSameStudio;
QvFeature* QVFEAT_SkipContentCheckInTaskDiagram = &gSkipContentCheckInTaskDiagram;
QvFeature* QVFEAT_QvInterfacePort = &gQvInterfacePort;
QvFeature* QVFEAT_QvInterfaceViewMenu = &gQvInterfaceViewMenu;
QvFeature* QVFEAT_QvInterfaceView = &gQvInterfaceView;
QvFeature* QVFEAT_QvTLSysBlkInConcurrentExecution = &gQvTLSysBlkInConcurrentExecution;
