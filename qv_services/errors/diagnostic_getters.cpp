// Reading a diagnostic's items: identifiers, texts, handles, causes,
// arguments, creation times and metadata.
#include <cmath>
#include <limits>
#include <new>

#include "qv_services/diagnostic.hpp"
#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/error_queue.hpp"
#include "qv_services/errors/diagnostic_state.hpp"

namespace {

constexpr const char* kUndefinedId = "QV_SERVICES:utils:UNDEFINED_ID";
constexpr const char* kMultipleErrorsId = "Tessel:TException:MultipleErrors";

qvsvDiagnosticItem* itemOf(qvsvDiagnosticImpl* const& diag, unsigned index) {
  return diag == nullptr ? nullptr : diag->itemAt(index);
}

const std::string& identifierOf(qvsvDiagnosticItem* item) {
  if (item->identifier.empty()) item->identifier = kUndefinedId;
  return item->identifier;
}

// Doubles outside the 64-bit range (and NaN) cannot be converted directly.
std::int64_t toInt64(double value) {
  if (std::isnan(value)) return 0;
  if (value >= 9223372036854775807.0) return std::numeric_limits<std::int64_t>::max();
  if (value <= -9223372036854775808.0) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(value);
}

}  // namespace

int qvsvGetNumItemsInDiagnostic(qvsvDiagnosticImpl* const& diag) {
  return diag == nullptr ? 0 : static_cast<int>(diag->count());
}

const char* qvsvGetIdentifierFromDiagnosticItem(qvsvDiagnosticImpl* const& diag, unsigned index) {
  qvsvDiagnosticItem* item = itemOf(diag, index);
  return item == nullptr ? nullptr : identifierOf(item).c_str();
}

const char16_t* qvsvGetMessageFromDiagnosticItem(qvsvDiagnosticImpl* const& diag, unsigned index) {
  qvsvDiagnosticItem* item = itemOf(diag, index);
  return item == nullptr ? nullptr : item->message.c_str();
}

const char16_t* qvsvGetExtraMessageFromDiagnosticItem(qvsvDiagnosticImpl* const& diag, unsigned index) {
  qvsvDiagnosticItem* item = itemOf(diag, index);
  return item == nullptr ? nullptr : item->extraMessage.c_str();
}

std::vector<double> qvsvGetHandlesFromDiagnosticItem(qvsvDiagnosticImpl* const& diag, int index) {
  if (index < 0) return {};
  qvsvDiagnosticItem* item = itemOf(diag, static_cast<unsigned>(index));
  if (item == nullptr || item->handles == nullptr || item->numHandles <= 0) return {};
  return std::vector<double>(item->handles, item->handles + item->numHandles);
}

qvsvErrorCreationTime qvsvGetErrorCreationTimeFromDiagnosticItem(qvsvDiagnosticImpl* const& diag, unsigned index) {
  qvsvDiagnosticItem* item = itemOf(diag, index);
  return item == nullptr ? qvsvErrorCreationTimeUnset : item->creationTime;
}

qvsvDiagnosticImpl* qvsvGetCauseFromDiagnosticItem(qvsvDiagnosticImpl* const& diag, unsigned index) {
  qvsvDiagnosticItem* item = itemOf(diag, index);
  return item == nullptr ? nullptr : item->cause;
}

qvsvDiagnosticImpl* qvsvRemoveCauseFromDiagnosticItem(qvsvDiagnosticImpl*& diag, unsigned index) {
  qvsvDiagnosticItem* item = itemOf(diag, index);
  if (item == nullptr) return nullptr;
  qvsvDiagnosticImpl* cause = item->cause;
  item->cause = nullptr;
  if (cause != nullptr) cause->setCauseOf(nullptr);  // the caller's now
  return cause;
}

bool qvsvCheckDiagnosticForMessageIdentifier(qvsvDiagnosticImpl* const& diag, const char* id, unsigned index) {
  if (id == nullptr) return false;
  qvsvDiagnosticItem* item = itemOf(diag, index);
  return item != nullptr && identifierOf(item) == id;
}

const char* qvsvGetFirstErrorIdentifier(qvsvDiagnosticImpl* const& diag) {
  qvsvDiagnosticItem* item = itemOf(diag, 0);
  return item == nullptr ? nullptr : item->identifier.c_str();
}

const char16_t* qvsvGetFirstErrorMessage(qvsvDiagnosticImpl* const& diag) {
  qvsvDiagnosticItem* item = itemOf(diag, 0);
  return item == nullptr ? nullptr : item->message.c_str();
}

std::string qvsvGetCombinedErrorIdentifier(qvsvDiagnosticImpl* const& diag) {
  if (diag == nullptr || diag->count() == 0) return std::string();
  if (diag->count() == 1) {
    // Read with the substitution, but unlike the item getter it returns a copy
    // and so leaves the item as it is.
    const std::string& id = diag->firstItem()->identifier;
    return id.empty() ? std::string(kUndefinedId) : id;
  }
  return kMultipleErrorsId;
}

std::u16string qvsvGetCombinedErrorMessage(qvsvDiagnosticImpl* const& diag) {
  if (diag == nullptr) return std::u16string();
  if (diag->count() == 1 && !diag->isEmpty()) return diag->firstItem()->message;
  if (diag->count() > 1) {
    // Fetched again whenever the cached text is empty (a failed lookup).
    static std::u16string preamble;
    if (preamble.empty()) {
      try {
        preamble = qvsvGetMessageFromMessageIDAsUString(
            resource_core::BaseMsgID("QV_SERVICES:utils", "MultipleErrorsMessagePreamble"), true);
      } catch (const std::exception&) {
        return std::u16string();
      }
    }
    return preamble;
  }
  return std::u16string();
}

