// The restorer with its outcome, for callers inside the library that must
// tell a restored document from the restorer's own error diagnostic (whose
// identifier a restored document may legitimately carry too).
#pragma once

#include <string_view>

#include "qv_services/diagnostic.hpp"

namespace qvsv::detail {

enum class RestoreOutcome { NotThisFormat, Restored, Malformed };

// As qvsvRestoreDiagnosticFromXMLFragment; outcome says which case the result is.
qvsvDiagnosticImpl* RestoreXMLFragment(std::string_view text, RestoreOutcome& outcome);
qvsvDiagnosticImpl* RestoreXMLFragment(std::u16string_view text, RestoreOutcome& outcome);

}  // namespace qvsv::detail
