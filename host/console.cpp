#include "tessel/console.hpp"

#include <cstdio>

namespace tessel {
namespace {

ConsoleCapture*& innermostCapture() {
  static ConsoleCapture* capture = nullptr;
  return capture;
}

}  // namespace

void ConsoleWrite(std::string_view text) {
  if (ConsoleCapture* capture = innermostCapture()) {
    capture->text_.append(text);
    return;
  }
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

ConsoleCapture::ConsoleCapture() : previous_(innermostCapture()) { innermostCapture() = this; }

ConsoleCapture::~ConsoleCapture() {
  // Out-of-order destruction must not leave a dangling capture behind.
  ConsoleCapture** link = &innermostCapture();
  while (*link != nullptr && *link != this) link = &(*link)->previous_;
  if (*link == this) *link = previous_;
}

std::string ConsoleCapture::take() {
  std::string out;
  out.swap(text_);
  return out;
}

}  // namespace tessel
