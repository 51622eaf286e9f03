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
#pragma once

#include <string>

#include "qv_services/diagnostic.hpp"

QVSV_API void qvsvReportAsError(qvsvDiagnosticImpl*& diag);
QVSV_API void qvsvReportAsWarning(qvsvDiagnosticImpl*& diag);
// Stores every pair, in key order, as metadata of the last item, then reports.
QVSV_API void qvsvReportAsWarning(qvsvDiagnosticImpl*& diag, const qvsvMetaDataMap& metadata);
QVSV_API void qvsvReportAsInfo(qvsvDiagnosticImpl*& diag);

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
