// Allocation fault injection: lets a test make every (N+1)-th allocation of a
// chosen code path fail, to prove that the path survives running out of memory.
//
// Allocation sites under test call the wrappers qvsvMalloc_DEBUG_DONT_USE_IT,
// qvsvCalloc_DEBUG_DONT_USE_IT and qvsvRealloc_DEBUG_DONT_USE_IT instead of
// the allocator, each naming an exception tester. The tester counts the calls:
// with "iteration to skip" N, calls 1 to N pass, call N+1 fires and counting
// starts again (so 2(N+1), 3(N+1), ... fire too). What firing does depends on
// QVSV_ExceptionTester::staticTesterMode:
//   -1  testers unavailable: nothing is counted, nothing fails (the default);
//    0  report mode: a line is printed to the host console, the call succeeds;
//    1  fail mode: the wrapper returns null as an exhausted allocator would;
//   other values: a firing tester passes silently.
// A failed call looks to the caller exactly like the allocator returning null;
// the caller's own out-of-memory handling must take over.
//
// Who creates the registry and sets the mode. The library itself never does:
// in a product run the mode stays -1 and the registry does not exist, so a
// wrapper costs one comparison. A test opens a qvsv::ScopedExceptionTesting,
// which creates the registry (when none exists), sets the mode, and on
// destruction restores the previous mode and, if it created the registry,
// destroys it with every tester in it: tester pointers do not outlive it.
//
//   qvsv::ScopedExceptionTesting failing(1);
//   qvsvCreateExceptionTesterByName(qvsv::fault::kHandleArray);
//   qvsvGetExceptionTesterByName(qvsv::fault::kHandleArray)->setIterationToSkip(2);
//   ... every third handle array of the library now fails ...
//
// Null input: a null tester name finds and creates nothing (the wrapper just
// allocates); a null allocator makes the wrapper return null; null file and
// function names print as "<unknown file>" and "<unknown function>". No locks:
// fault injection is for single-threaded test runs.
#pragma once

#include <cstddef>
#include <string>

#include "qv_services/diagnostic.hpp"

class QVSV_API QVSV_ExceptionTester {
 public:
  using AllocFunction = void* (*)(std::size_t size);
  using CallocFunction = void* (*)(std::size_t count, std::size_t size);
  using ReallocFunction = void* (*)(void* block, std::size_t size);

  static constexpr int kNeverFire = 2147483647;

  // -1, 0, 1 or another value, as described above. Read on every call.
  static int staticTesterMode;

  // Counter 0, skip kNeverFire, disabled.
  explicit QVSV_ExceptionTester(const std::string& name);
  QVSV_ExceptionTester(const QVSV_ExceptionTester& other);
  QVSV_ExceptionTester& operator=(const QVSV_ExceptionTester& other);
  ~QVSV_ExceptionTester();

  // n >= 0 sets the skip and enables the tester; a negative n is ignored.
  void setIterationToSkip(int n);
  int getIterationToSkip() const { return iterationToSkip_; }
  bool isEnabled() const { return enabled_; }
  void setEnabled(bool enabled) { enabled_ = enabled; }
  // Skip back to kNeverFire, disabled.
  void resetIterationToSkip();
  // Counter back to 0.
  void resetIterationToThrow();
  // Calls seen since the tester last fired.
  int getCounter() const { return counter_; }
  const std::string& name() const { return name_; }

  // Whether the mode is not -1.
  static bool isXTesterAvailable();

  // Counts one call of the given kind ("Alloc", "Calloc", "Realloc") and
  // returns true when it is to fail. In mode 0 a firing call prints
  // "<kind> after 0. File: <file>; function: <function>; line: <line>"; the
  // count printed is the one after the reset, so it always reads 0 (kept so).
  bool handleTester(const char* kind, const char* file, const char* function, int line);

  // The allocator's result, or null without calling it when the call fails.
  // A failed reallocation leaves the block as it was.
  void* reportAlloc(AllocFunction alloc, std::size_t size, const char* file, const char* function, int line);
  void* reportCalloc(CallocFunction alloc, std::size_t count, std::size_t size, const char* file,
                     const char* function, int line);
  void* reportRealloc(ReallocFunction alloc, void* block, std::size_t size, const char* file,
                      const char* function, int line);

