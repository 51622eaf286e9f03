// qvsv convert: a diagnostic document from the XML form to the JSON form and
// back.
#include <iostream>

#include "qv_services/json_form.hpp"
#include "qv_services/xml_form.hpp"
#include "tools/qvsv/command.hpp"
#include "tools/qvsv/documents.hpp"

namespace qvsv::tool {
namespace {

int runConvert(const Args& input) {
  Args args = input;
  std::string target;
  const bool haveTarget = TakeOption(args, "--to", target);
  RejectUnknownOptions(args);
  if (!args.empty() && args.front() == "--") args.erase(args.begin());
  if (args.size() > 1) throw UsageError("expected at most one FILE");
  if (haveTarget && target != "json" && target != "xml" && target != "xml-args") {
    throw UsageError("unknown target form '" + target + "' (json, xml, xml-args)");
  }
  const std::string text = ReadInput(args.empty() ? "-" : args.front());
  if (!haveTarget) target = IsJsonDocument(text) ? "xml" : "json";
  qvsvDiagnosticImpl* diag = RestoreDocument(text);
  if (diag == nullptr) return 1;
  std::string out;
  if (target == "json") {
    out = qvsvSerializeDiagnosticAsJSON(diag) + "\n";
    qvsvDiscardDiagnostic(diag);
  } else if (target == "xml-args") {
    out = qvsvSerializeDiagnosticAsXMLStringWithArguments(diag) + "\n";
    qvsvDiscardDiagnostic(diag);
  } else {
    out = qvsvSerializeDiagnosticAsXMLString(diag);
  }
  std::cout << out;
  return 0;
}

const Command kConvert("convert", "convert [--to json|xml|xml-args] [FILE|-]",
                       "a diagnostic document from the XML form to JSON, or from JSON to the XML message form",
                       runConvert);

}  // namespace
}  // namespace qvsv::tool
