// Enumeration tables: lookups, the unknown-name and unknown-value
// diagnostics, reports, host-array forms and the registry of tables.
#include "qv_services/enum_table.hpp"

#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include <cmath>
#include <cstdio>
#include <functional>
#include <map>
#include <stdexcept>

#include "qv_services/conversions.hpp"
#include "qv_services/except.hpp"
#include "qv_services/strings/strings_diagnostics.hpp"

namespace {

bool sameNameIgnoringCase(std::string_view a, std::string_view b) {
  const std::u16string x = ConvertStdStringToUString(a);
  const std::u16string y = ConvertStdStringToUString(b);
  UErrorCode status = U_ZERO_ERROR;
  const int32_t order = u_strCaseCompare(x.data(), static_cast<int32_t>(x.size()), y.data(),
                                         static_cast<int32_t>(y.size()), U_FOLD_CASE_DEFAULT, &status);
  return U_SUCCESS(status) && order == 0;
}

using qvsv::detail::MakeStringsDiagnostic;
using qvsv::detail::ThrowStringsDiagnostic;

[[noreturn]] void throwDiagnostic(qvsvDiagnosticImpl* diag) { qvsv::except::ThrowDiagnostic(diag); }

// The registry: table name -> table (not owned; each table is a static object
// that removes itself when destroyed).
using TableMap = std::map<std::string, const qvsvEnumTableBase*, std::less<>>;

TableMap& tableMap() {
  static TableMap tables;
  return tables;
}

std::string registeredNames() {
  std::string names;
  for (const auto& [name, table] : tableMap()) {
    if (!names.empty()) names += ", ";
    names += name;
  }
  return names;
}

}  // namespace

qvsvEnumTableBase::qvsvEnumTableBase(const char* tableName, std::vector<Entry> entries)
    : name_(tableName == nullptr ? "" : tableName), entries_(std::move(entries)) {
  if (name_.empty()) throw std::invalid_argument("an enumeration table needs a name");
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    if (entries_[i].name.empty()) {
      throw std::invalid_argument("entry " + std::to_string(i) + " of enumeration table '" + name_ +
                                  "' has no name");
    }
    for (std::size_t j = 0; j < i; ++j) {
      if (sameNameIgnoringCase(entries_[i].name, entries_[j].name)) {
        throw std::invalid_argument("enumeration table '" + name_ + "' names two entries '" + entries_[j].name +
                                    "' and '" + entries_[i].name + "'");
      }
    }
  }
  qvsvEnumTableRegistry::regTable(this);
}

qvsvEnumTableBase::~qvsvEnumTableBase() { qvsvEnumTableRegistry::deregTable(this); }

const qvsvEnumTableBase::Entry* qvsvEnumTableBase::findValue(std::int64_t value) const {
  for (const Entry& entry : entries_) {
    if (entry.value == value) return &entry;
  }
  return nullptr;
}

const qvsvEnumTableBase::Entry* qvsvEnumTableBase::findName(std::string_view name, bool ignoreCase) const {
  for (const Entry& entry : entries_) {
    if (entry.name == name) return &entry;
  }
  if (ignoreCase) {
    for (const Entry& entry : entries_) {
      if (sameNameIgnoringCase(entry.name, name)) return &entry;
    }
  }
  return nullptr;
}

const qvsvEnumTableBase::Entry& qvsvEnumTableBase::entryForValue(std::int64_t value) const {
  const Entry* entry = findValue(value);
  if (entry == nullptr) throwDiagnostic(unknownValueDiagnostic(value));
  return *entry;
}

const qvsvEnumTableBase::Entry& qvsvEnumTableBase::entryForName(std::string_view name, bool ignoreCase) const {
  const Entry* entry = findName(name, ignoreCase);
  if (entry == nullptr) throwDiagnostic(unknownNameDiagnostic(name));
  return *entry;
}

std::string qvsvEnumTableBase::validNames() const {
  std::string names;
  for (const Entry& entry : entries_) {
    if (!names.empty()) names += ", ";
    names += entry.name;
  }
  return names;
}

