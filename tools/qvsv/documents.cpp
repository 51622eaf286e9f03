#include "tools/qvsv/documents.hpp"

#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

#include "qv_services/json_form.hpp"
#include "qv_services/renderings.hpp"
#include "qv_services/xml_form.hpp"
#include "tools/qvsv/command.hpp"

namespace qvsv::tool {

std::string ReadInput(const std::string& source) {
  if (source.empty() || source == "-") {
    return std::string(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
  }
  std::ifstream file(source, std::ios::binary);
  if (!file) throw InputError("cannot read '" + source + "'");
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

bool IsJsonDocument(const std::string& text) {
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  return first != std::string::npos && text[first] == '{';
}

qvsvDiagnosticImpl* RestoreDocument(const std::string& text) {
  const bool json = IsJsonDocument(text);
  qvsvDiagnosticImpl* diag =
      json ? qvsvRestoreDiagnosticFromJSON(text) : qvsvRestoreDiagnosticFromXMLFragment(text.c_str());
  if (diag == nullptr) {
    throw InputError(json ? "the JSON document holds no diagnostic"
                          : "the input is not a diagnostic document (it must begin with <diag_root> or {)");
  }
  const std::string id = qvsvGetCombinedErrorIdentifier(diag);
  if (id == "QVSV_DIAGNOSTIC:RESTORE_DIAGNOSTIC_ERROR" || id == "QV_SERVICES:serialization:RestoreFromJSONError") {
    std::cerr << qvsvSerializeDiagnosticAsPlainString(diag);
    return nullptr;
  }
  return diag;
}

}  // namespace qvsv::tool
