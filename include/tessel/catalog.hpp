// The host's message catalogue (resource_core).
//
// A message is named by a catalogue ("QV_SERVICES:utils") and a key
// ("TooManyErrorsErr"); its identifier is "catalogue:key". Texts live in ICU
// resource bundles, one folder per catalogue (colons become folder
// separators: QV_SERVICES/utils/en.res, de.res, ...). Arguments are placed
// with icu::MessageFormat ({0}, {1}; numbers are formatted for the locale).
//
// Lookup in locale "de_DE" tries de_DE, then de, then the default locale "en".
// Folders are searched in this order: those added with AddCatalogFolder (most
// recent first), those of the environment variable TESSEL_MESSAGE_PATH
// (colon-separated), then the catalogues installed next to the host library.
// An unknown catalogue or key throws CatalogError naming the full identifier
// and the locale.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "tessel/export.hpp"

namespace resource_core {

// A message argument: a signed 64-bit integer, a UTF-8 string or a UTF-16
// string, in that order.
using MsgArgument = std::variant<std::int64_t, std::string, std::u16string>;
using MsgArguments = std::vector<MsgArgument>;

// The catalogue's message identifier: catalogue, key and arguments.
class TESSEL_API BaseMsgID {
 public:
  BaseMsgID(std::string catalog, std::string key, MsgArguments arguments = {});
  BaseMsgID(const BaseMsgID&) = default;
  BaseMsgID(BaseMsgID&&) = default;
  BaseMsgID& operator=(const BaseMsgID&) = default;
  BaseMsgID& operator=(BaseMsgID&&) = default;
  virtual ~BaseMsgID();

  const std::string& catalog() const { return catalog_; }
  const std::string& key() const { return key_; }
  const MsgArguments& arguments() const { return arguments_; }
  // "catalogue:key".
  std::string identifier() const;

 protected:
  std::string catalog_;
  std::string key_;
  MsgArguments arguments_;
};

// An unknown catalogue or key, or a catalogue text that is not a valid
// message pattern.
class TESSEL_API CatalogError : public std::runtime_error {
 public:
  CatalogError(std::string identifier, std::string locale, const std::string& message);
  const std::string& identifier() const { return identifier_; }
  const std::string& locale() const { return locale_; }

 private:
  std::string identifier_;
  std::string locale_;
};

inline constexpr const char* kDefaultLocale = "en";

// The formatted text of a message in the given locale (with fallback).
TESSEL_API std::u16string GetMessageText(const BaseMsgID& id, const std::string& locale);
// The same in the host's global locale (tessel::GetGlobalLocaleName).
TESSEL_API std::u16string GetMessageTextInGlobalLocale(const BaseMsgID& id);
// The same in the catalogue's default locale "en".
TESSEL_API std::u16string GetMessageTextInDefaultLocale(const BaseMsgID& id);

// Named string arguments ({name} in the text) in place of the identifier's
// positional ones.
using NamedMsgArguments = std::map<std::u16string, std::u16string>;
TESSEL_API std::u16string GetMessageText(const BaseMsgID& id, const std::string& locale,
                                         const NamedMsgArguments& named);
TESSEL_API std::u16string GetMessageTextInGlobalLocale(const BaseMsgID& id, const NamedMsgArguments& named);

// The unformatted text of a message ("'{0}' is not ...") for a full identifier
// "catalogue:key" in the given locale (with fallback), or nothing when the
// catalogue or key is unknown; never throws for an unknown identifier.
TESSEL_API std::optional<std::u16string> FindMessagePattern(const std::string& identifier,
                                                          const std::string& locale);
// Catalogue folders added at run time, searched before the others. Adding a
// folder twice keeps one entry; removing an absent one does nothing.
TESSEL_API void AddCatalogFolder(const std::string& folder);
TESSEL_API void RemoveCatalogFolder(const std::string& folder);
// Every folder in search order.
TESSEL_API std::vector<std::string> CatalogFolders();
// Forgets opened resource bundles (after catalogue files changed on disk).
TESSEL_API void ReloadCatalogs();

}  // namespace resource_core
