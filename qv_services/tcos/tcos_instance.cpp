// Instances of handle classes: property values, deferred expressions and
// their cached resolutions, and the host's view of an instance.
#include <algorithm>
#include <cmath>
#include <map>

#include "qv_services/conversions.hpp"
#include "qv_services/except.hpp"
#include "qv_services/feature/detail/feature_access.hpp"
#include "qv_services/tcos/deferred_expression.hpp"
#include "qv_services/tcos/property_value.hpp"
#include "qv_services/tcos/tcos_diagnostics.hpp"
#include "qv_services/tcos_class.hpp"

namespace {

using qvsv::tcos::detail::ArrayPtr;
using qvsv::tcos::detail::ThrowTcosDiagnostic;
using qvsv::tcos::detail::ThrowTcosDiagnosticWithCause;

constexpr const char* kIdField = "InstanceID";

std::map<std::uint64_t, qvsvTcosInstance*>& Instances() {
  static std::map<std::uint64_t, qvsvTcosInstance*> instances;
  return instances;
}

std::uint64_t NextId() {
  static std::uint64_t next = 0;
  return ++next;
}

bool IsTextValue(const txArray* a) { return txIsChar(a) && (txGetM(a) <= 1 || txIsEmpty(a)); }

}  // namespace

// Resolves the deferred expressions of one instance; a friend of the instance.
struct qvsvTcosResolver {
  qvsvTcosInstance& self;
  // Transitive dependencies of the resolution under way (slot, version seen).
  std::vector<std::pair<std::size_t, std::uint64_t>>* dependencies;

  // The property's current value (borrowed from the instance), resolving and
  // caching an expression.
  const txArray* value(std::size_t index) {
    auto& slot = self.slots_[index];
    if (dependencies != nullptr) dependencies->emplace_back(index, slot.version);
    if (!slot.expression) return slot.value;
    if (self.cacheValid(slot)) {
      if (dependencies != nullptr) {
        dependencies->insert(dependencies->end(), slot.cachedDependencies.begin(), slot.cachedDependencies.end());
      }
      return slot.cached;
    }
    const auto& properties = self.class_->properties();
    const auto cycleStart = std::find(self.resolving_.begin(), self.resolving_.end(), index);
    if (cycleStart != self.resolving_.end()) {
      std::string chain;
      for (auto it = cycleStart; it != self.resolving_.end(); ++it) chain += properties[*it].name + " -> ";
      ThrowTcosDiagnostic("DeferredCycle", {self.class_->name(), chain + properties[index].name});
    }
    self.resolving_.push_back(index);
    struct Pop {
      std::vector<std::size_t>& v;
      ~Pop() { v.pop_back(); }
    } pop{self.resolving_};
    std::vector<std::pair<std::size_t, std::uint64_t>> deps;
    qvsvTcosResolver inner{self, &deps};
    ArrayPtr raw(inner.resolve(index));
    ArrayPtr checked(qvsv::tcos::detail::CheckedPropertyValue(*self.class_, properties[index], raw.get()));
    txMakeArrayPersistent(checked.get());
    // The value cached before is stale: one of its dependencies changed.
    txDestroyArray(slot.cached);
    slot.cached = checked.release();
    slot.cachedDependencies = std::move(deps);
    ++self.resolutions_;
    if (dependencies != nullptr) {
      dependencies->insert(dependencies->end(), slot.cachedDependencies.begin(), slot.cachedDependencies.end());
    }
    return slot.cached;
  }

  // A new array: the expression of the slot evaluated.
  txArray* resolve(std::size_t index) {
    const auto& property = self.class_->properties()[index];
    const std::u16string& text = *self.slots_[index].expression;
    if (property.deferral == qvsvTcosDeferral::Unit) {
      const std::u16string unit = qvsv::tcos::detail::NormaliseUnit(text, [&](const std::u16string& symbol) {
        const std::size_t j = propertyIndex(symbol);
        if (j == npos || self.class_->properties()[j].deferral != qvsvTcosDeferral::Unit) {
          return std::optional<std::u16string>();
        }
        const txArray* other = value(j);
        const std::u16string otherText = txGetString(other);
        return std::optional<std::u16string>(otherText.empty() ? u"1" : otherText);
      });
      return txCreateString(unit);
    }
    const double number = qvsv::tcos::detail::EvaluateDimension(text, [&](const std::u16string& name) {
      const std::size_t j = propertyIndex(name);
      if (j == npos) return std::optional<double>();
      const txArray* other = value(j);
      if (!txIsNumeric(other) || txGetNumberOfElements(other) != 1) {
        ThrowTcosDiagnostic("NotANumber", {name, qvsv::tcos::DescribeHostValue(other)});
      }
      return std::optional<double>(txGetScalar(other));
    });
    return txCreateDoubleScalar(number);
  }

