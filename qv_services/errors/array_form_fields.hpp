// The field layout of the host-array form of a diagnostic (array_form.hpp),
// shared by its writer and its reader.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tessel/array.hpp"

namespace qvsv::detail {

enum FormField : int {
  kFieldIdentifier,
  kFieldMessage,
  kFieldExtraMessage,
  kFieldArguments,
  kFieldHandles,
  kFieldStack,
  kFieldCreationTime,
  kFieldMetadata,
  kFieldCauses,
};

// In FormField order.
inline const std::vector<std::string>& FormFieldNames() {
  static const std::vector<std::string> names = {"identifier", "message",      "extraMessage",
                                                 "arguments",  "handles",      "stack",
                                                 "creationTime", "metadata",   "causes"};
  return names;
}

inline const std::vector<std::string>& MetadataFieldNames() {
  static const std::vector<std::string> names = {"key", "kind", "value"};
  return names;
}

inline constexpr const char kKindInt64[] = "int64";
inline constexpr const char kKindString[] = "string";
inline constexpr const char kKindWideString[] = "wstring";

// Owns a host array until it is handed to a container or to the caller.
struct DestroyArray {
  void operator()(txArray* a) const { txDestroyArray(a); }
};
using ArrayPtr = std::unique_ptr<txArray, DestroyArray>;

// Lets the tester qvsv::fault::kArrayForm fail the host array about to be
// made: throws std::bad_alloc when it fires. Costs one comparison otherwise.
void CheckArrayAllocation(const char* file = __builtin_FILE(), const char* function = __builtin_FUNCTION(),
                          int line = __builtin_LINE());

// The array that create makes, owned, after the tester had its say.
template <typename Create>
ArrayPtr MakeArray(Create create, const char* file = __builtin_FILE(), const char* function = __builtin_FUNCTION(),
                   int line = __builtin_LINE()) {
  CheckArrayAllocation(file, function, line);
  return ArrayPtr(create());
}

}  // namespace qvsv::detail
