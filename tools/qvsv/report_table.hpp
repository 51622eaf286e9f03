// Prints host struct-array reports as aligned text tables.
#pragma once

#include <string>
#include <vector>

#include "tessel/array.hpp"

namespace qvsv::tool {

// One column per field name, one row per element, rows sorted by the first
// column; text fields left-aligned, numbers and logicals right-aligned.
std::string FormatReportTable(const txArray* report, const std::vector<std::string>& fields);

}  // namespace qvsv::tool
