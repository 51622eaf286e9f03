// The feature that routes reported warnings to the diagnostic viewer.
#include "qv_services/feature.hpp"

namespace {

QvFeature gMessageViewer("MessageViewer", "Viewer replacement for legacy dialogs", __FILE__, "Quiver Diagnostics",
                         982186, 1);

}  // namespace

QvFeature* QVFEAT_MessageViewer = &gMessageViewer;
