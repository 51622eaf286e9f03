// Diagnostics as a SARIF 2.1.0 log, written in one streaming pass after a
// walk that numbers the items and collects the rules.
#include "qv_services/sarif_form.hpp"

#include <cstdio>
#include <string_view>
#include <unordered_map>

#include "qv_services/errors/json_text.hpp"
#include "qv_services/renderings.hpp"
#include "tessel/catalog.hpp"
#include "tessel/foundation.hpp"

namespace {

using qvsv::detail::JsonWriter;

constexpr const char* kOverflowId = "QV_SERVICES:utils:TooManyErrorsErr";

// One result to write: the item, its parent's position in the walk (-1 for a
// top-level item), its depth below the top level, and its report kind.
struct Entry {
  const qvsvDiagnosticItem* item;
  long parent;
  int depth;
  qvsvReportKind kind;
  std::vector<long> causes;
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
      entries.push_back({item, frame.parent, frame.depth, frame.kind, {}});
      if (frame.parent >= 0) entries[static_cast<std::size_t>(frame.parent)].causes.push_back(index);
      if (item->cause != nullptr && item->cause->count() > 0) {
        const Frame child{item->cause->items().cbegin(), item->cause->items().cend(), index, frame.depth + 1,
                          frame.kind};
        stack.push_back(child);
      }
    }
  }
  return entries;
}

// A GUID-shaped name for the n-th result (version 4, variant 8 digits in
// place), stable for the same input.
std::string guidOf(long n) {
  char text[40];
  std::snprintf(text, sizeof text, "00000000-0000-4000-8000-%012lx", static_cast<unsigned long>(n));
  return text;
}

// A file name as a URI reference: bytes outside the unreserved set and "/"
// are percent-encoded (":" too, so a drive letter is not read as a scheme).
std::string uriOf(std::u16string_view file) {
  std::string utf8;
  if (!qvsv::detail::AppendUtf8(file, utf8)) return {};
  std::string uri;
  for (const char c : utf8) {
    const auto b = static_cast<unsigned char>(c);
    if ((b >= 'A' && b <= 'Z') || (b >= 'a' && b <= 'z') || (b >= '0' && b <= '9') || b == '-' || b == '.' ||
        b == '_' || b == '~' || b == '/') {
      uri.push_back(c);
    } else {
      char escape[4];
      std::snprintf(escape, sizeof escape, "%%%02X", b);
      uri += escape;
    }
  }
  return uri;
}

const char* levelOf(qvsvReportKind kind) {
  switch (kind) {
    case qvsvReportKind::Error: return "error";
    case qvsvReportKind::Warning: return "warning";
    case qvsvReportKind::Information: return "note";
  }
  return "warning";
}

