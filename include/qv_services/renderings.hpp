// Text and HTML renderings of a diagnostic, hotlinks, and the error report
// file.
//
// Renderings read the items in list order, walking causes without
// recursion (chains of any depth render), and never change the diagnostic,
// except the plain rendering (which consumes it) and qvsvForceCreateHotlinks
// (which rewrites arguments). Null or empty diagnostics render as empty text
// (a single newline for the plain rendering). Items whose identifier is
// "Tessel:TException:MultipleErrors" only wrap their causes: the formatted and
// HTML renderings skip the item itself. A rendering that runs out of memory
// throws std::bad_alloc and leaks nothing; the plain rendering still releases
// its diagnostic then. Main thread only.
#pragma once

#include <string>

#include "qv_services/diagnostic_creation.hpp"

// --- Renderings. ---
// Format 1: the XML message form; any other value: the plain rendering. Both
// release the diagnostic.
QVSV_API std::string qvsvSerializeDiagnosticAsString(qvsvDiagnosticImpl*& diag, int format);
// "ID:     ", "MSG:    " and "CAUSES: " lines, causes indented by four blanks
// per level, then one empty line; releases the diagnostic. Every level is
// written, but the indentation stops growing at kQvsvMaxRestoredCauseDepth
// (100) levels: deeper causes are indented as the hundredth level, which
// keeps the text linear in the number of items however deep the chain.
QVSV_API std::string qvsvSerializeDiagnosticAsPlainString(qvsvDiagnosticImpl*& diag);
// One message per line, causes after their parents (depth first); with two or
// more messages each is preceded by prefix; no newline after the last.
QVSV_API std::u16string qvsvSerializeToFormattedUStringCreate(qvsvDiagnosticImpl* diag, bool stripHotlinks,
                                                              const std::u16string& prefix);
// The same, each message wrapped at width characters (width < 1: no wrapping):
// lines break at a blank, before a tab or "/", or in the middle of a word
// that fills the line. After a break at a blank or in a word, the blanks,
// tabs and newlines that follow stay on the broken line and the new line
// starts at the next other character, so a newline that the message already
// has where the line is full is kept, not cut again ("abcde\nfghij" at width
// 5 gives "abcde\n\nfghij"). A tab or "/" where the search for a break stops
// begins the new line itself (it is not passed over as whitespace), and one
// at the very start of a line is not a break point: breaking before it again
// would never end.
QVSV_API std::u16string qvsvSerializeToFormattedUStringWrapped(qvsvDiagnosticImpl* diag, bool stripHotlinks,
                                                               const std::u16string& prefix, int width);
// The same as UTF-8 in a block from utMallocWithCheck (free it with utFree);
// null for a null diagnostic.
QVSV_API char* qvsvSerializeToFormattedStringCreate(qvsvDiagnosticImpl* diag, bool stripHotlinks, std::string prefix);
// "<p>...</p>" per top-level item, causes as nested lists after the
// caused-by text; only "<" and ">" of messages are escaped.
QVSV_API std::u16string qvsvSerializeToHTMLCreate(qvsvDiagnosticImpl* diag, bool stripHotlinks);
// Message and extra message of item index joined by the catalogue's join
// template (a missing text counts as empty).
QVSV_API std::u16string qvsvGetFullMessageFromDiagnosticItem(qvsvDiagnosticImpl* const& diag, unsigned index);

// --- Hotlinks: anchors with the "tessel:" scheme that the host console turns
// into commands. ---
// A hotlink from the catalogue templates when the console shows hotlinks
// (utPrintfIsHot), else plainText, or text when plainText is empty.
QVSV_API std::u16string qvsvCreateHotlinkString(const std::u16string& command, const std::u16string& commandArgument,
                                                const std::u16string& text, std::u16string plainText);

namespace qvsv {

// Every "tessel:" anchor (any case) replaced by its visible text: the text
// that replacing every match of
//   <a\s+href\s*=\s*"tessel\s*:[^\\"]*(?:\\.[^\\"]*)*"\s*>(.*?)</a>
// (ICU, case-insensitive, dot matches all) by its group 1 gives. It is
// computed by a single linear scan rather than by that pattern, whose lazy
// body takes time quadratic in the text; the scan cannot fail, so where ICU
// would run out of backtrack stack (an anchor body of a million units) the
// anchor is still removed instead of the text coming back unchanged.
QVSV_API std::string removeHotLinks(const std::string& text);
QVSV_API std::u16string removeHotLinks(const std::u16string& text);

}  // namespace qvsv

// Passes string arguments through the hotlink callback: wide ones are edited
// in place; a narrow one is replaced by the edited text unless the callback
// returns exactly -1.0 ("left unchanged").
class QVSV_API hot_link_visitor : public MutableBaseMsgID::MsgArgVisitor {
 public:
  explicit hot_link_visitor(qvsvCreateHotlinkCallback callback) : callback_(callback) {}
  void visit(std::u16string& argument) override;
  void visit(std::int64_t& argument) override;
  void visit(std::string& argument) override;
  ~hot_link_visitor() override;

 private:
  qvsvCreateHotlinkCallback callback_;
};

// Rewrites the last item's arguments through the hotlink callback and renders
// its message again; nothing without items or a callback.
QVSV_API void qvsvForceCreateHotlinks(qvsvDiagnosticImpl*& diag);

// --- The error report file: while switched on, reported errors append their
// identifiers and the last call-stack line naming "lvl" to the file
// (default name "ReportError." and the process id). ---
QVSV_API bool isQVSVErrorReport();
// Switches the report on or off; an empty file name selects the default.
QVSV_API void qvsvConfigureErrorReport(bool on, const std::string& fileName = std::string());
QVSV_API void qvsvCreateReportForErrors(qvsvDiagnosticImpl* const& diag);
