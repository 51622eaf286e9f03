// The catalogue QV_SERVICES:exchange that the host-array form, the exception
// exchange and the interpreter wrappers make their diagnostics from.
#pragma once

#include <string>

#include "qv_services/diagnostic.hpp"

namespace qvsv::detail {

inline constexpr const char kExchangeCatalog[] = "QV_SERVICES:exchange";

// Every key of the catalogue with the number of arguments its text places;
// a test walks this table in every shipped locale.
struct ExchangeMessage {
  const char* key;
  int arguments;
};
inline constexpr ExchangeMessage kExchangeMessages[] = {
    {"ArrayWrongClass", 3},  {"ArrayMissingField", 2},  {"ArrayFieldType", 5},     {"ArrayDuplicateKey", 3},
    {"ArrayCauseCycle", 2},  {"ArrayTooDeep", 3},       {"ExpectForm", 0},         {"ExpectText", 0},
    {"ExpectScalar", 0},     {"ExpectCreationTime", 0}, {"ExpectHandles", 0},      {"ExpectArguments", 0},
    {"ExpectStack", 0},      {"ExpectMetadata", 0},     {"ExpectKind", 0},         {"ExpectInt64", 0},
    {"ExpectValue", 0},      {"CatalogError", 3},       {"SystemError", 3},        {"StdException", 2},
    {"UnknownException", 0}, {"EntryArguments", 3},
};

// A one-item diagnostic "QV_SERVICES:exchange:<key>" with the arguments.
// When the catalogue cannot give the text, its own error text stands in, so
// a failure is never lost for want of a message; when memory runs short the
// result is the out-of-memory diagnostic. Never throws, never null.
qvsvDiagnosticImpl* ExchangeDiagnostic(const char* key, const qvsvArgumentVector& arguments = {}) noexcept;

// The text of a key without arguments (the "Expect..." phrases), in the
// global locale; the key itself when the catalogue has none.
std::u16string ExchangeText(const char* key);

}  // namespace qvsv::detail
