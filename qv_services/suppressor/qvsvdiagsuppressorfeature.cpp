// The switch of the warning-suppression database.
#include "qv_services/feature.hpp"

namespace {

QvFeature gDiagnosticSuppressor("DiagnosticSuppressor", "Suppression of Diagnostics", __FILE__, "Digitsmith", 1135952,
                                0);

}  // namespace

QvFeature* QVFEAT_DiagnosticSuppressor = &gDiagnosticSuppressor;
