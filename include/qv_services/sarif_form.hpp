// Diagnostics as a SARIF 2.1.0 log, for code-scanning dashboards, editor
// extensions and CI annotators.
//
// One log holds one run of the tool "qv_services": one rule per distinct
// identifier (in order of first appearance; with the catalogue's unformatted
// text as its short description where the catalogue has the identifier),
// and one result per item, in depth-first order. A top-level item's result
// has the level of its report kind (error, warning, or note for
// information); its causes follow it as results of the same level, linked
// both ways through the result property bag: a result lists the "guid"s of
// its direct causes in "causes", and a cause names its parent in "causeOf"
// (with "causeDepth" 1 for a direct cause). A viewer walks the chain from
// either end.
//
// Each result carries: "ruleId" (the identifier) and "ruleIndex"; "message"
// ("text": the message with hotlinks removed; the identifier when the
// message is empty); the call stack as one "stacks" entry whose frames hold
// the file (as a URI reference), the function name and the line; and in its
// property bag the item's "arguments" (numbers and texts as stored),
// "metadata" (key to value), object "handles", "extraMessage" and
// "creationTime" where the item has them.
//
// The overflow item of a full queue ("QV_SERVICES:utils:TooManyErrorsErr")
// is not a finding: its result has "kind": "informational", "level": "none"
// and the property "overflow": true.
//
// The diagnostics are read, never changed or released. Null or empty ones
// add no results; no diagnostics at all give a valid log with no results.
// Writing is linear in the number of items. Main thread only.
#pragma once

#include <string>
#include <vector>

#include "qv_services/diagnostic.hpp"

// How a diagnostic was (or would be) reported; the values are the listener
// contexts.
enum class qvsvReportKind { Warning = 1, Error = 2, Information = 3 };

struct qvsvSarifInput {
  qvsvDiagnosticImpl* diagnostic;  // borrowed; may be null
  qvsvReportKind kind;
};

QVSV_API std::string qvsvSerializeDiagnosticsAsSARIF(const std::vector<qvsvSarifInput>& inputs);
QVSV_API std::string qvsvSerializeDiagnosticAsSARIF(qvsvDiagnosticImpl* const& diag, qvsvReportKind kind);
