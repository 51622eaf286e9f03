// Reporting diagnostics to the host.
//
// Each function consumes the diagnostic (the caller's pointer becomes null),
// hands its pending object handles to their callbacks, offers it to the
// registered callbacks and listeners, and shows what nobody took in the
// host's display ("Error: ...", "Warning: ...", or the message alone for
// information). A null or empty diagnostic is released without a report.
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
