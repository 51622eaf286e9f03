// Values checked against property descriptions.
#include "qv_services/tcos/property_value.hpp"

#include "qv_services/enum_table.hpp"
#include "qv_services/except.hpp"
#include "qv_services/feature.hpp"
#include "qv_services/tcos/tcos_diagnostics.hpp"

namespace qvsv::tcos::detail {
namespace {

txArray* Normalised(const qvsvTcosPropertyDescription& property, const txArray* value) {
  if (property.optional && IsNoValue(value)) return txCreateDoubleMatrix(0, 0);
  if (!property.enumTable.empty()) {
    const qvsvEnumTableBase& table = qvsvEnumTableRegistry::get(property.enumTable);
    return table.entryToHostArray(table.entryFromHostArray(value).value);
  }
  if (property.type == ElementKind::Text) {
    if (property.shape == Shape::Scalar) return txCreateString(ReadText(value));
    std::size_t rows = 0;
    std::size_t cols = 0;
    std::vector<std::u16string> texts = ReadTextCells(value, property.shape, rows, cols);
    return WriteTextCells(texts, rows, cols);
  }
  std::size_t rows = 0;
  std::size_t cols = 0;
  std::vector<double> numbers = ReadNumbers(value, property.type, property.shape, rows, cols);
  // Single values are kept as the nearest single, which is what they read back as.
  if (property.type == ElementKind::Single) {
    for (double& n : numbers) n = static_cast<double>(static_cast<float>(n));
  }
  return WriteNumbers(numbers, rows, cols, property.type);
}

}  // namespace

txArray* CheckedPropertyValue(const qvsvTcosClass& cls, const qvsvTcosPropertyDescription& property,
                              const txArray* value) {
  ArrayPtr normal;
  try {
    normal.reset(Normalised(property, value));
  } catch (const qvsv::except::DiagnosticException&) {
    ThrowTcosDiagnosticWithCause("BadPropertyValue", {property.name, cls.name(), PropertyTypeName(property)});
  }
  if (property.validator && !IsNoValue(normal.get())) {
    const std::u16string reason = property.validator(normal.get());
    if (!reason.empty()) ThrowTcosDiagnostic("ValueRefused", {property.name, cls.name(), reason});
  }
  return normal.release();
}

std::string PropertyTypeName(const qvsvTcosPropertyDescription& property) {
  if (!property.enumTable.empty()) return "enum " + property.enumTable;
  return ElementKindName(property.type);
}

QvFeature* GoverningFeature(qvsvTcosDeferral deferral) {
  switch (deferral) {
    case qvsvTcosDeferral::Dimension: return QVFEAT_DimensionVariants;
    case qvsvTcosDeferral::Unit: return QVFEAT_QVUnit;
    case qvsvTcosDeferral::None: break;
  }
  return nullptr;
}

const char* DeferralName(qvsvTcosDeferral deferral) {
  switch (deferral) {
    case qvsvTcosDeferral::Dimension: return "dimension";
    case qvsvTcosDeferral::Unit: return "unit";
    case qvsvTcosDeferral::None: break;
  }
  return "none";
}

}  // namespace qvsv::tcos::detail
