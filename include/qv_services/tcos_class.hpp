// Handle classes: native classes whose instances the host language sees as
// objects with named, described properties.
//
// Rules of the design:
//  - A class is a qvsvTcosClass object, usually static, defined beside the
//    native code it describes. Constructing it enters it by name in the
//    process-wide qvsvTcosClassRegistry, destroying it removes it; a second
//    class of a name already registered is not entered (the first stays), as
//    with features and enumeration tables. A description that cannot work (a
//    duplicate or empty property name, a default its own type or validator
//    refuses, an unknown enumeration table, deferral on the wrong type)
//    throws std::invalid_argument naming the culprit at construction.
//  - Instances are made by the class (create()) and owned by native code; a
//    class must outlive its instances. Each instance gets a process-unique
//    number that is never reused. The host sees an instance as a 1x1 object
//    array of the class's name with the one field "InstanceID"; it holds no
//    pointer, so an object whose instance was destroyed is stale, and any use
//    of it throws "QV_SERVICES:tcos:StaleInstance", never touches freed memory.
//  - Property values are kept as host arrays owned by the instance (made
//    persistent), checked on every set against the property's type, shape and
//    validator; a refused set changes nothing. Native code may set read-only
//    properties; the host may not.
//  - A deferrable property may hold an expression instead of a value: a
//    dimension ("N*2") on a numeric property, governed by the feature
//    "DimensionVariants", or a unit ("m/s^2") on a text property, governed by
//    "QVUnit". While the governing feature is 0 an expression is refused.
//    An expression is stored unevaluated and resolved when the property is
//    read: names in it are other properties of the same instance first, then
//    values of the host (host functions of no argument, called through the
//    host's evaluator); calls name(a, b) go to the host function. A unit
//    resolves to its normal form (equal factors combined, in order of first
//    appearance: "N*m/N" is "m"). The resolved value is cached until the
//    property, or a property it depends on (directly or not), is set again;
//    values of the host are not watched (clearResolvedValues() forgets every
//    cached value). A cycle of deferred properties throws
//    "QV_SERVICES:tcos:DeferredCycle" naming the chain.
//  - Every failure is a qvsv::except::DiagnosticException of the catalogue
//    "QV_SERVICES:tcos" naming the class, property, instance or value. Main
//    thread only, like everything the host calls.
//
//   using P = qvsvTcosPropertyDescription;
//   const qvsvTcosClass kGain("Gain", u"A gain block", {
//       P("Gain").withDefault(1.0).describedAs(u"Multiplier"),
//       P("Width", qvsv::tcos::ElementKind::Int32).withDefault(1.0).deferrable(qvsvTcosDeferral::Dimension)});
//   auto gain = kGain.create();
//   gain->set("Gain", 2.5);
//   gain->setExpression("Width", u"N*2");   // needs DimensionVariants on
//   int width = gain->get<std::int32_t>("Width");
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "qv_services/export.hpp"
#include "qv_services/tcos_values.hpp"
#include "tessel/array.hpp"

enum class qvsvTcosAccess { ReadWrite, ReadOnly };
enum class qvsvTcosDeferral { None, Dimension, Unit };

// A default: nothing (the empty value []), a number, a logical, a text or a
// row of numbers; it is converted to the property's type when the class is made.
using qvsvTcosDefault = std::variant<std::monostate, double, bool, std::u16string, std::vector<double>>;
// Returns the empty text to accept a value (already of the property's type
// and shape), else the reason it is refused, shown to the user.
using qvsvTcosValidator = std::function<std::u16string(const txArray* value)>;

// A property's description, built by chaining:
//   qvsvTcosPropertyDescription("Gain").withDefault(1.0).describedAs(u"Multiplier")
struct qvsvTcosPropertyDescription {
  explicit qvsvTcosPropertyDescription(std::string propertyName,
                                       qvsv::tcos::ElementKind valueType = qvsv::tcos::ElementKind::Double,
                                       qvsv::tcos::Shape valueShape = qvsv::tcos::Shape::Scalar)
      : name(std::move(propertyName)), type(valueType), shape(valueShape) {}

