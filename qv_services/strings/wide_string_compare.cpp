// The comparisons that are the library's own rules: whitespace-insensitive,
// whitespace- and case-insensitive, and collation at primary strength.
#include <unicode/coll.h>
#include <unicode/locid.h>
#include <unicode/uchar.h>

#include <cctype>
#include <cstdint>
#include <memory>

#include "qv_services/strings/wide_string_detail.hpp"
#include "qv_services/wide_string.hpp"
#include "tessel/foundation.hpp"

namespace {

using qvsv::strings::detail::OrEmpty;

// Per-unit rules of the comparison families. matchesUnequal decides two
// different units that are not both whitespace.
struct WideExact {
  static bool isSpace(char16_t c) { return u_isspace(c); }
  static bool matchesUnequal(char16_t, char16_t) { return false; }
  static int difference(char16_t a, char16_t b) { return static_cast<int>(a) - static_cast<int>(b); }
};

struct WideFolded : WideExact {
  static bool matchesUnequal(char16_t a, char16_t b) {
    return u_foldCase(a, U_FOLD_CASE_DEFAULT) == u_foldCase(b, U_FOLD_CASE_DEFAULT);
  }
};

struct NarrowExact {
  static bool isSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }
  static bool matchesUnequal(char, char) { return false; }
  static int difference(char a, char b) { return static_cast<signed char>(a) - static_cast<signed char>(b); }
};

// One pass over both strings; it stops at the first difference or at a common
// NUL, so neither string is read past its terminator.
template <typename Rules, typename Char>
int compareIgnoringWhitespace(const Char* a, const Char* b, std::uint64_t limit) {
  for (std::uint64_t i = 0; i < limit; ++i) {
    const Char x = a[i];
    const Char y = b[i];
    if (x != y) {
      if (Rules::isSpace(x) && Rules::isSpace(y)) continue;
      if (!Rules::matchesUnequal(x, y)) return Rules::difference(x, y);
    }
    if (x == Char{}) return 0;
  }
  return 0;
}

constexpr std::uint64_t kNoLimit = UINT64_MAX;

const char* orEmpty(const char* s) { return s == nullptr ? "" : s; }

// The process-wide collator, made on first use for the global locale of that
// moment.
class CollatorRegistry {
 public:
  static CollatorRegistry& instance() {
    static CollatorRegistry registry;
    return registry;
  }
  // Null when ICU could not make a collator.
  const icu::Collator* collator() const { return collator_.get(); }
  void recreate() { collator_ = make(); }

 private:
  CollatorRegistry() : collator_(make()) {}

  static std::unique_ptr<icu::Collator> make() {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Locale locale(tessel::GetGlobalLocaleName().c_str());
    std::unique_ptr<icu::Collator> collator(icu::Collator::createInstance(locale, status));
    if (U_FAILURE(status) || collator == nullptr) return nullptr;
    collator->setStrength(icu::Collator::PRIMARY);
    return collator;
  }

  std::unique_ptr<icu::Collator> collator_;
};

}  // namespace

int qvsvStrcmpWS(const char16_t* a, const char16_t* b) {
  return compareIgnoringWhitespace<WideExact>(OrEmpty(a), OrEmpty(b), kNoLimit);
}

int qvsvStrcmpWS(const char* a, const char* b) {
  return compareIgnoringWhitespace<NarrowExact>(orEmpty(a), orEmpty(b), kNoLimit);
}

int qvsvStrncmpWS(const char16_t* a, const char16_t* b, unsigned n) {
  return compareIgnoringWhitespace<WideExact>(OrEmpty(a), OrEmpty(b), n);
}

int qvsvStrncmpWS(const char* a, const char* b, unsigned n) {
  return compareIgnoringWhitespace<NarrowExact>(orEmpty(a), orEmpty(b), n);
}

int qvsvStrcmpiWS(const char16_t* a, const char16_t* b) {
  return compareIgnoringWhitespace<WideFolded>(OrEmpty(a), OrEmpty(b), kNoLimit);
}

int qvsvStrncmpiWS(const char16_t* a, const char16_t* b, unsigned n) {
  return compareIgnoringWhitespace<WideFolded>(OrEmpty(a), OrEmpty(b), n);
}

int qvsvStrcmp_Collation(const char16_t* a, const char16_t* b) {
  const icu::Collator* collator = CollatorRegistry::instance().collator();
  if (collator == nullptr) return 0;
  UErrorCode status = U_ZERO_ERROR;
  return collator->compare(OrEmpty(a), -1, OrEmpty(b), -1, status);
}

void qvsvResetCollatorForTesting() { CollatorRegistry::instance().recreate(); }