void writeStack(JsonWriter& w, const txArray* stack, std::string& scratch) {
  w.Key("stacks");
  w.StartArray();
  w.StartObject();
  w.Key("frames");
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
    w.Key("location");
    w.StartObject();
    const std::string uri = uriOf(fileText);
    if (!uri.empty()) {
      w.Key("physicalLocation");
      w.StartObject();
      w.Key("artifactLocation");
      w.StartObject();
      w.Key("uri");
      w.String(uri.data(), static_cast<rapidjson::SizeType>(uri.size()));
      w.EndObject();
      if (hasLine) {
        w.Key("region");
        w.StartObject();
        w.Key("startLine");
        w.Int(static_cast<int>(txGetScalar(line)));
        w.EndObject();
      }
      w.EndObject();
    }
    if (!nameText.empty()) {
      w.Key("logicalLocations");
      w.StartArray();
      w.StartObject();
      w.Key("name");
      qvsv::detail::WriteDisplayText(w, nameText, scratch);
      w.Key("kind");
      w.String("function");
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

void writeResult(JsonWriter& w, const std::vector<Entry>& entries, std::size_t index, int ruleIndex,
                 std::string& scratch) {
  const Entry& entry = entries[index];
  const qvsvDiagnosticItem& item = *entry.item;
  const bool overflow = item.identifier == kOverflowId;
  w.StartObject();
  w.Key("ruleId");
  qvsv::detail::WriteDisplayNarrow(w, item.identifier, scratch);
  w.Key("ruleIndex");
  w.Int(ruleIndex);
  if (overflow) {
    w.Key("kind");
    w.String("informational");
    w.Key("level");
    w.String("none");
  } else {
    w.Key("level");
    w.String(levelOf(entry.kind));
  }
  w.Key("message");
  w.StartObject();
  w.Key("text");
  // Hotlinks are anchors; only a message with an anchor pays for removal.
  const bool hasAnchor = item.message.find(u"<a") != std::u16string::npos;
  const std::u16string text = hasAnchor ? qvsv::removeHotLinks(item.message) : std::u16string();
  const std::u16string_view shown = hasAnchor ? std::u16string_view(text) : std::u16string_view(item.message);
  if (shown.empty()) {
    if (item.identifier.empty()) {
      w.String("(no message)");
    } else {
      qvsv::detail::WriteDisplayNarrow(w, item.identifier, scratch);
    }
  } else {
    qvsv::detail::WriteDisplayText(w, shown, scratch);
  }
  w.EndObject();
  w.Key("guid");
  w.String(guidOf(static_cast<long>(index)).c_str());
  if (txIsStruct(item.callStack) && txGetNumberOfElements(item.callStack) > 0) writeStack(w, item.callStack, scratch);
  w.Key("properties");
  w.StartObject();
  if (overflow) {
    w.Key("overflow");
    w.Bool(true);
  }
  if (entry.parent >= 0) {
    w.Key("causeOf");
    w.String(guidOf(entry.parent).c_str());
    w.Key("causeDepth");
    w.Int(entry.depth);
  }
  if (!entry.causes.empty()) {
    w.Key("causes");
    w.StartArray();
    for (const long cause : entry.causes) w.String(guidOf(cause).c_str());
    w.EndArray();
  }
  if (item.arguments != nullptr) qvsv::detail::WriteArguments(w, item.arguments, scratch);
  if (!item.metadata.empty()) qvsv::detail::WriteMetadata(w, item.metadata, scratch);
  if (item.handles != nullptr && item.numHandles > 0) {
    w.Key("handles");
    w.StartArray();
    for (int i = 0; i < item.numHandles; ++i) w.Double(item.handles[i]);
    w.EndArray();
  }
  if (!item.extraMessage.empty()) {
    w.Key("extraMessage");
    qvsv::detail::WriteDisplayText(w, item.extraMessage, scratch);
  }
  if (item.creationTime != qvsvErrorCreationTimeUnset) {
    w.Key("creationTime");
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

  rapidjson::StringBuffer buffer;
  JsonWriter w(buffer);
  std::string scratch;
  w.StartObject();
  w.Key("$schema");
  w.String("https://json.schemastore.org/sarif-2.1.0.json");
  w.Key("version");
  w.String("2.1.0");
  w.Key("runs");
  w.StartArray();
  w.StartObject();
  w.Key("tool");
  w.StartObject();
  w.Key("driver");
  w.StartObject();
  w.Key("name");
  w.String("qv_services");
  w.Key("version");
  w.String(QVSV_VERSION_STRING);
  w.Key("informationUri");
  w.String("https://www.quiver.example/qv_services");
  w.Key("rules");
  w.StartArray();
  const std::string locale = tessel::GetGlobalLocaleName();
  for (const std::string* id : rules) {
    w.StartObject();
    w.Key("id");
    qvsv::detail::WriteDisplayNarrow(w, *id, scratch);
    if (const auto pattern = resource_core::FindMessagePattern(*id, locale); pattern && !pattern->empty()) {
      w.Key("shortDescription");
      w.StartObject();
      w.Key("text");
      qvsv::detail::WriteDisplayText(w, *pattern, scratch);
      w.EndObject();
    }
    w.EndObject();
  }
  w.EndArray();
  w.EndObject();
  w.EndObject();
  w.Key("results");
  w.StartArray();
  for (std::size_t i = 0; i < entries.size(); ++i) writeResult(w, entries, i, entryRule[i], scratch);
  w.EndArray();
  w.EndObject();
  w.EndArray();
  w.EndObject();
  return std::string(buffer.GetString(), buffer.GetSize());
}

std::string qvsvSerializeDiagnosticAsSARIF(qvsvDiagnosticImpl* const& diag, qvsvReportKind kind) {
  return qvsvSerializeDiagnosticsAsSARIF({{diag, kind}});
}
