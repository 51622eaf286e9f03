// UTF-8 <-> UTF-16 for the host's own use (ill-formed input becomes U+FFFD).
#pragma once

#include <string>
#include <string_view>

namespace tessel::detail {

std::u16string Utf8ToUtf16(std::string_view text);
std::string Utf16ToUtf8(std::u16string_view text);

}  // namespace tessel::detail
