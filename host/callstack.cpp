// The host language's call stack, the interruption flag and interrupt requests.
#include <atomic>
#include <string>
#include <vector>

#include "tessel/interpreter.hpp"

namespace tessel {
namespace {

std::vector<StackFrame>& frames() {
  thread_local std::vector<StackFrame> stack;
  return stack;
}

std::atomic<bool> g_interrupt_enabled{true};
// Atomic because the break key arrives from another thread (a signal handler
// or the console's reader) than the one that runs host calls.
std::atomic<InterruptRequest> g_interrupt_request{InterruptRequest::None};

}  // namespace

ScopedFrame::ScopedFrame(std::string file, std::string name, int line) {
  frames().push_back(StackFrame{std::move(file), std::move(name), line});
}

ScopedFrame::~ScopedFrame() { frames().pop_back(); }

std::vector<StackFrame> GetCallStackFrames() {
  const auto& stack = frames();
  return std::vector<StackFrame>(stack.rbegin(), stack.rend());
}

txArray* CallStackToArray(const std::vector<StackFrame>& innermostFirst) {
  txArray* out = txCreateStructMatrix(innermostFirst.size(), 1, {"file", "name", "line"});
  try {
    for (std::size_t i = 0; i < innermostFirst.size(); ++i) {
      const StackFrame& frame = innermostFirst[i];
      txSetFieldByNumber(out, i, 0, txCreateStringFromUTF8(frame.file));
      txSetFieldByNumber(out, i, 1, txCreateStringFromUTF8(frame.name));
      txSetFieldByNumber(out, i, 2, txCreateDoubleScalar(frame.line));
    }
  } catch (...) {
    txDestroyArray(out);
    throw;
  }
  return out;
}

txArray* GetCallStack() { return CallStackToArray(GetCallStackFrames()); }

std::size_t CallStackDepth() { return frames().size(); }

bool IsInterruptEnabled() { return g_interrupt_enabled.load(std::memory_order_relaxed); }
void SetInterruptEnabled(bool enabled) { g_interrupt_enabled.store(enabled, std::memory_order_relaxed); }

void RequestInterrupt(InterruptRequest request) { g_interrupt_request.store(request, std::memory_order_relaxed); }
InterruptRequest PendingInterrupt() { return g_interrupt_request.load(std::memory_order_relaxed); }
InterruptRequest TakeInterrupt() { return g_interrupt_request.exchange(InterruptRequest::None, std::memory_order_relaxed); }

}  // namespace tessel