  // The counterpart for paths that raise diagnostics instead of allocating.
  // When the tester fires, a diagnostic "QV_SERVICES:utils:InjectedException"
  // with the text "Exception was thrown after <skip + 1>. File: ...;
  // function: ...; line: ..." becomes the diagnostic (when null) or a cause of
  // its last item. Mode 1 then throws qvsv::except::DiagnosticException
  // carrying it; mode 0 prints "<last item's message> (interruption enabled:
  // 0|1)". A call that does not throw always consumes the diagnostic.
  void reportException(const char* file, const char* function, int line, qvsvDiagnosticImpl*& diagnostic);

 private:
  int counter_ = 0;
  int iterationToSkip_ = kNeverFire;
  bool enabled_ = false;
  std::string name_;
};

// --- The registry of testers. Without a registry (no ScopedExceptionTesting
// open) nothing is created and nothing found. ---
// Adds a tester of that name unless one is present.
QVSV_API void qvsvCreateExceptionTesterByName(const char* name);
// The tester, owned by the registry; null when unknown.
QVSV_API QVSV_ExceptionTester* qvsvGetExceptionTesterByName(const char* name);

// --- The wrapped allocators. While the mode is not -1 they create the named
// tester if needed and let it decide; otherwise (and whenever the tester does
// not fail the call) they return the allocator's result. For debugging and
// tests of out-of-memory paths only, as the names say. ---
QVSV_API void* qvsvMalloc_DEBUG_DONT_USE_IT(QVSV_ExceptionTester::AllocFunction alloc, std::size_t size,
                                            const char* testerName, const char* file, const char* function,
                                            int line);
QVSV_API void* qvsvCalloc_DEBUG_DONT_USE_IT(QVSV_ExceptionTester::CallocFunction alloc, std::size_t count,
                                            std::size_t size, const char* testerName, const char* file,
                                            const char* function, int line);
QVSV_API void* qvsvRealloc_DEBUG_DONT_USE_IT(QVSV_ExceptionTester::ReallocFunction alloc, void* block,
                                             std::size_t size, const char* testerName, const char* file,
                                             const char* function, int line);

namespace qvsv {

// Opens fault injection for its lifetime (see the top of this header). Scopes
// nest; the outermost one owns the registry.
class QVSV_API ScopedExceptionTesting {
 public:
  explicit ScopedExceptionTesting(int mode);
  ~ScopedExceptionTesting();
  ScopedExceptionTesting(const ScopedExceptionTesting&) = delete;
  ScopedExceptionTesting& operator=(const ScopedExceptionTesting&) = delete;

 private:
  int previousMode_;
  bool ownsRegistry_;
};

// The testers of the library's own host-allocator call sites.
namespace fault {
// Object-handle arrays of items (creation, item copy, setting handles).
inline constexpr const char kHandleArray[] = "qvsv.HandleArray";
// The buffer of qvsvGetTLStyleMessageIdentifier (it throws tessel::OutOfMemory).
inline constexpr const char kTLStyleIdentifier[] = "qvsv.TLStyleIdentifier";
// The copies of qvsvStrdup and qvsvStrndup (they return null).
inline constexpr const char kDuplicatedString[] = "qvsv.DuplicatedString";
// The C string of qvsvSerializeToFormattedStringCreate (it throws tessel::OutOfMemory).
inline constexpr const char kFormattedCString[] = "qvsv.FormattedCString";
// The argument texts of the XML argument form (a text that cannot be copied
// is written as "<arg</arg>", which does not restore).
inline constexpr const char kXmlArgumentText[] = "qvsv.XmlArgumentText";
// Every allocation of the XML reader's parser (a failed one fails the
// restore with its error diagnostic, or gives the out-of-memory diagnostic
// when the parser cannot be made).
inline constexpr const char kXmlParser[] = "qvsv.XmlParser";

inline constexpr const char* kLibraryTesters[] = {kHandleArray,     kTLStyleIdentifier, kDuplicatedString,
                                                  kFormattedCString, kXmlArgumentText,  kXmlParser};
}  // namespace fault

}  // namespace qvsv
