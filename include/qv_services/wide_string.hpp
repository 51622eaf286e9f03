// Wide-string functions over NUL-terminated UTF-16 text (char16_t) and
// std::u16string, used throughout the library in place of the C runtime's
// wide-string functions. Character classes and case folding are ICU's.
//
// A null const char16_t* argument of the comparison, copy and length functions
// counts as the empty string. Comparison results are negative, zero or positive.
#pragma once

#include <string>

#include "qv_services/export.hpp"

// The address of the one static empty wide string that stands in for null.
QVSV_API const char16_t* qvsvGetEmptyUString();

// Code units before the NUL; 0 for null.
QVSV_API unsigned qvsvStrlen(const char16_t* s);
// Code-unit order.
QVSV_API int qvsvStrcmp(const char16_t* a, const char16_t* b);
