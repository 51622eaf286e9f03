// The host console: where utPrintf and the host displays write.
//
// It writes to stdout unless a ConsoleCapture is open on the process, in which
// case the innermost capture collects the text instead. Main thread only.
#pragma once

#include <string>
#include <string_view>

#include "tessel/export.hpp"

namespace tessel {

// Writes text to the console as it is (UTF-8).
TESSEL_API void ConsoleWrite(std::string_view text);

// Collects console output while it lives; captures nest.
class TESSEL_API ConsoleCapture {
 public:
  ConsoleCapture();
  ~ConsoleCapture();
  ConsoleCapture(const ConsoleCapture&) = delete;
  ConsoleCapture& operator=(const ConsoleCapture&) = delete;

  const std::string& text() const { return text_; }
  // Returns the collected text and starts collecting afresh.
  std::string take();

 private:
  friend void ConsoleWrite(std::string_view);
  std::string text_;
  ConsoleCapture* previous_;
};

}  // namespace tessel
