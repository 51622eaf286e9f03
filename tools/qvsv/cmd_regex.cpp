// qvsv regex: every match of a pattern with its groups, or the replaced text.
#include <iostream>

#include "qv_services/conversions.hpp"
#include "qv_services/regexp.hpp"
#include "tools/qvsv/command.hpp"

namespace qvsv::tool {
namespace {

using namespace qvsv::regexp;

std::string utf8(const std::u16string& text) { return ConvertUStringToStdString(text, true); }

void printMatches(regex& re, const std::u16string& text) {
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
  // The facade answers a bad pattern with "no match"; the tool says why.
  const matcher_handle matcher = createMatcher(pattern, options);
  if (matcher == nullptr) throw InputError("'" + args[0] + "' is not a valid regular expression");

  if (!replace) {
    regex re(pattern, options);
    printMatches(re, text);
    return 0;
  }
  const std::u16string replaced = regexp_replace(matcher, text, ConvertStdStringToUString(replacement, true));
  // A failing replacement also comes back empty; it is certainly a failure
  // when some of the text lies outside every match.
  if (replaced.empty() && !regexp_replace(matcher, text, [](const std::u16string&, bool&) { return u""; }).empty()) {
    throw InputError("'" + replacement + "' is not a valid replacement for '" + args[0] +
                     "' ($N inserts group N, a backslash escapes the next character)");
  }
  std::cout << utf8(replaced) << "\n";
  return 0;
}

const Command kRegex("regex", "regex [--icase] [--replace R] PATTERN TEXT",
                     "list every match of PATTERN in TEXT with its groups, or print TEXT with every match replaced "
                     "by R ($N inserts group N); ICU syntax, a dot also matches line ends",
                     runRegex);

}  // namespace
}  // namespace qvsv::tool
