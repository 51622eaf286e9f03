// The host's foundation library: the global locale name, a locale-independent
// decimal parser and the out-of-memory exception.
#pragma once

#include <new>
#include <string>

#include "tessel/export.hpp"

namespace tessel {

// The host's global locale name (default "en_US"). The message catalogue's
// current locale and the collator follow it. Main thread only.
TESSEL_API std::string GetGlobalLocaleName();
// An empty name restores the default.
TESSEL_API void SetGlobalLocaleName(const std::string& name);

// Sets the global locale for the scope's lifetime.
class TESSEL_API ScopedGlobalLocale {
 public:
  explicit ScopedGlobalLocale(const std::string& name);
  ~ScopedGlobalLocale();
  ScopedGlobalLocale(const ScopedGlobalLocale&) = delete;
  ScopedGlobalLocale& operator=(const ScopedGlobalLocale&) = delete;

 private:
  std::string previous_;
};

// strtod that always reads '.' as the decimal point, whatever the C locale.
// Same contract as std::strtod (end may be null; a null text parses nothing).
TESSEL_API double StrtodLocaleIndependent(const char* text, char** end);

// Thrown by utMallocWithCheck and other checked allocations.
class TESSEL_API OutOfMemory : public std::bad_alloc {
 public:
  const char* what() const noexcept override;
};

}  // namespace tessel
