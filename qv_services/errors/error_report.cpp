// The error report file: identifiers and the "lvl" call-stack line of
// reported errors, appended to a file.
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "qv_services/renderings.hpp"
#include "tessel/ut.hpp"

namespace {

struct ReportSettings {
  bool on = false;
  std::string fileName;
};

ReportSettings& settings() {
  static ReportSettings report;
  return report;
}

// The last line naming "lvl" anywhere but at its very start.
std::string lvlLine(const std::string& stackText) {
  std::istringstream lines(stackText);
  std::string line;
  std::string found;
  while (std::getline(lines, line)) {
    const auto at = line.find("lvl");
    if (at != std::string::npos && (at != 0 || line.find("lvl", 1) != std::string::npos)) found = line;
  }
  return found;
}

}  // namespace

bool isQVSVErrorReport() { return settings().on; }

void qvsvConfigureErrorReport(bool on, const std::string& fileName) {
  settings().on = on;
  settings().fileName = fileName;
}

void qvsvCreateReportForErrors(qvsvDiagnosticImpl* const& diag) {
  if (diag == nullptr) return;
  const std::string fileName =
      settings().fileName.empty() ? "ReportError." + std::to_string(::getpid()) : settings().fileName;
  std::ofstream file(fileName, std::ios::out | std::ios::app);
  if (!file) {
    utPrintf("Aborting Reporting Mechanism for error. Cannot open file %s.\n", fileName.c_str());
    return;
  }
  unsigned index = 0;
  for (const qvsvDiagnosticItem* item : diag->items()) {
    const unsigned i = index++;
    if (item->identifier.empty()) continue;
    file << "Identifier: " << item->identifier << '\t';
    const std::string line = lvlLine(qvsvGetTStackFromDiagnostic(diag, i));
    if (line.empty()) {
      file << "M-STACK: Not Available\n";
    } else {
      file << "M-STACK: " << line << '\n';
    }
  }
}
