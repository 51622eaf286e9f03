// The error queue: limit and overflow, merging, replacing, clearing, pool
// clean-up, candidates, handles of the last item and the global callbacks.
#include "qv_services/error_queue.hpp"

#include <algorithm>
#include <functional>
#include <new>
#include <unordered_set>

#include "qv_services/conversions.hpp"
#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/errors/diagnostic_state.hpp"
#include "tessel/ut.hpp"

using qvsv::detail::DiagnosticPool;
using qvsv::detail::Queue;

int qvsvGetMaxDiagnosticsInQueue() { return Queue().limit; }

qvsvDiagnosticImpl* qvsvSetMaxDiagnosticsInQueue(int n) {
  Queue().limit = std::max(n, 0);
  return nullptr;
}

bool qvsvIsLastErrorTooManyErrors(qvsvDiagnosticImpl* const& queue) {
  if (queue == nullptr || queue->isEmpty()) return false;
  return qvsvCheckDiagnosticForMessageIdentifier(queue, "QV_SERVICES:utils:TooManyErrorsErr", queue->count() - 1);
}

void qvsvSetSkipDetailedStackDiagnostics(bool skip) { Queue().skipDetailedStack = skip; }
bool qvsvShouldSkipDetailedStackDiagnostics() { return Queue().skipDetailedStack; }

namespace {

void appendCandidatesOnce(qvsvDiagnosticImpl* dest, const std::vector<void*>& candidates) {
  for (void* candidate : candidates) {
    auto& own = dest->candidates();
    if (std::find(own.begin(), own.end(), candidate) == own.end()) own.push_back(candidate);
  }
}

void moveItems(qvsvDiagnosticImpl* dest, qvsvDiagnosticImpl* src, std::size_t n, bool atFront) {
  dest->spliceItems(atFront ? dest->items().begin() : dest->items().end(), *src, n);
}

}  // namespace

namespace {

// The merge once dest exists; may throw std::bad_alloc (the overflow item's
// list node, the candidates, the clean-up), with every item in dest or src.
void concatenateInto(qvsvDiagnosticImpl* dest, qvsvDiagnosticImpl*& src, bool atFront) {
  const long long limit = Queue().limit;
  const long long n = limit - static_cast<long long>(dest->count()) - 1;
  if (limit < 1 || static_cast<long long>(src->count()) <= n) {
    moveItems(dest, src, src->count(), atFront);
  } else {
    if (n >= 1) moveItems(dest, src, static_cast<std::size_t>(n), atFront);
    if (n < 0) {
      qvsvDiscardDiagnostic(src);
      return;
    }
    // The overflow item always ends the queue, even for a merge at the front.
    qvsvDiagnosticItem* overflow = qvsv::detail::OverflowItem();
    overflow->handlesPending = false;
    dest->handOverHandles(overflow);
    dest->appendWithoutLimit(overflow);
    qvsvCleanUpErrorQueue();
    if (n == 0) {
      qvsvDiscardDiagnostic(src);
      return;
    }
  }
  appendCandidatesOnce(dest, src->candidates());
  qvsvDiscardDiagnostic(src);
}

}  // namespace

namespace qvsv::detail {

// Out of memory is recorded in dest (its out-of-memory item) and src is
// released all the same, as the caller handed it over. Only when dest is null
// and cannot be made is there nowhere to record it: then src is released and
// std::bad_alloc propagates.
void Concatenate(qvsvDiagnosticImpl*& dest, qvsvDiagnosticImpl*& src, bool atFront) {
  if (src == nullptr || src == dest) return;
  if (dest == nullptr) {
    try {
      dest = qvsvObtainDiagnostic();
    } catch (const std::bad_alloc&) {
      qvsvDiscardDiagnostic(src);
      throw;
    }
  }
  if (src->isEmpty()) return;
  try {
    concatenateInto(dest, src, atFront);
  } catch (const std::bad_alloc&) {
    qvsv::detail::RecordOutOfMemory(dest);
    qvsvDiscardDiagnostic(src);
  }
}

}  // namespace qvsv::detail

void qvsvConcatenateDiagnostics(qvsvDiagnosticImpl*& dest, qvsvDiagnosticImpl*& src, bool atFront) {
  if (src == nullptr || src == dest) return;
  qvsv::detail::CheckLiveDiagnostic(src);
  // Refused, leaving both pointers as they are: a source that an item holds
  // as its cause or that a process callback is receiving belongs to someone
  // else, and a destination inside the source's own causes would make a cycle.
  if (src->handingOver() || qvsv::detail::CauseOwner(src) != nullptr) return;
  const qvsvDiagnosticItem* holder = qvsv::detail::CauseOwner(dest);
  if (holder == nullptr) holder = qvsv::detail::ItemWithCauseField(&dest);
  if (holder != nullptr && qvsv::detail::TreeHoldsItem(src, holder)) return;
  if (dest == nullptr && holder != nullptr) {
    try {
      dest = qvsvObtainDiagnostic();
    } catch (const std::bad_alloc&) {
      qvsvDiscardDiagnostic(src);
      throw;
    }
    dest->setCauseOf(holder);
  }
  qvsv::detail::Concatenate(dest, src, atFront);
}

