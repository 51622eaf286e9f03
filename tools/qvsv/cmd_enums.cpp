// qvsv enums: the registered enumeration tables, or one table's entries with
// their display texts.
#include <algorithm>
#include <iostream>
#include <optional>

#include "qv_services/conversions.hpp"
#include "qv_services/enum_table.hpp"
#include "qv_services/except.hpp"
#include "tessel/catalog.hpp"
#include "tessel/foundation.hpp"
#include "tools/qvsv/command.hpp"

namespace qvsv::tool {
namespace {

std::string padded(const std::string& text, std::size_t width) {
  return text + std::string(width > text.size() ? width - text.size() : 0, ' ');
}

void listTables() {
  const auto tables = qvsvEnumTableRegistry::tables();
  std::size_t width = 4;
  for (const auto* table : tables) width = std::max(width, table->name().size());
  std::cout << padded("Name", width) << "  Entries\n";
  for (const auto* table : tables) std::cout << padded(table->name(), width) << "  " << table->size() << "\n";
}

void listEntries(const qvsvEnumTableBase& table) {
  // Texts first, so that a catalogue error prints nothing half-way.
  std::vector<std::string> texts;
  std::size_t nameWidth = 4;
  std::size_t valueWidth = 5;
  for (const auto& entry : table) {
    texts.push_back(ConvertUStringToStdString(entry.display.text()));
    nameWidth = std::max(nameWidth, entry.name.size());
    valueWidth = std::max(valueWidth, std::to_string(entry.value).size());
  }
  std::cout << padded("Name", nameWidth) << "  " << padded("Value", valueWidth) << "  DisplayText\n";
  std::size_t i = 0;
  for (const auto& entry : table) {
    const std::string value = std::to_string(entry.value);
    std::cout << padded(entry.name, nameWidth) << "  " << std::string(valueWidth - value.size(), ' ') << value
              << "  " << texts[i++] << "\n";
  }
}

int runEnums(const Args& input) {
  Args args = input;
  std::string locale;
  const bool haveLocale = TakeOption(args, "--locale", locale);
  RejectUnknownOptions(args);
  if (args.size() > 1) throw UsageError("unexpected argument '" + args[1] + "'");
  std::optional<tessel::ScopedGlobalLocale> scopedLocale;
  if (haveLocale) scopedLocale.emplace(locale);
  if (args.empty()) {
    listTables();
    return 0;
  }
  try {
    listEntries(qvsvEnumTableRegistry::get(args.front(), true));
  } catch (const qvsv::except::DiagnosticException& e) {
    throw InputError(e.what());
  } catch (const resource_core::CatalogError& e) {
    throw InputError(e.what());
  }
  return 0;
}

const Command kEnums("enums", "enums [--locale L] [NAME]",
                     "list the enumeration tables, or one table's names, values and display texts (NAME in any case)",
                     runEnums);

}  // namespace
}  // namespace qvsv::tool
