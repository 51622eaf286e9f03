// Warning suppression and warning states: which warnings a report hides,
// shows once, or turns into errors.
//
// Two tables, both keyed by identifier pattern. A pattern is either an exact
// identifier ("Quiver:blocks:AlgebraicLoop") or a prefix ending in ":*"
// ("Quiver:blocks:*", which covers every identifier that begins with
// "Quiver:blocks:"). Any other use of '*', an empty pattern, a bare ":*" and
// control characters are refused with std::invalid_argument naming the text.
//
// - The suppression database lists what warnings hide. An entry covers every
//   item whose identifier its pattern matches, or, when it names an object
//   handle, only such items whose handles include that handle. The database
//   acts only while the feature DiagnosticSuppressor is non-zero; at 0 it
//   keeps its entries and suppresses nothing.
// - Warning states decide, per identifier, what a changeable warning does:
//   on (the default), off, once, or error. The most specific pattern decides:
//   the exact identifier, then the longest matching prefix. States do not
//   depend on the feature.
//
// Rules of the design:
// - Errors, information and high-priority warnings are never hidden; only the
//   warning reports of reporting.hpp consult these tables.
// - Hidden warnings are not lost without trace: each still adds one to the
//   diagnostic counter of its identifier (listeners.hpp) and to the hidden
//   counts below.
// - Asking costs the same however many entries there are: a lookup takes one
//   hash probe per ':' of the identifier (and per handle of the item).
// - The tables are process-wide, owned by the library, and used on the host's
//   main thread without locks, like the listener registries.
//
//   qvsv::util::ScopedDiagnosticSuppression scope;
//   scope.suppress("Quiver:blocks:AlgebraicLoop", 12.0001);   // one block only
//   scope.setWarningState("Quiver:blocks:*", qvsvWarningState::kOnce);
//   qvsvReportAsChangeableWarning(diag);                       // see reporting.hpp
#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "qv_services/diagnostic.hpp"

// One entry of the suppression database; no handle means every handle.
struct qvsvSuppression {
  std::string pattern;
  std::optional<double> handle;
  bool operator==(const qvsvSuppression&) const = default;
};

// --- The suppression database. Handles must be finite numbers
// (std::invalid_argument otherwise); 0.0 and -0.0 are one handle. ---
// True when the entry is new.
QVSV_API bool qvsvAddDiagnosticSuppression(const std::string& pattern);
QVSV_API bool qvsvAddDiagnosticSuppression(const std::string& pattern, double handle);
// True when the entry existed. Removing the handle-free entry leaves the
// pattern's handle entries, and the other way round.
QVSV_API bool qvsvRemoveDiagnosticSuppression(const std::string& pattern);
QVSV_API bool qvsvRemoveDiagnosticSuppression(const std::string& pattern, double handle);
// Whether an entry covers the identifier for every handle.
QVSV_API bool qvsvIsDiagnosticSuppressed(const std::string& identifier);
// Whether an entry covers the identifier for this handle (an entry for every
// handle does).
QVSV_API bool qvsvIsDiagnosticSuppressed(const std::string& identifier, double handle);
// Whether an entry covers the item: one for every handle, or one for any of
// the item's handles. False for a null diagnostic or a missing item. These
// queries answer from the entries alone; a report also needs the feature.
QVSV_API bool qvsvIsDiagnosticItemSuppressed(qvsvDiagnosticImpl* const& diag, unsigned index);
// Every entry, ordered by pattern (byte order), the handle-free entry of a
// pattern before its handle entries, handles ascending.
QVSV_API std::vector<qvsvSuppression> qvsvGetDiagnosticSuppressions();
QVSV_API void qvsvClearDiagnosticSuppressions();

// --- Warning states. ---
enum class qvsvWarningState : int {
  kOn = 0,     // shown as a warning
  kOff = 1,    // released unseen, counted
  kOnce = 2,   // shown the first time per identifier, then counted only, until the state is set again
  kError = 3,  // reported as an error (context 2)
};

// "on", "off", "once", "error".
QVSV_API const char* qvsvWarningStateName(qvsvWarningState state);
// The inverse; std::invalid_argument naming the text for anything else.
QVSV_API qvsvWarningState qvsvParseWarningState(const std::string& name);

// The state of an identifier and the pattern that decided it (empty when no
// pattern matches and the default, on, applies).
struct qvsvWarningStateDecision {
  qvsvWarningState state = qvsvWarningState::kOn;
  std::string pattern;
  bool operator==(const qvsvWarningStateDecision&) const = default;
};

