// qvsv regex: every match of a pattern with its groups, or the replaced text.
#include <iostream>
#include <system_error>

#include "qv_services/conversions.hpp"
#include "qv_services/regexp.hpp"
#include "tools/qvsv/command.hpp"

namespace qvsv::tool {
namespace {

using namespace qvsv::regexp;

std::string utf8(const std::u16string& text) { return ConvertUStringToStdString(text, true); }

// The tool says why a match failed where the facade would only say "no match".
[[noreturn]] void fail(const std::string& pattern, const std::error_code& ec) {
  throw InputError("'" + pattern + "': " + ec.message());
}

void printMatches(regex& re, const std::u16string& text, const std::string& pattern) {
  std::size_t count = 0;
  for (regex_iterator it(text, re), end; it != end; ++it) {
    const regex_result& m = *it;
    std::cout << "match " << ++count << " at " << m.position() << ", length " << m.length() << ": " << utf8(m.str())
              << "\n";
    for (std::size_t g = 1; g < m.size(); ++g) {
      std::cout << "  group " << g;
      if (m[g].start == npos) {
        std::cout << ": did not take part\n";
      } else {
        std::cout << " at " << m[g].position() << ", length " << m[g].length() << ": " << utf8(m[g].str()) << "\n";
      }
    }
  }
  if (re.status()) fail(pattern, re.status());
  if (count == 0) std::cout << "no match\n";
}

int runRegex(const Args& input) {
  Args args = input;
  const bool icase = TakeFlag(args, "--icase");
  std::string replacement;
  const bool replace = TakeOption(args, "--replace", replacement);
  RejectUnknownOptions(args);
  if (!args.empty() && args.front() == "--") args.erase(args.begin());
  if (args.size() != 2) throw UsageError(args.size() < 2 ? "missing PATTERN or TEXT" : "too many arguments");

  const std::u16string pattern = ConvertStdStringToUString(args[0], true);
  const std::u16string text = ConvertStdStringToUString(args[1], true);
  const auto options = icase ? constants::icase : constants::normal;
  const matcher_handle matcher = createMatcher(pattern, options);
  if (matcher == nullptr) throw InputError("'" + args[0] + "' is not a valid regular expression");

  if (!replace) {
    regex re(pattern, options);
    printMatches(re, text, args[0]);
    return 0;
  }
  std::error_code ec;
  const std::u16string replaced = regexp_replace(matcher, text, ConvertStdStringToUString(replacement, true), ec);
  if (ec == errc::bad_replacement) {
    throw InputError("'" + replacement + "' is not a valid replacement for '" + args[0] +
                     "' ($N inserts group N, a backslash escapes the next character)");
  }
  if (ec) fail(args[0], ec);
  std::cout << utf8(replaced) << "\n";
  return 0;
}

const Command kRegex("regex", "regex [--icase] [--replace R] PATTERN TEXT",
                     "list every match of PATTERN in TEXT with its groups, or print TEXT with every match replaced "
                     "by R ($N inserts group N); ICU syntax, a dot also matches line ends",
                     runRegex);

}  // namespace
}  // namespace qvsv::tool
