// Wide-string functions: thin forwards to ICU with null standing for empty.
#include "qv_services/wide_string.hpp"

#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include <cstring>

#include "qv_services/feature/detail/tested_allocation.hpp"
#include "qv_services/strings/wide_string_detail.hpp"
#include "tessel/ut.hpp"

using qvsv::detail::TestedMalloc;
using qvsv::strings::detail::ClampCount;
using qvsv::strings::detail::OrEmpty;

const char16_t* qvsvGetEmptyUString() {
  static const char16_t kEmpty[1] = {u'\0'};
  return kEmpty;
}

unsigned qvsvStrlen(const char16_t* s) { return static_cast<unsigned>(u_strlen(OrEmpty(s))); }

int qvsvStrcmp(const char16_t* a, const char16_t* b) { return u_strcmp(OrEmpty(a), OrEmpty(b)); }

int qvsvStrncmp(const char16_t* a, const char16_t* b, unsigned n) {
  return u_strncmp(OrEmpty(a), OrEmpty(b), ClampCount(n));
}

int qvsvStrcmpi(const char16_t* a, const char16_t* b) {
  return u_strcasecmp(OrEmpty(a), OrEmpty(b), U_FOLD_CASE_DEFAULT);
}

int qvsvStrncmpi(const char16_t* a, const char16_t* b, unsigned n) {
  return u_strncasecmp(OrEmpty(a), OrEmpty(b), ClampCount(n), U_FOLD_CASE_DEFAULT);
}

char16_t* qvsvStrcpy(char16_t* dst, const char16_t* src) {
  return dst == nullptr ? nullptr : u_strcpy(dst, OrEmpty(src));
}

char16_t* qvsvStrncpy(char16_t* dst, const char16_t* src, unsigned n) {
  return dst == nullptr ? nullptr : u_strncpy(dst, OrEmpty(src), ClampCount(n));
}

char16_t* qvsvStrdup(const char16_t* s) {
  if (s == nullptr) return nullptr;
  const std::size_t units = static_cast<std::size_t>(u_strlen(s)) + 1;
  auto* copy = static_cast<char16_t*>(TestedMalloc(qvsv::fault::kDuplicatedString, units * sizeof(char16_t)));
  if (copy != nullptr) std::memcpy(copy, s, units * sizeof(char16_t));
  return copy;
}

char16_t* qvsvStrndup(const char16_t* s, unsigned n) {
  if (s == nullptr) return nullptr;
  // Stops at the first NUL within n units, so nothing past the terminator is read.
  std::size_t length = 0;
  while (length < n && s[length] != u'\0') ++length;
  auto* copy =
      static_cast<char16_t*>(TestedMalloc(qvsv::fault::kDuplicatedString, (length + 1) * sizeof(char16_t)));
  if (copy == nullptr) return nullptr;
  std::memcpy(copy, s, length * sizeof(char16_t));
  copy[length] = u'\0';
  return copy;
}

const char16_t* qvsvStrchr(const char16_t* s, char16_t c) { return u_strchr(OrEmpty(s), c); }

const char16_t* qvsvStrstr(const char16_t* s, const char16_t* t) { return u_strstr(OrEmpty(s), OrEmpty(t)); }

int qvsvIsSpace(char16_t c) { return u_isspace(c) ? 1 : 0; }
int qvsvIsalpha(char16_t c) { return u_isalpha(c) ? 1 : 0; }
int qvsvIsalphanum(char16_t c) { return u_isalnum(c) ? 1 : 0; }
int qvsvIsdigit(char16_t c) { return u_isdigit(c) ? 1 : 0; }
