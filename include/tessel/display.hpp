// The host's displays for reported diagnostics. They print to the host
// console: "Warning: <message>", "Error: <message>", or the message alone for
// information, each on its own line.
#pragma once

#include <string_view>

#include "tessel/export.hpp"

namespace tessel {

TESSEL_API void DisplayWarning(std::string_view identifier, std::u16string_view message);
TESSEL_API void DisplayError(std::string_view identifier, std::u16string_view message);
TESSEL_API void DisplayInfo(std::string_view identifier, std::u16string_view message);

}  // namespace tessel
