// UTF-16 to and from narrow encodings through ICU converters.
#include "qv_services/encodings.hpp"

#include <unicode/ucnv.h>
#include <unicode/ucnv_err.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

#include "tessel/foundation.hpp"

namespace {

struct ConverterCloser {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, ConverterCloser>;

bool isLocaleKeyword(std::string_view name) {
  return name.size() == 6 && std::equal(name.begin(), name.end(), "locale", [](char a, char b) {
           return (a >= 'A' && a <= 'Z' ? a - 'A' + 'a' : a) == b;
         });
}

std::string resolvedName(std::string_view encoding) {
  return isLocaleKeyword(encoding) ? qvsvLocaleEncodingName() : std::string(encoding);
}

Converter openConverter(std::string_view encoding) {
  const std::string name = resolvedName(encoding);
  // ICU opens its default converter for an empty name; here that is a mistake.
  if (name.empty() || name.find('\0') != std::string::npos) {
    throw std::invalid_argument("'" + std::string(encoding) + "' is not a known encoding");
  }
  UErrorCode status = U_ZERO_ERROR;
  Converter converter(ucnv_open(name.c_str(), &status));
  if (U_FAILURE(status) || converter == nullptr) {
    if (isLocaleKeyword(encoding)) {
      throw std::invalid_argument("the host's locale '" + tessel::GetGlobalLocaleName() + "' names the encoding '" +
                                  name + "', which is not a known encoding");
    }
    throw std::invalid_argument("'" + name + "' is not a known encoding");
  }
  return converter;
}

[[noreturn]] void illFormed(UConverter* converter, const char* direction, std::size_t offset) {
  UErrorCode status = U_ZERO_ERROR;
  const char* name = ucnv_getName(converter, &status);
  throw std::invalid_argument(std::string(direction) + " " + (U_SUCCESS(status) ? name : "?") + " at offset " +
                              std::to_string(offset));
}

}  // namespace

std::string qvsvLocaleEncodingName() {
  const std::string locale = tessel::GetGlobalLocaleName();
  const auto dot = locale.find('.');
  if (dot == std::string::npos) return "UTF-8";
  const auto at = locale.find('@', dot);
  const std::string codeset = locale.substr(dot + 1, at == std::string::npos ? std::string::npos : at - dot - 1);
  return codeset.empty() ? "UTF-8" : codeset;
}

std::string qvsvCanonicalEncodingName(std::string_view encoding) {
  const Converter converter = openConverter(encoding);
  UErrorCode status = U_ZERO_ERROR;
  const char* name = ucnv_getName(converter.get(), &status);
  return U_SUCCESS(status) ? std::string(name) : std::string(encoding);
}

std::u16string ConvertNarrowToUString(std::string_view bytes, std::string_view encoding, bool substitute) {
  const Converter converter = openConverter(encoding);
  UErrorCode status = U_ZERO_ERROR;
  if (!substitute) {
    ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  }
  // ICU's substitution callback already writes one U+FFFD per maximal ill-formed subsequence.
  std::u16string out(bytes.size() + 8, u'\0');
  const char* source = bytes.data();
  const char* const sourceLimit = bytes.data() + bytes.size();
  std::size_t written = 0;
  while (true) {
    status = U_ZERO_ERROR;
    UChar* target = out.data() + written;
    ucnv_toUnicode(converter.get(), &target, out.data() + out.size(), &source, sourceLimit, nullptr, true, &status);
    written = static_cast<std::size_t>(target - out.data());
    if (status == U_BUFFER_OVERFLOW_ERROR) {
      out.resize(out.size() * 2);
      continue;
    }
    if (U_FAILURE(status)) {
      char invalid[32];
      int8_t length = sizeof invalid;
      UErrorCode ignored = U_ZERO_ERROR;
      ucnv_getInvalidChars(converter.get(), invalid, &length, &ignored);
      illFormed(converter.get(), "ill-formed", static_cast<std::size_t>(source - bytes.data()) -
                                                   static_cast<std::size_t>(U_SUCCESS(ignored) ? length : 0));
    }
    break;
  }
  out.resize(written);
  return out;
}

std::string ConvertUStringToNarrow(std::u16string_view text, std::string_view encoding, bool substitute) {
  const Converter converter = openConverter(encoding);
  UErrorCode status = U_ZERO_ERROR;
  if (substitute) {
    ucnv_setSubstString(converter.get(), u"\uFFFD", 1, &status);
    if (U_FAILURE(status)) {
      status = U_ZERO_ERROR;
      ucnv_setSubstString(converter.get(), u"?", 1, &status);
    }
  } else {
    ucnv_setFromUCallBack(converter.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  }
  std::string out(text.size() * 2 + 8, '\0');
  const UChar* source = text.data();
  const UChar* const sourceLimit = text.data() + text.size();
  std::size_t written = 0;
  while (true) {
    status = U_ZERO_ERROR;
    char* target = out.data() + written;
    ucnv_fromUnicode(converter.get(), &target, out.data() + out.size(), &source, sourceLimit, nullptr, true, &status);
    written = static_cast<std::size_t>(target - out.data());
    if (status == U_BUFFER_OVERFLOW_ERROR) {
      out.resize(out.size() * 2);
      continue;
    }
    if (U_FAILURE(status)) {
      UChar invalid[4];
      int8_t length = 4;
      UErrorCode ignored = U_ZERO_ERROR;
      ucnv_getInvalidUChars(converter.get(), invalid, &length, &ignored);
      illFormed(converter.get(), "unpaired surrogate or character not in",
                static_cast<std::size_t>(source - text.data()) -
                    static_cast<std::size_t>(U_SUCCESS(ignored) ? length : 0));
    }
    break;
  }
  out.resize(written);
  return out;
}