  static constexpr std::size_t npos = static_cast<std::size_t>(-1);
  std::size_t propertyIndex(const std::u16string& name) const {
    const auto* p = self.class_->findProperty(ConvertUStringToStdString(name));
    return p == nullptr ? npos : static_cast<std::size_t>(p - self.class_->properties().data());
  }
};

qvsvTcosInstance::qvsvTcosInstance(const qvsvTcosClass& cls) : class_(&cls), id_(NextId()) {
  slots_.resize(cls.properties().size());
  try {
    for (std::size_t i = 0; i < slots_.size(); ++i) {
      slots_[i].value = txDuplicateArray(cls.defaults_[i]);
      txMakeArrayPersistent(slots_[i].value);
    }
  } catch (...) {
    for (auto& slot : slots_) txDestroyArray(slot.value);
    throw;
  }
  Instances().emplace(id_, this);
}

qvsvTcosInstance::~qvsvTcosInstance() {
  Instances().erase(id_);
  for (auto& slot : slots_) {
    txDestroyArray(slot.value);
    txDestroyArray(slot.cached);
  }
}

std::unique_ptr<qvsvTcosInstance> qvsvTcosClass::create() const {
  return std::unique_ptr<qvsvTcosInstance>(new qvsvTcosInstance(*this));
}

std::size_t qvsvTcosInstance::slotIndex(std::string_view property) const {
  return static_cast<std::size_t>(&class_->property(property) - class_->properties().data());
}

bool qvsvTcosInstance::cacheValid(const Slot& slot) const {
  if (slot.cached == nullptr) return false;
  return std::all_of(slot.cachedDependencies.begin(), slot.cachedDependencies.end(),
                     [&](const auto& dep) { return slots_[dep.first].version == dep.second; });
}

void qvsvTcosInstance::store(std::size_t index, txArray* value, std::optional<std::u16string> expression) {
  Slot& slot = slots_[index];
  txDestroyArray(slot.value);
  txDestroyArray(slot.cached);
  slot.value = value;
  slot.cached = nullptr;
  slot.cachedDependencies.clear();
  slot.expression = std::move(expression);
  ++slot.version;
}

txArray* qvsvTcosInstance::getValue(std::string_view property) {
  const std::size_t index = slotIndex(property);
  const auto& description = class_->properties()[index];
  const bool deferred = slots_[index].expression.has_value();
  try {
    qvsvTcosResolver resolver{*this, nullptr};
    return txDuplicateArray(resolver.value(index));
  } catch (const qvsv::except::DiagnosticException&) {
    if (!deferred) throw;
    ThrowTcosDiagnosticWithCause("DeferredResolveFailed", {description.name, class_->name(),
                                                            *slots_[index].expression});
  } catch (const std::exception&) {
    if (!deferred) throw;
    ThrowTcosDiagnosticWithCause("DeferredResolveFailed", {description.name, class_->name(),
                                                            *slots_[index].expression});
  }
}

void qvsvTcosInstance::setValue(std::string_view property, const txArray* value, bool fromHost) {
  const std::size_t index = slotIndex(property);
  const auto& description = class_->properties()[index];
  if (fromHost && description.access == qvsvTcosAccess::ReadOnly) {
    ThrowTcosDiagnostic("ReadOnlyProperty", {description.name, class_->name()});
  }
  // A text on a deferrable property is an expression; the empty text is no
  // unit rather than an expression.
  if (description.deferral != qvsvTcosDeferral::None && IsTextValue(value) &&
      (description.deferral == qvsvTcosDeferral::Dimension || !txIsEmpty(value))) {
    setExpression(property, txGetString(value), fromHost);
    return;
  }
  ArrayPtr checked(qvsv::tcos::detail::CheckedPropertyValue(*class_, description, value));
  txMakeArrayPersistent(checked.get());
  store(index, checked.release(), std::nullopt);
}

