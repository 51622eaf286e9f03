// The error queue: a caller's diagnostic pointer that the library grows,
// trims, merges and releases under one process-wide limit, with the overflow
// item at the limit, pending work (candidates) and the process-wide callbacks
// that the queue and the renderings consult.
//
// queue& is the caller's pointer; null is an empty queue. Merging hands the
// source over (the caller's source pointer becomes null). No operation throws
// for queue trouble: overflow shows as the last item
// "QV_SERVICES:utils:TooManyErrorsErr", a failed handle conversion as the
// out-of-memory item. Main thread only.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "qv_services/diagnostic.hpp"

// --- The limit L (default 128; 0 means no limit) and the overflow marker. ---
QVSV_API int qvsvGetMaxDiagnosticsInQueue();
// Stores max(n, 0); returns null.
QVSV_API qvsvDiagnosticImpl* qvsvSetMaxDiagnosticsInQueue(int n);
QVSV_API bool qvsvIsLastErrorTooManyErrors(qvsvDiagnosticImpl* const& queue);

// Whether creators of diagnostics leave out the detailed call stack.
QVSV_API void qvsvSetSkipDetailedStackDiagnostics(bool skip);
QVSV_API bool qvsvShouldSkipDetailedStackDiagnostics();

// --- Merging: src's items move into dest (at its front or end) under the
// limit; src is released. Nothing happens when src is null or is dest; an
// empty src stays with the caller. Nothing happens either, and both pointers
// stay as they are, when the merge would make a cycle (dest is the cause of an
// item inside src, at any depth, or the cause field of such an item), when an
// item holds src as its cause (src is then that item's, not the caller's), or
// when a process callback is receiving src's handles. Out of memory (the
// overflow item's place, the candidates), dest ends with the out-of-memory
// item and src is released all the same; a null dest that cannot be made
// throws std::bad_alloc after releasing src. ---
QVSV_API void qvsvConcatenateDiagnostics(qvsvDiagnosticImpl*& dest, qvsvDiagnosticImpl*& src, bool atFront);
QVSV_API void qvsvConcatenateDiagnostics(qvsvDiagnosticImpl*& dest, qvsvDiagnosticImpl*&& src, bool atFront);
// Overwrites target's last item with a copy of replacement's last item and
// releases replacement (when either is null or empty, only the release). A
// copy that cannot be finished leaves the out-of-memory item in its place.
QVSV_API void qvsvReplaceLastDiagnostic(qvsvDiagnosticImpl* target, qvsvDiagnosticImpl*& replacement);
// Replace the last item's arguments (positional, or named string arguments
// stored in name order) and render its message again from the catalogue
// when its identifier names a catalogued message.
QVSV_API void qvsvReplaceLastDiagnosticArguments(qvsvDiagnosticImpl*& queue, const qvsvArgumentVector& arguments);
QVSV_API void qvsvReplaceLastDiagnosticStringArguments(qvsvDiagnosticImpl*& queue,
                                                       const std::map<std::u16string, std::u16string>& arguments);

// --- Clearing. ---
// Removes items from fromIndex on (0 also empties the candidates); with
// release the diagnostic is then released. Returns the queue pointer.
QVSV_API qvsvDiagnosticImpl* qvsvClearDiagnosticQueue(qvsvDiagnosticImpl*& queue, int fromIndex, bool release);
// Removes the last item; releases the queue once it is empty.
QVSV_API void qvsvClearLastError(qvsvDiagnosticImpl*& queue);
// Destroys every live pooled diagnostic marked reusable and not static.
QVSV_API void qvsvCleanUpErrorQueue();
// Destroys every live pooled diagnostic that has items and is not static,
// then cleans up as above; every pointer to them becomes invalid. Returns null.
// Deliberately spared: a diagnostic that is the cause of any live item (it
// goes with that item, which may belong to a subclass diagnostic outside the
// pool), and one whose candidates are being processed (released when that
// processing ends) or whose handles a process callback is receiving.
QVSV_API qvsvDiagnosticImpl* qvsvClearDiagnosticQueuePool();

