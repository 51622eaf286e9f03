// qvsv classes: the registered handle classes, or one class's property
// descriptions in declared order.
#include <algorithm>
#include <charconv>
#include <iostream>

#include "qv_services/conversions.hpp"
#include "qv_services/except.hpp"
#include "qv_services/tcos_class.hpp"
#include "tools/qvsv/command.hpp"
#include "tools/qvsv/report_table.hpp"

namespace qvsv::tool {
namespace {

void listClasses() {
  std::vector<std::vector<std::string>> rows = {{"Name", "Properties", "Description"}};
  for (const auto* cls : qvsvTcosClassRegistry::classes()) {
    rows.push_back({cls->name(), std::to_string(cls->properties().size()),
                    ConvertUStringToStdString(cls->description())});
  }
  PrintTable(rows);
}

void listProperties(const qvsvTcosClass& cls) {
  tessel::HostCallScope scope;
  txArray* report = cls.propertyReport();
  std::vector<std::vector<std::string>> rows = {
      {"Name", "Type", "Shape", "Access", "Deferral", "Default", "Validator", "Description"}};
  for (txIndex i = 0; i < txGetNumberOfElements(report); ++i) {
    auto field = [&](const char* name) { return txGetField(report, i, name); };
    std::string deferral = txGetStringUTF8(field("Deferral"));
    if (deferral != "none") deferral += " (" + txGetStringUTF8(field("Feature")) + ")";
    rows.push_back({txGetStringUTF8(field("Name")), txGetStringUTF8(field("Type")),
                    txGetStringUTF8(field("Shape")) + (txGetLogicals(field("Optional"))[0] ? ", or []" : ""),
                    txGetStringUTF8(field("Access")), deferral, ShowValue(field("Default")),
                    txGetLogicals(field("HasValidator"))[0] ? "yes" : "no", txGetStringUTF8(field("Description"))});
  }
  std::cout << cls.name() << ": " << ConvertUStringToStdString(cls.description()) << "\n";
  PrintTable(rows);
}

int runClasses(const Args& input) {
  Args args = input;
  RejectUnknownOptions(args);
  if (args.size() > 1) throw UsageError("unexpected argument '" + args[1] + "'");
  if (args.empty()) {
    listClasses();
    return 0;
  }
  try {
    listProperties(qvsvTcosClassRegistry::get(args.front()));
  } catch (const qvsv::except::DiagnosticException& e) {
    throw InputError(e.what());
  }
  return 0;
}

const Command kClasses("classes", "classes [NAME]",
                       "list the registered handle classes, or one class's property descriptions", runClasses);

}  // namespace
}  // namespace qvsv::tool