namespace qvsv::detail {

qvsvArgumentVector ArgumentsOf(const qvsvDiagnosticItem* item) {
  qvsvArgumentVector out;
  if (item == nullptr || item->arguments == nullptr || !txIsCell(item->arguments)) return out;
  const txIndex n = txGetNumberOfElements(item->arguments);
  out.reserve(n);
  // One value per element, whatever it holds, so that the count always agrees.
  for (txIndex i = 0; i < n; ++i) {
    const txArray* element = txGetCell(item->arguments, i);
    if (txIsChar(element)) {
      out.emplace_back(txGetString(element));
    } else if ((txIsNumeric(element) || txIsLogical(element)) && !txIsEmpty(element)) {
      out.emplace_back(toInt64(txGetScalar(element)));
    } else {
      out.emplace_back(std::u16string());
    }
  }
  return out;
}

int ArgumentCountOf(const qvsvDiagnosticItem* item) {
  if (item == nullptr || item->arguments == nullptr || !txIsCell(item->arguments)) return 0;
  return static_cast<int>(txGetNumberOfElements(item->arguments));
}

}  // namespace qvsv::detail

qvsvArgumentVector qvsvGetArgumentsFromLastDiagnostic(qvsvDiagnosticImpl* const& diag) {
  return qvsv::detail::ArgumentsOf(diag == nullptr ? nullptr : diag->lastItem());
}

int qvsvGetNumbArgumentsFromLastDiagnostic(qvsvDiagnosticImpl* const& diag) {
  return qvsv::detail::ArgumentCountOf(diag == nullptr ? nullptr : diag->lastItem());
}

qvsvErrorCreationTime qvsvGetLastErrorCreationTime(qvsvDiagnosticImpl* const& diag) {
  // Deliberately the first item, whatever the name says.
  const qvsvDiagnosticItem* item = itemOf(diag, 0);
  return item == nullptr ? qvsvErrorCreationTimeUnset : item->creationTime;
}

void qvsvSetLastErrorCreationTime(qvsvDiagnosticImpl* const& diag, qvsvErrorCreationTime time) {
  try {
    qvsvDiagnosticItem* item = qvsv::detail::OwnFirstItem(diag);
    if (item != nullptr) item->creationTime = time;
  } catch (const std::bad_alloc&) {
    // A shared item that cannot be copied gives way to the out-of-memory item.
    qvsv::detail::MarkOutOfMemory(diag, diag->firstItem());
  }
}

// Out of memory for the item's cause diagnostic, the cause is released and the
// item gives way to the out-of-memory item: an item must not lose its cause
// silently.
void qvsvAddCauseToDiagnosticItem(qvsvDiagnosticImpl*& diag, unsigned index, qvsvDiagnosticImpl*& cause) {
  if (cause == nullptr) return;
  qvsvDiagnosticItem* item = itemOf(diag, index);
  if (item == nullptr || item->isStatic || cause == diag) return;
  qvsv::detail::CheckLiveDiagnostic(cause);
  // A cause that another item holds, or that a process callback is receiving,
  // is not the caller's to give.
  if (cause->handingOver() || qvsv::detail::CauseOwner(cause) != nullptr) return;
  // The item can lie inside the new cause only when its diagnostic is itself
  // somebody's cause; for the usual top-level diagnostic this costs nothing.
  if (qvsv::detail::CauseOwner(diag) != nullptr && qvsv::detail::TreeHoldsItem(cause, item)) return;
  try {
    qvsv::detail::Concatenate(item->cause, cause, false);
  } catch (const std::bad_alloc&) {
    qvsv::detail::MarkOutOfMemory(diag, item);
    return;
  }
  if (item->cause != nullptr) item->cause->setCauseOf(item);
}

void qvsvAddCauseToLastDiagnosticItem(qvsvDiagnosticImpl*& diag, qvsvDiagnosticImpl*& cause) {
  if (diag == nullptr || diag->isEmpty()) return;
  qvsvAddCauseToDiagnosticItem(diag, diag->count() - 1, cause);
}

namespace qvsv {

void SetMetaDataToLastDiagnostic(qvsvDiagnosticImpl*& diag, const std::u16string& key,
                                 const qvsvArgumentValue& value) {
  if (diag == nullptr || diag->isEmpty()) return;
  qvsvDiagnosticItem* item = nullptr;
  try {
    item = qvsv::detail::OwnLastItem(diag);
    item->metadata.insert_or_assign(key, value);
  } catch (const std::bad_alloc&) {
    // The entry is missing: the item is no longer what it was meant to be.
    qvsv::detail::MarkOutOfMemory(diag, item != nullptr ? item : diag->lastItem());
  }
}

const qvsvArgumentValue* GetMetaDataFromLastDiagnostic(qvsvDiagnosticImpl* const& diag, const std::u16string& key) {
  if (diag == nullptr || diag->isEmpty()) return nullptr;
  const qvsvMetaDataMap& metadata = diag->lastItem()->metadata;
  const auto it = metadata.find(key);
  return it == metadata.end() ? nullptr : &it->second;
}

}  // namespace qvsv
