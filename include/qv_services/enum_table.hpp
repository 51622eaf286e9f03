// Enumeration tables: for each value of a native enumeration, its name and a
// catalogued message identifier for the text users see.
//
// Rules of the design:
//  - A table is a static object defined beside its enumeration. Constructing
//    it enters it by name in the process-wide qvsvEnumTableRegistry,
//    destroying it removes it; a second table of a name already registered is
//    not entered (the first stays). Tables are built during static
//    initialisation and never change afterwards; lookups only read them. The
//    registry and the display texts (the catalogue) belong to the main thread.
//  - Entries keep their declared order, which is the order of iteration and of
//    every report. Names are unique, also ignoring case, so that a
//    case-insensitive lookup is never ambiguous; a value may appear under
//    several names (the first declared is the value's name). A table that
//    breaks these rules throws std::invalid_argument naming the culprit when
//    it is constructed.
//  - Display texts are looked up in the catalogue when asked for (through
//    qvsvStringOrID), so they follow the host's global locale.
//  - An unknown name or value is bad input: the throwing lookups throw a
//    qvsv::except::DiagnosticException whose message names what was given and
//    lists the valid names ("QV_SERVICES:strings:UnknownEnumName",
//    "...:UnknownEnumValue"); the find functions return null instead.
//  - The host-array form of a value is a character row holding its name; a
//    host array is read back from a name (character row) or from a number
//    (a double scalar). Arrays returned belong to the caller.
//
//   enum class Shape { Circle, Square };
//   const qvsvEnumTable<Shape> kShapes("Shape", {
//       {Shape::Circle, "Circle", "MyProduct:shapes:Circle"},
//       {Shape::Square, "Square", "MyProduct:shapes:Square"}});
//   kShapes.valueOf("square", true);     // Shape::Square
//   kShapes.displayText(Shape::Circle);  // the catalogue's text for the locale
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "qv_services/diagnostic.hpp"
#include "qv_services/export.hpp"
#include "qv_services/string_or_id.hpp"
#include "tessel/array.hpp"

// Everything that does not depend on the enumeration type; values are held as
// signed 64-bit integers.
class QVSV_API qvsvEnumTableBase {
 public:
  struct Entry {
    std::string name;
    std::int64_t value;
    qvsvStringOrID display;  // a catalogued identifier without arguments
  };
  using const_iterator = std::vector<Entry>::const_iterator;

  qvsvEnumTableBase(const qvsvEnumTableBase&) = delete;
  qvsvEnumTableBase& operator=(const qvsvEnumTableBase&) = delete;

  // The name the table is registered under.
  const std::string& name() const { return name_; }
  const std::vector<Entry>& entries() const { return entries_; }
  std::size_t size() const { return entries_.size(); }
  const_iterator begin() const { return entries_.begin(); }
  const_iterator end() const { return entries_.end(); }

  // Null when unknown. Case-insensitive matching uses Unicode default case folding.
  const Entry* findValue(std::int64_t value) const;
  const Entry* findName(std::string_view name, bool ignoreCase = false) const;
  // The same, throwing the unknown-value or unknown-name diagnostic.
  const Entry& entryForValue(std::int64_t value) const;
  const Entry& entryForName(std::string_view name, bool ignoreCase = false) const;

  // The valid names in declared order, separated by ", ".
  std::string validNames() const;
  // The diagnostics that the throwing lookups carry, for callers that report
  // instead of throwing. Owned by the caller.
  [[nodiscard]] qvsvDiagnosticImpl* unknownNameDiagnostic(std::string_view name) const;
  [[nodiscard]] qvsvDiagnosticImpl* unknownValueDiagnostic(std::int64_t value) const;

  // A 1 x N struct array, one element per entry in declared order, with the
  // fields "Name" (character row), "Value" (double scalar) and "DisplayText"
  // (character row, in the global locale, or in the one given when it is
  // not empty). A catalogue error propagates before any array is made.
  txArray* getReport() const;
  txArray* getReport(const std::string& locale) const;

