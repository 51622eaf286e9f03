// Exception testers: the counting that decides which call fails, their
// registry, and the scope that opens fault injection for a test.
#include <map>

#include "qv_services/conversions.hpp"
#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/except.hpp"
#include "qv_services/fault_injection.hpp"
#include "tessel/interpreter.hpp"
#include "tessel/ut.hpp"

namespace {

using Registry = std::map<std::string, QVSV_ExceptionTester>;

// Null until a ScopedExceptionTesting creates it; owned by that scope.
Registry*& testerRegistry() {
  static Registry* registry = nullptr;
  return registry;
}

constexpr const char* kInjectedExceptionId = "QV_SERVICES:utils:InjectedException";

// Adds one without signed overflow: a tester that never fires may see more
// than 2^31 calls.
int incremented(int counter) { return static_cast<int>(static_cast<unsigned>(counter) + 1u); }

// "<prefix><count>. File: <file>; function: <function>; line: <line>"
std::string firingText(const char* prefix, int count, const char* file, const char* function, int line) {
  std::string text = prefix;
  text += std::to_string(count);
  text += ". File: ";
  text += file == nullptr ? "<unknown file>" : file;
  text += "; function: ";
  text += function == nullptr ? "<unknown function>" : function;
  text += "; line: ";
  text += std::to_string(line);
  return text;
}

}  // namespace

int QVSV_ExceptionTester::staticTesterMode = -1;

QVSV_ExceptionTester::QVSV_ExceptionTester(const std::string& name) : name_(name) {}

QVSV_ExceptionTester::QVSV_ExceptionTester(const QVSV_ExceptionTester& other) = default;

QVSV_ExceptionTester& QVSV_ExceptionTester::operator=(const QVSV_ExceptionTester& other) = default;

QVSV_ExceptionTester::~QVSV_ExceptionTester() = default;

void QVSV_ExceptionTester::setIterationToSkip(int n) {
  if (n < 0) return;
  iterationToSkip_ = n;
  enabled_ = true;
}

void QVSV_ExceptionTester::resetIterationToSkip() {
  iterationToSkip_ = kNeverFire;
  enabled_ = false;
}

void QVSV_ExceptionTester::resetIterationToThrow() { counter_ = 0; }

bool QVSV_ExceptionTester::isXTesterAvailable() { return staticTesterMode != -1; }

bool QVSV_ExceptionTester::handleTester(const char* kind, const char* file, const char* function, int line) {
  if (staticTesterMode == -1 || !enabled_) return false;
  counter_ = incremented(counter_);
  if (counter_ <= iterationToSkip_) return false;
  counter_ = 0;
  if (staticTesterMode == 1) return true;
  if (staticTesterMode != 0) return false;
  // The count is read after the reset, so the line always says 0.
  const std::string prefix = std::string(kind == nullptr ? "" : kind) + " after ";
  utPrintf("%s\n", firingText(prefix.c_str(), counter_, file, function, line).c_str());
  return false;
}

void* QVSV_ExceptionTester::reportAlloc(AllocFunction alloc, std::size_t size, const char* file,
                                        const char* function, int line) {
  if (handleTester("Alloc", file, function, line)) return nullptr;
  return alloc == nullptr ? nullptr : alloc(size);
}

void* QVSV_ExceptionTester::reportCalloc(CallocFunction alloc, std::size_t count, std::size_t size, const char* file,
                                         const char* function, int line) {
  if (handleTester("Calloc", file, function, line)) return nullptr;
  return alloc == nullptr ? nullptr : alloc(count, size);
}

void* QVSV_ExceptionTester::reportRealloc(ReallocFunction alloc, void* block, std::size_t size, const char* file,
                                          const char* function, int line) {
  if (handleTester("Realloc", file, function, line)) return nullptr;
  return alloc == nullptr ? nullptr : alloc(block, size);
}

void QVSV_ExceptionTester::reportException(const char* file, const char* function, int line,
                                           qvsvDiagnosticImpl*& diagnostic) {
  if (staticTesterMode != -1 && enabled_) {
    counter_ = incremented(counter_);
    if (counter_ > iterationToSkip_) {
      // Here the count is read before the reset: skip + 1.
      const std::string text = firingText("Exception was thrown after ", counter_, file, function, line);
      qvsvDiagnosticImpl* fired = qvsvCreateDiagnosticFromIdAndMsg(kInjectedExceptionId, text.c_str());
      if (diagnostic == nullptr) {
        diagnostic = fired;
      } else {
        qvsvAddCauseToLastDiagnosticItem(diagnostic, fired);
        // A static or missing last item takes no cause; fired is then still ours.
        qvsvDiscardDiagnostic(fired);
      }
      counter_ = 0;
      if (staticTesterMode == 0) {
        const char16_t* message = diagnostic->isEmpty() ? u"" : diagnostic->lastItem()->message.c_str();
        utPrintf("%s (interruption enabled: %d)\n", ConvertUStringToStdString(message).c_str(),
                 tessel::IsInterruptEnabled() ? 1 : 0);
      } else if (staticTesterMode == 1) {
        qvsv::except::ThrowDiagnostic(diagnostic);
      }
    }
  }
  qvsvDiscardDiagnostic(diagnostic);
}

void qvsvCreateExceptionTesterByName(const char* name) {
  auto* registry = testerRegistry();
  if (name == nullptr || registry == nullptr) return;
  registry->try_emplace(name, QVSV_ExceptionTester(name));
}

QVSV_ExceptionTester* qvsvGetExceptionTesterByName(const char* name) {
  auto* registry = testerRegistry();
  if (name == nullptr || registry == nullptr) return nullptr;
  const auto it = registry->find(name);
  return it == registry->end() ? nullptr : &it->second;
}

namespace qvsv {

ScopedExceptionTesting::ScopedExceptionTesting(int mode)
    : previousMode_(QVSV_ExceptionTester::staticTesterMode),
      ownsRegistry_(testerRegistry() == nullptr) {
  if (ownsRegistry_) testerRegistry() = new Registry;
  QVSV_ExceptionTester::staticTesterMode = mode;
}

ScopedExceptionTesting::~ScopedExceptionTesting() {
  QVSV_ExceptionTester::staticTesterMode = previousMode_;
  if (ownsRegistry_) {
    delete testerRegistry();
    testerRegistry() = nullptr;
  }
}

}  // namespace qvsv
