// qvsv suppressions FILE: checks a suppression file and shows what it holds.
#include <algorithm>
#include <charconv>
#include <iostream>

#include "qv_services/conversions.hpp"
#include "qv_services/suppressor.hpp"
#include "tools/qvsv/command.hpp"
#include "tools/qvsv/report_table.hpp"

namespace qvsv::tool {
namespace {

std::string handleText(const std::optional<double>& handle) {
  if (!handle) return "";
  char buffer[32];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, *handle);
  return std::string(buffer, result.ptr);
}

int runSuppressions(const Args& input) {
  Args args = input;
  RejectUnknownOptions(args);
  if (args.size() != 1) throw UsageError("expected one FILE");
  qvsvDiagnosticImpl* error = qvsvLoadDiagnosticSuppressions(args[0]);
  if (error != nullptr) {
    const std::string message = ConvertUStringToStdString(qvsvGetMessageFromDiagnosticItem(error, 0));
    qvsvDiscardDiagnostic(error);
    throw InputError(message);
  }
  std::vector<std::vector<std::string>> rows{{"Pattern", "Handle", "Action"}};
  for (const qvsvSuppression& entry : qvsvGetDiagnosticSuppressions()) {
    rows.push_back({entry.pattern, entry.handle ? handleText(entry.handle) : "any", "suppress"});
  }
  for (const auto& [pattern, state] : qvsvGetWarningStates()) {
    rows.push_back({pattern, "", std::string("state ") + qvsvWarningStateName(state)});
  }
  PrintTable(rows);
  return 0;
}

const Command kSuppressions("suppressions", "suppressions FILE",
                            "check a warning-suppression file and show its entries and warning states as a table",
                            runSuppressions);

}  // namespace
}  // namespace qvsv::tool
