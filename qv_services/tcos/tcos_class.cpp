// Handle classes, their registry and their property reports.
#include <algorithm>
#include <map>
#include <set>
#include <stdexcept>

#include "qv_services/conversions.hpp"
#include "qv_services/enum_table.hpp"
#include "qv_services/except.hpp"
#include "qv_services/tcos/property_value.hpp"
#include "qv_services/tcos/tcos_diagnostics.hpp"
#include "qv_services/tcos_class.hpp"

namespace {

using qvsv::tcos::ElementKind;
using qvsv::tcos::detail::ArrayPtr;

std::map<std::string, const qvsvTcosClass*, std::less<>>& Classes() {
  static std::map<std::string, const qvsvTcosClass*, std::less<>> classes;
  return classes;
}

txArray* DefaultArray(const qvsvTcosPropertyDescription& property) {
  return std::visit(
      [&](const auto& v) -> txArray* {
        using V = std::decay_t<decltype(v)>;
        if constexpr (std::is_same_v<V, std::monostate>) {
          // Text starts empty; other types have no empty value of their own.
          if (property.type != ElementKind::Text || !property.enumTable.empty()) return txCreateDoubleMatrix(0, 0);
          return property.shape == qvsv::tcos::Shape::Scalar ? txCreateString(u"") : txCreateCellMatrix(0, 0);
        } else if constexpr (std::is_same_v<V, double>) {
          return txCreateDoubleScalar(v);
        } else if constexpr (std::is_same_v<V, bool>) {
          return txCreateLogicalScalar(v);
        } else if constexpr (std::is_same_v<V, std::u16string>) {
          return txCreateString(v);
        } else {
          return qvsv::tcos::ToHost(v);
        }
      },
      property.defaultValue);
}

[[noreturn]] void Refuse(const std::string& cls, const std::string& property, const std::string& why) {
  throw std::invalid_argument("class '" + cls + "', property '" + property + "': " + why);
}

void CheckDescription(const std::string& cls, const qvsvTcosPropertyDescription& p) {
  if (!p.enumTable.empty() && qvsvEnumTableRegistry::lookup(p.enumTable) == nullptr) {
    Refuse(cls, p.name, "'" + p.enumTable + "' is not a registered enumeration table");
  }
  if (p.deferral == qvsvTcosDeferral::Dimension &&
      (!p.enumTable.empty() || p.type == ElementKind::Text || p.type == ElementKind::Logical ||
       p.shape != qvsv::tcos::Shape::Scalar)) {
    Refuse(cls, p.name, "a dimension must be a numeric scalar");
  }
  if (p.deferral == qvsvTcosDeferral::Unit &&
      (!p.enumTable.empty() || p.type != ElementKind::Text || p.shape != qvsv::tcos::Shape::Scalar)) {
    Refuse(cls, p.name, "a unit must be a text");
  }
}

}  // namespace

qvsvTcosClass::qvsvTcosClass(std::string name, std::u16string description,
                             std::vector<qvsvTcosPropertyDescription> properties)
    : name_(std::move(name)), description_(std::move(description)), properties_(std::move(properties)) {
  if (name_.empty()) throw std::invalid_argument("a handle class needs a name");
  std::set<std::string, std::less<>> seen;
  try {
    for (const auto& p : properties_) {
      if (p.name.empty()) Refuse(name_, p.name, "a property needs a name");
      if (!seen.insert(p.name).second) Refuse(name_, p.name, "the property is described twice");
      CheckDescription(name_, p);
      ArrayPtr raw(DefaultArray(p));
      try {
        defaults_.push_back(qvsv::tcos::detail::CheckedPropertyValue(*this, p, raw.get()));
      } catch (const qvsv::except::DiagnosticException& e) {
        Refuse(name_, p.name, std::string("the default is refused: ") + e.what());
      }
      txMakeArrayPersistent(defaults_.back());
    }
    qvsvTcosClassRegistry::regClass(this);
  } catch (...) {
    for (txArray* d : defaults_) txDestroyArray(d);
    throw;
  }
}

qvsvTcosClass::~qvsvTcosClass() {
  qvsvTcosClassRegistry::deregClass(this);
  for (txArray* d : defaults_) txDestroyArray(d);
}

