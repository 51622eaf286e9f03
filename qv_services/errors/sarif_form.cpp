// Diagnostics as a SARIF 2.1.0 log, written in one streaming pass after a
// walk that numbers the items and collects the rules.
#include "qv_services/sarif_form.hpp"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <string_view>
#include <unordered_map>

#include "qv_services/errors/json_text.hpp"
#include "qv_services/renderings.hpp"
#include "tessel/catalog.hpp"
#include "tessel/foundation.hpp"

namespace {

using qvsv::detail::JsonWriter;
using qvsv::detail::Key;

constexpr const char* kOverflowId = "QV_SERVICES:utils:TooManyErrorsErr";

// One result to write: the item, its parent's position in the walk (-1 for a
// top-level item), its depth below the top level, and its report kind.
struct Entry {
  const qvsvDiagnosticItem* item;
  long parent;
  int depth;
  qvsvReportKind kind;
};

// The results in depth-first order, walked with an explicit stack so that
// chains of any depth cost no recursion.
std::vector<Entry> walk(const std::vector<qvsvSarifInput>& inputs) {
  std::vector<Entry> entries;
  struct Frame {
    qvsvDiagnosticImpl::ItemList::const_iterator next, end;
    long parent;
    int depth;
    qvsvReportKind kind;
  };
  std::vector<Frame> stack;
  for (const qvsvSarifInput& input : inputs) {
    if (input.diagnostic == nullptr) continue;
    stack.push_back({input.diagnostic->items().cbegin(), input.diagnostic->items().cend(), -1, 0, input.kind});
    while (!stack.empty()) {
      Frame& frame = stack.back();
      if (frame.next == frame.end) {
        stack.pop_back();
        continue;
      }
      const qvsvDiagnosticItem* item = *frame.next++;
      const long index = static_cast<long>(entries.size());
      entries.push_back({item, frame.parent, frame.depth, frame.kind});
      if (item->cause != nullptr && item->cause->count() > 0) {
        const Frame child{item->cause->items().cbegin(), item->cause->items().cend(), index, frame.depth + 1,
                          frame.kind};
        stack.push_back(child);
      }
    }
  }
  return entries;
}

// What the writer needs beyond the entries: each result's GUID-shaped name
// (version 4, variant 8 digits in place; stable for the same input) and the
// direct causes of each result, all made once.
class Links {
 public:
  explicit Links(const std::vector<Entry>& entries)
      : guids_(entries.size() * kGuidLength), first_(entries.size() + 1, 0) {
    static constexpr char kHex[] = "0123456789abcdef";
    static constexpr std::string_view kPrefix = "\"00000000-0000-4000-8000-";
    for (std::size_t i = 0; i < entries.size(); ++i) {
      char* guid = &guids_[i * kGuidLength];
      std::copy(kPrefix.begin(), kPrefix.end(), guid);
      guid[kGuidLength - 1] = '"';
      for (std::size_t k = 0, n = i; k < 12; ++k, n >>= 4) guid[kGuidLength - 2 - k] = kHex[n & 0xF];
    }
    // Causes grouped by parent: counts, then offsets, then the lists.
    for (const Entry& entry : entries) {
      if (entry.parent >= 0) ++first_[static_cast<std::size_t>(entry.parent) + 1];
    }
    for (std::size_t i = 1; i < first_.size(); ++i) first_[i] += first_[i - 1];
    causes_.resize(first_.back());
    std::vector<std::size_t> filled(first_.begin(), first_.end() - 1);
    for (std::size_t i = 0; i < entries.size(); ++i) {
      if (entries[i].parent >= 0) causes_[filled[static_cast<std::size_t>(entries[i].parent)]++] = i;
    }
  }

  void writeGuid(JsonWriter& w, std::size_t index) const {
    const char* guid = &guids_[index * kGuidLength];
    w.QuotedValue(kGuidLength, [&](char* out) { return std::copy_n(guid, kGuidLength, out); });
  }
  const std::size_t* causesBegin(std::size_t index) const { return causes_.data() + first_[index]; }
  const std::size_t* causesEnd(std::size_t index) const { return causes_.data() + first_[index + 1]; }

