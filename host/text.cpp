#include "host/text.hpp"

#include <unicode/ustring.h>

#include <stdexcept>

namespace tessel::detail {

std::u16string Utf8ToUtf16(std::string_view text) {
  std::u16string out(text.size(), u'\0');
  int32_t length = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8WithSub(out.data(), static_cast<int32_t>(out.size()), &length, text.data(),
                       static_cast<int32_t>(text.size()), 0xFFFD, nullptr, &status);
  if (U_FAILURE(status)) throw std::runtime_error(std::string("UTF-8 conversion failed: ") + u_errorName(status));
  out.resize(static_cast<std::size_t>(length));
  return out;
}

std::string Utf16ToUtf8(std::u16string_view text) {
  std::string out(text.size() * 3, '\0');
  int32_t length = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strToUTF8WithSub(out.data(), static_cast<int32_t>(out.size()), &length, text.data(),
                     static_cast<int32_t>(text.size()), 0xFFFD, nullptr, &status);
  if (U_FAILURE(status)) throw std::runtime_error(std::string("UTF-16 conversion failed: ") + u_errorName(status));
  out.resize(static_cast<std::size_t>(length));
  return out;
}

}  // namespace tessel::detail
