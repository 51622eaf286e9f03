// The legacy object system's data types: rounding, saturating conversions.
#include "qv_services/legacy_types.hpp"

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>

#include "qv_services/tcos/tcos_diagnostics.hpp"
#include "qv_services/tcos_values.hpp"

namespace {

using qvsv::tcos::detail::ThrowTcosDiagnostic;

const qvsvLegacyDataType& Type(int id) { return qvsvLegacyDataType::all()[static_cast<std::size_t>(id)]; }

template <typename T>
double Saturated(double value) {
  if (std::isnan(value)) return 0.0;
  const double rounded = std::round(value);  // halves away from zero
  const double lo = static_cast<double>(std::numeric_limits<T>::min());
  const double hi = static_cast<double>(std::numeric_limits<T>::max());
  return rounded < lo ? lo : rounded > hi ? hi : rounded;
}

template <typename T>
void Put(std::uint8_t* where, double value) {
  const T v = static_cast<T>(value);
  std::memcpy(where, &v, sizeof v);
}

template <typename T>
double Get(const std::uint8_t* where) {
  T v;
  std::memcpy(&v, where, sizeof v);
  return static_cast<double>(v);
}

}  // namespace

const std::vector<qvsvLegacyDataType>& qvsvLegacyDataType::all() {
  static const std::vector<qvsvLegacyDataType> types = {
      {"double", 0, 8, true, false}, {"single", 1, 4, true, false}, {"int8", 2, 1, true, true},
      {"uint8", 3, 1, false, true},  {"int16", 4, 2, true, true},   {"uint16", 5, 2, false, true},
      {"int32", 6, 4, true, true},   {"uint32", 7, 4, false, true}, {"boolean", 8, 1, false, true}};
  return types;
}

const qvsvLegacyDataType* qvsvLegacyDataType::find(std::string_view name) {
  for (const auto& t : all()) {
    if (name == t.name) return &t;
  }
  return nullptr;
}

const qvsvLegacyDataType* qvsvLegacyDataType::findById(int id) {
  return id >= 0 && static_cast<std::size_t>(id) < all().size() ? &Type(id) : nullptr;
}

const qvsvLegacyDataType& qvsvLegacyDataType::byName(std::string_view name) {
  if (const qvsvLegacyDataType* t = find(name)) return *t;
  std::string names;
  for (const auto& t : all()) names += (names.empty() ? "" : ", ") + std::string(t.name);
  ThrowTcosDiagnostic("UnknownLegacyType", {std::string(name), names});
}

double qvsvLegacyConvertValue(const qvsvLegacyDataType& type, double value) {
  switch (type.id) {
    case 0: return value;
    case 1: return static_cast<double>(static_cast<float>(value));  // overflow rounds to Inf
    case 2: return Saturated<std::int8_t>(value);
    case 3: return Saturated<std::uint8_t>(value);
    case 4: return Saturated<std::int16_t>(value);
    case 5: return Saturated<std::uint16_t>(value);
    case 6: return Saturated<std::int32_t>(value);
    case 7: return Saturated<std::uint32_t>(value);
    default:
      if (std::isnan(value)) ThrowTcosDiagnostic("LegacyNaNToBoolean", {std::int64_t{1}});
      return value != 0.0 ? 1.0 : 0.0;
  }
}

double qvsvLegacyData::element(std::size_t i) const {
  const std::uint8_t* p = bytes.data() + i * type->size;
  switch (type->id) {
    case 0: return Get<double>(p);
    case 1: return Get<float>(p);
    case 2: return Get<std::int8_t>(p);
    case 3: return Get<std::uint8_t>(p);
    case 4: return Get<std::int16_t>(p);
    case 5: return Get<std::uint16_t>(p);
    case 6: return Get<std::int32_t>(p);
    case 7: return Get<std::uint32_t>(p);
    default: return p[0] != 0 ? 1.0 : 0.0;
  }
}

qvsvLegacyData qvsvLegacyFromHost(const qvsvLegacyDataType& type, const txArray* array) {
  if (!txIsNumeric(array) && !txIsLogical(array)) {
    ThrowTcosDiagnostic("LegacyWrongValue", {type.name, qvsv::tcos::DescribeHostValue(array)});
  }
  qvsvLegacyData data;
  data.type = &type;
  data.rows = txGetM(array);
  data.cols = txGetN(array);
  const std::size_t count = txGetNumberOfElements(array);
  data.bytes.resize(count * type.size);
  for (std::size_t i = 0; i < count; ++i) {
    const double in = txIsLogical(array) ? (txGetLogicals(array)[i] ? 1.0 : 0.0) : txGetPr(array)[i];
    if (type.id == 8 && std::isnan(in)) {
      ThrowTcosDiagnostic("LegacyNaNToBoolean", {static_cast<std::int64_t>(i + 1)});
    }
    const double v = qvsvLegacyConvertValue(type, in);
    std::uint8_t* p = data.bytes.data() + i * type.size;
    switch (type.id) {
      case 0: Put<double>(p, v); break;
      case 1: Put<float>(p, v); break;
      case 2: Put<std::int8_t>(p, v); break;
      case 3: Put<std::uint8_t>(p, v); break;
      case 4: Put<std::int16_t>(p, v); break;
      case 5: Put<std::uint16_t>(p, v); break;
      case 6: Put<std::int32_t>(p, v); break;
      case 7: Put<std::uint32_t>(p, v); break;
      default: p[0] = v != 0.0 ? 1 : 0; break;
    }
  }
  return data;
}

txArray* qvsvLegacyToHost(const qvsvLegacyData& data) {
  const qvsvLegacyDataType& type = data.type != nullptr ? *data.type : Type(0);
  const std::size_t count = data.rows * data.cols;
  if (data.bytes.size() != count * type.size) {
    ThrowTcosDiagnostic("LegacyWrongData",
                        {type.name, static_cast<std::int64_t>(data.rows), static_cast<std::int64_t>(data.cols),
                         static_cast<std::int64_t>(count * type.size), static_cast<std::int64_t>(data.bytes.size())});
  }
  qvsvLegacyData view = data;
  view.type = &type;
  std::vector<double> values(count);
  for (std::size_t i = 0; i < count; ++i) values[i] = view.element(i);
  return qvsv::tcos::detail::WriteNumbers(values, data.rows, data.cols,
                                          type.id == 8 ? qvsv::tcos::ElementKind::Logical
                                                       : qvsv::tcos::ElementKind::Double);
}
