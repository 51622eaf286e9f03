// Wide-string functions over NUL-terminated UTF-16 text (char16_t) and
// std::u16string, used throughout the library in place of the C runtime's
// wide-string functions. Character classes and case folding are ICU's (Unicode
// properties, not the C locale); narrow overloads use the C library's
// isspace of the current C locale.
//
// Null pointers: a null const char16_t* argument of the comparison, copy and
// length functions counts as the empty string. Comparison results are
// negative, zero or positive. Nothing reads past a terminator.
//
// Ownership: memory returned by the duplicating functions comes from the host
// allocator; the caller frees it with utFree.
//
//   if (qvsvStrcmpiWS(u"Block\tName", u"block name") == 0) { ... }
//   std::u16string shown = qvsvRemoveExtraSpacesUString(u"  a   b ");  // u"a b"
#pragma once

#include <cstdarg>
#include <string>
#include <vector>

#include "qv_services/export.hpp"

// The address of the one static empty wide string that stands in for null.
QVSV_API const char16_t* qvsvGetEmptyUString();

// --- Length and code-unit comparison: thin forwards to ICU's u_str*.
// Code units before the NUL; 0 for null.
QVSV_API unsigned qvsvStrlen(const char16_t* s);
// Code-unit order.
QVSV_API int qvsvStrcmp(const char16_t* a, const char16_t* b);
// At most n code units.
QVSV_API int qvsvStrncmp(const char16_t* a, const char16_t* b, unsigned n);
// Case-insensitive under Unicode default case folding.
QVSV_API int qvsvStrcmpi(const char16_t* a, const char16_t* b);
QVSV_API int qvsvStrncmpi(const char16_t* a, const char16_t* b, unsigned n);

// --- Whitespace-insensitive comparisons. The two strings are walked in step:
// at a position where both characters are whitespace they match, whichever
// whitespace they are; otherwise the result is a[i] - b[i] of the first
// difference (as unsigned 16-bit units for wide text, as signed char for
// narrow text). Runs are not collapsed: two blanks differ from one, and
// whitespace never matches a missing character. The n forms compare at most n
// positions (n = 0 gives 0).
QVSV_API int qvsvStrcmpWS(const char16_t* a, const char16_t* b);
QVSV_API int qvsvStrcmpWS(const char* a, const char* b);
QVSV_API int qvsvStrncmpWS(const char16_t* a, const char16_t* b, unsigned n);
QVSV_API int qvsvStrncmpWS(const char* a, const char* b, unsigned n);
// The same, also ignoring case (Unicode default folding). The sign of a
// difference still follows the unfolded code units, on purpose: callers sort
// with it as they would with qvsvStrcmpWS.
QVSV_API int qvsvStrcmpiWS(const char16_t* a, const char16_t* b);
QVSV_API int qvsvStrncmpiWS(const char16_t* a, const char16_t* b, unsigned n);

// Collation for the host's global locale at primary strength: case and
// accents are ignored. Returns -1, 0 or 1. The collator is made once per
// process, for the global locale of that moment; without one (ICU could not
// make it) everything compares equal. Safe to call from several threads.
QVSV_API int qvsvStrcmp_Collation(const char16_t* a, const char16_t* b);
// Test-only: drops the collator and makes a new one for the current global
// locale. Main thread only, with no comparison running.
QVSV_API void qvsvResetCollatorForTesting();

// --- Copying. dst must hold the copy; a null src copies the empty string; a
// null dst is left alone. Both return dst.
QVSV_API char16_t* qvsvStrcpy(char16_t* dst, const char16_t* src);
// Copies at most n code units, the NUL included when it comes within them: a
// source of n or more units leaves dst unterminated.
QVSV_API char16_t* qvsvStrncpy(char16_t* dst, const char16_t* src, unsigned n);
// New utMalloc copies: null for a null source and when the allocator fails.
// qvsvStrndup copies the first min(n, length) code units and a NUL.
[[nodiscard]] QVSV_API char16_t* qvsvStrdup(const char16_t* s);
[[nodiscard]] QVSV_API char16_t* qvsvStrndup(const char16_t* s, unsigned n);

// --- Searching: the first c (c = 0 finds the terminator) or the first t in
// s; null when there is none. An empty t is found at s itself.
QVSV_API const char16_t* qvsvStrchr(const char16_t* s, char16_t c);
QVSV_API const char16_t* qvsvStrstr(const char16_t* s, const char16_t* t);

// --- Character classes (Unicode properties), 1 or 0. A surrogate code unit
// is judged alone, so it is none of these.
QVSV_API int qvsvIsSpace(char16_t c);
QVSV_API int qvsvIsalpha(char16_t c);
QVSV_API int qvsvIsalphanum(char16_t c);
QVSV_API int qvsvIsdigit(char16_t c);

