// The library as a host module: the host calls the initialise function when it
// loads the library, terminate when it unloads it, and looks up host-callable
// functions in the table (for example "QvTracerGetStat").
#pragma once

#include "qv_services/export.hpp"
#include "tessel/module.hpp"

extern "C" {
// Returns 0 on success. Calling it again while initialised does nothing.
// After a terminate in the same process it enters the library's own features
// in a new table (with the states they had); features of other modules come
// back only when they are constructed again.
QVSV_API int TLInitialize_qv_services();
// Releases what the library holds for the host: the feature table. Afterwards
// QvFeatureTable::lookupFeature finds nothing (a new, empty table is made on
// use) and static features destroyed at exit touch no freed memory. Safe to
// call without a preceding initialise, and more than once.
QVSV_API void TLTerminate_qv_services();
// The table of host-callable functions; valid for the life of the process.
QVSV_API const tessel::ModuleFunctionTable* QueryTLFcnTable_qv_services();
}
