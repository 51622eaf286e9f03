// Wide-string functions: thin forwards to ICU with null standing for empty.
#include "qv_services/wide_string.hpp"

#include <unicode/ustring.h>

namespace {

const char16_t* orEmpty(const char16_t* s) { return s == nullptr ? qvsvGetEmptyUString() : s; }

}  // namespace

const char16_t* qvsvGetEmptyUString() {
  static const char16_t kEmpty[1] = {u'\0'};
  return kEmpty;
}

unsigned qvsvStrlen(const char16_t* s) { return static_cast<unsigned>(u_strlen(orEmpty(s))); }

int qvsvStrcmp(const char16_t* a, const char16_t* b) { return u_strcmp(orEmpty(a), orEmpty(b)); }
