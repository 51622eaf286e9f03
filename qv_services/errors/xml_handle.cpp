// Reporting a diagnostic that arrives in its XML form.
#include <cstdio>
#include <stdexcept>
#include <string_view>

#include "qv_services/errors/xml_restore.hpp"
#include "qv_services/reporting.hpp"
#include "qv_services/xml_form.hpp"

namespace {

void checkContext(qvsv::util::qvsvDiagnosticListenerContext context) {
  switch (context) {
    case qvsv::util::kWarningContext:
    case qvsv::util::kErrorContext:
    case qvsv::util::kInformationContext: return;
  }
  char message[128];
  std::snprintf(message, sizeof message,
                "qvsvHandleMessageFromXMLFragment: %d is not a report context (1 warning, 2 error, 3 information)",
                static_cast<int>(context));
  throw std::invalid_argument(message);
}

void reportIn(qvsvDiagnosticImpl*& diag, qvsv::util::qvsvDiagnosticListenerContext context) {
  switch (context) {
    case qvsv::util::kWarningContext: qvsvReportAsWarning(diag); break;
    case qvsv::util::kErrorContext: qvsvReportAsError(diag); break;
    case qvsv::util::kInformationContext: qvsvReportAsInfo(diag); break;
  }
}

// A malformed document is answered with the restorer's error diagnostic,
// reported in place of the lost one so that the loss is heard.
bool handle(qvsvDiagnosticImpl* diag, qvsv::detail::RestoreOutcome outcome,
            qvsv::util::qvsvDiagnosticListenerContext context) {
  if (diag != nullptr) reportIn(diag, context);
  return outcome == qvsv::detail::RestoreOutcome::Restored;
}

}  // namespace

bool qvsvHandleMessageFromXMLFragment(const char* text, qvsv::util::qvsvDiagnosticListenerContext context) {
  checkContext(context);
  qvsv::detail::RestoreOutcome outcome;
  qvsvDiagnosticImpl* diag =
      qvsv::detail::RestoreXMLFragment(text == nullptr ? std::string_view() : std::string_view(text), outcome);
  return handle(diag, outcome, context);
}

bool qvsvHandleMessageFromXMLFragment(const char16_t* text, qvsv::util::qvsvDiagnosticListenerContext context) {
  checkContext(context);
  qvsv::detail::RestoreOutcome outcome;
  qvsvDiagnosticImpl* diag = qvsv::detail::RestoreXMLFragment(
      text == nullptr ? std::u16string_view() : std::u16string_view(text), outcome);
  return handle(diag, outcome, context);
}
