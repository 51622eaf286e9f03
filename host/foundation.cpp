#include "tessel/foundation.hpp"

#include <clocale>
#include <cstdlib>
#include <locale.h>

namespace tessel {
namespace {

std::string& globalLocale() {
  static std::string name = "en_US";
  return name;
}

// The "C" locale object that strtod_l reads with; made once, kept for the process.
locale_t cLocale() {
  static locale_t locale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
  return locale;
}

}  // namespace

std::string GetGlobalLocaleName() { return globalLocale(); }

void SetGlobalLocaleName(const std::string& name) { globalLocale() = name.empty() ? "en_US" : name; }

ScopedGlobalLocale::ScopedGlobalLocale(const std::string& name) : previous_(GetGlobalLocaleName()) {
  SetGlobalLocaleName(name);
}

ScopedGlobalLocale::~ScopedGlobalLocale() { SetGlobalLocaleName(previous_); }

double StrtodLocaleIndependent(const char* text, char** end) {
  if (text == nullptr) {
    if (end != nullptr) *end = nullptr;
    return 0.0;
  }
  return strtod_l(text, end, cLocale());
}

const char* OutOfMemory::what() const noexcept { return "Out of memory. The host allocator could not satisfy a request."; }

}  // namespace tessel