// --- Candidates: pending work attached to a queue. ---
// Adds candidate once (a null queue or candidate: nothing).
QVSV_API void qvsvAddCandidateToErrorQueueFcn(qvsvDiagnosticImpl*& queue, void* candidate);
// Any callable, capturing lambdas included.
using qvsvCandidateFunction = std::function<void(qvsvDiagnosticImpl* queue, void* candidate)>;
// Calls fn once per candidate in insertion order, then empties them; a call
// from inside fn does nothing. A null queue or empty function: nothing. fn may
// release its queue or merge it away: the processing then stops after that
// call, the queue is released when it ends, and the caller's pointer becomes
// null (unless fn already made it point elsewhere).
QVSV_API void qvsvProcessErrorFcn(qvsvDiagnosticImpl*& queue, const qvsvCandidateFunction& fn);

// --- Handles of the last item. ---
// A copy of count handles replaces the last item's (nothing unless handles is
// non-null, count > 0 and the queue has a last item).
QVSV_API void qvsvSetHandlesInErrorQueueLastDiagnostic(const double* handles, int count, qvsvDiagnosticImpl*& queue);
// Converts the non-null objects with the converter; the handles stay pending
// for the given callback. A converter that fails with a positive count turns
// the item into the out-of-memory item.
QVSV_API void qvsvSetHandlesInErrorQueueLastDiagnostic(const QVSVKSObjectBase* const* objects, int count,
                                                       qvsvProcessCallback callback, qvsvHandleConverter converter,
                                                       qvsvDiagnosticImpl*& queue);
QVSV_API void qvsvSetHandlesInErrorQueueLastDiagnostic(qvsvObjectIterator first, qvsvObjectIterator last,
                                                       qvsvProcessCallback callback, qvsvHandleConverter converter,
                                                       qvsvDiagnosticImpl*& queue);
QVSV_API void qvsvSetHandlesInErrorQueueLastDiagnostic(const qvsvObjectVector& objects, qvsvProcessCallback callback,
                                                       qvsvHandleConverter converter, qvsvDiagnosticImpl*& queue);

// --- The process-wide callbacks. Each setter stores the new value and
// returns the previous one; each clearer stores null and returns the previous. ---
using qvsvCreateHotlinkCallback = double (*)(std::u16string& text, bool forced);
using qvsvExtraMessageCallback = void (*)(const double* handles, int count, std::u16string& extraMessage,
                                          std::vector<double>& extraHandles);
using qvsvObjectDiscoveryCallback = void (*)(const resource_core::BaseMsgID& id, std::u16string& message,
                                             std::vector<double>& handles, const std::vector<int>& objects);

QVSV_API qvsvProcessCallback qvsvSetGlobalProcessCallback(qvsvProcessCallback callback);
QVSV_API qvsvProcessCallback qvsvGetGlobalProcessCallback();
QVSV_API qvsvProcessCallback qvsvClearGlobalProcessCallback();
QVSV_API qvsvCreateHotlinkCallback qvsvSetGlobalQVCreateHotlinkCallback(qvsvCreateHotlinkCallback callback);
QVSV_API qvsvCreateHotlinkCallback qvsvGetGlobalQVCreateHotlinkCallback();
QVSV_API qvsvCreateHotlinkCallback qvsvClearGlobalQVCreateHotlinkCallback();
QVSV_API qvsvExtraMessageCallback qvsvSetGlobalQVExtraMessageCallback(qvsvExtraMessageCallback callback);
QVSV_API qvsvExtraMessageCallback qvsvGetGlobalQVExtraMessageCallback();
QVSV_API qvsvExtraMessageCallback qvsvClearGlobalQVExtraMessageCallback();
QVSV_API qvsvObjectDiscoveryCallback qvsvSetGlobalQVObjectDiscoveryCallback(qvsvObjectDiscoveryCallback callback);
QVSV_API qvsvObjectDiscoveryCallback qvsvGetGlobalQVObjectDiscoveryCallback();
QVSV_API qvsvObjectDiscoveryCallback qvsvClearGlobalQVObjectDiscoveryCallback();
