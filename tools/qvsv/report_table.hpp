// Prints host struct-array reports as aligned text tables.
#pragma once

#include <string>
#include <vector>

#include "tessel/array.hpp"

namespace qvsv::tool {

// One column per field name, one row per element, rows sorted by the first
// column; text fields left-aligned, numbers and logicals right-aligned.
std::string FormatReportTable(const txArray* report, const std::vector<std::string>& fields);

// Rows of cells as lines on standard output, each column padded to its
// widest cell (the last column not at all).
void PrintTable(const std::vector<std::vector<std::string>>& rows);

// A host value on one line: a text quoted, one number as it is, several
// numbers (or logicals as 0/1) in brackets.
std::string ShowValue(const txArray* value);

}  // namespace qvsv::tool
