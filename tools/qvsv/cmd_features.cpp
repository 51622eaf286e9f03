// qvsv features / feature / hooks / hook: the host command for features and
// testing hooks, as tables or one value at a time.
#include <charconv>
#include <iostream>

#include "qv_services/except.hpp"
#include "qv_services/feature.hpp"
#include "qv_services/testing_hook.hpp"
#include "tessel/array.hpp"
#include "tools/qvsv/command.hpp"
#include "tools/qvsv/report_table.hpp"

namespace qvsv::tool {
namespace {

int parseValue(const std::string& text) {
  int value = 0;
  const char* end = text.data() + text.size();
  const auto [ptr, ec] = std::from_chars(text.data(), end, value);
  if (text.empty() || ec != std::errc() || ptr != end) throw InputError("'" + text + "' is not an integer value");
  return value;
}

int runFeatures(const Args& input) {
  Args args = input;
  const bool print = TakeFlag(args, "--print");
  RejectUnknownOptions(args);
  if (!args.empty()) throw UsageError("unexpected argument '" + args.front() + "'");
  if (print) {
    QvFeatureTable::printStats();
    return 0;
  }
  tessel::HostCallScope scope;
  std::cout << FormatReportTable(QvFeatureTable::getFeatureReport(),
                                 {"Name", "State", "DefaultState", "nGetsFromC", "nGetsFromT", "nSetsFromT", "Owner"});
  return 0;
}

int runFeature(const Args& args) {
  if (args.empty() || args.size() > 2) throw UsageError("expected NAME [VALUE]");
  try {
    if (args.size() == 2) {
      const int value = parseValue(args[1]);
      QvFeatureHostCommand::set(args[0], value);
    }
    const int value = QvFeatureHostCommand::get(args[0]);
    std::cout << args[0] << " = " << value << "\n";
  } catch (const std::invalid_argument& e) {
    throw InputError(e.what());
  }
  return 0;
}

int runHooks(const Args& args) {
  if (!args.empty()) throw UsageError("unexpected argument '" + args.front() + "'");
  tessel::HostCallScope scope;
  std::cout << FormatReportTable(QvTestingHook::getHookReport(), {"Name", "State", "DefaultState"});
  return 0;
}

int runHook(const Args& args) {
  if (args.empty() || args.size() > 2) throw UsageError("expected NAME [VALUE]");
  try {
    if (args.size() == 2) QvTestingHook::setHookValue(args[0], parseValue(args[1]));
    const int value = QvTestingHook::getHookValue(args[0]);
    std::cout << args[0] << " = " << value << "\n";
  } catch (const qvsv::except::DiagnosticException& e) {
    throw InputError(e.what());
  }
  return 0;
}

const Command kFeatures("features", "features [--print]",
                        "the feature report as a table (--print: the usage counts as the library prints them)",
                        runFeatures);
const Command kFeature("feature", "feature NAME [VALUE]", "read a feature, or set it for this run and read it back",
                       runFeature);
const Command kHooks("hooks", "hooks", "the testing-hook report as a table", runHooks);
const Command kHook("hook", "hook NAME [VALUE]", "read a testing hook, or set it for this run and read it back",
                    runHook);

}  // namespace
}  // namespace qvsv::tool