void qvsvConcatenateDiagnostics(qvsvDiagnosticImpl*& dest, qvsvDiagnosticImpl*&& src, bool atFront) {
  qvsvConcatenateDiagnostics(dest, src, atFront);
}

void qvsvReplaceLastDiagnostic(qvsvDiagnosticImpl* target, qvsvDiagnosticImpl*& replacement) {
  if (target != nullptr && replacement != nullptr && !target->isEmpty() && !replacement->isEmpty()) {
    qvsvDiagnosticItem* last = nullptr;
    try {
      last = qvsv::detail::OwnLastItem(target);
      *last = *replacement->lastItem();
    } catch (const std::bad_alloc&) {
      // Half a copy would mix two messages: the item gives way to the marker.
      qvsv::detail::MarkOutOfMemory(target, last != nullptr ? last : target->lastItem());
    }
  }
  qvsvDiscardDiagnostic(replacement);
}

namespace {

// Renders the last item's message again with new arguments when its
// identifier names a catalogued message; otherwise the message stays.
void rerender(qvsvDiagnosticItem* item, const std::function<std::u16string(const std::string&, const std::string&)>& render) {
  const auto colon = item->identifier.rfind(':');
  if (colon == std::string::npos || colon == 0 || colon + 1 == item->identifier.size()) return;
  try {
    item->message = render(item->identifier.substr(0, colon), item->identifier.substr(colon + 1));
  } catch (const std::bad_alloc&) {
    throw;  // a shortage, not an unknown message: the caller records it
  } catch (const std::exception&) {
    // Not a catalogued message: keep the text it was made with.
  }
}

}  // namespace

namespace {

// Gives the last item new arguments and renders its message again; out of
// memory, the item gives way to the out-of-memory item (its message would no
// longer match its arguments).
void replaceLastArguments(qvsvDiagnosticImpl* queue, const qvsvArgumentVector& arguments,
                          const std::function<std::u16string(const std::string&, const std::string&)>& render) {
  qvsvDiagnosticItem* item = nullptr;
  try {
    item = qvsv::detail::OwnLastItem(queue);
    txArray* array = qvsv::detail::MakeArgumentArray(arguments);
    txDestroyArray(item->arguments);
    item->arguments = array;
    rerender(item, render);
  } catch (const std::bad_alloc&) {
    qvsv::detail::MarkOutOfMemory(queue, item != nullptr ? item : queue->lastItem());
  }
}

}  // namespace

void qvsvReplaceLastDiagnosticArguments(qvsvDiagnosticImpl*& queue, const qvsvArgumentVector& arguments) {
  if (queue == nullptr || queue->isEmpty()) return;
  replaceLastArguments(queue, arguments, [&](const std::string& catalog, const std::string& key) {
    return qvsvGetMessageFromMessageIDAsUString(MutableBaseMsgID(catalog, key, arguments), true);
  });
}

void qvsvReplaceLastDiagnosticStringArguments(qvsvDiagnosticImpl*& queue,
                                              const std::map<std::u16string, std::u16string>& arguments) {
  if (queue == nullptr || queue->isEmpty()) return;
  qvsvArgumentVector values;
  try {
    values.reserve(arguments.size());
    for (const auto& [name, value] : arguments) values.emplace_back(value);
  } catch (const std::bad_alloc&) {
    qvsv::detail::MarkOutOfMemory(queue, queue->lastItem());
    return;
  }
  replaceLastArguments(queue, values, [&](const std::string& catalog, const std::string& key) {
    return resource_core::GetMessageTextInGlobalLocale(resource_core::BaseMsgID(catalog, key), arguments);
  });
}

qvsvDiagnosticImpl* qvsvClearDiagnosticQueue(qvsvDiagnosticImpl*& queue, int fromIndex, bool release) {
  if (queue == nullptr) return nullptr;
  // A negative index lies above every count: nothing is removed.
  if (fromIndex >= 0) queue->clearFrom(static_cast<unsigned>(fromIndex));
  if (release) qvsvDiscardDiagnostic(queue);
  return queue;
}

void qvsvClearLastError(qvsvDiagnosticImpl*& queue) {
  if (queue == nullptr) return;
  if (!queue->isEmpty()) queue->clearFrom(queue->count() - 1);
  if (queue->isEmpty()) qvsvDiscardDiagnostic(queue);
}

