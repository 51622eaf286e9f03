// The data types of the host's legacy object system, and conversions of host
// arrays to and from their raw element data.
//
// Rules of the design:
//  - The table is fixed and ordered by id: double (0), single (1), int8 (2),
//    uint8 (3), int16 (4), uint16 (5), int32 (6), uint32 (7), boolean (8),
//    each with its size in bytes, signedness and whether it is an integer.
//    Lookups by name are exact; an unknown name throws
//    "QV_SERVICES:tcos:UnknownLegacyType" listing the types.
//  - Unlike the strict value conversions (tcos_values.hpp), converting into
//    a legacy type never refuses a number; it rounds and saturates, as the
//    legacy system did:
//      integers: round to nearest, halves away from zero, then clamp to the
//                type's range; NaN becomes 0.
//                int8: 2.5 -> 3, -2.5 -> -3, 300 -> 127, -Inf -> -128, NaN -> 0
//                uint8: -1 -> 0, 255.5 -> 255, 1e10 -> 255
//      single:   round to the nearest single (ties to even); beyond the
//                largest single the value becomes +-Inf, NaN stays NaN.
//                single: 0.1 -> 0.100000001490116, 1e39 -> Inf
//      boolean:  any non-zero number is true (Inf included); NaN cannot be a
//                logical value and throws "QV_SERVICES:tcos:LegacyNaNToBoolean"
//                naming the element.
//      double:   copied unchanged.
//    The input is a double or logical host array of any size (a logical one
//    converts its 0 and 1); other classes throw "LegacyWrongValue".
//  - Data are kept as the type's raw bytes in the machine's byte order,
//    column-major like host arrays. Converting back gives a double array (a
//    logical array for boolean) of the same size, exactly: every legacy value
//    has an exact double.
//  - Arrays returned belong to the caller.
//
//   qvsvLegacyData d = qvsvLegacyFromHost(qvsvLegacyDataType::byName("uint8"), a);  // [3 255 0] from [2.5 300 -4]
//   txArray* back = qvsvLegacyToHost(d);                                            // 1x3 double [3 255 0]
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "qv_services/export.hpp"
#include "tessel/array.hpp"

struct QVSV_API qvsvLegacyDataType {
  const char* name;
  int id;
  std::size_t size;  // bytes per element
  bool isSigned;
  bool isInteger;  // false for double and single

  // The nine types in order of id.
  static const std::vector<qvsvLegacyDataType>& all();
  // Null when unknown.
  static const qvsvLegacyDataType* find(std::string_view name);
  static const qvsvLegacyDataType* findById(int id);
  // The same, throwing the unknown-type diagnostic.
  static const qvsvLegacyDataType& byName(std::string_view name);
};

// Element data of one legacy type for an m x n array.
struct QVSV_API qvsvLegacyData {
  const qvsvLegacyDataType* type = nullptr;  // points into the static table
  std::size_t rows = 0;
  std::size_t cols = 0;
  std::vector<std::uint8_t> bytes;  // rows * cols * type->size bytes

  // Element i (column-major) as a double.
  double element(std::size_t i) const;
};

// Rounds and saturates every element of a double or logical array into the type.
QVSV_API qvsvLegacyData qvsvLegacyFromHost(const qvsvLegacyDataType& type, const txArray* array);
// A new host array of the data (owned by the caller). Data whose byte count
// does not match its size throw "LegacyWrongData".
QVSV_API txArray* qvsvLegacyToHost(const qvsvLegacyData& data);
// One number converted by the rules above (NaN for boolean throws).
QVSV_API double qvsvLegacyConvertValue(const qvsvLegacyDataType& type, double value);
