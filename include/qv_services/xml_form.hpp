// The XML form of a diagnostic: how diagnostics cross process and language
// boundaries, and the text encodings used inside it.
//
// Two forms exist. The message form carries each item's finished message
// (base64 of UTF-16 in a CDATA section); the argument form carries the
// message arguments instead, so that the receiver builds the text from its
// own catalogue. Both have the root "diag_root" and read back with
// qvsvRestoreDiagnosticFromXMLFragment.
//
// Writers never fail: a null or empty diagnostic gives the bare root.
// Restoring a text that does not begin with "<diag_root>" gives null; a
// malformed document gives an error diagnostic (identifier
// "QVSV_DIAGNOSTIC:RESTORE_DIAGNOSTIC_ERROR", caused by
// "QVSV_SERVICES:ExpatParserError", caused in turn by the reader's own
// finding when it has one). Any bytes are safe to restore. A restore that
// runs out of memory gives the out-of-memory diagnostic (identifier
// "QV_SERVICES:utils:MemoryAllocationError") and leaks nothing; an allocation
// that Expat itself cannot make fails the parse as above, with Expat's
// "out of memory". Writers that consume their diagnostic release it also when
// they throw std::bad_alloc. Main thread only.
#pragma once

#include <string>

#include "qv_services/diagnostic.hpp"

// --- Writing. ---
// The message form; the diagnostic is released afterwards (pointer nulled).
QVSV_API std::string qvsvSerializeDiagnosticAsXMLString(qvsvDiagnosticImpl*& diag);
// The argument form (the last item's arguments, written for every item); the
// diagnostic stays with the caller.
QVSV_API std::string qvsvSerializeDiagnosticAsXMLStringWithArguments(qvsvDiagnosticImpl*& diag);
// The same with the given arguments in place of the last item's (arguments
// kept in a host array read back as wide strings and are written encoded;
// narrow strings given here are written as CDATA).
QVSV_API std::string qvsvSerializeDiagnosticAsXMLStringWithArguments(qvsvDiagnosticImpl*& diag,
                                                                     const qvsvArgumentVector& arguments);
// A diagnostic made from the identifier and its arguments, in argument form.
QVSV_API std::string qvsvCreateSerializedMessageIDForDiagnostic(const resource_core::BaseMsgID& id);

// --- Restoring: a new diagnostic the caller owns, or null. A null text counts as empty. ---
QVSV_API qvsvDiagnosticImpl* qvsvRestoreDiagnosticFromXMLFragment(const char* text);
QVSV_API qvsvDiagnosticImpl* qvsvRestoreDiagnosticFromXMLFragment(const char16_t* text);
// Debugging aid: while on, the reader echoes each element name to standard
// output as it ends, indented by one tab per nesting level.
QVSV_API void qvsvSetXMLRestoreEcho(bool echo);
QVSV_API bool qvsvGetXMLRestoreEcho();
// Causes nested deeper than this make the document malformed.
inline constexpr int kQvsvMaxRestoredCauseDepth = 100;

// --- Encodings. ---
// Base64 (RFC 4648, one line) of the UTF-16 code units, low byte first, plus
// the two bytes of a terminating NUL; the empty text gives "".
QVSV_API std::string EncodeBase64FromUChars(const std::u16string& text);
// The inverse; decoding stops at a NUL code unit, and characters outside the
// alphabet, padding and a trailing odd byte are ignored.
QVSV_API std::u16string DecodeBase64FromChars(const std::string& text);
// Four lower-case hex digits per code unit, up to the first NUL.
QVSV_API std::string EncodeFromUChars(const std::u16string& text);
// The inverse; decoding stops at the first group that is not four hex digits.
QVSV_API std::u16string DecodeFromChars(const std::string& text);
