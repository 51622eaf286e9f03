// The string table's key hash: the boost-style combination over the code
// units, which the table's map uses to pick a bucket. The empty text hashes to 0.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace qvsv::strings::detail {

inline std::uint32_t combineTextHash(std::uint32_t h, char16_t c) {
  return h ^ (static_cast<std::uint32_t>(c) + 0x9E3779B9u + (h << 6) + (h >> 2));
}

inline std::size_t textHash(std::u16string_view text) {
  std::uint32_t h = 0;
  for (const char16_t c : text) h = combineTextHash(h, c);
  return h;
}

}  // namespace qvsv::strings::detail
