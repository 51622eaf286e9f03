// Creating diagnostics: from an identifier and a ready message, from a
// catalogued message identifier, and the library's fixed diagnostics.
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>

#include "qv_services/conversions.hpp"
#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/errors/diagnostic_state.hpp"
#include "qv_services/feature/detail/tested_allocation.hpp"
#include "qv_services/feature/detail/testing_hook_access.hpp"
#include "tessel/foundation.hpp"
#include "tessel/interpreter.hpp"
#include "tessel/ut.hpp"

namespace {

constexpr const char* kTLStyleId = "QV_SERVICES:utils:TLStyleMsgId";
constexpr const char* kUndefinedId = "QV_SERVICES:utils:UNDEFINED_ID";

// The host call stack is kept only while the hook asks for it and detailed
// stacks are not skipped; the hook is read once per attach.
void attachCallStack(qvsvDiagnosticItem* item) {
  if (qvsvShouldSkipDetailedStackDiagnostics()) return;
  if (QvTestingHookAccess::get(QVFEAT_QVSV_POPULATE_TSTACK) == 0) return;
  txArray* stack = tessel::GetCallStack();
  txMakeArrayPersistent(stack);
  item->callStack = stack;
}

// The creators return the out-of-memory diagnostic when they run short; only
// when not even that can be made does std::bad_alloc propagate.
qvsvDiagnosticImpl* createFromIdAndMessage(const double* handles, int count, qvsvProcessCallback callback,
                                           const char* id, std::u16string message) {
  try {
    std::unique_ptr<qvsvDiagnosticItem> item(new qvsvDiagnosticItem);
    item->message = std::move(message);
    item->identifier = id == nullptr ? kTLStyleId : id;
    bool ok = true;
    item->handles = qvsv::detail::CopyHandles(handles, count, ok);
    if (!ok) return qvsvCreateMemoryAllocationDiagnostic();
    item->numHandles = item->handles == nullptr ? 0 : count;
    item->handleCallback = callback;
    attachCallStack(item.get());
    if (item->identifier.empty()) item->identifier = kUndefinedId;
    qvsv::detail::OwnedDiagnostic diag(qvsvObtainDiagnostic());
    diag->appendItem(item.get(), qvsv::detail::OverflowItem(), true);
    item.release();
    return diag.release();
  } catch (const std::bad_alloc&) {
    return qvsvCreateMemoryAllocationDiagnostic();
  }
}

// "3, 7,12" -> {3, 7, 12}; std::stoi's exceptions name a bad piece.
std::vector<int> parseObjectIndices(const std::string& objects) {
  std::vector<int> indices;
  std::size_t start = 0;
  while (start <= objects.size()) {
    const std::size_t comma = objects.find(',', start);
    const std::string piece = objects.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
    std::size_t used = 0;
    const int value = std::stoi(piece, &used);
    if (piece.find_first_not_of(" \t", used) != std::string::npos) {
      throw std::invalid_argument("object index '" + piece + "' is not a number");
    }
    indices.push_back(value);
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  return indices;
}

// Holds a callback slot empty while creation runs and restores it after.
template <typename T>
class SlotTakenOut {
 public:
  explicit SlotTakenOut(T& slot) : slot_(slot), saved_(slot) { slot_ = nullptr; }
  ~SlotTakenOut() { slot_ = saved_; }
  SlotTakenOut(const SlotTakenOut&) = delete;
  SlotTakenOut& operator=(const SlotTakenOut&) = delete;
  T saved() const { return saved_; }

 private:
  T& slot_;
  T saved_;
};

bool& creationActive() {
  static bool active = false;
  return active;
}

qvsvDiagnosticImpl* createFromMessageID(const double* handles, int count, const resource_core::BaseMsgID& id,
                                        const std::string& objects) {
  const bool reentrant = creationActive();
  auto& queue = qvsv::detail::Queue();
  SlotTakenOut<qvsvProcessCallback> process(queue.process);
  SlotTakenOut<qvsvObjectDiscoveryCallback> discovery(queue.objectDiscovery);
  creationActive() = true;
  struct Restore {
    bool previous;
    ~Restore() { creationActive() = previous; }
  } restore{reentrant};

  std::u16string message = qvsvGetMessageFromMessageIDAsUString(id, true);
  std::vector<double> discovered(handles == nullptr || count <= 0 ? 0 : static_cast<std::size_t>(count));
  if (!discovered.empty()) std::memcpy(discovered.data(), handles, sizeof(double) * discovered.size());
  if (discovery.saved() != nullptr && !reentrant && !objects.empty()) {
    const std::vector<int> indices = parseObjectIndices(objects);
    discovery.saved()(id, message, discovered, indices);
  }
  const std::string identifier = id.identifier();
  qvsv::detail::OwnedDiagnostic diag(createFromIdAndMessage(
      discovered.data(), static_cast<int>(discovered.size()), nullptr, identifier.c_str(), std::move(message)));
  if (!id.arguments().empty() && !diag->isEmpty() && !diag->lastItem()->isShared) {
    diag->lastItem()->arguments = qvsv::detail::MakeArgumentArray(id.arguments());
  }
  return diag.release();
}

// Catalogue errors and bad object strings propagate; running short gives the
// out-of-memory diagnostic, as for the other creators.
qvsvDiagnosticImpl* createFromMessageIDOrShortage(const double* handles, int count,
                                                  const resource_core::BaseMsgID& id, const std::string& objects) {
  try {
    return createFromMessageID(handles, count, id, objects);
  } catch (const std::bad_alloc&) {
    return qvsvCreateMemoryAllocationDiagnostic();
  }
}

}  // namespace

qvsvDiagnosticImpl* qvsvCreateDiagnosticFromIdAndMsg(const char* id, const char* msg) {
  return createFromIdAndMessage(nullptr, 0, nullptr, id, ConvertStdStringToUString(msg, true));
}

qvsvDiagnosticImpl* qvsvCreateDiagnosticFromIdAndMsg(const char* id, const std::u16string& msg) {
  return createFromIdAndMessage(nullptr, 0, nullptr, id, msg);
}

qvsvDiagnosticImpl* qvsvCreateDiagnosticFromIdAndMsg(const double* handles, int count, const char* id,
                                                     const char* msg) {
  return createFromIdAndMessage(handles, count, nullptr, id, ConvertStdStringToUString(msg, true));
}

qvsvDiagnosticImpl* qvsvCreateDiagnosticFromIdAndMsg(const double* handles, int count, const char* id,
                                                     const std::u16string& msg) {
  return createFromIdAndMessage(handles, count, nullptr, id, msg);
}

qvsvDiagnosticImpl* qvsvCreateDiagnosticFromIdAndMsg(const double* handles, int count, qvsvProcessCallback callback,
                                                     const char* id, const char* msg) {
  return createFromIdAndMessage(handles, count, callback, id, ConvertStdStringToUString(msg, true));
}

qvsvDiagnosticImpl* qvsvCreateDiagnosticFromIdAndMsg(const double* handles, int count, qvsvProcessCallback callback,
                                                     const char* id, const std::u16string& msg) {
  return createFromIdAndMessage(handles, count, callback, id, msg);
}

qvsvDiagnosticImpl* qvsvCreateDiagnosticFromMessageID(const resource_core::BaseMsgID& id) {
  return qvsvCreateDiagnostic(id, "");
}

qvsvDiagnosticImpl* qvsvCreateDiagnostic(const resource_core::BaseMsgID& id, const std::string& objects) {
  return createFromMessageIDOrShortage(nullptr, 0, id, objects);
}

qvsvDiagnosticImpl* qvsvCreateDiagnostic(double* handles, int count, const resource_core::BaseMsgID& id,
                                         const std::string& objects) {
  return createFromMessageIDOrShortage(handles, count, id, objects);
}

qvsvDiagnosticImpl* qvsvCreateDiagnosticWithArguments(const resource_core::BaseMsgID& id,
                                                      qvsvDiagnosticImpl*& causes) {
  qvsvDiagnosticImpl* diag = qvsvCreateDiagnostic(id, "");
  qvsvAddCauseToLastDiagnosticItem(diag, causes);
  return diag;
}

namespace {

// Completes a created diagnostic's item; out of memory, the item gives way to
// the out-of-memory item.
template <typename Complete>
qvsvDiagnosticImpl* withLastItem(qvsvDiagnosticImpl* diag, const Complete& complete) {
  qvsvDiagnosticItem* item = diag->lastItem();
  if (item == nullptr || item->isShared) return diag;
  try {
    complete(item);
  } catch (const std::bad_alloc&) {
    qvsv::detail::MarkOutOfMemory(diag, item);
  }
  return diag;
}

}  // namespace

qvsvDiagnosticImpl* qvsvCreateDiagnosticEx(const std::u16string& extraMessage, const resource_core::BaseMsgID& id,
                                           const std::string& objects) {
  qvsvDiagnosticImpl* diag = qvsvCreateDiagnostic(id, objects);
  return withLastItem(diag, [&](qvsvDiagnosticItem* item) { item->extraMessage = extraMessage; });
}

qvsvDiagnosticImpl* qvsvCreateDiagnosticEx(const resource_core::BaseMsgID& id, const qvsvMetaDataMap& metadata,
                                           const std::string& objects) {
  qvsvDiagnosticImpl* diag = qvsvCreateDiagnostic(id, objects);
  return withLastItem(diag, [&](qvsvDiagnosticItem* item) { item->metadata = metadata; });
}

qvsvDiagnosticImpl* qvsvCreateDiagnosticEx(double handle, const resource_core::BaseMsgID& id,
                                           const qvsvMetaDataMap& metadata, const std::string& objects) {
  qvsvDiagnosticImpl* diag = qvsvCreateDiagnostic(&handle, 1, id, objects);
  return withLastItem(diag, [&](qvsvDiagnosticItem* item) { item->metadata = metadata; });
}

qvsvDiagnosticImpl* qvsvCreateInterruptError(bool userBreak) {
  return qvsvCreateDiagnostic(
      resource_core::BaseMsgID("QV_SERVICES:utils", userBreak ? "CNTRL_C_INTERRUPTION" : "PROGRAM_INTERRUPTION"), "");
}

qvsvDiagnosticImpl* qvsvCreateMemoryAllocationDiagnostic() {
  qvsvDiagnosticItem* item = qvsv::detail::OutOfMemoryItem();
  qvsvDiagnosticImpl* diag = qvsvObtainDiagnostic();
  diag->appendItem(item, nullptr, true);
  return diag;
}

const char* qvsvGetTLStyleMessageIdentifier(const char* component, const char* mnemonic) {
  // Grown with the host allocator and kept for the process.
  static char* buffer = nullptr;
  static std::size_t capacity = 0;
  const std::size_t a = component == nullptr ? 0 : std::strlen(component);
  const std::size_t b = mnemonic == nullptr ? 0 : std::strlen(mnemonic);
  const bool both = a != 0 && b != 0;
  const std::size_t needed = a + b + (both ? 1 : 0) + 1;
  if (needed > capacity) {
    void* grown = qvsv::detail::TestedRealloc(qvsv::fault::kTLStyleIdentifier, buffer, needed);
    if (grown == nullptr) throw tessel::OutOfMemory();
    buffer = static_cast<char*>(grown);
    capacity = needed;
  }
  char* out = buffer;
  if (a != 0) out = static_cast<char*>(std::memcpy(out, component, a)) + a;
  if (both) *out++ = ':';
  if (b != 0) out = static_cast<char*>(std::memcpy(out, mnemonic, b)) + b;
  *out = '\0';
  return buffer;
}