  qvsvTcosPropertyDescription& withDefault(qvsvTcosDefault value) { defaultValue = std::move(value); return *this; }
  qvsvTcosPropertyDescription& readOnly() { access = qvsvTcosAccess::ReadOnly; return *this; }
  qvsvTcosPropertyDescription& acceptsEmpty() { optional = true; return *this; }
  qvsvTcosPropertyDescription& describedAs(std::u16string text) { description = std::move(text); return *this; }
  qvsvTcosPropertyDescription& validatedBy(qvsvTcosValidator fn) { validator = std::move(fn); return *this; }
  qvsvTcosPropertyDescription& deferrable(qvsvTcosDeferral kind) { deferral = kind; return *this; }
  qvsvTcosPropertyDescription& ofEnumeration(std::string table) { enumTable = std::move(table); return *this; }

  std::string name;
  qvsv::tcos::ElementKind type;
  qvsv::tcos::Shape shape;
  // Whether the empty value [] is accepted besides values of the type.
  bool optional = false;
  qvsvTcosDefault defaultValue;
  qvsvTcosAccess access = qvsvTcosAccess::ReadWrite;
  std::u16string description;
  qvsvTcosValidator validator;
  qvsvTcosDeferral deferral = qvsvTcosDeferral::None;
  // When not empty, the property holds a value of this enumeration table
  // (kept as its name; set by name or number) and type and shape are ignored.
  std::string enumTable;
};

class qvsvTcosInstance;

class QVSV_API qvsvTcosClass {
 public:
  qvsvTcosClass(std::string name, std::u16string description, std::vector<qvsvTcosPropertyDescription> properties);
  ~qvsvTcosClass();
  qvsvTcosClass(const qvsvTcosClass&) = delete;
  qvsvTcosClass& operator=(const qvsvTcosClass&) = delete;

  const std::string& name() const { return name_; }
  const std::u16string& description() const { return description_; }
  const std::vector<qvsvTcosPropertyDescription>& properties() const { return properties_; }
  // Null for an unknown name (names are case-sensitive).
  const qvsvTcosPropertyDescription* findProperty(std::string_view name) const;
  // The same, throwing "QV_SERVICES:tcos:UnknownProperty" listing the properties.
  const qvsvTcosPropertyDescription& property(std::string_view name) const;
  // The property names in declared order, separated by ", ".
  std::string propertyNames() const;
  // A new instance with every property at its default.
  std::unique_ptr<qvsvTcosInstance> create() const;

  // A 1 x N struct array, one element per property in declared order, with
  // the fields "Name", "Type" ("double", ..., "text", or "enum <table>"),
  // "Shape", "Optional" (logical), "Default" (the default value), "Access"
  // ("read-write" or "read-only"), "Deferral" ("none", "dimension" or
  // "unit"), "Feature" (the governing feature's name, '' for none),
  // "Description" and "HasValidator" (logical). Owned by the caller.
  txArray* propertyReport() const;

  // The default of a property as a new host array (owned by the caller).
  txArray* defaultValue(const qvsvTcosPropertyDescription& property) const;

 private:
  friend class qvsvTcosInstance;
  std::string name_;
  std::u16string description_;
  std::vector<qvsvTcosPropertyDescription> properties_;
  std::vector<txArray*> defaults_;  // persistent, owned by the class, one per property
};

// The registry of handle classes, one per process, created on first use.
class QVSV_API qvsvTcosClassRegistry {
 public:
  static const qvsvTcosClass* lookup(std::string_view name);
  // Throws "QV_SERVICES:tcos:UnknownClass" listing the registered classes.
  static const qvsvTcosClass& get(std::string_view name);
  // Every registered class in ascending order of names.
  static std::vector<const qvsvTcosClass*> classes();
  // Used by the classes' constructors and destructors.
  static void regClass(const qvsvTcosClass* cls);
  static void deregClass(const qvsvTcosClass* cls);
};

