// The step of the warning reports that consults the suppression database,
// the warning states and the report-once memory (called from reporting.cpp).
#pragma once

#include "qv_services/diagnostic.hpp"

namespace qvsv::detail {

enum class WarningReport {
  kPlain,       // the database only
  kChangeable,  // the database, then the identifier states
  kOnce,        // the database, then once per identifier until reset
};

// Runs before anything else sees the warning. Takes the hidden items out of
// diag (releasing them, counting each under its identifier), so that diag may
// be left empty; returns the items whose state is error, in a diagnostic the
// caller reports as an error (null when there are none; diag itself, with
// diag nulled, when every item is one). A non-empty warning costs one counted
// read of the feature DiagnosticSuppressor.
[[nodiscard]] qvsvDiagnosticImpl* HideWarningItems(qvsvDiagnosticImpl*& diag, WarningReport kind);

}  // namespace qvsv::detail
