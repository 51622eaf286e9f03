// Helpers shared by the wide-string files.
#pragma once

#include <climits>
#include <cstdint>

#include "qv_services/wide_string.hpp"

namespace qvsv::strings::detail {

// Null counts as the empty string.
inline const char16_t* OrEmpty(const char16_t* s) { return s == nullptr ? qvsvGetEmptyUString() : s; }

// ICU's counts are int32_t; a larger unsigned count means "no limit" for
// NUL-terminated text, not a negative count (which ICU reads as zero).
inline std::int32_t ClampCount(unsigned n) { return n > INT32_MAX ? INT32_MAX : static_cast<std::int32_t>(n); }

}  // namespace qvsv::strings::detail
