// The host-array form of a diagnostic: how a diagnostic reaches host code as
// a value of the host language, and comes back from one.
//
// The form is a 1 x N struct array, one element per item, with the fields
//   identifier    char row: the identifier as stored (an empty one stays empty)
//   message       char row
//   extraMessage  char row
//   arguments     the item's argument cell as stored (double scalars and char
//                 rows), or [] when the item has none
//   handles       1 x N double row of object handles ([] when none)
//   stack         the item's call stack, a struct array with the fields
//                 "file", "name" (char) and "line" (double), or [] when the
//                 item keeps none
//   creationTime  double scalar, the creation time (0 when never set)
//   metadata      K x 1 struct array with the fields "key" (char row), "kind"
//                 ("int64", "string" for a narrow UTF-8 text, "wstring" for a
//                 wide text) and "value" (a double scalar for an int64 that a
//                 double holds exactly, otherwise its decimal digits as text;
//                 a char row for both text kinds), or [] when there is none
//   causes        the item's cause diagnostic in this same form, or [] when
//                 the item has none
// A null diagnostic is a 1 x 0 struct array with these fields.
//
// Reading back. Every field above is restored, so restoring the form of a
// diagnostic gives one whose XML message and argument forms are
// byte-identical to the original's. The reader is lenient where host code
// builds arrays by hand: only "identifier" and "message" are required, other
// fields may be absent, and an absent field, an unset one and [] all mean
// "none"; "kind" may be absent (a number then reads as int64, a text as
// wstring); extra fields are ignored. Restored items are not pending and have
// no handle callback; arrays that the restored diagnostic keeps are its own
// persistent copies. Causes nested deeper than kQvsvMaxRestoredCauseDepth
// (the XML form's limit) do not restore.
//
// Bad input never crashes: a null or malformed array (wrong class, missing
// field, wrong field type, duplicate metadata key, causes that contain their
// own enclosing array, or nesting past the limit) gives an error diagnostic
// whose identifier is one of "QV_SERVICES:exchange:Array..." and whose
// message names the field, the element (1-based, as the host counts) and the
// path to it, as in "Field 'line' of element 2 of diag(1).stack must be a
// real scalar, not a 1x3 char array." Nothing built on the way is kept.
//
// Ownership. The array that a writer returns belongs to the caller (and is
// temporary while a host call scope is open, as every new host array is).
// The input of a reader is only read. Main thread only.
//
//   txArray* form = qvsvDiagnosticToArray(diag);        // caller owns form
//   qvsvDiagnosticImpl* copy = nullptr;
//   if (qvsvDiagnosticImpl* error = qvsvDiagnosticFromArray_NoThrow(form, copy)) {
//     qvsvReportAsError(error);                         // form was malformed
//   }
//   txDestroyArray(form);
#pragma once

#include "qv_services/diagnostic.hpp"
#include "tessel/array.hpp"

// The form of the diagnostic (which stays with the caller); a new array the
// caller owns. Throws std::bad_alloc when the host cannot make an array;
// nothing made on the way is left behind then.
[[nodiscard]] QVSV_API txArray* qvsvDiagnosticToArray(qvsvDiagnosticImpl* const& diag);

// Restores the diagnostic of a form. Returns null on success, with result the
// new diagnostic (null for a form of no items), which the caller owns; on a
// malformed form returns the error diagnostic (owned by the caller) and
// leaves result null. Never throws: when memory runs short the result is the
// out-of-memory diagnostic.
[[nodiscard]] QVSV_API qvsvDiagnosticImpl* qvsvDiagnosticFromArray_NoThrow(const txArray* form,
                                                                         qvsvDiagnosticImpl*& result);
// The same, throwing the error diagnostic as qvsv::except::DiagnosticException.
[[nodiscard]] QVSV_API qvsvDiagnosticImpl* qvsvDiagnosticFromArray(const txArray* form);

namespace qvsv::fault {
// The exception tester (fault_injection.hpp) of every host array that the
// writer makes and of the copies that a restored diagnostic keeps: a firing
// call fails as the host's allocator does, with std::bad_alloc.
inline constexpr const char kArrayForm[] = "qvsv.ArrayForm";
}  // namespace qvsv::fault