// --- Trimming and space collapsing. Each walks its input once.
// True for the empty string and for whitespace only.
QVSV_API bool qvsvIsWhitespaceString(const std::u16string& s);
// Without leading and trailing whitespace.
QVSV_API std::u16string qvsvTrimStr(const std::u16string& s);
QVSV_API void qvsvTrimUString(std::u16string& s);
// Leading and trailing whitespace removed, and every inner run of whitespace
// collapsed to its first character, kept as it is (a run that starts with a
// tab stays a tab).
QVSV_API std::string qvsvRemoveExtraSpaces(const std::string& s);
QVSV_API std::u16string qvsvRemoveExtraSpacesUString(const std::u16string& s);
// When s is longer than maxLength and maxLength is at least 5, cuts s to
// maxLength code units, the last three being "..."; otherwise leaves s as it
// is. A cut may split a surrogate pair; it is the caller's display limit.
QVSV_API void qvsvStrAppendEllipsis(std::u16string& s, unsigned maxLength);

// --- Formatted text through ICU's ustdio: narrow format strings in ICU's
// printf syntax ("%S" for a wide string argument), wide buffers.
// qvsvSnprintf and qvsvVSnprintf are u_vsnprintf exactly: the buffer holds
// what ICU writes and the result is ICU's, for every size. Unlike C's
// snprintf, ICU leaves a result that size cuts short without a terminator, a
// negative size means no limit, and the count it returns for a cut result is
// its own (not always the whole result's length); call with a buffer that
// holds the result and its NUL when that matters. The other results are
// ICU's too: code units written without the NUL, or the number of items read.
// A null format, and a null buffer with a size other than 0 (which ICU would
// write through), give -1 and write nothing. qvsvSprintf and qvsvVSprintf do
// not know the buffer's size: prefer the n forms. A null text to scan counts
// as empty.
QVSV_API int qvsvSnprintf(char16_t* buf, int size, const char* format, ...);
QVSV_API int qvsvSprintf(char16_t* buf, const char* format, ...);
QVSV_API int qvsvSscanf(const char16_t* s, const char* format, ...);
QVSV_API int qvsvVSnprintf(char16_t* buf, int size, const char* format, va_list args);
QVSV_API int qvsvVSprintf(char16_t* buf, const char* format, va_list args);
QVSV_API int qvsvVSscanf(const char16_t* s, const char* format, va_list args);

// The text as a host-language string expression that evaluates back to it:
// the text between "['" and "']", apostrophes doubled, and each line feed,
// vertical tab, form feed, carriage return and double quote written as a
// char(N) call: u"say \"hi\"\n" gives u"['say ' char(34) 'hi' char(34) '' char(10) '']".
// Safe to call from several threads (they share one compiled pattern, under
// a lock).
QVSV_API std::u16string qvsvMAT2str(const std::u16string& text);

// --- Splitting at a delimiter that may be escaped. out is replaced by the
// pieces: every unescaped delimiter cuts (adjacent delimiters give an empty
// piece, a final delimiter a trailing empty piece), an empty text gives no
// piece. A delimiter is escaped when an odd run of escape characters stands
// directly before it. In each piece, an escape character followed by an
// escape or a delimiter is removed (so "\\" reads as "\" and "\," as ","),
// which undoes the escaping that joined the pieces; any other escape stays.
// escape = 0 disables escaping. The narrow form reads UTF-8: a delimiter byte
// inside a multibyte character does not cut.
QVSV_API void delimited_string_to_vector(std::vector<std::string>& out, const std::string& text, char delimiter,
                                         char escape);
QVSV_API void delimited_ustring_to_vector(std::vector<std::u16string>& out, const std::u16string& text,
                                          char16_t delimiter, char16_t escape);

// a and b joined by the catalogue message "QV_SERVICES:utils:Concatenate" in
// the global locale (a blank in the shipped languages); either one alone when
// the other is empty. Throws resource_core::CatalogError when the catalogue
// is missing.
QVSV_API std::u16string ConcatenateStringsWithSpace(const std::u16string& a, const std::u16string& b);

// --- Narrow views of wide text for code in transition from narrow strings.
// The UTF-8 form of s (ill-formed units become U+FFFD), cached for the life of
// the process: the same text always gives the same pointer, valid until exit.
// Null for null. The cache only grows, so keep it for a bounded set of texts.
// Safe to call from several threads.
QVSV_API const char* qvsvGetTransitonalConstCharPtr(const char16_t* s);

// --- Debugger aids: the UTF-8 form of a wide string in one static buffer,
// overwritten by the next call of either. Not thread-safe.
QVSV_API const char* dbg_flstring_str(std::u16string& s);
QVSV_API const char* dbg_ucharptr_str(char16_t* p);
QVSV_API const char* dbg_get_unknown_exception();
