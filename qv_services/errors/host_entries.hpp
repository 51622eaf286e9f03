// The module's host-callable entries for diagnostics, and the record of the
// last reported diagnostic that one of them reads.
#pragma once

#include "qv_services/diagnostic.hpp"
#include "tessel/interpreter.hpp"

namespace qvsv::detail {

inline constexpr const char kGetLastReportedEntry[] = "QvDiagnosticGetLastReported";
inline constexpr const char kRaiseEntry[] = "QvDiagnosticRaise";

// QvDiagnosticGetLastReported(): the host-array form of the last diagnostic
// reported (a 1 x 0 form when none has been), and as a second output the
// kind of report: "error", "warning" or "info" ('' when none). When memory
// ran short as the report was kept, it raises the out-of-memory diagnostic.
void GetLastReportedEntry(int nlhs, txArray* plhs[], int nrhs, txArray* prhs[]);
// QvDiagnosticRaise(form): raises the diagnostic of a host-array form as a
// host error that keeps its identifier; a malformed form raises the
// diagnostic that says what is wrong with it; a form of no items raises nothing.
void RaiseEntry(int nlhs, txArray* plhs[], int nrhs, txArray* prhs[]);

// Called by every report with the diagnostic about to be offered (context 1
// warning, 2 error, 3 information). Only while the host has the entry that
// reads it registered (the module is loaded) is the diagnostic's form kept;
// otherwise nothing is kept, so reports cost nothing more and hold nothing.
// Never throws: when the form cannot be made, the shortage is kept instead.
void RecordReportedDiagnostic(qvsvDiagnosticImpl* const& diag, int context) noexcept;
// Drops the record (the module's terminate).
void ForgetReportedDiagnostic() noexcept;

}  // namespace qvsv::detail
