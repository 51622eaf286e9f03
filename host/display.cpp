#include "tessel/display.hpp"

#include <string>

#include "host/text.hpp"
#include "tessel/console.hpp"

namespace tessel {
namespace {

void show(std::string_view label, std::u16string_view message) {
  std::string line(label);
  line += detail::Utf16ToUtf8(message);
  line += '\n';
  ConsoleWrite(line);
}

}  // namespace

void DisplayWarning(std::string_view, std::u16string_view message) { show("Warning: ", message); }
void DisplayError(std::string_view, std::u16string_view message) { show("Error: ", message); }
void DisplayInfo(std::string_view, std::u16string_view message) { show("", message); }

}  // namespace tessel
