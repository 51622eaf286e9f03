#include "tools/qvsv/report_table.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iostream>
#include <sstream>

namespace qvsv::tool {
namespace {

std::string cellText(const txArray* value) {
  if (txIsChar(value)) return txGetStringUTF8(value);
  if (txIsLogical(value) && !txIsEmpty(value)) return txGetScalar(value) != 0 ? "true" : "false";
  if (txIsNumeric(value) && !txIsEmpty(value)) {
    const double d = txGetScalar(value);
    if (d == std::floor(d) && std::fabs(d) < 1e15) return std::to_string(static_cast<long long>(d));
    std::ostringstream out;
    out << d;
    return out.str();
  }
  return "";
}

}  // namespace

void PrintTable(const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t c = 0; c < row.size(); ++c) widths[c] = std::max(widths[c], row[c].size());
  }
  for (const auto& row : rows) {
    std::string line;
    for (std::size_t c = 0; c < row.size(); ++c) {
      line += row[c];
      if (c + 1 < row.size()) line += std::string(widths[c] - row[c].size() + 2, ' ');
    }
    std::cout << line << "\n";
  }
}

std::string ShowValue(const txArray* a) {
  if (txIsChar(a)) return "'" + txGetStringUTF8(a) + "'";
  std::string out;
  for (txIndex i = 0; i < txGetNumberOfElements(a); ++i) {
    char buffer[32];
    const double v = txIsLogical(a) ? txGetLogicals(a)[i] : txGetPr(a)[i];
    const auto r = std::to_chars(buffer, buffer + sizeof buffer, v);
    out += (i == 0 ? "" : " ") + std::string(buffer, r.ptr);
  }
  return txGetNumberOfElements(a) == 1 ? out : "[" + out + "]";
}

std::string FormatReportTable(const txArray* report, const std::vector<std::string>& fields) {
  std::vector<std::vector<std::string>> rows;
  std::vector<bool> numeric(fields.size(), true);
  for (txIndex i = 0; i < txGetNumberOfElements(report); ++i) {
    std::vector<std::string> row;
    for (std::size_t f = 0; f < fields.size(); ++f) {
      const txArray* value = txGetField(report, i, fields[f]);
      if (txIsChar(value)) numeric[f] = false;
      row.push_back(cellText(value));
    }
    rows.push_back(std::move(row));
  }
  std::sort(rows.begin(), rows.end());
  std::vector<std::size_t> width(fields.size());
  for (std::size_t f = 0; f < fields.size(); ++f) {
    width[f] = fields[f].size();
    for (const auto& row : rows) width[f] = std::max(width[f], row[f].size());
  }
  std::ostringstream out;
  auto line = [&](const std::vector<std::string>& cells, bool header) {
    for (std::size_t f = 0; f < cells.size(); ++f) {
      const std::string pad(width[f] - cells[f].size(), ' ');
      const bool right = numeric[f] && !header;
      if (f > 0) out << "  ";
      out << (right ? pad + cells[f] : cells[f] + (f + 1 < cells.size() ? pad : ""));
    }
    out << "\n";
  };
  line(fields, true);
  for (const auto& row : rows) line(row, false);
  return out.str();
}

}  // namespace qvsv::tool