 private:
  // Each name is kept with its quotes, ready to copy.
  static constexpr std::size_t kGuidLength = 38;
  std::vector<char> guids_;
  std::vector<std::size_t> first_;
  std::vector<std::size_t> causes_;
};

// A file name as a URI: an absolute path ("/src/a.qv", "C:\\src\\a.qv")
// becomes a file: URI, anything else a relative reference. Backslashes
// become slashes, and bytes outside the unreserved set are percent-encoded
// (":" too in a relative reference, so that it cannot read as a scheme).
std::string uriOf(std::u16string_view file) {
  std::string utf8;
  if (!qvsv::detail::AppendUtf8(file, utf8)) return {};
  std::replace(utf8.begin(), utf8.end(), '\\', '/');
  std::string uri;
  std::size_t start = 0;
  if (!utf8.empty() && utf8[0] == '/') {
    uri = "file://";
  } else if (utf8.size() >= 3 && std::isalpha(static_cast<unsigned char>(utf8[0])) && utf8[1] == ':' &&
             utf8[2] == '/') {
    uri = "file:///";
    uri += utf8.substr(0, 2);
    start = 2;
  }
  for (std::size_t i = start; i < utf8.size(); ++i) {
    const auto b = static_cast<unsigned char>(utf8[i]);
    if (std::isalnum(b) || b == '-' || b == '.' || b == '_' || b == '~' || b == '/') {
      uri.push_back(static_cast<char>(b));
    } else {
      char escape[4];
      std::snprintf(escape, sizeof escape, "%%%02X", b);
      uri += escape;
    }
  }
  return uri;
}

void writeLevel(JsonWriter& w, qvsvReportKind kind) {
  switch (kind) {
    case qvsvReportKind::Error: return w.Literal(R"("error")");
    case qvsvReportKind::Warning: return w.Literal(R"("warning")");
    case qvsvReportKind::Information: return w.Literal(R"("note")");
  }
  w.Literal(R"("warning")");
}

void writeStack(JsonWriter& w, const txArray* stack) {
  Key(w, R"("stacks")");
  w.StartArray();
  w.StartObject();
  Key(w, R"("frames")");
  w.StartArray();
  const txIndex n = txGetNumberOfElements(stack);
  for (txIndex i = 0; i < n; ++i) {
    const txArray* file = txGetField(stack, i, "file");
    const txArray* name = txGetField(stack, i, "name");
    const txArray* line = txGetField(stack, i, "line");
    const std::u16string fileText = txIsChar(file) ? txGetString(file) : std::u16string();
    const std::u16string nameText = txIsChar(name) ? txGetString(name) : std::u16string();
    const bool hasLine = (txIsNumeric(line) || txIsLogical(line)) && txGetNumberOfElements(line) == 1 &&
                         txGetScalar(line) >= 1 && txGetScalar(line) <= 2147483647.0;
    w.StartObject();
    Key(w, R"("location")");
    w.StartObject();
    const std::string uri = uriOf(fileText);
    if (!uri.empty()) {
      Key(w, R"("physicalLocation")");
      w.StartObject();
      Key(w, R"("artifactLocation")");
      w.StartObject();
      Key(w, R"("uri")");
      w.String(uri.data(), static_cast<rapidjson::SizeType>(uri.size()));
      w.EndObject();
      if (hasLine) {
        Key(w, R"("region")");
        w.StartObject();
        Key(w, R"("startLine")");
        w.Int(static_cast<int>(txGetScalar(line)));
        w.EndObject();
      }
      w.EndObject();
    }
    if (!nameText.empty()) {
      Key(w, R"("logicalLocations")");
      w.StartArray();
      w.StartObject();
      Key(w, R"("name")");
      qvsv::detail::WriteDisplayText(w, nameText);
      Key(w, R"("kind")");
      w.Literal(R"("function")");
      w.EndObject();
      w.EndArray();
    }
    w.EndObject();
    w.EndObject();
  }
  w.EndArray();
  w.EndObject();
  w.EndArray();
}

// The message with hotlinks removed; a message that is empty, or nothing but
// a hotlink, shows the identifier.
void writeMessageText(JsonWriter& w, const qvsvDiagnosticItem& item) {
  std::size_t start = JsonWriter::kAppend;
  if (!item.message.empty()) {
    start = qvsv::detail::WriteDisplayText(w, item.message);
    // Hotlinks are anchors: only a message whose text shows a '<' pays for
    // their removal, and the written bytes tell that cheaply.
    if (w.Since(start).find('<') == std::string_view::npos || item.message.find(u"<a") == std::u16string::npos) {
      return;
    }
    const std::u16string shown = qvsv::removeHotLinks(item.message);
    if (!shown.empty()) {
      qvsv::detail::WriteDisplayText(w, shown, start);
      return;
    }
  }
  if (item.identifier.empty()) {
    w.Quoted(R"x("(no message)")x", start);
  } else {
    qvsv::detail::WriteDisplayNarrow(w, item.identifier, start);
  }
}

void writeResult(JsonWriter& w, const std::vector<Entry>& entries, const Links& links, std::size_t index,
                 const std::string& quotedRuleId, int ruleIndex) {
  const Entry& entry = entries[index];
  const qvsvDiagnosticItem& item = *entry.item;
  const bool overflow = item.identifier == kOverflowId;
  w.StartObject();
  Key(w, R"("ruleId")");
  w.Quoted(quotedRuleId);
  Key(w, R"("ruleIndex")");
  w.Int(ruleIndex);
  if (overflow) {
    Key(w, R"("kind")");
    w.Literal(R"("informational")");
    Key(w, R"("level")");
    w.Literal(R"("none")");
  } else {
    Key(w, R"("level")");
    writeLevel(w, entry.kind);
  }
  Key(w, R"("message")");
  w.StartObject();
  Key(w, R"("text")");
  writeMessageText(w, item);
  w.EndObject();
  Key(w, R"("guid")");
  links.writeGuid(w, index);
  if (txIsStruct(item.callStack) && txGetNumberOfElements(item.callStack) > 0) writeStack(w, item.callStack);
  Key(w, R"("properties")");
  w.StartObject();
  if (overflow) {
    Key(w, R"("overflow")");
    w.Literal("true");
  }
  if (entry.parent >= 0) {
    Key(w, R"("causeOf")");
    links.writeGuid(w, static_cast<std::size_t>(entry.parent));
    Key(w, R"("causeDepth")");
    w.Int(entry.depth);
  }
  if (links.causesBegin(index) != links.causesEnd(index)) {
    Key(w, R"("causes")");
    w.StartArray();
    for (const std::size_t* cause = links.causesBegin(index); cause != links.causesEnd(index); ++cause) {
      links.writeGuid(w, *cause);
    }
    w.EndArray();
  }
  if (item.arguments != nullptr) qvsv::detail::WriteArguments(w, item.arguments);
  if (!item.metadata.empty()) qvsv::detail::WriteMetadata(w, item.metadata);
  if (item.handles != nullptr && item.numHandles > 0) {
    Key(w, R"("handles")");
    w.StartArray();
    for (int i = 0; i < item.numHandles; ++i) qvsv::detail::WriteNumber(w, item.handles[i]);
    w.EndArray();
  }
  if (!item.extraMessage.empty()) {
    Key(w, R"("extraMessage")");
    qvsv::detail::WriteDisplayText(w, item.extraMessage);
  }
  if (item.creationTime != qvsvErrorCreationTimeUnset) {
    Key(w, R"("creationTime")");
    w.Uint(item.creationTime);
  }
  w.EndObject();
  w.EndObject();
}

}  // namespace

