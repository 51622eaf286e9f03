// The message catalogue over ICU resource bundles.
#include "tessel/catalog.hpp"

#include <dlfcn.h>
#include <unicode/msgfmt.h>
#include <unicode/ures.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string_view>

#include "tessel/foundation.hpp"

namespace resource_core {

BaseMsgID::BaseMsgID(std::string catalog, std::string key, MsgArguments arguments)
    : catalog_(std::move(catalog)), key_(std::move(key)), arguments_(std::move(arguments)) {}

BaseMsgID::~BaseMsgID() = default;

std::string BaseMsgID::identifier() const { return catalog_ + ":" + key_; }

CatalogError::CatalogError(std::string identifier, std::string locale, const std::string& message)
    : std::runtime_error(message), identifier_(std::move(identifier)), locale_(std::move(locale)) {}

namespace {

using Bundle = std::shared_ptr<const UResourceBundle>;

// Owns the opened bundles and the folders added at run time.
class CatalogRegistry {
 public:
  static CatalogRegistry& instance() {
    static CatalogRegistry registry;
    return registry;
  }

  // The bundle of one catalogue folder and locale, or null when it has none.
  Bundle bundle(const std::string& directory, const std::string& locale) {
    std::lock_guard<std::mutex> lock(mutex_);
    const std::string path = directory + '\x1f' + locale;
    auto it = bundles_.find(path);
    if (it == bundles_.end()) {
      // Identifiers can come from documents of other processes: the cache of
      // (mostly failed) opens must not grow without bound.
      if (bundles_.size() >= kMaxCachedBundles) bundles_.clear();
      UErrorCode status = U_ZERO_ERROR;
      UResourceBundle* opened = ures_openDirect(directory.c_str(), locale.c_str(), &status);
      Bundle held;
      if (U_SUCCESS(status) && opened != nullptr) {
        held = Bundle(opened, [](const UResourceBundle* b) { ures_close(const_cast<UResourceBundle*>(b)); });
      } else if (opened != nullptr) {
        ures_close(opened);
      }
      it = bundles_.emplace(path, std::move(held)).first;
    }
    return it->second;
  }

  void addFolder(const std::string& folder) {
    std::lock_guard<std::mutex> lock(mutex_);
    added_.erase(std::remove(added_.begin(), added_.end(), folder), added_.end());
    added_.insert(added_.begin(), folder);
    bundles_.clear();
  }

  void removeFolder(const std::string& folder) {
    std::lock_guard<std::mutex> lock(mutex_);
    added_.erase(std::remove(added_.begin(), added_.end(), folder), added_.end());
  }

  void reload() {
    std::lock_guard<std::mutex> lock(mutex_);
    bundles_.clear();
  }

  std::vector<std::string> folders() {
    std::vector<std::string> result;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      result = added_;
    }
    if (const char* env = std::getenv("TESSEL_MESSAGE_PATH")) {
      std::string_view rest(env);
      while (!rest.empty()) {
        const auto colon = rest.find(':');
        const std::string_view piece = rest.substr(0, colon);
        if (!piece.empty()) result.emplace_back(piece);
        if (colon == std::string_view::npos) break;
        rest.remove_prefix(colon + 1);
      }
    }
    result.push_back(installedFolder());
    return result;
  }

 private:
  // The catalogues installed with this library, found relative to the
  // library's own file; the build tree has the same layout as an installation.
  static std::string installedFolder() {
    static const std::string folder = [] {
      Dl_info info{};
      if (dladdr(reinterpret_cast<void*>(&ReloadCatalogs), &info) == 0 || info.dli_fname == nullptr) {
        return std::string(TESSEL_CATALOGS_FROM_LIB);
      }
      const std::filesystem::path lib = std::filesystem::absolute(info.dli_fname).parent_path();
      return (lib / TESSEL_CATALOGS_FROM_LIB).lexically_normal().string();
    }();
    return folder;
  }

