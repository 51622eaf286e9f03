// The XML form of a diagnostic: how diagnostics cross process and language
// boundaries, and the text encodings used inside it.
//
// Two forms exist. The message form carries each item's finished message
// (base64 of UTF-16 in a CDATA section); the argument form carries the
// message arguments instead, so that the receiver builds the text from its
// own catalogue. Both have the root "diag_root" and read back with
// qvsvRestoreDiagnosticFromXMLFragment.
//
// Writers never fail: a null or empty diagnostic gives the bare root. They
// walk causes without recursion and stop at the reader's depth limit below.
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
//
// What reads back. Messages are base64 of UTF-16 in both message forms, so
// every message restores, up to its first NUL code unit. Identifiers are
// written unescaped in the message form and the argument form, so there an
// identifier restores only if it is well-formed UTF-8 without '"', '<', '&'
// and control characters: '"' and '<' make the document malformed, '&'
// starts a reference ("a&amp;b" reads back as "a&b"), tab, newline and
// carriage return read back as blanks, and other control characters and
// ill-formed UTF-8 make it malformed. CreateSerializedDiagnosticAsASCII7String
// writes the same document with such identifiers escaped. In the argument
// form a narrow-string argument is written in a CDATA section, split where
// the text holds "]]>" ("]]]]><![CDATA[>") and with a carriage return as
// "&#13;" between two sections, so it reads back byte for byte; a narrow
// text that XML cannot hold (control characters other than tab, newline and
// carriage return, ill-formed UTF-8) is written as an encoded argument and
// reads back as a wide string (ill-formed bytes as U+FFFD).
#pragma once

#include <string>

#include "qv_services/diagnostic.hpp"
#include "qv_services/listeners.hpp"

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
// The message form in 7-bit ASCII, for channels that carry nothing else. The
// document is the message form's, byte for byte, except in identifiers:
// printable ASCII other than '"', '<' and '&' is written as it is, every
// other character as a decimal character reference ("&#233;", "&#9;"), so
// that any identifier restores exactly with qvsvRestoreDiagnosticFromXMLFragment.
// XML 1.0 cannot hold control characters other than tab, newline and
// carriage return, even as references: those, and ill-formed UTF-8, are
// written as U+FFFD ("&#65533;"). The diagnostic stays with the caller; null
// or empty gives the bare root.
QVSV_API std::string CreateSerializedDiagnosticAsASCII7String(const qvsvDiagnosticImpl* diag);

// --- Restoring: a new diagnostic the caller owns, or null. A null text counts as empty. ---
QVSV_API qvsvDiagnosticImpl* qvsvRestoreDiagnosticFromXMLFragment(const char* text);
QVSV_API qvsvDiagnosticImpl* qvsvRestoreDiagnosticFromXMLFragment(const char16_t* text);
// Reports a diagnostic that arrives in either XML form (from a log or another
// process): the fragment is restored and reported as the context says
// (qvsvReportAsWarning, qvsvReportAsError or qvsvReportAsInfo; see
// reporting.hpp). Returns true when the fragment restored and was reported.
// A malformed fragment reports the restorer's error diagnostic in its place,
// in the same context, and returns false; a text that is not of this format
// (null, or not beginning with "<diag_root>") reports nothing and returns
// false. A context other than the three throws std::invalid_argument naming
// it, before anything is read.
QVSV_API bool qvsvHandleMessageFromXMLFragment(const char* text, qvsv::util::qvsvDiagnosticListenerContext context);
QVSV_API bool qvsvHandleMessageFromXMLFragment(const char16_t* text,
                                               qvsv::util::qvsvDiagnosticListenerContext context);
// Debugging aid: while on, the reader echoes each element name to standard
// output as it ends, indented by one tab per nesting level.
QVSV_API void qvsvSetXMLRestoreEcho(bool echo);
QVSV_API bool qvsvGetXMLRestoreEcho();
// The deepest nesting of causes that the reader accepts: a document with
// more than this many nested "causes" elements is malformed (the error
// diagnostic's innermost cause is "QVSV_SERVICES:QVSVDIAGNOSTICCREATION:DTD_ERROR").
// The writers match it: an item at this depth is written without its
// causes, so that every document they write reads back (holding the first
// kQvsvMaxRestoredCauseDepth levels of a deeper chain).
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
