// qvsv render / encode / decode: diagnostics in their XML form, rendered, and
// the form's text encodings.
#include <algorithm>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

#include "qv_services/conversions.hpp"
#include "qv_services/renderings.hpp"
#include "qv_services/xml_form.hpp"
#include "tessel/foundation.hpp"
#include "tools/qvsv/command.hpp"

namespace qvsv::tool {
namespace {

std::string readInput(const std::string& source) {
  if (source.empty() || source == "-") {
    return std::string(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
  }
  std::ifstream file(source, std::ios::binary);
  if (!file) throw InputError("cannot read '" + source + "'");
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

std::string render(qvsvDiagnosticImpl*& diag, const std::string& form, const std::string& prefix, bool strip) {
  if (form == "plain") return qvsvSerializeDiagnosticAsPlainString(diag);
  if (form == "formatted") {
    return ConvertUStringToStdString(
               qvsvSerializeToFormattedUStringCreate(diag, strip, ConvertStdStringToUString(prefix))) +
           "\n";
  }
  if (form == "html") return ConvertUStringToStdString(qvsvSerializeToHTMLCreate(diag, strip)) + "\n";
  if (form == "xml") return qvsvSerializeDiagnosticAsXMLString(diag);
  if (form == "xml-args") return qvsvSerializeDiagnosticAsXMLStringWithArguments(diag) + "\n";
  // combined
  return qvsvGetCombinedErrorIdentifier(diag) + ": " + ConvertUStringToStdString(qvsvGetCombinedErrorMessage(diag)) +
         "\n";
}

int runRender(const Args& input) {
  Args args = input;
  std::string form = "plain";
  std::string prefix;
  std::string locale;
  TakeOption(args, "--as", form);
  TakeOption(args, "--prefix", prefix);
  const bool haveLocale = TakeOption(args, "--locale", locale);
  const bool strip = TakeFlag(args, "--strip-hotlinks");
  RejectUnknownOptions(args);
  if (!args.empty() && args.front() == "--") args.erase(args.begin());
  const std::vector<std::string> forms{"plain", "formatted", "html", "xml", "xml-args", "combined"};
  if (std::find(forms.begin(), forms.end(), form) == forms.end()) {
    throw UsageError("unknown form '" + form + "' (plain, formatted, html, xml, xml-args, combined)");
  }
  if (args.size() > 1) throw UsageError("expected at most one FILE");
  if (haveLocale) tessel::SetGlobalLocaleName(locale);
  const std::string text = readInput(args.empty() ? "-" : args.front());
  qvsvDiagnosticImpl* diag = qvsvRestoreDiagnosticFromXMLFragment(text.c_str());
  if (diag == nullptr) throw InputError("the input is not a diagnostic document (it must begin with <diag_root>)");
  if (qvsvGetCombinedErrorIdentifier(diag) == "QVSV_DIAGNOSTIC:RESTORE_DIAGNOSTIC_ERROR") {
    std::cerr << qvsvSerializeDiagnosticAsPlainString(diag);
    return 1;
  }
  const std::string out = render(diag, form, prefix, strip);
  qvsvDiscardDiagnostic(diag);
  std::cout << out;
  return 0;
}

int runEncode(const Args& args) {
  if (args.size() != 2) throw UsageError("expected base64|hex TEXT");
  const std::u16string text = ConvertStdStringToUString(args[1]);
  if (args[0] == "base64") {
    std::cout << EncodeBase64FromUChars(text) << "\n";
  } else if (args[0] == "hex") {
    std::cout << EncodeFromUChars(text) << "\n";
  } else {
    throw UsageError("unknown encoding '" + args[0] + "' (base64 or hex)");
  }
  return 0;
}

int runDecode(const Args& args) {
  if (args.size() != 2) throw UsageError("expected base64|hex TEXT");
  std::u16string text;
  if (args[0] == "base64") {
    text = DecodeBase64FromChars(args[1]);
  } else if (args[0] == "hex") {
    text = DecodeFromChars(args[1]);
  } else {
    throw UsageError("unknown encoding '" + args[0] + "' (base64 or hex)");
  }
  std::cout << ConvertUStringToStdString(text) << "\n";
  return 0;
}

const Command kRender("render",
                      "render [--as plain|formatted|html|xml|xml-args|combined] [--prefix P] [--strip-hotlinks] "
                      "[--locale L] [FILE|-]",
                      "restore a diagnostic document (message or argument form) and write the chosen rendering",
                      runRender);
const Command kEncode("encode", "encode base64|hex TEXT", "the XML form's encoding of a text (as UTF-16)", runEncode);
const Command kDecode("decode", "decode base64|hex TEXT", "decode the XML form's encoding of a text", runDecode);

}  // namespace
}  // namespace qvsv::tool