std::string qvsvSerializeDiagnosticsAsSARIF(const std::vector<qvsvSarifInput>& inputs) {
  const std::vector<Entry> entries = walk(inputs);
  std::vector<const std::string*> rules;
  std::unordered_map<std::string_view, int> ruleIndex;
  std::vector<int> entryRule;
  entryRule.reserve(entries.size());
  for (const Entry& entry : entries) {
    const auto [it, added] = ruleIndex.emplace(entry.item->identifier, static_cast<int>(rules.size()));
    if (added) rules.push_back(&entry.item->identifier);
    entryRule.push_back(it->second);
  }

  JsonWriter w;
  std::size_t estimate = 1024 + 160 * rules.size();
  for (const Entry& entry : entries) estimate += 192 + qvsv::detail::EstimatedJsonSize(*entry.item);
  w.Reserve(estimate);
  w.StartObject();
  Key(w, R"("$schema")");
  w.String("https://json.schemastore.org/sarif-2.1.0.json");
  Key(w, R"("version")");
  w.String("2.1.0");
  Key(w, R"("runs")");
  w.StartArray();
  w.StartObject();
  Key(w, R"("tool")");
  w.StartObject();
  Key(w, R"("driver")");
  w.StartObject();
  Key(w, R"("name")");
  w.String("qv_services");
  Key(w, R"("version")");
  w.String(QVSV_VERSION_STRING);
  Key(w, R"("informationUri")");
  w.String("https://www.quiver.example/qv_services");
  Key(w, R"("rules")");
  w.StartArray();
  const std::string locale = tessel::GetGlobalLocaleName();
  // Each rule's identifier as written, copied into every result of the rule.
  std::vector<std::string> quotedIds;
  quotedIds.reserve(rules.size());
  for (const std::string* id : rules) {
    w.StartObject();
    Key(w, R"("id")");
    quotedIds.emplace_back(w.Since(qvsv::detail::WriteDisplayNarrow(w, *id)));
    if (const auto pattern = resource_core::FindMessagePattern(*id, locale); pattern && !pattern->empty()) {
      Key(w, R"("shortDescription")");
      w.StartObject();
      Key(w, R"("text")");
      qvsv::detail::WriteDisplayText(w, *pattern);
      w.EndObject();
    }
    w.EndObject();
  }
  w.EndArray();
  w.EndObject();
  w.EndObject();
  Key(w, R"("results")");
  w.StartArray();
  const Links links(entries);
  for (std::size_t i = 0; i < entries.size(); ++i) writeResult(w, entries, links, i, quotedIds[static_cast<std::size_t>(entryRule[i])], entryRule[i]);
  w.EndArray();
  w.EndObject();
  w.EndArray();
  w.EndObject();
  return w.Take();
}

std::string qvsvSerializeDiagnosticAsSARIF(qvsvDiagnosticImpl* const& diag, qvsvReportKind kind) {
  return qvsvSerializeDiagnosticsAsSARIF({{diag, kind}});
}
