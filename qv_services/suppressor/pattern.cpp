// Identifier patterns: an exact identifier, or a prefix ending in ":*".
#include <stdexcept>

#include "qv_services/suppressor/detail/pattern_table.hpp"

namespace qvsv::detail {

namespace {

// The pattern as a message can show it: control characters as \xNN.
std::string shown(const std::string& pattern) {
  static const char kHex[] = "0123456789abcdef";
  std::string out;
  for (const char c : pattern) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7f) {
      out += "\\x";
      out += kHex[byte >> 4];
      out += kHex[byte & 15];
    } else {
      out += c;
    }
  }
  return out;
}

}  // namespace

PatternKey ParsePattern(const std::string& pattern) {
  const auto refuse = [&](const char* why) {
    throw std::invalid_argument("'" + shown(pattern) + "' is not an identifier pattern: " + why);
  };
  if (pattern.empty()) refuse("it is empty");
  for (const char c : pattern) {
    // Attribute values of the suppression file cannot keep these.
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) refuse("it holds a control character");
  }
  const std::size_t star = pattern.find('*');
  if (star == std::string::npos) return {pattern, false};
  if (star != pattern.size() - 1 || star < 2 || pattern[star - 1] != ':')
    refuse("'*' may only end a prefix, as in \"Quiver:blocks:*\"");
  return {pattern.substr(0, star), true};
}

}  // namespace qvsv::detail
