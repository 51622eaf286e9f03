// Internals of the object-system bridges: the diagnostics of the catalogue
// "QV_SERVICES:tcos" and how numbers are shown in them.
#pragma once

#include <string>

#include "qv_services/diagnostic.hpp"

namespace qvsv::tcos::detail {

inline constexpr const char* kTcosCatalog = "QV_SERVICES:tcos";

// A new one-item diagnostic of the tcos catalogue (owned by the caller).
[[nodiscard]] qvsvDiagnosticImpl* MakeTcosDiagnostic(const char* key, qvsvArgumentVector arguments);
// Throws a qvsv::except::DiagnosticException holding that diagnostic.
[[noreturn]] void ThrowTcosDiagnostic(const char* key, qvsvArgumentVector arguments);
// The same with the diagnostic of the exception being handled as its cause
// (call inside a catch block).
[[noreturn]] void ThrowTcosDiagnosticWithCause(const char* key, qvsvArgumentVector arguments);
// The shortest text that reads back to the same double ("0.5", "1e+300", "NaN").
std::string NumberText(double value);

}  // namespace qvsv::tcos::detail
