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

bool hasCommaRadix(locale_t locale) {
  const char* radix = nl_langinfo_l(RADIXCHAR, locale);
  return radix != nullptr && std::string(radix) == ",";
}

locale_t openInstalled(std::string& description) {
  for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "de_DE", "de_DE@euro", "de_DE.ISO-8859-1", "fr_FR.UTF-8",
                           "fr_FR.utf8", "fr_FR", "nl_NL.UTF-8", "es_ES.UTF-8", "it_IT.UTF-8", "ru_RU.UTF-8"}) {
    locale_t locale = newlocale(LC_NUMERIC_MASK, name, static_cast<locale_t>(nullptr));
    if (locale == nullptr) continue;
    if (hasCommaRadix(locale)) {
      description = std::string("installed locale ") + name;
      return locale;
    }
    freelocale(locale);
  }
  return nullptr;
}

// glibc reads LOCPATH on every newlocale, so a locale compiled into a
// temporary folder can be opened without installing it.
locale_t compileGerman(const TempDir& dir, std::string& description) {
  const std::filesystem::path sources = "/usr/share/i18n/locales/de_DE";
  if (!std::filesystem::exists(sources)) {
    description = "no comma locale is installed and " + sources.string() +
                  " is missing (install the Debian package 'locales')";
    return nullptr;
  }
  const std::string name = "de_DE.ISO-8859-1";
  const std::string command =
      "localedef -i de_DE -f ISO-8859-1 '" + (dir.path() / name).string() + "' >/dev/null 2>&1";
  const int status = std::system(command.c_str());
  if (!std::filesystem::exists(dir.path() / name / "LC_NUMERIC")) {
    description = "no comma locale is installed and '" + command + "' failed (status " + std::to_string(status) + ")";
    return nullptr;
  }
  ScopedEnv path("LOCPATH", dir.path().string());
  locale_t locale = newlocale(LC_NUMERIC_MASK, name.c_str(), static_cast<locale_t>(nullptr));
  if (locale == nullptr || !hasCommaRadix(locale)) {
    if (locale != nullptr) freelocale(locale);
    description = "the compiled de_DE locale could not be opened with a ',' decimal point";
    return nullptr;
  }
  description = "de_DE compiled with localedef into a temporary folder";
  return locale;
}

// The process's one comma locale, found or made on first use.
struct CommaLocale {
  CommaLocale() {
    locale = openInstalled(description);
    if (locale == nullptr) {
      folder = std::make_unique<TempDir>();
      locale = compileGerman(*folder, description);
    }
  }
  ~CommaLocale() {
    if (locale != nullptr) freelocale(locale);
  }
  locale_t locale = nullptr;
  std::string description;
  std::unique_ptr<TempDir> folder;
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
