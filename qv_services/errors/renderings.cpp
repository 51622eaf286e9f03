// The plain, formatted and HTML renderings.
#include "qv_services/renderings.hpp"

#include <algorithm>
#include <cstring>

#include "qv_services/conversions.hpp"
#include "qv_services/errors/cause_walk.hpp"
#include "qv_services/errors/diagnostic_state.hpp"
#include "qv_services/feature/detail/tested_allocation.hpp"
#include "qv_services/wide_string.hpp"
#include "qv_services/xml_form.hpp"
#include "tessel/ut.hpp"

namespace {

constexpr const char* kWrapperId = "Tessel:TException:MultipleErrors";

// Blanks for a level of causes; past the reader's limit of nested causes
// the indentation stops growing, which keeps the text linear in the number
// of items however deep the chain.
std::size_t indentOf(std::size_t depth) {
  return 4 * std::min(depth, static_cast<std::size_t>(kQvsvMaxRestoredCauseDepth));
}

void renderPlain(std::string& out, const qvsvDiagnosticImpl* diag) {
  // Sized first: a deep chain renders to a long text, and growing it by
  // doubling would copy it over and over.
  std::size_t size = 1;
  qvsv::detail::WalkItems(diag, [&size](const qvsvDiagnosticItem& item, std::size_t depth) {
    size += 3 * (indentOf(depth) + 9) + item.identifier.size() + 3 * item.message.size();
    return true;
  });
  out.reserve(out.size() + size);
  qvsv::detail::WalkItems(diag, [&out](const qvsvDiagnosticItem& item, std::size_t depth) {
    const std::size_t indent = indentOf(depth);
    out.append(indent, ' ');
    out += "ID:     ";
    out += item.identifier;
    out += '\n';
    out.append(indent, ' ');
    out += "MSG:    ";
    out += ConvertUStringToStdString(item.message, true);
    out += '\n';
    const bool causes = item.cause != nullptr && !item.cause->isEmpty();
    if (causes) {
      out.append(indent, ' ');
      out += "CAUSES: \n";
    }
    return causes;
  });
}

// Depth-first, pre-order: every non-wrapper item, each cause after its parent.
void flatten(std::vector<const qvsvDiagnosticItem*>& flat, const qvsvDiagnosticImpl* diag) {
  qvsv::detail::WalkItems(diag, [&flat](const qvsvDiagnosticItem& item, std::size_t) {
    if (item.identifier != kWrapperId) flat.push_back(&item);
    return true;
  });
}

bool isBlank(char16_t c) { return c == u' '; }

bool isLineSpace(char16_t c) { return c == u' ' || c == u'\t' || c == u'\n'; }

// Breaks the segment of out that begins at start into lines of width.
void wrap(std::u16string& out, std::size_t start, std::size_t width) {
  if (width < 1 || out.size() <= width) return;
  std::size_t lineStart = start;
  std::size_t candidate = lineStart + width;
  while (candidate < out.size()) {
    std::size_t breakAt = candidate;
    // A tab or "/" where the walk stops begins the new line; every other
    // break passes over the whitespace that follows it first.
    bool startsNewLine = false;
    if (!isBlank(out[candidate])) {
      for (std::size_t cur = candidate;; --cur) {
        // A tab or "/" at the line start itself would break before it again
        // and again.
        if (cur > lineStart && (out[cur] == u'\t' || out[cur] == u'/')) {
          breakAt = cur;
          startsNewLine = true;
          break;
        }
        if (cur > lineStart && isBlank(out[cur - 1])) {
          breakAt = cur - 1;
          break;
        }
        if (cur == lineStart) {
          breakAt = candidate;
          break;
        }
      }
    }
    std::size_t at = breakAt;
    // The whitespace stays at the end of the broken line; so does a newline
    // that the text already has where the line is full.
    if (!startsNewLine) {
      while (at < out.size() && isLineSpace(out[at])) ++at;
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

// Iterative, with a stack of open lists, for chains of any depth. A wrapper
// item ends its list at once: its causes are written in the list's place,
// and neither the rest of the list nor the list's closing tag follows.
void renderHtml(std::u16string& out, const qvsvDiagnosticImpl* diag, bool strip) {
  static const std::u16string kListOpen = u"<ul type=\"square\" style=\"padding-left:15px\">";
  struct List {
    qvsvDiagnosticImpl::ItemList::const_iterator next;
    qvsvDiagnosticImpl::ItemList::const_iterator end;
    bool top;
  };
  std::vector<List> lists;
  // Opens the list of d; false (and nothing written) for a null or empty one.
  auto open = [&](const qvsvDiagnosticImpl* d, bool top) {
    if (d == nullptr || d->isEmpty()) return false;
    if (!top) out += kListOpen;
    lists.push_back({d->items().begin(), d->items().end(), top});
    return true;
  };
  // Back from a nested list: the item whose causes it held is complete.
  auto closeParentItem = [&] {
    if (lists.empty()) return;
    List& parent = lists.back();
    out += parent.top ? u"</p>" : u"</li>";
    ++parent.next;
  };
  open(diag, true);
  while (!lists.empty()) {
    List& list = lists.back();
    if (list.next == list.end) {
      if (!list.top) out += u"</ul>";
      lists.pop_back();
      closeParentItem();
      continue;
    }
    const qvsvDiagnosticItem* item = *list.next;
    if (item->identifier == kWrapperId) {
      const bool top = list.top;
      lists.pop_back();  // deliberately ended here, without its closing tag
      if (!open(item->cause, top)) closeParentItem();
      continue;
    }
    out += list.top ? u"<p>" : u"<li>";
    appendEscaped(out, strip ? qvsv::removeHotLinks(item->message) : item->message);
    if (item->cause != nullptr) {
      out += causedByText();
      if (open(item->cause, false)) continue;
    }
    out += list.top ? u"</p>" : u"</li>";
    ++list.next;
  }
}

}  // namespace

std::string qvsvSerializeDiagnosticAsString(qvsvDiagnosticImpl*& diag, int format) {
  return format == 1 ? qvsvSerializeDiagnosticAsXMLString(diag) : qvsvSerializeDiagnosticAsPlainString(diag);
}

std::string qvsvSerializeDiagnosticAsPlainString(qvsvDiagnosticImpl*& diag) {
  const qvsv::detail::ConsumedDiagnostic consumed(diag);
  std::string out;
  renderPlain(out, diag);
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
  renderHtml(out, diag, stripHotlinks);
  return out;
}

std::u16string qvsvGetFullMessageFromDiagnosticItem(qvsvDiagnosticImpl* const& diag, unsigned index) {
  const char16_t* message = qvsvGetMessageFromDiagnosticItem(diag, index);
  const char16_t* extra = qvsvGetExtraMessageFromDiagnosticItem(diag, index);
  return ConcatenateStringsWithSpace(message == nullptr ? u"" : message, extra == nullptr ? u"" : extra);
}
