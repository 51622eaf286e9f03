// Testing hooks: named integers that test code sets to steer the product into
// states ordinary use does not reach.
//
// Each hook is a static QvTestingHook object that enters itself in a registry
// at static initialisation (one entry per name; a second hook of the same name
// does not replace the first). Reads and sets by name are public; an unknown
// name throws qvsv::except::DiagnosticException with identifier
// "QV_SERVICES:utils:InvalidHookName" and changes nothing. Main thread only.
#pragma once

#include <functional>
#include <string>

#include "qv_services/export.hpp"
#include "tessel/array.hpp"

class QVSV_API QvTestingHook {
 public:
  // The strings are not copied: pass literals. The hook registers itself.
  QvTestingHook(const char* name, const char* description, const char* fileRegistered, const char* owner,
                int defaultState, std::function<void(int)> callback = {});
  // The copy is not registered.
  QvTestingHook(const QvTestingHook& other);
  QvTestingHook& operator=(const QvTestingHook&) = delete;
  // Leaves the registry entry in place: hooks live as long as the process.
  ~QvTestingHook();

  // Counts a read and returns the hook's state.
  static int getHookValue(const std::string& name);
  // Stores value, calls the callback with it, returns the previous state.
  static int setHookValue(const std::string& name, int value);
  // A 1 x N struct array ("Name", "State", "DefaultState") in name order.
  static txArray* getHookReport();

  const char* name() const { return name_; }
  const char* description() const { return description_; }
  const char* fileRegistered() const { return fileRegistered_; }
  const char* owner() const { return owner_; }
  int defaultState() const { return defaultState_; }

 private:
  // Native readers in the library use these without a lookup.
  friend class QvTestingHookAccess;

  int getHookValFromC();
  int setHookValFromC(int value);

  const char* name_;
  const char* description_;
  const char* fileRegistered_;
  const char* owner_;
  int state_;
  int defaultState_;
  std::function<void(int)> callback_;
  unsigned reads_ = 0;
  unsigned unusedCounter1_ = 0;
  unsigned unusedCounter2_ = 0;
};

// The library's hooks (pointers to the static objects).
extern QVSV_API QvTestingHook* QVFEAT_QVSV_POPULATE_TSTACK;
extern QVSV_API QvTestingHook* QVFEAT_ModelReferenceTesting;
extern QVSV_API QvTestingHook* QVFEAT_ExportedTest;
