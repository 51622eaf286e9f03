// The enumeration table of the listener contexts (warning, error, information).
#include "qv_services/enum_table.hpp"
#include "qv_services/listeners.hpp"

namespace {

using qvsv::util::qvsvDiagnosticListenerContext;

const qvsvEnumTable<qvsvDiagnosticListenerContext> kListenerContexts(
    "DiagnosticListenerContext",
    {{qvsv::util::kWarningContext, "kWarningContext", "QV_SERVICES:strings:ListenerContextWarning"},
     {qvsv::util::kErrorContext, "kErrorContext", "QV_SERVICES:strings:ListenerContextError"},
     {qvsv::util::kInformationContext, "kInformationContext", "QV_SERVICES:strings:ListenerContextInformation"}});

}  // namespace

const qvsvEnumTable<qvsvDiagnosticListenerContext>* QVENUM_DiagnosticListenerContext = &kListenerContexts;
