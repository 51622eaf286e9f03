// Hotlinks: making them from the catalogue templates, removing them by a
// linear scan, and forcing them into the last item's arguments.
#include <unicode/uchar.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include <string_view>

#include "qv_services/conversions.hpp"
#include "qv_services/renderings.hpp"
#include "tessel/ut.hpp"

namespace {

// Removal gives exactly what replacing every match of
//   <a\s+href\s*=\s*"tessel\s*:[^\\"]*(?:\\.[^\\"]*)*"\s*>(.*?)</a>
// by "$1" gives with ICU (case-insensitive, dot matches all), but in one pass:
// the lazy body made ICU look for "</a>" to the end of the text from every
// unclosed anchor, which took time quadratic in the text.
constexpr std::size_t kNone = std::u16string::npos;

// Where a case-insensitive literal (lowercase ASCII) ends when it starts at
// pos, compared as ICU compares such literals: each text code point fully
// case folded ("\u00DF" reads as "ss"), the literal ending on a code point
// boundary. kNone when it does not match there.
std::size_t matchFolded(std::u16string_view text, std::size_t pos, std::u16string_view literal) {
  std::size_t i = 0;
  while (i < literal.size()) {
    if (pos >= text.size()) return kNone;
    const char16_t unit = text[pos];
    if (unit < 0x80) {
      const char16_t folded = (unit >= u'A' && unit <= u'Z') ? static_cast<char16_t>(unit + 32) : unit;
      if (folded != literal[i]) return kNone;
      ++i;
      ++pos;
      continue;
    }
    std::size_t next = pos;
    UChar32 c;
    U16_NEXT(text.data(), next, text.size(), c);
    UChar folded[8];
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t length = u_strFoldCase(folded, 8, text.data() + pos, static_cast<std::int32_t>(next - pos),
                                              U_FOLD_CASE_DEFAULT, &status);
    if (U_FAILURE(status) || i + static_cast<std::size_t>(length) > literal.size()) return kNone;
    if (literal.substr(i, static_cast<std::size_t>(length)) != std::u16string_view(folded, static_cast<std::size_t>(length))) {
      return kNone;
    }
    i += static_cast<std::size_t>(length);
    pos = next;
  }
  return pos;
}

// ICU's \s: the Unicode White_Space property (no such character is a
// surrogate, so code units suffice).
bool isSpace(char16_t unit) { return u_isUWhiteSpace(unit) != 0; }

std::size_t skipSpaces(std::u16string_view text, std::size_t pos) {
  while (pos < text.size() && isSpace(text[pos])) ++pos;
  return pos;
}

std::size_t expect(std::u16string_view text, std::size_t pos, char16_t c) {
  return pos < text.size() && text[pos] == c ? pos + 1 : kNone;
}

// The end of an anchor's opening tag <a href="tessel:..."> starting at pos,
// or kNone. The quoted reference ends at the first quote not escaped by a
// backslash; a backslash escapes one code point.
std::size_t openingTagEnd(std::u16string_view text, std::size_t pos) {
  pos = matchFolded(text, pos, u"<a");
  if (pos == kNone || pos >= text.size() || !isSpace(text[pos])) return kNone;
  pos = matchFolded(text, skipSpaces(text, pos), u"href");
  if (pos == kNone) return kNone;
  pos = expect(text, skipSpaces(text, pos), u'=');
  if (pos == kNone) return kNone;
  pos = matchFolded(text, skipSpaces(text, pos), u"\"tessel");
  if (pos == kNone) return kNone;
  pos = expect(text, skipSpaces(text, pos), u':');
  if (pos == kNone) return kNone;
  while (pos < text.size() && text[pos] != u'"') {
    if (text[pos] == u'\\') {
      if (++pos == text.size()) return kNone;
      const bool pair = U16_IS_LEAD(text[pos]) && pos + 1 < text.size() && U16_IS_TRAIL(text[pos + 1]);
      pos += pair ? 2 : 1;
    } else {
      ++pos;
    }
  }
  if (pos == text.size()) return kNone;
  return expect(text, skipSpaces(text, pos + 1), u'>');
}

// The first closing tag "</a>" at or after pos: its start and end, or kNone.
std::pair<std::size_t, std::size_t> closingTag(std::u16string_view text, std::size_t pos) {
  for (pos = text.find(u'<', pos); pos != kNone; pos = text.find(u'<', pos + 1)) {
    const std::size_t end = matchFolded(text, pos, u"</a>");
    if (end != kNone) return {pos, end};
  }
  return {kNone, kNone};
}

}  // namespace

