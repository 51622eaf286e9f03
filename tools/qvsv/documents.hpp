// Reading the diagnostic documents the tool accepts: the XML form (message
// or argument form, beginning with "<diag_root>") and the JSON form.
#pragma once

#include <string>

#include "qv_services/diagnostic.hpp"

namespace qvsv::tool {

// The bytes of FILE, or of standard input for "" or "-"; InputError when the
// file cannot be read.
std::string ReadInput(const std::string& source);

// The diagnostic a document holds, owned by the caller. A document that is
// neither form throws InputError; one that fails to restore prints the
// library's error diagnostic (plain rendering) on stderr and returns null.
qvsvDiagnosticImpl* RestoreDocument(const std::string& text);

// Whether the document is in the JSON form (its first non-blank is "{").
bool IsJsonDocument(const std::string& text);

}  // namespace qvsv::tool
