// The interpreter's built-in functions.
#pragma once

#include <functional>
#include <string>

#include "tessel/interpreter.hpp"

namespace tessel::detail {

void RegisterBuiltins(const std::function<void(const std::string&, HostFunction)>& add);

}  // namespace tessel::detail