namespace qvsv {

std::u16string removeHotLinks(const std::u16string& input) {
  const std::u16string_view text(input);
  std::u16string out;
  std::size_t copied = 0;
  // Linear: opening tags that parse never overlap (a later "<a" inside one
  // would end its quoted reference too early), each search for a closing tag
  // starts after the previous one, and once no closing tag follows an
  // opening tag none follows any later one, so the scan stops there.
  for (std::size_t start = text.find(u'<'); start != kNone; start = text.find(u'<', start + 1)) {
    const std::size_t bodyStart = openingTagEnd(text, start);
    if (bodyStart == kNone) continue;
    const auto [bodyEnd, anchorEnd] = closingTag(text, bodyStart);
    if (bodyEnd == kNone) break;
    if (copied == 0 && out.empty()) out.reserve(text.size());
    out.append(text.substr(copied, start - copied));
    out.append(text.substr(bodyStart, bodyEnd - bodyStart));
    copied = anchorEnd;
    start = anchorEnd - 1;
  }
  if (copied == 0) return input;
  out.append(text.substr(copied));
  return out;
}

std::string removeHotLinks(const std::string& text) {
  return ConvertUStringToStdString(removeHotLinks(ConvertStdStringToUString(text, true)), true);
}

}  // namespace qvsv

std::u16string qvsvCreateHotlinkString(const std::u16string& command, const std::u16string& commandArgument,
                                       const std::u16string& text, std::u16string plainText) {
  if (utPrintfIsHot()) {
    if (!commandArgument.empty()) {
      return qvsvGetMessageFromMessageIDAsUString(
          resource_core::BaseMsgID("QV_SERVICES:utils", "HotlinkTemplateArg", {command, commandArgument, text}), true);
    }
    return qvsvGetMessageFromMessageIDAsUString(
        resource_core::BaseMsgID("QV_SERVICES:utils", "HotlinkTemplate", {command, text}), true);
  }
  return plainText.empty() ? text : plainText;
}

void hot_link_visitor::visit(std::u16string& argument) {
  if (callback_ != nullptr) callback_(argument, true);
}

void hot_link_visitor::visit(std::int64_t&) {}

void hot_link_visitor::visit(std::string& argument) {
  if (callback_ == nullptr) return;
  std::u16string wide = ConvertStdStringToUString(argument, true);
  // -1.0 means "left unchanged"; anything else, NaN included, means "use it".
  if (!(callback_(wide, true) == -1.0)) argument = ConvertUStringToStdString(wide, true);
}

hot_link_visitor::~hot_link_visitor() = default;

void qvsvForceCreateHotlinks(qvsvDiagnosticImpl*& diag) {
  const qvsvCreateHotlinkCallback callback = qvsvGetGlobalQVCreateHotlinkCallback();
  if (diag == nullptr || diag->isEmpty() || callback == nullptr) return;
  qvsvArgumentVector arguments = qvsvGetArgumentsFromLastDiagnostic(diag);
  if (arguments.empty()) return;
  MutableBaseMsgID id("", "", std::move(arguments));
  hot_link_visitor visitor(callback);
  id.setArguments(visitor);
  qvsvReplaceLastDiagnosticArguments(diag, id.arguments());
}
