// Internals of handle classes: checking a value against a property's
// description, shared by the class (its defaults) and its instances (sets).
#pragma once

#include <memory>

#include "qv_services/feature.hpp"
#include "qv_services/tcos_class.hpp"

namespace qvsv::tcos::detail {

struct ArrayDeleter {
  void operator()(txArray* a) const { txDestroyArray(a); }
};
using ArrayPtr = std::unique_ptr<txArray, ArrayDeleter>;

// A new array (owned by the caller) holding the value in the property's
// normal form: numbers as double (logical for logical), an enumeration value
// as its name, text as a character row, [] for an accepted empty value. A
// value of the wrong type or shape throws "QV_SERVICES:tcos:BadPropertyValue"
// caused by the conversion's diagnostic; a value the validator refuses throws
// "QV_SERVICES:tcos:ValueRefused".
txArray* CheckedPropertyValue(const qvsvTcosClass& cls, const qvsvTcosPropertyDescription& property,
                              const txArray* value);

// "double", "int32", "text", "enum Shape".
std::string PropertyTypeName(const qvsvTcosPropertyDescription& property);
// The feature that governs a deferral, or null for none.
QvFeature* GoverningFeature(qvsvTcosDeferral deferral);
const char* DeferralName(qvsvTcosDeferral deferral);

}  // namespace qvsv::tcos::detail
