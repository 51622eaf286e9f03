// Host arrays (txArray): the host's array value.
//
// Classes: double, logical, char (UTF-16), cell, struct and object (a struct
// with a class name). Every array is two-dimensional (m x n); elements are
// stored column-major, as the host language stores them.
//
// Ownership and scope. An array belongs to whoever created it. While a
// tessel::HostCallScope is open on the calling thread, a newly created array
// is temporary: it is destroyed when the innermost scope closes, unless it was
// made persistent (txMakeArrayPersistent), destroyed earlier, or handed to a
// container (txSetCell, txSetField...), which then owns it. Outside any scope,
// arrays live until txDestroyArray. Code that keeps an array beyond the current
// host call (a diagnostic storing its arguments, for example) must make it
// persistent.
//
// Copies. txDuplicateArray copies deeply. txCreateSharedDataCopy shares the
// source's data and copies it only when one of the two is written
// (copy-on-write), so a shared copy stays valid after its source is destroyed.
//
// Bad input: null arrays are accepted where a getter can give a neutral answer
// (0, null, empty); indices out of range throw std::out_of_range, a wrong class
// throws std::invalid_argument, both naming the offending value.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tessel/export.hpp"

struct txArray;

enum class txClassID { Unknown = 0, Double, Logical, Char, Cell, Struct, Object };

using txIndex = std::size_t;

// --- Creation. Numeric and logical matrices start zeroed, char matrices hold
// NULs, cells and struct fields start empty (null). ---
TESSEL_API txArray* txCreateDoubleScalar(double value);
TESSEL_API txArray* txCreateLogicalScalar(bool value);
TESSEL_API txArray* txCreateDoubleMatrix(txIndex m, txIndex n);
TESSEL_API txArray* txCreateLogicalMatrix(txIndex m, txIndex n);
TESSEL_API txArray* txCreateCharMatrix(txIndex m, txIndex n);
// A 1 x N character row holding the UTF-16 text (0 x 0 for an empty text).
TESSEL_API txArray* txCreateString(std::u16string_view text);
// The same from UTF-8; ill-formed bytes become U+FFFD.
TESSEL_API txArray* txCreateStringFromUTF8(std::string_view text);
TESSEL_API txArray* txCreateCellMatrix(txIndex m, txIndex n);
TESSEL_API txArray* txCreateStructMatrix(txIndex m, txIndex n, const std::vector<std::string>& fieldNames);
// An object array: a struct array that reports className as its class.
TESSEL_API txArray* txCreateObjectMatrix(txIndex m, txIndex n, std::string_view className,
                                         const std::vector<std::string>& fieldNames);

// --- Shape and class. A null array has class Unknown and no elements. ---
TESSEL_API txClassID txGetClassID(const txArray* a);
// "double", "logical", "char", "cell", "struct", or an object's class name.
TESSEL_API const char* txGetClassName(const txArray* a);
TESSEL_API txIndex txGetM(const txArray* a);
TESSEL_API txIndex txGetN(const txArray* a);
TESSEL_API txIndex txGetNumberOfElements(const txArray* a);
TESSEL_API bool txIsEmpty(const txArray* a);
TESSEL_API bool txIsChar(const txArray* a);
TESSEL_API bool txIsCell(const txArray* a);
TESSEL_API bool txIsStruct(const txArray* a);  // struct or object
TESSEL_API bool txIsNumeric(const txArray* a); // double
TESSEL_API bool txIsLogical(const txArray* a);

// --- Element data. The plain getters read; the ForWrite getters first give
// the array data of its own when it shares them. Wrong class: invalid_argument. ---
TESSEL_API const double* txGetPr(const txArray* a);
TESSEL_API double* txGetPrForWrite(txArray* a);
TESSEL_API const bool* txGetLogicals(const txArray* a);
TESSEL_API bool* txGetLogicalsForWrite(txArray* a);
TESSEL_API const char16_t* txGetChars(const txArray* a);
TESSEL_API char16_t* txGetCharsForWrite(txArray* a);
// The first element of a double, logical or char array as a double.
TESSEL_API double txGetScalar(const txArray* a);
// All characters of a char array, column-major, as text.
TESSEL_API std::u16string txGetString(const txArray* a);
TESSEL_API std::string txGetStringUTF8(const txArray* a);

// --- Cells. txGetCell returns the element (owned by the cell; null when
// unset). txSetCell takes ownership of value (which must not belong to another
// container) and destroys the element it replaces; when the cell's shared data
// cannot be copied for the write (std::bad_alloc), value is destroyed too, so
// that `txSetCell(c, i, txCreate...(...))` never leaks. ---
TESSEL_API const txArray* txGetCell(const txArray* cell, txIndex index);
TESSEL_API void txSetCell(txArray* cell, txIndex index, txArray* value);

// --- Struct and object fields, by number (0-based) or by name. A missing
// field name gives -1 from txGetFieldNumber and null from txGetField. The
// setters take ownership of value as txSetCell does. ---
TESSEL_API int txGetNumberOfFields(const txArray* s);
TESSEL_API const char* txGetFieldNameByNumber(const txArray* s, int field);
TESSEL_API int txGetFieldNumber(const txArray* s, std::string_view name);
TESSEL_API const txArray* txGetFieldByNumber(const txArray* s, txIndex index, int field);
TESSEL_API const txArray* txGetField(const txArray* s, txIndex index, std::string_view name);
TESSEL_API void txSetFieldByNumber(txArray* s, txIndex index, int field, txArray* value);
// Throws std::invalid_argument when the struct has no field of that name.
TESSEL_API void txSetField(txArray* s, txIndex index, std::string_view name, txArray* value);
// Adds a field (empty in every element) and returns its number; an existing
// field's number is returned unchanged.
TESSEL_API int txAddField(txArray* s, std::string_view name);

// --- Copies and lifetime. ---
TESSEL_API txArray* txDuplicateArray(const txArray* a);
TESSEL_API txArray* txCreateSharedDataCopy(const txArray* a);
// Takes the array out of its host call scope; nothing for null.
TESSEL_API void txMakeArrayPersistent(txArray* a);
// True while the array is temporary in an open scope.
TESSEL_API bool txIsTemporary(const txArray* a);
// Destroys the array and its elements; nothing for null. An array held by a
// container is destroyed with its container: destroying it directly throws
// std::invalid_argument.
TESSEL_API void txDestroyArray(txArray* a);

namespace tessel {

// RAII host call scope: arrays created on this thread while it is the
// innermost open scope, and not made persistent or handed to a container, are
// destroyed when it closes. Scopes nest and must close in reverse order.
class TESSEL_API HostCallScope {
 public:
  HostCallScope();
  ~HostCallScope();
  HostCallScope(const HostCallScope&) = delete;
  HostCallScope& operator=(const HostCallScope&) = delete;

  // Number of temporary arrays this scope will destroy.
  std::size_t temporaryCount() const;

  struct State;  // opaque: the scope's set of temporaries

 private:
  State* state_;
};

// Number of arrays alive in the process (for leak checks in tests).
TESSEL_API std::size_t LiveArrayCount();

}  // namespace tessel
