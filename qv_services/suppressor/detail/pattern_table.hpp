// Tables keyed by identifier pattern, with lookups whose cost does not grow
// with the number of patterns.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <optional>
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

// One hash map from key text to a slot holding the exact pattern's value and
// the prefix pattern's value, so that every lookup makes the same probes
// however many patterns there are: the identifier, then each prefix of it
// that ends at a ':'.
template <typename Value>
class PatternTable {
 public:
  bool empty() const { return slots_.empty(); }
  void clear() { slots_.clear(); }

  // The value of the pattern, or null.
  const Value* find(const PatternKey& key) const {
    const auto it = slots_.find(std::string_view(key.text));
    if (it == slots_.end()) return nullptr;
    const std::optional<Value>& value = part(it->second, key.prefix);
    return value ? &*value : nullptr;
  }
  // The value of the pattern, made (value-initialised) when absent.
  Value& at(const PatternKey& key) {
    std::optional<Value>& value = part(slots_[key.text], key.prefix);
    if (!value) value.emplace();
    return *value;
  }
  // True when the pattern had a value.
  bool erase(const PatternKey& key) {
    const auto it = slots_.find(std::string_view(key.text));
    if (it == slots_.end() || !part(it->second, key.prefix)) return false;
    part(it->second, key.prefix).reset();
    if (!it->second.exact && !it->second.prefix) slots_.erase(it);
    return true;
  }

  // Calls visit(key, prefix, value) for each pattern matching the identifier,
  // the most specific first (exact, then longer prefixes before shorter
  // ones), until visit answers true; returns whether one did.
  template <typename Visit>
  bool visitMatches(std::string_view identifier, Visit&& visit) const {
    return visitIn(*this, identifier, visit);
  }
  // The same with values that visit may change.
  template <typename Visit>
  bool visitMatches(std::string_view identifier, Visit&& visit) {
    return visitIn(*this, identifier, visit);
  }

  // The patterns as users write them, in byte order, with their values.
  std::vector<std::pair<std::string, const Value*>> sorted() const {
    std::vector<std::pair<std::string, const Value*>> out;
    for (const auto& [text, slot] : slots_) {
      if (slot.exact) out.emplace_back(text, &*slot.exact);
      if (slot.prefix) out.emplace_back(text + "*", &*slot.prefix);
    }
    std::sort(out.begin(), out.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    return out;
  }

 private:
  struct Slot {
    std::optional<Value> exact;
    std::optional<Value> prefix;  // for "text*"
  };

  static std::optional<Value>& part(Slot& slot, bool prefix) { return prefix ? slot.prefix : slot.exact; }
  static const std::optional<Value>& part(const Slot& slot, bool prefix) { return prefix ? slot.prefix : slot.exact; }

  template <typename Self, typename Visit>
  static bool visitIn(Self& self, std::string_view identifier, Visit& visit) {
    if (self.slots_.empty()) return false;
    const auto whole = self.slots_.find(identifier);
    const auto none = self.slots_.end();
    if (whole != none && whole->second.exact &&
        visit(std::string_view(whole->first), false, *whole->second.exact))
      return true;
    // Longer prefixes first: they end at later colons; an identifier that ends
    // in ':' is its own longest prefix.
    for (std::size_t end = identifier.size(); end > 0; --end) {
      if (identifier[end - 1] != ':') continue;
      const auto it = end == identifier.size() ? whole : self.slots_.find(identifier.substr(0, end));
      if (it != none && it->second.prefix && visit(std::string_view(it->first), true, *it->second.prefix)) return true;
    }
    return false;
  }

  std::unordered_map<std::string, Slot, StringHash, std::equal_to<>> slots_;
};

}  // namespace qvsv::detail