class QVSV_API qvsvTcosInstance {
 public:
  ~qvsvTcosInstance();
  qvsvTcosInstance(const qvsvTcosInstance&) = delete;
  qvsvTcosInstance& operator=(const qvsvTcosInstance&) = delete;

  const qvsvTcosClass& tcosClass() const { return *class_; }
  std::uint64_t id() const { return id_; }

  // The property's value (an expression resolved) as a new host array owned
  // by the caller.
  txArray* getValue(std::string_view property);
  // Sets a property from a borrowed host array. A character row set on a
  // deferrable property is an expression (as setExpression). With fromHost,
  // read-only properties refuse the set.
  void setValue(std::string_view property, const txArray* value, bool fromHost = false);
  // Stores an expression for a deferrable property (checked for syntax now,
  // resolved when read).
  void setExpression(std::string_view property, std::u16string_view expression, bool fromHost = false);
  // The stored expression, or nothing when the property holds a value.
  std::optional<std::u16string> expression(std::string_view property) const;
  // Forgets every cached resolution (after values of the host changed).
  void clearResolvedValues();
  // How often an expression of this instance was resolved (not taken from
  // the cache); for tests and diagnostics of caching.
  std::uint64_t resolutionCount() const { return resolutions_; }

  template <typename T>
  T get(std::string_view property);
  template <typename T>
  void set(std::string_view property, const T& value);

  // The host's view: a new 1x1 object array (owned by the caller).
  txArray* toHostObject() const;
  // The instance a host object names. Throws "UnknownInstance" for anything
  // that is not an object of a registered class, "StaleInstance" when the
  // instance is gone.
  static qvsvTcosInstance& fromHostObject(const txArray* object);
  // The live instance of that number, or null.
  static qvsvTcosInstance* find(std::uint64_t id);

  // The class's report with two more fields: "Value" (the current value, an
  // expression resolved; [] when it cannot be resolved) and "Expression"
  // (the stored expression, '' for none). Owned by the caller.
  txArray* propertyReport();

 private:
  friend class qvsvTcosClass;
  friend struct qvsvTcosResolver;
  explicit qvsvTcosInstance(const qvsvTcosClass& cls);

  struct Slot {
    txArray* value = nullptr;  // persistent, owned by the instance; null while an expression is held
    std::optional<std::u16string> expression;
    txArray* cached = nullptr;  // persistent, owned by the instance: the resolved value
    std::vector<std::pair<std::size_t, std::uint64_t>> cachedDependencies;  // slot, version seen
    std::uint64_t version = 0;
  };

  std::size_t slotIndex(std::string_view property) const;
  void store(std::size_t index, txArray* value, std::optional<std::u16string> expression);
  bool cacheValid(const Slot& slot) const;

  const qvsvTcosClass* class_;  // owned by whoever defined the class; outlives the instance
  std::uint64_t id_;
  std::vector<Slot> slots_;
  std::vector<std::size_t> resolving_;  // slots being resolved now, outermost first
  std::uint64_t resolutions_ = 0;
};

// ---------------------------------------------------------------------------
// Template bodies.

template <typename T>
T qvsvTcosInstance::get(std::string_view property) {
  txArray* value = getValue(property);
  try {
    T result = qvsv::tcos::FromHost<T>(value);
    txDestroyArray(value);
    return result;
  } catch (...) {
    txDestroyArray(value);
    throw;
  }
}

template <typename T>
void qvsvTcosInstance::set(std::string_view property, const T& value) {
  txArray* array = qvsv::tcos::ToHost(value);
  try {
    setValue(property, array);
  } catch (...) {
    txDestroyArray(array);
    throw;
  }
  txDestroyArray(array);
}
