// The plain, formatted and HTML renderings.
#include "qv_services/renderings.hpp"

#include <cstring>

#include "qv_services/conversions.hpp"
#include "qv_services/errors/diagnostic_state.hpp"
#include "qv_services/feature/detail/tested_allocation.hpp"
#include "qv_services/wide_string.hpp"
#include "qv_services/xml_form.hpp"
#include "tessel/ut.hpp"

namespace {

constexpr const char* kWrapperId = "Tessel:TException:MultipleErrors";

void renderPlain(std::string& out, qvsvDiagnosticImpl* diag, const std::string& indent) {
  if (diag == nullptr) return;
  for (const qvsvDiagnosticItem* item : diag->items()) {
    out += indent;
    out += "ID:     ";
    out += item->identifier;
    out += '\n';
    out += indent;
    out += "MSG:    ";
    out += ConvertUStringToStdString(item->message, true);
    out += '\n';
    if (item->cause != nullptr && !item->cause->isEmpty()) {
      out += indent;
      out += "CAUSES: \n";
      renderPlain(out, item->cause, indent + "    ");
    }
  }
}

// Depth-first, pre-order: every non-wrapper item, each cause after its parent.
void flatten(std::vector<const qvsvDiagnosticItem*>& flat, const qvsvDiagnosticImpl* diag) {
  for (const qvsvDiagnosticItem* item : diag->items()) {
    if (item->identifier != kWrapperId) flat.push_back(item);
    if (item->cause != nullptr) flatten(flat, item->cause);
  }
}

bool isBlank(char16_t c) { return c == u' '; }

// Breaks the segment of out that begins at start into lines of width.
void wrap(std::u16string& out, std::size_t start, std::size_t width) {
  if (width < 1 || out.size() <= width) return;
  std::size_t lineStart = start;
  std::size_t candidate = lineStart + width;
  while (candidate < out.size()) {
    std::size_t breakAt = candidate;
    bool atBlank = isBlank(out[candidate]);
    if (!atBlank) {
      for (std::size_t cur = candidate;; --cur) {
        // A tab or "/" at the line start itself would break nothing.
        if (cur > lineStart && (out[cur] == u'\t' || out[cur] == u'/')) {
          breakAt = cur;
          break;
        }
        if (cur > lineStart && isBlank(out[cur - 1])) {
          breakAt = cur - 1;
          atBlank = true;
          break;
        }
        if (cur == lineStart) {
          breakAt = candidate;
          break;
        }
      }
    }
    std::size_t at = breakAt;
    // After a blank the whitespace stays on the broken line; a tab or "/"
    // where the walk stopped begins the new one.
    if (atBlank) {
      while (at < out.size() && (out[at] == u' ' || out[at] == u'\t' || out[at] == u'\n')) ++at;
    }
    if (at >= out.size()) return;
    out.insert(at, 1, u'\n');
    lineStart = at + 1;
    candidate = lineStart + width;
  }
}

std::u16string formatted(qvsvDiagnosticImpl* diag, bool stripHotlinks, const std::u16string& prefix, int width) {
  std::u16string out;
  if (diag == nullptr || diag->isEmpty()) return out;
  std::vector<const qvsvDiagnosticItem*> flat;
  flatten(flat, diag);
  const std::u16string& lead = flat.size() < 2 ? std::u16string() : prefix;
  for (std::size_t i = 0; i < flat.size(); ++i) {
    const std::size_t segment = out.size();
    out += lead;
    out += stripHotlinks ? qvsv::removeHotLinks(flat[i]->message) : flat[i]->message;
    if (width > 0) wrap(out, segment, static_cast<std::size_t>(width));
    if (i + 1 < flat.size()) out += u'\n';
  }
  return out;
}

// Made once per process, on first use.
const std::u16string& causedByText() {
  static const std::u16string text = [] {
    try {
      return qvsvGetMessageFromMessageIDAsUString(resource_core::BaseMsgID("QV_SERVICES:utils", "CAUSED_BY"), true);
    } catch (const std::exception&) {
      return std::u16string(u"Caused by:");
    }
  }();
  return text;
}

void appendEscaped(std::u16string& out, const std::u16string& text) {
  for (const char16_t c : text) {
    if (c == u'<') {
      out += u"&lt;";
    } else if (c == u'>') {
      out += u"&gt;";
    } else {
      out += c;
    }
  }
}

void renderHtml(std::u16string& out, const qvsvDiagnosticImpl* diag, bool strip, bool top) {
  static const std::u16string kListOpen = u"<ul type=\"square\" style=\"padding-left:15px\">";
  if (diag == nullptr || diag->isEmpty()) return;
  if (!top) out += kListOpen;
  for (const qvsvDiagnosticItem* item : diag->items()) {
    if (item->identifier == kWrapperId) {
      // Deliberately stops here: the rest of this list, and its closing tag, are not written.
      renderHtml(out, item->cause, strip, top);
      return;
    }
    out += top ? u"<p>" : u"<li>";
    appendEscaped(out, strip ? qvsv::removeHotLinks(item->message) : item->message);
    if (item->cause != nullptr) {
      out += causedByText();
      renderHtml(out, item->cause, strip, false);
    }
    out += top ? u"</p>" : u"</li>";
  }
  if (!top) out += u"</ul>";
}

}  // namespace

std::string qvsvSerializeDiagnosticAsString(qvsvDiagnosticImpl*& diag, int format) {
  return format == 1 ? qvsvSerializeDiagnosticAsXMLString(diag) : qvsvSerializeDiagnosticAsPlainString(diag);
}

std::string qvsvSerializeDiagnosticAsPlainString(qvsvDiagnosticImpl*& diag) {
  const qvsv::detail::ConsumedDiagnostic consumed(diag);
  std::string out;
  renderPlain(out, diag, std::string());
  out += '\n';
  return out;
}

std::u16string qvsvSerializeToFormattedUStringCreate(qvsvDiagnosticImpl* diag, bool stripHotlinks,
                                                     const std::u16string& prefix) {
  return formatted(diag, stripHotlinks, prefix, 0);
}

std::u16string qvsvSerializeToFormattedUStringWrapped(qvsvDiagnosticImpl* diag, bool stripHotlinks,
                                                      const std::u16string& prefix, int width) {
  return formatted(diag, stripHotlinks, prefix, width);
}

char* qvsvSerializeToFormattedStringCreate(qvsvDiagnosticImpl* diag, bool stripHotlinks, std::string prefix) {
  if (diag == nullptr) return nullptr;
  const std::string text =
      ConvertUStringToStdString(formatted(diag, stripHotlinks, ConvertStdStringToUString(prefix, true), 0), true);
  auto* out =
      static_cast<char*>(qvsv::detail::TestedMallocWithCheck(qvsv::fault::kFormattedCString, text.size() + 1));
  std::memcpy(out, text.c_str(), text.size() + 1);
  return out;
}

std::u16string qvsvSerializeToHTMLCreate(qvsvDiagnosticImpl* diag, bool stripHotlinks) {
  std::u16string out;
  renderHtml(out, diag, stripHotlinks, true);
  return out;
}

std::u16string qvsvGetFullMessageFromDiagnosticItem(qvsvDiagnosticImpl* const& diag, unsigned index) {
  const char16_t* message = qvsvGetMessageFromDiagnosticItem(diag, index);
  const char16_t* extra = qvsvGetExtraMessageFromDiagnosticItem(diag, index);
  return ConcatenateStringsWithSpace(message == nullptr ? u"" : message, extra == nullptr ? u"" : extra);
}
