#include "tests/numeric/comma_locale.hpp"

#include <langinfo.h>

#include <cstdlib>
#include <filesystem>
#include <memory>

#include "tests/support/test_support.hpp"

// glibc's newlocale keeps the LOCPATH list it splits (argz) and never frees
// it: a one-time allocation of the C library, not of this code. The frame is
// named __argz_add_sep only where glibc's debug symbols are installed and
// argz_add_sep (the exported alias) elsewhere, as on a fresh machine; the
// patterns match names containing them, so they cover both.
extern "C" const char* __lsan_default_suppressions() { return "leak:argz_add_sep\nleak:argz_create_sep\n"; }

namespace qvsv::test {
namespace {

// Opens LC_NUMERIC of the named locale if its decimal point is a comma.
locale_t openComma(const std::string& name) {
  locale_t locale = newlocale(LC_NUMERIC_MASK, name.c_str(), static_cast<locale_t>(nullptr));
  if (locale != nullptr && std::string(nl_langinfo_l(RADIXCHAR, locale)) != ",") {
    freelocale(locale);
    locale = nullptr;
  }
  return locale;
}

// The process's one comma locale: an installed one, or else de_DE compiled
// from the C library's locale sources into a temporary folder, which glibc
// opens without installing because it reads LOCPATH on every newlocale.
struct CommaLocale {
  CommaLocale() {
    for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "fr_FR.utf8", "nl_NL.UTF-8"}) {
      if ((locale = openComma(name)) != nullptr) {
        description = std::string("installed locale ") + name;
        return;
      }
    }
    const std::string command =
        "localedef -i de_DE -f ISO-8859-1 '" + (folder.path() / "de_DE.ISO-8859-1").string() + "' >/dev/null 2>&1";
    const int status = std::system(command.c_str());
    ScopedEnv path("LOCPATH", folder.path().string());
    locale = openComma("de_DE.ISO-8859-1");
    description = locale != nullptr ? "de_DE compiled with localedef into a temporary folder"
                                    : "no comma locale is installed and '" + command + "' did not make one (status " +
                                          std::to_string(status) + "; the Debian package 'locales' provides it)";
  }
  ~CommaLocale() {
    if (locale != nullptr) freelocale(locale);
  }
  TempDir folder;
  locale_t locale = nullptr;
  std::string description;
};

CommaLocale& commaLocale() {
  static CommaLocale instance;
  return instance;
}

}  // namespace

ScopedCommaLocale::ScopedCommaLocale() {
  if (commaLocale().locale != nullptr) previous_ = uselocale(commaLocale().locale);
}

ScopedCommaLocale::~ScopedCommaLocale() {
  if (previous_ != nullptr) uselocale(previous_);
}

const std::string& ScopedCommaLocale::description() const { return commaLocale().description; }

}  // namespace qvsv::test
