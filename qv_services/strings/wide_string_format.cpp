// Formatted output into and input from wide strings through ICU's ustdio.
#include <unicode/ustdio.h>

#include "qv_services/strings/wide_string_detail.hpp"
#include "qv_services/wide_string.hpp"

using qvsv::strings::detail::OrEmpty;

int qvsvVSnprintf(char16_t* buf, int size, const char* format, va_list args) {
  // ICU reads a null format and writes through a null buffer of any size but
  // 0 (a negative size means no limit to it): refuse those, forward the rest.
  if (format == nullptr || (buf == nullptr && size != 0)) return -1;
  return u_vsnprintf(buf, size, format, args);
}

int qvsvVSprintf(char16_t* buf, const char* format, va_list args) {
  if (format == nullptr || buf == nullptr) return -1;
  return u_vsprintf(buf, format, args);
}

int qvsvVSscanf(const char16_t* s, const char* format, va_list args) {
  if (format == nullptr) return -1;
  return u_vsscanf(OrEmpty(s), format, args);
}

int qvsvSnprintf(char16_t* buf, int size, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int result = qvsvVSnprintf(buf, size, format, args);
  va_end(args);
  return result;
}

int qvsvSprintf(char16_t* buf, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int result = qvsvVSprintf(buf, format, args);
  va_end(args);
  return result;
}

int qvsvSscanf(const char16_t* s, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int result = qvsvVSscanf(s, format, args);
  va_end(args);
  return result;
}