void qvsvTcosInstance::setExpression(std::string_view property, std::u16string_view expression, bool fromHost) {
  const std::size_t index = slotIndex(property);
  const auto& description = class_->properties()[index];
  if (fromHost && description.access == qvsvTcosAccess::ReadOnly) {
    ThrowTcosDiagnostic("ReadOnlyProperty", {description.name, class_->name()});
  }
  QvFeature* feature = qvsv::tcos::detail::GoverningFeature(description.deferral);
  if (feature == nullptr) {
    ThrowTcosDiagnostic("DeferralNotAccepted", {description.name, class_->name(), std::u16string(expression)});
  }
  if (QvFeatureNativeAccess::get(feature) == 0) {
    ThrowTcosDiagnostic("DeferralDisabled",
                        {description.name, class_->name(), std::u16string(expression), feature->name()});
  }
  if (description.deferral == qvsvTcosDeferral::Unit) {
    qvsv::tcos::detail::CheckUnitSyntax(expression);
  } else {
    qvsv::tcos::detail::CheckDimensionSyntax(expression);
  }
  store(index, nullptr, std::u16string(expression));
}

std::optional<std::u16string> qvsvTcosInstance::expression(std::string_view property) const {
  return slots_[slotIndex(property)].expression;
}

void qvsvTcosInstance::clearResolvedValues() {
  for (auto& slot : slots_) {
    txDestroyArray(slot.cached);
    slot.cached = nullptr;
    slot.cachedDependencies.clear();
  }
}

txArray* qvsvTcosInstance::toHostObject() const {
  ArrayPtr object(txCreateObjectMatrix(1, 1, class_->name(), {kIdField}));
  txSetField(object.get(), 0, kIdField, txCreateDoubleScalar(static_cast<double>(id_)));
  return object.release();
}

qvsvTcosInstance* qvsvTcosInstance::find(std::uint64_t id) {
  const auto& instances = Instances();
  const auto it = instances.find(id);
  return it == instances.end() ? nullptr : it->second;
}

qvsvTcosInstance& qvsvTcosInstance::fromHostObject(const txArray* object) {
  const txArray* idField = txGetClassID(object) == txClassID::Object && txGetNumberOfElements(object) == 1
                               ? txGetField(object, 0, kIdField)
                               : nullptr;
  if (!txIsNumeric(idField) || txGetNumberOfElements(idField) != 1) {
    ThrowTcosDiagnostic("UnknownInstance", {qvsv::tcos::DescribeHostValue(object)});
  }
  const std::string className = txGetClassName(object);
  const qvsvTcosClass& cls = qvsvTcosClassRegistry::get(className);
  const double id = txGetScalar(idField);
  qvsvTcosInstance* instance = nullptr;
  if (id >= 1 && id < 9007199254740992.0 && id == std::floor(id)) instance = find(static_cast<std::uint64_t>(id));
  if (instance == nullptr) {
    ThrowTcosDiagnostic("StaleInstance", {className, qvsv::tcos::detail::NumberText(id)});
  }
  if (&instance->tcosClass() != &cls) {
    ThrowTcosDiagnostic("UnknownInstance", {qvsv::tcos::DescribeHostValue(object)});
  }
  return *instance;
}

txArray* qvsvTcosInstance::propertyReport() {
  ArrayPtr report(class_->propertyReport());
  const int valueField = txAddField(report.get(), "Value");
  const int expressionField = txAddField(report.get(), "Expression");
  for (std::size_t i = 0; i < slots_.size(); ++i) {
    txArray* value = nullptr;
    try {
      qvsvTcosResolver resolver{*this, nullptr};
      value = txDuplicateArray(resolver.value(i));
    } catch (const qvsv::except::DiagnosticException&) {
      // An expression that does not resolve shows as [] beside its text.
      value = txCreateDoubleMatrix(0, 0);
    }
    txSetFieldByNumber(report.get(), i, valueField, value);
    txSetFieldByNumber(report.get(), i, expressionField,
                       txCreateString(slots_[i].expression ? *slots_[i].expression : std::u16string()));
  }
  return report.release();
}