namespace {

// Destroys a diagnostic that the pool's clearing picked, unless a callback
// is running for it: its candidate processing then releases it at its end,
// and a hand-over in progress keeps it for the operation that runs it.
void destroyPicked(qvsvDiagnosticImpl* d) {
  if (d->handingOver()) return;
  if (d->candidateScopes() > 0) {
    d->setReleaseDeferred(true);
    return;
  }
  delete d;
}

}  // namespace

void qvsvCleanUpErrorQueue() {
  // Only diagnostics marked reusable qualify, and the pool indexes those.
  auto& reusable = qvsv::detail::ReusableDiagnostics();
  std::vector<qvsvDiagnosticImpl*> doomed;
  for (qvsvDiagnosticImpl* d : reusable) {
    if (!d->isStatic() && !d->releaseDeferred()) doomed.push_back(d);
  }
  for (qvsvDiagnosticImpl* d : doomed) {
    if (DiagnosticPool().ownsLive(d)) destroyPicked(d);
  }
}

qvsvDiagnosticImpl* qvsvClearDiagnosticQueuePool() {
  // A cause dies with the item that owns it; destroying it first would leave
  // that item pointing at freed memory, so only diagnostics that are nobody's
  // cause are destroyed here (their causes go with them). Every item counts,
  // whatever lists it: items of subclass diagnostics (which live outside the
  // pool) and items that a caller holds on its own.
  std::unordered_set<const qvsvDiagnosticImpl*> causes;
  for (void* chunk : qvsv::detail::ItemPool().liveChunks()) {
    const auto* item = static_cast<const qvsvDiagnosticItem*>(chunk);
    if (item->cause != nullptr) causes.insert(item->cause);
  }
  for (void* chunk : DiagnosticPool().liveChunks()) {
    if (!DiagnosticPool().ownsLive(chunk)) continue;
    auto* d = static_cast<qvsvDiagnosticImpl*>(chunk);
    if (d->count() >= 1 && !d->isStatic() && !d->releaseDeferred() && causes.count(d) == 0) destroyPicked(d);
  }
  qvsvCleanUpErrorQueue();
  return nullptr;
}

void qvsvAddCandidateToErrorQueueFcn(qvsvDiagnosticImpl*& queue, void* candidate) {
  if (queue == nullptr || candidate == nullptr) return;
  auto& own = queue->candidates();
  if (std::find(own.begin(), own.end(), candidate) != own.end()) return;
  try {
    own.push_back(candidate);
  } catch (const std::bad_alloc&) {
    qvsv::detail::RecordOutOfMemory(queue);
  }
}

void qvsvProcessErrorFcn(qvsvDiagnosticImpl*& queue, const qvsvCandidateFunction& fn) {
  if (queue == nullptr || !fn || queue->processing()) return;
  qvsvDiagnosticImpl* q = queue;
  qvsv::detail::CheckLiveDiagnostic(q);
  q->setProcessing(true);
  // While any processing runs, a release of q (by the function, a merge that
  // takes q away, the pool's clearing) only marks it; the outermost
  // processing carries it out below, so q stays valid until then.
  q->enterCandidates();
  try {
    // By index: the function may add candidates, which are processed too.
    for (std::size_t i = 0; i < q->candidates().size() && !q->releaseDeferred(); ++i) fn(q, q->candidates()[i]);
  } catch (...) {
    q->leaveCandidates();
    q->setProcessing(false);
    if (q->candidateScopes() == 0 && q->releaseDeferred()) {
      q->setReleaseDeferred(false);
      if (queue == q) queue = nullptr;
      qvsvDiscardDiagnostic(q);
    }
    throw;
  }
  q->leaveCandidates();
  q->setProcessing(false);
  q->candidates().clear();
  if (q->releaseDeferred() && q->candidateScopes() == 0) {
    q->setReleaseDeferred(false);
    // The caller's pointer may already hold another queue (the function can
    // reach it); only a pointer to the released one is nulled.
    if (queue == q) queue = nullptr;
    qvsvDiscardDiagnostic(q);
  } else if (q->releaseDeferred() && queue == q) {
    queue = nullptr;  // an inner processing: the outer one releases it
  }
}

void qvsvSetHandlesInErrorQueueLastDiagnostic(const double* handles, int count, qvsvDiagnosticImpl*& queue) {
  if (queue == nullptr || queue->isEmpty() || handles == nullptr || count <= 0) return;
  qvsvDiagnosticItem* item = nullptr;
  try {
    item = qvsv::detail::OwnLastItem(queue);
  } catch (const std::bad_alloc&) {
    qvsv::detail::MarkOutOfMemory(queue, queue->lastItem());
    return;
  }
  qvsv::detail::SetItemHandles(queue, item, handles, count);
}

