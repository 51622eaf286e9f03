// The JSON form of a diagnostic: everything a diagnostic holds, for scripts
// and for tools that read JSON rather than the XML form.
//
// Where the XML argument form carries identifiers, the last item's arguments
// and the cause tree, the JSON form carries every item whole: identifier,
// message, extra message, arguments as stored, object handles, call stack,
// creation time, metadata and causes. Restoring what the writer wrote gives
// a diagnostic whose message form and argument form are byte-identical to
// the original's.
//
// The document, one object:
//   {"format": "qv_services.diagnostic", "version": 1, "items": [ITEM, ...]}
//   ITEM = {"id": "A:b", "message": TEXT, "extraMessage": TEXT,
//           "arguments": [ARG, ...], "handles": [1.5, ...],
//           "callStack": [{"file": TEXT, "name": TEXT, "line": 12}, ...],
//           "creationTime": 3, "metadata": [META, ...], "causes": [ITEM, ...]}
// Only "id" and "message" are always written; the other members appear when
// the item has them ("arguments": [] is an empty argument array, which is
// not the same as none). TEXT is a JSON string, except for UTF-16 that is not
// well formed (an unpaired surrogate), which JSON strings cannot carry: that
// text is written as {"utf16": "d800..."}, four lower-case hex digits per
// code unit. ARG is a number (a numeric element), true/false (a logical
// element), TEXT (a character element) or null (any other element, restored
// as an empty numeric array). META is {"key": TEXT, "integer": 5},
// {"key": TEXT, "string": "narrow"} or {"key": TEXT, "wide": TEXT}; a narrow
// string that is not UTF-8 is written as {"bytes": "hex"}. Numbers are written
// so that they read back to the same double; NaN and infinities are written
// as NaN, Infinity and -Infinity, an extension JSON readers commonly accept.
//
// Ownership and bad input. Writing never fails and never changes the
// diagnostic; a null or empty diagnostic gives a document with no items,
// which restores to null. Restoring returns a new diagnostic that the caller
// owns. Malformed input of any kind gives an error diagnostic instead:
// "QV_SERVICES:serialization:RestoreFromJSONError", caused by
// "QV_SERVICES:serialization:JSONSyntaxError" (the parser's finding with its
// line and column) or "QV_SERVICES:serialization:JSONFormError" (a valid JSON
// text that is not this form, naming the member, e.g. "items[0].causes[1].id").
// Causes nested deeper than kQvsvMaxRestoredCauseDepth are malformed, as in
// the XML form; writing has no depth limit. Main thread only.
#pragma once

#include <string>
#include <string_view>

#include "qv_services/diagnostic.hpp"

QVSV_API std::string qvsvSerializeDiagnosticAsJSON(qvsvDiagnosticImpl* const& diag);
QVSV_API qvsvDiagnosticImpl* qvsvRestoreDiagnosticFromJSON(std::string_view text);