  static constexpr std::size_t kMaxCachedBundles = 4096;
  std::mutex mutex_;
  std::vector<std::string> added_;
  std::map<std::string, Bundle> bundles_;
};

// "de_DE.UTF-8@euro" -> {"de_DE", "de", "en"}.
std::vector<std::string> localeChain(const std::string& requested) {
  std::string name = requested.substr(0, requested.find_first_of(".@"));
  std::replace(name.begin(), name.end(), '-', '_');
  std::vector<std::string> chain;
  while (!name.empty()) {
    chain.push_back(name);
    const auto underscore = name.rfind('_');
    if (underscore == std::string::npos) break;
    name.resize(underscore);
  }
  if (std::find(chain.begin(), chain.end(), kDefaultLocale) == chain.end()) chain.emplace_back(kDefaultLocale);
  return chain;
}

// Catalogue names map to folders; nothing may climb out of the search folder.
bool catalogFolderOf(const std::string& catalog, std::string& folder) {
  if (catalog.empty()) return false;
  folder.clear();
  std::string_view rest(catalog);
  while (true) {
    const auto colon = rest.find(':');
    const std::string_view part = rest.substr(0, colon);
    if (part.empty() || part == "." || part == ".." || part.find('/') != std::string_view::npos ||
        part.find('\0') != std::string_view::npos) {
      return false;
    }
    folder.append(part);
    folder.push_back('/');
    if (colon == std::string_view::npos) return true;
    rest.remove_prefix(colon + 1);
  }
}

// ICU keys are invariant ASCII; anything else cannot name a message.
bool validKey(const std::string& key) {
  return !key.empty() && std::all_of(key.begin(), key.end(), [](char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '-' ||
           c == '.';
  });
}

icu::UnicodeString toUnicode(const std::u16string& text) {
  return icu::UnicodeString(text.data(), static_cast<int32_t>(text.size()));
}

// Places the arguments: positional ones from the identifier, or named ones.
icu::UnicodeString format(const BaseMsgID& id, const std::string& locale, const icu::UnicodeString& pattern,
                          const NamedMsgArguments* named) {
  UErrorCode status = U_ZERO_ERROR;
  icu::MessageFormat formatter(pattern, icu::Locale(locale.c_str()), status);
  if (U_FAILURE(status)) {
    throw CatalogError(id.identifier(), locale,
                       "Message '" + id.identifier() + "' has an invalid pattern in the catalogue (locale " + locale +
                           "): " + u_errorName(status));
  }
  std::vector<icu::Formattable> arguments;
  std::vector<icu::UnicodeString> names;
  if (named != nullptr) {
    for (const auto& [name, value] : *named) {
      names.push_back(toUnicode(name));
      arguments.emplace_back(toUnicode(value));
    }
  } else {
    for (const MsgArgument& argument : id.arguments()) {
      if (const auto* number = std::get_if<std::int64_t>(&argument)) {
        arguments.emplace_back(static_cast<int64_t>(*number));
      } else if (const auto* narrow = std::get_if<std::string>(&argument)) {
        arguments.emplace_back(icu::UnicodeString::fromUTF8(*narrow));
      } else {
        arguments.emplace_back(toUnicode(std::get<std::u16string>(argument)));
      }
    }
  }
  icu::UnicodeString out;
  if (named != nullptr) {
    formatter.format(names.data(), arguments.data(), static_cast<int32_t>(arguments.size()), out, status);
  } else {
    icu::FieldPosition position;
    formatter.format(arguments.data(), static_cast<int32_t>(arguments.size()), out, position, status);
  }
  if (U_FAILURE(status)) {
    throw CatalogError(id.identifier(), locale,
                       "Message '" + id.identifier() + "' could not be formatted (locale " + locale +
                           "): " + u_errorName(status));
  }
  return out;
}

// The raw pattern of id's key in the first bundle of the search order that
// has it; catalogFound tells whether any bundle of the catalogue exists.
bool findPattern(const std::string& catalog, const std::string& key, const std::string& locale,
                 icu::UnicodeString& pattern, bool& catalogFound) {
  CatalogRegistry& registry = CatalogRegistry::instance();
  std::string folder;
  catalogFound = false;
  if (!catalogFolderOf(catalog, folder)) return false;
  const std::vector<std::string> chain = localeChain(locale);
  for (const std::string& root : registry.folders()) {
    const std::string directory = root + "/" + folder;
    for (const std::string& candidate : chain) {
      const Bundle bundle = registry.bundle(directory, candidate);
      if (bundle == nullptr) continue;
      catalogFound = true;
      if (!validKey(key)) continue;
      UErrorCode status = U_ZERO_ERROR;
      int32_t length = 0;
      const UChar* text = ures_getStringByKey(bundle.get(), key.c_str(), &length, &status);
      if (U_FAILURE(status) || text == nullptr) continue;
      pattern.setTo(true, text, length);
      return true;
    }
  }
  return false;
}

std::u16string lookUp(const BaseMsgID& id, const std::string& locale, const NamedMsgArguments* named) {
  icu::UnicodeString pattern;
  bool catalogFound = false;
  if (findPattern(id.catalog(), id.key(), locale, pattern, catalogFound)) {
    const icu::UnicodeString result = format(id, locale, pattern, named);
    return std::u16string(result.getBuffer(), static_cast<std::size_t>(result.length()));
  }
  if (!catalogFound) {
    throw CatalogError(id.identifier(), locale,
                       "Unknown message catalogue '" + id.catalog() + "' for message '" + id.identifier() +
                           "' (locale " + locale + ")");
  }
  throw CatalogError(id.identifier(), locale,
                     "Message '" + id.identifier() + "' not found in catalogue '" + id.catalog() + "' (locale " +
                         locale + ")");
}

}  // namespace

std::u16string GetMessageText(const BaseMsgID& id, const std::string& locale) { return lookUp(id, locale, nullptr); }

std::u16string GetMessageText(const BaseMsgID& id, const std::string& locale, const NamedMsgArguments& named) {
  return lookUp(id, locale, &named);
}

std::u16string GetMessageTextInGlobalLocale(const BaseMsgID& id, const NamedMsgArguments& named) {
  return lookUp(id, tessel::GetGlobalLocaleName(), &named);
}

std::u16string GetMessageTextInGlobalLocale(const BaseMsgID& id) {
  return GetMessageText(id, tessel::GetGlobalLocaleName());
}

std::optional<std::u16string> FindMessagePattern(const std::string& identifier, const std::string& locale) {
  const std::size_t colon = identifier.rfind(':');
  if (colon == std::string::npos || colon == 0) return std::nullopt;
  icu::UnicodeString pattern;
  bool catalogFound = false;
  if (!findPattern(identifier.substr(0, colon), identifier.substr(colon + 1), locale, pattern, catalogFound)) {
    return std::nullopt;
  }
  return std::u16string(pattern.getBuffer(), static_cast<std::size_t>(pattern.length()));
}

std::u16string GetMessageTextInDefaultLocale(const BaseMsgID& id) { return GetMessageText(id, kDefaultLocale); }

void AddCatalogFolder(const std::string& folder) { CatalogRegistry::instance().addFolder(folder); }
void RemoveCatalogFolder(const std::string& folder) { CatalogRegistry::instance().removeFolder(folder); }
std::vector<std::string> CatalogFolders() { return CatalogRegistry::instance().folders(); }
void ReloadCatalogs() { CatalogRegistry::instance().reload(); }

}  // namespace resource_core