void qvsvSetHandlesInErrorQueueLastDiagnostic(qvsvObjectIterator first, qvsvObjectIterator last,
                                              qvsvProcessCallback callback, qvsvHandleConverter converter,
                                              qvsvDiagnosticImpl*& queue) {
  if (queue == nullptr || queue->isEmpty()) return;
  qvsvObjectVector objects;
  qvsvDiagnosticItem* item = nullptr;
  try {
    for (auto it = first; it != last; ++it) {
      if (*it != nullptr) objects.push_back(*it);
    }
    item = qvsv::detail::OwnLastItem(queue);
    // Made now: once the converter has failed, the catalogue may be out of reach.
    qvsv::detail::OutOfMemoryItem();
  } catch (const std::bad_alloc&) {
    qvsv::detail::MarkOutOfMemory(queue, queue->lastItem());
    return;
  }
  item->handleConverter = converter;
  item->handleCallback = callback;
  item->handlesPending = true;
  if (converter == nullptr) return;
  int count = 0;
  double* converted = nullptr;
  try {
    converted = converter(objects.cbegin(), objects.cend(), count, item->message);
  } catch (const std::bad_alloc&) {
    // A converter that throws for lack of memory fails as one returning null.
    count = 1;
  }
  if (converted == nullptr && count > 0) {
    qvsv::detail::MarkOutOfMemory(queue, item);
    return;
  }
  qvsv::detail::SetItemHandles(queue, item, converted, count);
  utFree(converted);
}

void qvsvSetHandlesInErrorQueueLastDiagnostic(const QVSVKSObjectBase* const* objects, int count,
                                              qvsvProcessCallback callback, qvsvHandleConverter converter,
                                              qvsvDiagnosticImpl*& queue) {
  qvsvObjectVector list;
  if (objects != nullptr && count > 0) list.assign(objects, objects + count);
  qvsvSetHandlesInErrorQueueLastDiagnostic(list.cbegin(), list.cend(), callback, converter, queue);
}

void qvsvSetHandlesInErrorQueueLastDiagnostic(const qvsvObjectVector& objects, qvsvProcessCallback callback,
                                              qvsvHandleConverter converter, qvsvDiagnosticImpl*& queue) {
  qvsvSetHandlesInErrorQueueLastDiagnostic(objects.cbegin(), objects.cend(), callback, converter, queue);
}

namespace {

template <typename T>
T exchangeSlot(T& slot, T value) {
  T previous = slot;
  slot = value;
  return previous;
}

}  // namespace

qvsvProcessCallback qvsvSetGlobalProcessCallback(qvsvProcessCallback cb) { return exchangeSlot(Queue().process, cb); }
qvsvProcessCallback qvsvGetGlobalProcessCallback() { return Queue().process; }
qvsvProcessCallback qvsvClearGlobalProcessCallback() { return exchangeSlot<qvsvProcessCallback>(Queue().process, nullptr); }

qvsvCreateHotlinkCallback qvsvSetGlobalQVCreateHotlinkCallback(qvsvCreateHotlinkCallback cb) {
  return exchangeSlot(Queue().createHotlink, cb);
}
qvsvCreateHotlinkCallback qvsvGetGlobalQVCreateHotlinkCallback() { return Queue().createHotlink; }
qvsvCreateHotlinkCallback qvsvClearGlobalQVCreateHotlinkCallback() {
  return exchangeSlot<qvsvCreateHotlinkCallback>(Queue().createHotlink, nullptr);
}

qvsvExtraMessageCallback qvsvSetGlobalQVExtraMessageCallback(qvsvExtraMessageCallback cb) {
  return exchangeSlot(Queue().extraMessage, cb);
}
qvsvExtraMessageCallback qvsvGetGlobalQVExtraMessageCallback() { return Queue().extraMessage; }
qvsvExtraMessageCallback qvsvClearGlobalQVExtraMessageCallback() {
  return exchangeSlot<qvsvExtraMessageCallback>(Queue().extraMessage, nullptr);
}

qvsvObjectDiscoveryCallback qvsvSetGlobalQVObjectDiscoveryCallback(qvsvObjectDiscoveryCallback cb) {
  return exchangeSlot(Queue().objectDiscovery, cb);
}
qvsvObjectDiscoveryCallback qvsvGetGlobalQVObjectDiscoveryCallback() { return Queue().objectDiscovery; }
qvsvObjectDiscoveryCallback qvsvClearGlobalQVObjectDiscoveryCallback() {
  return exchangeSlot<qvsvObjectDiscoveryCallback>(Queue().objectDiscovery, nullptr);
}