// Setting a pattern's state, even to the same value, starts its "once"
// memory afresh.
QVSV_API void qvsvSetWarningState(const std::string& pattern, qvsvWarningState state);
// True when the pattern had a state; its identifiers fall back to less
// specific patterns.
QVSV_API bool qvsvRemoveWarningState(const std::string& pattern);
QVSV_API qvsvWarningStateDecision qvsvGetWarningState(const std::string& identifier);
// Every pattern with a state, ordered by pattern (byte order).
QVSV_API std::vector<std::pair<std::string, qvsvWarningState>> qvsvGetWarningStates();
QVSV_API void qvsvClearWarningStates();

// --- What the warning reports hid, per identifier, since the last reset. ---
struct qvsvHiddenWarningCounts {
  unsigned suppressed = 0;   // by the suppression database
  unsigned switchedOff = 0;  // by the state off
  unsigned repeated = 0;     // repeats of the state once, and of report-once warnings
  unsigned total() const { return suppressed + switchedOff + repeated; }
  bool operator==(const qvsvHiddenWarningCounts&) const = default;
};

// Zero counts for an identifier never hidden.
QVSV_API qvsvHiddenWarningCounts qvsvGetHiddenWarningCounts(const std::string& identifier);
// Every identifier hidden since the last reset, in byte order.
QVSV_API std::map<std::string, qvsvHiddenWarningCounts> qvsvGetAllHiddenWarningCounts();
QVSV_API void qvsvResetHiddenWarningCounts();

// --- The memory of qvsvReportAsWarningOnce (reporting.hpp). ---
// The identifier may be shown once more; true when it had been shown.
QVSV_API bool qvsvResetWarningReportedOnce(const std::string& identifier);
QVSV_API void qvsvResetAllWarningsReportedOnce();

// --- Suppression files: a small XML document holding the entries and the
// states,
//
//   <?xml version="1.0" encoding="UTF-8"?>
//   <diag_suppressions version="1">
//     <suppress pattern="Quiver:blocks:*"/>
//     <suppress pattern="Quiver:blocks:AlgebraicLoop" handle="12.0001"/>
//     <state pattern="Quiver:demo:Noisy" value="off"/>
//   </diag_suppressions>
//
// Loading replaces both tables, or, when the document has any fault, changes
// nothing. Each returns null on success, else a diagnostic the caller owns:
// "QV_SERVICES:suppressor:BadSuppressionFile" names the source, the line and
// the column (both counted from 1) and the fault;
// "QV_SERVICES:suppressor:CannotReadSuppressionFile" and
// "...:CannotWriteSuppressionFile" name the path. Document type declarations
// are refused. ---
// The document of the current tables (entries and states in listing order).
QVSV_API std::string qvsvWriteDiagnosticSuppressions();
[[nodiscard]] QVSV_API qvsvDiagnosticImpl* qvsvSaveDiagnosticSuppressions(const std::string& path);
// source names the document in messages.
[[nodiscard]] QVSV_API qvsvDiagnosticImpl* qvsvReadDiagnosticSuppressions(const std::string& document,
                                                                         const std::string& source);
[[nodiscard]] QVSV_API qvsvDiagnosticImpl* qvsvLoadDiagnosticSuppressions(const std::string& path);

namespace qvsv::util {

// Changes entries and states for a region. When it ends (normally or by an
// exception) every pattern it touched gets back exactly what it had before
// the scope first touched it: its entries, its state and its once memory.
// Scopes nest; they must end in reverse order of their making, as automatic
// objects do. Changes made around the scope to patterns it did not touch stay.
class QVSV_API ScopedDiagnosticSuppression {
 public:
  ScopedDiagnosticSuppression();
  ~ScopedDiagnosticSuppression();
  ScopedDiagnosticSuppression(const ScopedDiagnosticSuppression&) = delete;
  ScopedDiagnosticSuppression& operator=(const ScopedDiagnosticSuppression&) = delete;

  // The same answers as the free functions of the same meaning.
  bool suppress(const std::string& pattern);
  bool suppress(const std::string& pattern, double handle);
  bool unsuppress(const std::string& pattern);
  bool unsuppress(const std::string& pattern, double handle);
  void setWarningState(const std::string& pattern, qvsvWarningState state);
  bool removeWarningState(const std::string& pattern);

 private:
  struct UndoLog;
  UndoLog* undo_;  // owned
};

}  // namespace qvsv::util
