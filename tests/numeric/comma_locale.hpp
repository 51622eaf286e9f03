// A C locale whose decimal point is ',' for the calling thread, to check the
// formatter under the locale-dependent half of its round-trip test.
#pragma once

#include <locale.h>

#include <string>

namespace qvsv::test {

// Makes LC_NUMERIC of a comma locale current for this thread (uselocale) while
// it lives. It uses an installed locale (de_DE, fr_FR, ...) when there is one;
// otherwise it compiles de_DE from the C library's locale sources (Debian's
// `locales` package) into a temporary folder once per process. When neither
// works, available() is false and reason() says why.
class ScopedCommaLocale {
 public:
  ScopedCommaLocale();
  ~ScopedCommaLocale();
  ScopedCommaLocale(const ScopedCommaLocale&) = delete;
  ScopedCommaLocale& operator=(const ScopedCommaLocale&) = delete;

  bool available() const { return previous_ != nullptr; }
  // The locale used, or why there is none.
  const std::string& description() const;

 private:
  locale_t previous_ = nullptr;
};

}  // namespace qvsv::test