qvsvDiagnosticImpl* qvsvEnumTableBase::unknownNameDiagnostic(std::string_view name) const {
  return MakeStringsDiagnostic("UnknownEnumName", {std::string(name), name_, validNames()});
}

qvsvDiagnosticImpl* qvsvEnumTableBase::unknownValueDiagnostic(std::int64_t value) const {
  // As text: the catalogue would group the digits of a number by locale.
  return MakeStringsDiagnostic("UnknownEnumValue", {std::to_string(value), name_, validNames()});
}

txArray* qvsvEnumTableBase::getReport() const { return getReport(std::string()); }

txArray* qvsvEnumTableBase::getReport(const std::string& locale) const {
  // Texts first: a catalogue error must not leave a half-built array behind.
  std::vector<std::u16string> texts;
  texts.reserve(entries_.size());
  for (const Entry& entry : entries_) {
    texts.push_back(locale.empty() ? entry.display.text() : entry.display.text(locale));
  }
  txArray* report = txCreateStructMatrix(1, entries_.size(), {"Name", "Value", "DisplayText"});
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    txSetFieldByNumber(report, i, 0, txCreateStringFromUTF8(entries_[i].name));
    txSetFieldByNumber(report, i, 1, txCreateDoubleScalar(static_cast<double>(entries_[i].value)));
    txSetFieldByNumber(report, i, 2, txCreateString(texts[i]));
  }
  return report;
}

txArray* qvsvEnumTableBase::entryToHostArray(std::int64_t value) const {
  return txCreateStringFromUTF8(entryForValue(value).name);
}

const qvsvEnumTableBase::Entry& qvsvEnumTableBase::entryFromHostArray(const txArray* array, bool ignoreCase) const {
  if (qvsv::detail::IsTextRow(array)) return entryForName(txGetStringUTF8(array), ignoreCase);
  if (txIsNumeric(array) && txGetNumberOfElements(array) == 1) {
    const double number = txGetScalar(array);
    // Beyond +-2^63 the cast is undefined; such numbers name no entry anyway.
    if (number == std::trunc(number) && std::fabs(number) < 9.2e18) {
      return entryForValue(static_cast<std::int64_t>(number));
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.17g", number);
    ThrowStringsDiagnostic("UnknownEnumValue", {std::string(text), name_, validNames()});
  }
  ThrowStringsDiagnostic("EnumBadHostArray", {name_, qvsv::detail::DescribeHostArray(array)});
}

const qvsvEnumTableBase* qvsvEnumTableRegistry::lookup(std::string_view name, bool ignoreCase) {
  const TableMap& tables = tableMap();
  const auto it = tables.find(name);
  if (it != tables.end()) return it->second;
  if (ignoreCase) {
    for (const auto& [tableName, table] : tables) {
      if (sameNameIgnoringCase(tableName, name)) return table;
    }
  }
  return nullptr;
}

const qvsvEnumTableBase& qvsvEnumTableRegistry::get(std::string_view name, bool ignoreCase) {
  const qvsvEnumTableBase* table = lookup(name, ignoreCase);
  if (table == nullptr) ThrowStringsDiagnostic("UnknownEnumTable", {std::string(name), registeredNames()});
  return *table;
}

std::vector<const qvsvEnumTableBase*> qvsvEnumTableRegistry::tables() {
  std::vector<const qvsvEnumTableBase*> out;
  for (const auto& [name, table] : tableMap()) out.push_back(table);
  return out;
}

void qvsvEnumTableRegistry::regTable(const qvsvEnumTableBase* table) {
  if (table != nullptr) tableMap().emplace(table->name(), table);
}

void qvsvEnumTableRegistry::deregTable(const qvsvEnumTableBase* table) {
  if (table == nullptr) return;
  TableMap& tables = tableMap();
  const auto it = tables.find(table->name());
  // Only the registered table of that name removes it; a rejected duplicate leaves it alone.
  if (it != tables.end() && it->second == table) tables.erase(it);
}
