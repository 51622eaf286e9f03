// Who hears of reported diagnostics: listeners that may claim a diagnostic,
// named callbacks that see each diagnostic or each message identifier, and
// counters.
//
// The reporting functions (reporting.hpp) run, in this order: the warn-once
// filters (warnings only), the counters and identifier callbacks, the
// diagnostic callbacks (which may consume the diagnostic), then the listeners
// (warnings only while the feature MessageViewer is exactly 1), and finally
// the host display for what nobody took.
//
// Registries hold no strong references: a listener whose owner dropped it is
// skipped. Everything here runs on the host's main thread, without locks.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "qv_services/diagnostic.hpp"

namespace qvsv::detail {
struct WarnOnceFilter;
}  // namespace qvsv::detail

namespace qvsv::util {

// The kind of report: 1 warning, 2 error, 3 information.
enum qvsvDiagnosticListenerContext : int {
  kWarningContext = 1,
  kErrorContext = 2,
  kInformationContext = 3,
};

class QVSV_API CDiagnosticListener {
 public:
  virtual ~CDiagnosticListener();
  // True when the listener takes the diagnostic (the report then releases it).
  virtual bool notify(qvsvDiagnosticImpl* const& diag, qvsvDiagnosticListenerContext context,
                      const std::u16string& text) = 0;
  virtual const char* name() const = 0;

  // notify with an empty text.
  bool notifyAboutDiagnostic(qvsvDiagnosticImpl* const& diag, qvsvDiagnosticListenerContext context);
};

using DiagnosticCallback = std::function<void(qvsvDiagnosticImpl*&)>;
using IDDiagnosticCallback = std::function<void(std::shared_ptr<resource_core::BaseMsgID>&, void*)>;

}  // namespace qvsv::util

// --- Listeners, walked in ascending name order; the first that takes a
// diagnostic hides it from those after it. With no listener registered at all,
// the built-in default listener shows warnings through qvsvWarning. ---
// False for null. A name already registered keeps its entry unless that
// listener has expired, in which case the new one replaces it.
QVSV_API bool qvsvRegisterDiagnosticListener(const std::shared_ptr<qvsv::util::CDiagnosticListener>& listener);
QVSV_API void qvsvUnRegisterDiagnosticListener(const std::string& name);
// False for a null or empty diagnostic, and when nobody took it.
QVSV_API bool qvsvNotifyDiagnosticListeners(qvsvDiagnosticImpl* const& diag,
                                            qvsv::util::qvsvDiagnosticListenerContext context);

// --- Diagnostic callbacks, called in name order with the caller's pointer; a
// callback may consume the diagnostic (release it and null the pointer), which
// ends the report. A name already registered: false, nothing changes. ---
QVSV_API bool qvsvRegisterDiagnosticCallback(const std::string& name, qvsv::util::DiagnosticCallback fn);
QVSV_API void qvsvUnRegisterDiagnosticCallback(const std::string& name);

// --- Identifier callbacks, keyed by (name, owner): called once per top-level
// item of every reported diagnostic with that item's identifier and
// arguments, and their owner. They observe; they cannot consume. ---
QVSV_API bool qvsvRegisterIDDiagnosticCallback(const std::string& name, qvsv::util::IDDiagnosticCallback fn,
                                               void* owner);
QVSV_API void qvsvUnRegisterIDDiagnosticCallback(const std::string& name, void* owner);

// --- Diagnostic counters, keyed by (text, owner). Every report of a non-empty
// diagnostic that passes the warn-once filters adds one to (identifier, null)
// for each of its top-level items; callers may count anything under their own
// owner. Reset sets an owner's counters to 0 and keeps their keys; clear
// removes the keys. ---
QVSV_API unsigned qvsvGetDiagnosticCounterValue(const std::string& key, void* owner);
QVSV_API void qvsvIncrementDiagnosticCounterValue(const std::string& key, void* owner);
QVSV_API void qvsvResetDiagnosticCounters(void* owner);
QVSV_API void qvsvClearDiagnosticCounters(void* owner);
// The keys an owner has counters for, in order.
QVSV_API std::vector<std::string> qvsvGetDiagnosticCounterKeys(void* owner);