const qvsvTcosPropertyDescription* qvsvTcosClass::findProperty(std::string_view name) const {
  for (const auto& p : properties_) {
    if (p.name == name) return &p;
  }
  return nullptr;
}

const qvsvTcosPropertyDescription& qvsvTcosClass::property(std::string_view name) const {
  const qvsvTcosPropertyDescription* p = findProperty(name);
  if (p == nullptr) {
    qvsv::tcos::detail::ThrowTcosDiagnostic("UnknownProperty", {std::string(name), name_, propertyNames()});
  }
  return *p;
}

std::string qvsvTcosClass::propertyNames() const {
  std::string names;
  for (const auto& p : properties_) names += (names.empty() ? "" : ", ") + p.name;
  return names;
}

txArray* qvsvTcosClass::defaultValue(const qvsvTcosPropertyDescription& property) const {
  return txDuplicateArray(defaults_.at(static_cast<std::size_t>(&property - properties_.data())));
}

txArray* qvsvTcosClass::propertyReport() const {
  static const std::vector<std::string> kFields = {"Name",   "Type",     "Shape",   "Optional",    "Default",
                                                   "Access", "Deferral", "Feature", "Description", "HasValidator"};
  ArrayPtr report(txCreateStructMatrix(1, properties_.size(), kFields));
  for (std::size_t i = 0; i < properties_.size(); ++i) {
    const auto& p = properties_[i];
    const QvFeature* feature = qvsv::tcos::detail::GoverningFeature(p.deferral);
    txSetField(report.get(), i, "Name", txCreateStringFromUTF8(p.name));
    txSetField(report.get(), i, "Type", txCreateStringFromUTF8(qvsv::tcos::detail::PropertyTypeName(p)));
    txSetField(report.get(), i, "Shape",
               txCreateStringFromUTF8(p.enumTable.empty() ? qvsv::tcos::ShapeName(p.shape) : "scalar"));
    txSetField(report.get(), i, "Optional", txCreateLogicalScalar(p.optional));
    txSetField(report.get(), i, "Default", txDuplicateArray(defaults_[i]));
    txSetField(report.get(), i, "Access",
               txCreateStringFromUTF8(p.access == qvsvTcosAccess::ReadOnly ? "read-only" : "read-write"));
    txSetField(report.get(), i, "Deferral", txCreateStringFromUTF8(qvsv::tcos::detail::DeferralName(p.deferral)));
    txSetField(report.get(), i, "Feature", txCreateStringFromUTF8(feature == nullptr ? "" : feature->name()));
    txSetField(report.get(), i, "Description", txCreateString(p.description));
    txSetField(report.get(), i, "HasValidator", txCreateLogicalScalar(static_cast<bool>(p.validator)));
  }
  return report.release();
}

const qvsvTcosClass* qvsvTcosClassRegistry::lookup(std::string_view name) {
  const auto& classes = Classes();
  const auto it = classes.find(name);
  return it == classes.end() ? nullptr : it->second;
}

const qvsvTcosClass& qvsvTcosClassRegistry::get(std::string_view name) {
  if (const qvsvTcosClass* cls = lookup(name)) return *cls;
  std::string names;
  for (const auto& [n, c] : Classes()) names += (names.empty() ? "" : ", ") + n;
  qvsv::tcos::detail::ThrowTcosDiagnostic("UnknownClass", {std::string(name), names.empty() ? "none" : names});
}

std::vector<const qvsvTcosClass*> qvsvTcosClassRegistry::classes() {
  std::vector<const qvsvTcosClass*> out;
  for (const auto& [n, c] : Classes()) out.push_back(c);
  return out;
}

void qvsvTcosClassRegistry::regClass(const qvsvTcosClass* cls) { Classes().emplace(cls->name(), cls); }

void qvsvTcosClassRegistry::deregClass(const qvsvTcosClass* cls) {
  auto& classes = Classes();
  const auto it = classes.find(cls->name());
  // A second class of a taken name was never entered; it must not remove the first.
  if (it != classes.end() && it->second == cls) classes.erase(it);
}
