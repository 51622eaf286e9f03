// Internals shared by the string-or-identifier value and the enumeration
// tables: how they describe host arrays in messages and how they throw the
// diagnostics of the catalogue "QV_SERVICES:strings".
#pragma once

#include <string>

#include "qv_services/diagnostic.hpp"
#include "tessel/array.hpp"

namespace qvsv::detail {

inline constexpr const char* kStringsCatalog = "QV_SERVICES:strings";

// "a 2x3 char array", "a 1x1 double array", "no array" (null).
std::string DescribeHostArray(const txArray* array);
// True for a character array with at most one row (0x0 counts: the empty text).
bool IsTextRow(const txArray* array);

// A new one-item diagnostic of the strings catalogue (owned by the caller).
[[nodiscard]] qvsvDiagnosticImpl* MakeStringsDiagnostic(const char* key, qvsvArgumentVector arguments);
// Throws a qvsv::except::DiagnosticException holding one item of the strings
// catalogue with the given key and arguments.
[[noreturn]] void ThrowStringsDiagnostic(const char* key, qvsvArgumentVector arguments);

}  // namespace qvsv::detail
