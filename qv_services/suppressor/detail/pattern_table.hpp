// Tables keyed by identifier pattern, with lookups whose cost does not grow
// with the number of patterns.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace qvsv::detail {

// A pattern as stored: the exact identifier, or, for "prefix:*", the prefix
// with its final ':' (so that a lookup probes the identifier's prefixes that
// end at a ':').
struct PatternKey {
  std::string text;
  bool prefix = false;
  // The pattern as users write it.
  std::string pattern() const { return prefix ? text + "*" : text; }
};

// Throws std::invalid_argument naming the text when it is not a pattern.
PatternKey ParsePattern(const std::string& pattern);

struct StringHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
};

template <typename Value>
class PatternTable {
 public:
  using Map = std::unordered_map<std::string, Value, StringHash, std::equal_to<>>;

  Map& map(bool prefix) { return prefix ? prefixes_ : exact_; }
  const Map& map(bool prefix) const { return prefix ? prefixes_ : exact_; }
  bool empty() const { return exact_.empty() && prefixes_.empty(); }
  void clear() {
    exact_.clear();
    prefixes_.clear();
  }

  // Calls visit(key, prefix, value) for each pattern matching the identifier, the
  // most specific first (exact, then longer prefixes before shorter ones),
  // until visit answers true; returns whether one did.
  template <typename Visit>
  bool visitMatches(std::string_view identifier, Visit&& visit) const {
    return visitIn(*this, identifier, visit);
  }
  // The same with values that visit may change.
  template <typename Visit>
  bool visitMatches(std::string_view identifier, Visit&& visit) {
    return visitIn(*this, identifier, visit);
  }

  // The entries ordered by pattern text as users write it.
  std::vector<std::pair<std::string, const Value*>> sorted() const;

 private:
  template <typename Self, typename Visit>
  static bool visitIn(Self& self, std::string_view identifier, Visit& visit) {
    if (!self.exact_.empty()) {
      if (const auto it = self.exact_.find(identifier);
          it != self.exact_.end() && visit(std::string_view(it->first), false, it->second))
        return true;
    }
    if (self.prefixes_.empty()) return false;
    // Longer prefixes first: they end at later colons.
    for (std::size_t end = identifier.size(); end > 0; --end) {
      if (identifier[end - 1] != ':') continue;
      const auto it = self.prefixes_.find(identifier.substr(0, end));
      if (it != self.prefixes_.end() && visit(std::string_view(it->first), true, it->second)) return true;
    }
    return false;
  }

  Map exact_;
  Map prefixes_;
};

template <typename Value>
std::vector<std::pair<std::string, const Value*>> PatternTable<Value>::sorted() const {
  std::vector<std::pair<std::string, const Value*>> out;
  out.reserve(exact_.size() + prefixes_.size());
  for (const auto& [key, value] : exact_) out.emplace_back(key, &value);
  for (const auto& [key, value] : prefixes_) out.emplace_back(key + "*", &value);
  std::sort(out.begin(), out.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  return out;
}

}  // namespace qvsv::detail
