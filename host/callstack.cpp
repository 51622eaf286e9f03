// The host language's call stack and interruption flag.
#include <atomic>
#include <string>
#include <vector>

#include "tessel/interpreter.hpp"

namespace tessel {
namespace {

struct Frame {
  std::string file;
  std::string name;
  int line;
};

std::vector<Frame>& frames() {
  thread_local std::vector<Frame> stack;
  return stack;
}

std::atomic<bool> g_interrupt_enabled{true};

}  // namespace

ScopedFrame::ScopedFrame(std::string file, std::string name, int line) {
  frames().push_back(Frame{std::move(file), std::move(name), line});
}

ScopedFrame::~ScopedFrame() { frames().pop_back(); }

txArray* GetCallStack() {
  const auto& stack = frames();
  txArray* out = txCreateStructMatrix(stack.size(), 1, {"file", "name", "line"});
  for (std::size_t i = 0; i < stack.size(); ++i) {
    const Frame& frame = stack[stack.size() - 1 - i];
    txSetFieldByNumber(out, i, 0, txCreateStringFromUTF8(frame.file));
    txSetFieldByNumber(out, i, 1, txCreateStringFromUTF8(frame.name));
    txSetFieldByNumber(out, i, 2, txCreateDoubleScalar(frame.line));
  }
  return out;
}

std::size_t CallStackDepth() { return frames().size(); }

bool IsInterruptEnabled() { return g_interrupt_enabled.load(std::memory_order_relaxed); }
void SetInterruptEnabled(bool enabled) { g_interrupt_enabled.store(enabled, std::memory_order_relaxed); }

}  // namespace tessel
