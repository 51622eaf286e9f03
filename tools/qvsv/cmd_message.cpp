// qvsv message: the catalogue text of a message identifier.
#include <charconv>
#include <iostream>

#include "qv_services/conversions.hpp"
#include "tessel/catalog.hpp"
#include "tessel/foundation.hpp"
#include "tools/qvsv/command.hpp"

namespace qvsv::tool {
namespace {

resource_core::MsgArgument parseArgument(const std::string& text) {
  std::int64_t number = 0;
  const char* end = text.data() + text.size();
  const auto [ptr, ec] = std::from_chars(text.data(), end, number);
  if (!text.empty() && ec == std::errc() && ptr == end) return number;
  return text;
}

int runMessage(const Args& input) {
  Args args = input;
  std::string locale;
  const bool haveLocale = TakeOption(args, "--locale", locale);
  RejectUnknownOptions(args);
  if (!args.empty() && args.front() == "--") args.erase(args.begin());
  if (args.empty()) throw UsageError("missing message identifier");
  const std::string& id = args.front();
  const auto colon = id.rfind(':');
  if (colon == std::string::npos || colon == 0 || colon + 1 == id.size()) {
    throw InputError("'" + id + "' is not a message identifier (catalogue:key)");
  }
  resource_core::MsgArguments arguments;
  for (std::size_t i = 1; i < args.size(); ++i) arguments.push_back(parseArgument(args[i]));
  const resource_core::BaseMsgID msg(id.substr(0, colon), id.substr(colon + 1), std::move(arguments));
  std::u16string text;
  try {
    text = haveLocale ? resource_core::GetMessageText(msg, locale) : resource_core::GetMessageTextInGlobalLocale(msg);
  } catch (const resource_core::CatalogError& e) {
    throw InputError(e.what());
  }
  std::cout << ConvertUStringToStdString(text) << "\n";
  return 0;
}

const Command kMessage("message", "message [--locale L] ID [ARG...]",
                       "print the catalogue text of a message; decimal integer arguments are passed as numbers",
                       runMessage);

}  // namespace
}  // namespace qvsv::tool
