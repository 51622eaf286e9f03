// Reporting diagnostics to the host.
//
// Each function consumes the diagnostic (the caller's pointer becomes null),
// also when a step throws (std::bad_alloc, or a callback's own exception),
// which then propagates.
// In order: the items' pending object handles go to their callbacks; a
// warning that a warn-once filter has already shown is released; the
// diagnostic counters and identifier callbacks hear of it; the diagnostic
// callbacks run in name order and one may consume it, which ends the report;
// then the listeners are offered it (errors with context 2, information with
// context 3, warnings with context 1 only while the feature MessageViewer,
// read once per warning, is exactly 1) and one that takes it ends the report;
// what nobody took is shown in the host's display ("Error: ...",
// "Warning: ...", or the message alone for information). With no listener
// registered, the built-in default listener shows warnings itself. A null or
// empty diagnostic is released without a report. See listeners.hpp.
//
// Warnings pass one more step before all of that (suppressor.hpp): while the
// feature DiagnosticSuppressor, read once per warning, is non-zero, items the
// suppression database covers are taken out; a warning left with no items is
// released without a report. Hidden items still count under their identifier;
// they are released before the hand-over, so their pending handles reach no
// process callback, as if they had never been reported.
// Errors and information are never suppressed.
#pragma once

#include <string>

#include "qv_services/diagnostic.hpp"

QVSV_API void qvsvReportAsError(qvsvDiagnosticImpl*& diag);
QVSV_API void qvsvReportAsWarning(qvsvDiagnosticImpl*& diag);
// Stores every pair, in key order, as metadata of the last item, then reports.
QVSV_API void qvsvReportAsWarning(qvsvDiagnosticImpl*& diag, const qvsvMetaDataMap& metadata);
QVSV_API void qvsvReportAsInfo(qvsvDiagnosticImpl*& diag);

// --- The other warning reports; each consumes the diagnostic like those above. ---
// Honours the suppression database and then, per item, the identifier's state
// (suppressor.hpp): on shows it; off hides it; once shows it the first time
// and hides it afterwards; error takes it out and reports it with the other
// error-state items through qvsvReportAsError (context 2) before the rest of
// the warning is reported.
QVSV_API void qvsvReportAsChangeableWarning(qvsvDiagnosticImpl*& diag);
// Never suppressed, switched off or filtered (not even by warn-once filters).
QVSV_API void qvsvReportAsHighPriorityWarning(qvsvDiagnosticImpl*& diag);
// Honours the suppression database, then shows each identifier once until
// qvsvResetWarningReportedOnce; later items of it are hidden and counted.
QVSV_API void qvsvReportAsWarningOnce(qvsvDiagnosticImpl*& diag);

// Decides how a warning is shown: receives the diagnostic and returns true to
// show it, false to suppress it.
using qvsvMessageTypeCallback = bool (*)(qvsvDiagnosticImpl* const& diag);
// The host's warning display entry: shows the diagnostic as a warning without
// offering it to anyone. With a message-type callback that answers false,
// nothing is shown. count > 0 shows only the first count items' messages; a
// non-empty text is shown in place of the diagnostic's own messages. Consumes
// the diagnostic.
QVSV_API void qvsvWarning(qvsvDiagnosticImpl*& diag, qvsvMessageTypeCallback callback, int count,
                          const std::u16string& text);
