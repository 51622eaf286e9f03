// qvsv render / encode / decode: diagnostic documents (XML or JSON form)
// rendered, and the XML form's text encodings.
#include <algorithm>
#include <iostream>

#include "qv_services/conversions.hpp"
#include "qv_services/json_form.hpp"
#include "qv_services/renderings.hpp"
#include "qv_services/sarif_form.hpp"
#include "qv_services/xml_form.hpp"
#include "tessel/foundation.hpp"
#include "tools/qvsv/command.hpp"
#include "tools/qvsv/documents.hpp"

namespace qvsv::tool {
namespace {

std::string render(qvsvDiagnosticImpl*& diag, const std::string& form, const std::string& prefix, bool strip,
                   qvsvReportKind kind) {
  if (form == "plain") return qvsvSerializeDiagnosticAsPlainString(diag);
  if (form == "formatted") {
    return ConvertUStringToStdString(
               qvsvSerializeToFormattedUStringCreate(diag, strip, ConvertStdStringToUString(prefix))) +
           "\n";
  }
  if (form == "html") return ConvertUStringToStdString(qvsvSerializeToHTMLCreate(diag, strip)) + "\n";
  if (form == "xml") return qvsvSerializeDiagnosticAsXMLString(diag);
  if (form == "xml-args") return qvsvSerializeDiagnosticAsXMLStringWithArguments(diag) + "\n";
  if (form == "json") return qvsvSerializeDiagnosticAsJSON(diag) + "\n";
  if (form == "sarif") return qvsvSerializeDiagnosticAsSARIF(diag, kind) + "\n";
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
  std::string level = "error";
  TakeOption(args, "--level", level);
  const bool strip = TakeFlag(args, "--strip-hotlinks");
  RejectUnknownOptions(args);
  qvsvReportKind kind = qvsvReportKind::Error;
  if (level == "warning") {
    kind = qvsvReportKind::Warning;
  } else if (level == "info") {
    kind = qvsvReportKind::Information;
  } else if (level != "error") {
    throw UsageError("unknown level '" + level + "' (error, warning, info)");
  }
  if (!args.empty() && args.front() == "--") args.erase(args.begin());
  const std::vector<std::string> forms{"plain", "formatted", "html", "xml", "xml-args", "combined", "json", "sarif"};
  if (std::find(forms.begin(), forms.end(), form) == forms.end()) {
    throw UsageError("unknown form '" + form + "' (plain, formatted, html, xml, xml-args, combined, json, sarif)");
  }
  if (args.size() > 1) throw UsageError("expected at most one FILE");
  if (haveLocale) tessel::SetGlobalLocaleName(locale);
  qvsvDiagnosticImpl* diag = RestoreDocument(ReadInput(args.empty() ? "-" : args.front()));
  if (diag == nullptr) return 1;
  const std::string out = render(diag, form, prefix, strip, kind);
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
                      "render [--as plain|formatted|html|xml|xml-args|combined|json|sarif] [--prefix P] "
                      "[--strip-hotlinks] [--level error|warning|info] [--locale L] [FILE|-]",
                      "restore a diagnostic document (XML or JSON form) and write the chosen rendering",
                      runRender);
const Command kEncode("encode", "encode base64|hex TEXT", "the XML form's encoding of a text (as UTF-16)", runEncode);
const Command kDecode("decode", "decode base64|hex TEXT", "decode the XML form's encoding of a text", runDecode);

}  // namespace
}  // namespace qvsv::tool
