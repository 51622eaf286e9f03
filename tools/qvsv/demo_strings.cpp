// Demo section: wide-string functions and the regular-expression facade.
#include <iostream>
#include <vector>

#include "qv_services/conversions.hpp"
#include "qv_services/regexp.hpp"
#include "qv_services/wide_string.hpp"
#include "tools/qvsv/command.hpp"

namespace qvsv::tool {
namespace {

std::string utf8(const std::u16string& text) { return ConvertUStringToStdString(text, true); }

void showStrings() {
  std::cout << "qvsvStrcmpWS(\"a\\tb\", \"a b\") = " << qvsvStrcmpWS(u"a\tb", u"a b")
            << ", qvsvStrcmpiWS(\"A\\nB\", \"a b\") = " << qvsvStrcmpiWS(u"A\nB", u"a b")
            << ", qvsvStrcmp_Collation(\"R\u00F4le\", \"role\") = " << qvsvStrcmp_Collation(u"R\u00F4le", u"role")
            << "\n";
  std::cout << "qvsvRemoveExtraSpacesUString(\"  Gain \\t block  \") = \""
            << utf8(qvsvRemoveExtraSpacesUString(u"  Gain \t block  ")) << "\"\n";
  std::u16string title = u"Subsystem/Controller/Discrete PID";
  qvsvStrAppendEllipsis(title, 16);
  std::cout << "qvsvStrAppendEllipsis(..., 16) = \"" << utf8(title) << "\"\n";
  std::cout << "qvsvMAT2str(\"say \\\"hi\\\"\\n\") = " << utf8(qvsvMAT2str(u"say \"hi\"\n")) << "\n";
  std::vector<std::u16string> pieces;
  delimited_ustring_to_vector(pieces, u"a\\,b,c\\\\,,d", u',', u'\\');
  std::cout << "delimited_ustring_to_vector(\"a\\,b,c\\\\,,d\", ',', '\\') =";
  for (const auto& piece : pieces) std::cout << " [" << utf8(piece) << "]";
  std::cout << "\n";

  using namespace qvsv::regexp;
  regex assignment(u"(\\w+)\\s*=\\s*([0-9.]+)");
  match_list matches;
  regexp_search(assignment, u"Kp = 2.5, Ki=0.1", matches);
  for (const auto& [whole, groups] : matches) {
    std::cout << "match \"" << utf8(whole) << "\": name " << utf8(groups[0]) << ", value " << utf8(groups[1]) << "\n";
  }
  std::cout << "regexp_replace(\"(\\w+)@(\\w+)\", \"me@host\", \"$2 at $1\") = "
            << utf8(regexp_replace(u"(\\w+)@(\\w+)", u"me@host", u"$2 at $1")) << "\n";
  std::cout << "bad pattern \"(\" finds nothing: " << std::boolalpha << regexp_search(u"(", u"(", false) << "\n";
}

const DemoSection kStrings(40, "Wide strings and regular expressions", showStrings);

}  // namespace
}  // namespace qvsv::tool