namespace qvsv::util {

// The built-in listener used when none is registered: it shows a duplicate of
// each warning through qvsvWarning (never back through the listeners) and
// takes it; it takes nothing else.
class QVSV_API CDefaultWarningListener : public CDiagnosticListener {
 public:
  bool notify(qvsvDiagnosticImpl* const& diag, qvsvDiagnosticListenerContext context,
              const std::u16string& text) override;
  const char* name() const override { return "__default_diagnostic_listener__"; }
};

// The listener that tests use to capture warnings (while MessageViewer is 1),
// registered while a TestWarningHelper lives.
class QVSV_API TestWarningListener : public CDiagnosticListener {
 public:
  ~TestWarningListener() override;
  bool notify(qvsvDiagnosticImpl* const& diag, qvsvDiagnosticListenerContext context,
              const std::u16string& text) override;
  const char* name() const override { return "__TestWarningListener__"; }
  const std::vector<qvsvDiagnosticImpl*>& captured() const { return captured_; }

 private:
  std::vector<qvsvDiagnosticImpl*> captured_;  // duplicates, owned
};

// Registers the test listener for its lifetime (helpers nest and share one
// listener) and reads what it captured; index i out of range reads as empty.
class QVSV_API TestWarningHelper {
 public:
  TestWarningHelper();
  ~TestWarningHelper();
  TestWarningHelper(const TestWarningHelper&) = delete;
  TestWarningHelper& operator=(const TestWarningHelper&) = delete;

  static unsigned getNumberCapturedDiagnostics();
  static std::string getDiagnosticID(unsigned i);
  static std::u16string getDiagnosticMessage(unsigned i);
  static qvsvArgumentVector getDiagnosticArguments(unsigned i);
  static std::vector<double> getDiagnosticHandles(unsigned i);

 private:
  std::shared_ptr<TestWarningListener> listener_;
};

// Registers a counting callback under a name for its lifetime, with
// qvsvRegisterDiagnosticCallback. As for any registration, a name already
// present refuses it: while another callback (or an earlier scope) holds the
// name, a second scope of that name hears nothing, and it does not take the
// name over when the holder ends. Ending a scope removes only its own
// registration, never one that someone else made under the name, and never
// brings back an earlier one; so scopes may end in any order, on the heap or as
// members, and even from inside their own callback.
class QVSV_API ScopedDiagnosticListener {
 public:
  ScopedDiagnosticListener(const std::string& name, const DiagnosticCallback& fn);
  ~ScopedDiagnosticListener();
  ScopedDiagnosticListener(const ScopedDiagnosticListener&) = delete;
  ScopedDiagnosticListener& operator=(const ScopedDiagnosticListener&) = delete;

  // Counts, then calls the user function.
  void callBack(qvsvDiagnosticImpl*& diag);
  unsigned counter() const { return counter_; }
  void resetCounter() { counter_ = 0; }

 private:
  std::string name_;
  DiagnosticCallback fn_;
  unsigned counter_ = 0;
};

// The same for identifier callbacks, keyed by (name, owner): the first scope
// of a (name, owner) pair registers, later ones of the pair are refused.
class QVSV_API ScopedIDDiagnosticListener {
 public:
  ScopedIDDiagnosticListener(const std::string& name, const IDDiagnosticCallback& fn, void* owner);
  ~ScopedIDDiagnosticListener();
  ScopedIDDiagnosticListener(const ScopedIDDiagnosticListener&) = delete;
  ScopedIDDiagnosticListener& operator=(const ScopedIDDiagnosticListener&) = delete;

  void callBack(std::shared_ptr<resource_core::BaseMsgID>& id, void* owner);
  unsigned counter() const { return counter_; }
  void resetCounter() { counter_ = 0; }

 private:
  std::string name_;
  void* owner_;
  IDDiagnosticCallback fn_;
  unsigned counter_ = 0;
};

// While it lives, a warning whose identifier (any top-level item's) is the
// filter's name passes once; later ones are released before anything else
// sees them (they are not counted either). Filters of the same identifier and
// owner nest: the innermost one decides, starting from zero. Filters of
// different owners each let one through, so all of them must agree to pass.
class QVSV_API ScopedWarnOnceFilter {
 public:
  ScopedWarnOnceFilter(const std::string& identifier, void* const owner);
  ~ScopedWarnOnceFilter();
  ScopedWarnOnceFilter(const ScopedWarnOnceFilter&) = delete;
  ScopedWarnOnceFilter& operator=(const ScopedWarnOnceFilter&) = delete;

 private:
  std::unique_ptr<detail::WarnOnceFilter> filter_;
};

}  // namespace qvsv::util

// The contexts' enumeration table ("DiagnosticListenerContext": names, values
// and display texts; enum_table.hpp).
template <typename E>
class qvsvEnumTable;
extern QVSV_API const qvsvEnumTable<qvsv::util::qvsvDiagnosticListenerContext>* QVENUM_DiagnosticListenerContext;