  // The host-array form of one value (its name); unknown value: the diagnostic.
  txArray* entryToHostArray(std::int64_t value) const;
  // The entry named by a character row or numbered by a double scalar.
  // Anything else, or an unknown name or value, throws the diagnostic.
  const Entry& entryFromHostArray(const txArray* array, bool ignoreCase = false) const;

 protected:
  // Checks the entries and registers the table (see the rules above).
  qvsvEnumTableBase(const char* tableName, std::vector<Entry> entries);
  ~qvsvEnumTableBase();

 private:
  std::string name_;
  std::vector<Entry> entries_;
};

template <typename E>
class qvsvEnumTable : public qvsvEnumTableBase {
  static_assert(std::is_enum_v<E>, "qvsvEnumTable maps the values of an enumeration");
  static_assert(sizeof(E) <= sizeof(std::int64_t), "enumeration values must fit a signed 64-bit integer");

 public:
  struct Row {
    E value;
    const char* name;
    const char* messageID;  // "catalogue:key" of the display text
  };

  qvsvEnumTable(const char* tableName, std::initializer_list<Row> rows);

  static std::int64_t toInteger(E value) { return static_cast<std::int64_t>(value); }
  static E fromInteger(std::int64_t value) { return static_cast<E>(value); }

  E valueOf(std::string_view name, bool ignoreCase = false) const;
  std::optional<E> findValueOf(std::string_view name, bool ignoreCase = false) const;
  const std::string& nameOf(E value) const { return entryForValue(toInteger(value)).name; }
  bool contains(E value) const { return findValue(toInteger(value)) != nullptr; }
  std::u16string displayText(E value) const { return entryForValue(toInteger(value)).display.text(); }
  std::u16string displayText(E value, const std::string& locale) const {
    return entryForValue(toInteger(value)).display.text(locale);
  }
  txArray* toHostArray(E value) const { return entryToHostArray(toInteger(value)); }
  E fromHostArray(const txArray* array, bool ignoreCase = false) const {
    return fromInteger(entryFromHostArray(array, ignoreCase).value);
  }

 private:
  static std::vector<Entry> makeEntries(std::initializer_list<Row> rows);
};

// The registry of tables, one per process, created on first use.
class QVSV_API qvsvEnumTableRegistry {
 public:
  // Null for an unknown name.
  static const qvsvEnumTableBase* lookup(std::string_view name, bool ignoreCase = false);
  // The same, throwing the diagnostic "QV_SERVICES:strings:UnknownEnumTable"
  // that names the table and lists the registered ones.
  static const qvsvEnumTableBase& get(std::string_view name, bool ignoreCase = false);
  // Every registered table, in ascending order of names.
  static std::vector<const qvsvEnumTableBase*> tables();

  // Used by the tables' constructors and destructors.
  static void regTable(const qvsvEnumTableBase* table);
  static void deregTable(const qvsvEnumTableBase* table);
};

// ---------------------------------------------------------------------------
// Template bodies.

template <typename E>
qvsvEnumTable<E>::qvsvEnumTable(const char* tableName, std::initializer_list<Row> rows)
    : qvsvEnumTableBase(tableName, makeEntries(rows)) {}

template <typename E>
std::vector<qvsvEnumTableBase::Entry> qvsvEnumTable<E>::makeEntries(std::initializer_list<Row> rows) {
  std::vector<Entry> entries;
  entries.reserve(rows.size());
  for (const Row& row : rows) {
    entries.push_back(Entry{row.name == nullptr ? std::string() : std::string(row.name), toInteger(row.value),
                            qvsvStringOrID::fromIdentifier(row.messageID == nullptr ? "" : row.messageID)});
  }
  return entries;
}

template <typename E>
E qvsvEnumTable<E>::valueOf(std::string_view name, bool ignoreCase) const {
  return fromInteger(entryForName(name, ignoreCase).value);
}

template <typename E>
std::optional<E> qvsvEnumTable<E>::findValueOf(std::string_view name, bool ignoreCase) const {
  const Entry* entry = findName(name, ignoreCase);
  if (entry == nullptr) return std::nullopt;
  return fromInteger(entry->value);
}
