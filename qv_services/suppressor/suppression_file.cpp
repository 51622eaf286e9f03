// Suppression files: the entries and states as a small XML document, read
// with Expat into a staging copy that replaces the tables only when the whole
// document is sound.
#include <expat.h>

#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>

#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/suppressor/detail/suppressor_registry.hpp"

namespace {

using qvsv::detail::PatternKey;

constexpr const char* kCatalog = "QV_SERVICES:suppressor";
constexpr const char* kRoot = "diag_suppressions";

void appendEscaped(std::string& out, const std::string& text) {
  for (const char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      default: out += c;
    }
  }
}

// The shortest text that reads back as the same double.
std::string handleText(double handle) {
  char buffer[32];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, handle);
  return std::string(buffer, result.ptr);
}

qvsvDiagnosticImpl* fileError(const char* key, const std::string& path) {
  return qvsvCreateDiagnosticFromMessageID(resource_core::BaseMsgID(kCatalog, key, {path}));
}

// What a document holds, before it replaces the tables.
struct Staging {
  qvsv::detail::PatternTable<qvsv::detail::Coverage> suppressions;
  qvsv::detail::PatternTable<qvsv::detail::StateEntry> states;
};

class Reader {
 public:
  explicit Reader(XML_Parser parser) : parser_(parser) {}

  void start(const std::string& name, const XML_Char** attributes) {
    if (failed()) return;
    ++depth_;
    if (depth_ == 1 && name == kRoot) return root(attributes);
    if (depth_ == 2 && name == "suppress") return suppress(attributes);
    if (depth_ == 2 && name == "state") return state(attributes);
    fail("UnexpectedElement", {name});
  }
  void end() { --depth_; }
  void text(const XML_Char* data, int length) {
    if (failed()) return;
    for (int i = 0; i < length; ++i) {
      const char c = data[i];
      if (c != ' ' && c != '\t' && c != '\n' && c != '\r') return fail("UnexpectedText", {});
    }
  }
  void fail(const char* key, qvsvArgumentVector arguments) {
    if (failed()) return;
    reason_ = key;
    arguments_ = std::move(arguments);
    line_ = XML_GetCurrentLineNumber(parser_);
    column_ = XML_GetCurrentColumnNumber(parser_);
    XML_StopParser(parser_, XML_FALSE);
  }

  bool failed() const { return reason_ != nullptr; }
  const char* reason() const { return reason_; }
  const qvsvArgumentVector& arguments() const { return arguments_; }
  XML_Size line() const { return line_; }
  XML_Size column() const { return column_; }
  Staging& staging() { return staging_; }

 private:
  using Attributes = std::vector<std::pair<std::string, std::string>>;

  // The attributes, or nothing after a failure: only the names allowed, each
  // required one present.
  bool read(const char* element, const XML_Char** attributes, std::initializer_list<const char*> allowed,
            std::initializer_list<const char*> required, Attributes& out) {
    for (const XML_Char** a = attributes; *a != nullptr; a += 2) {
      bool known = false;
      for (const char* name : allowed) known = known || std::string(a[0]) == name;
      if (!known) {
        fail("UnexpectedAttribute", {std::string(element), std::string(a[0])});
        return false;
      }
      out.emplace_back(a[0], a[1]);
    }
    for (const char* name : required) {
      if (find(out, name) == nullptr) {
        fail("MissingAttribute", {std::string(element), std::string(name)});
        return false;
      }
    }
    return true;
  }
  static const std::string* find(const Attributes& attributes, const std::string& name) {
    for (const auto& [key, value] : attributes) {
      if (key == name) return &value;
    }
    return nullptr;
  }
  bool pattern(const std::string& value, PatternKey& key) {
    try {
      key = qvsv::detail::ParsePattern(value);
      return true;
    } catch (const std::invalid_argument&) {
      fail("InvalidValue", {value, std::string("pattern")});
      return false;
    }
  }

  void root(const XML_Char** attributes) {
    Attributes values;
    if (!read(kRoot, attributes, {"version"}, {}, values)) return;
    const std::string* version = find(values, "version");
    if (version != nullptr && *version != "1") fail("InvalidValue", {*version, std::string("version")});
  }

  void suppress(const XML_Char** attributes) {
    Attributes values;
    PatternKey key;
    if (!read("suppress", attributes, {"pattern", "handle"}, {"pattern"}, values)) return;
    if (!pattern(*find(values, "pattern"), key)) return;
    qvsv::detail::Coverage& coverage = staging_.suppressions.at(key);
    const std::string* handle = find(values, "handle");
    if (handle == nullptr) {
      coverage.everyHandle = true;
      return;
    }
    double number = 0.0;
    const char* end = handle->data() + handle->size();
    const auto [ptr, ec] = std::from_chars(handle->data(), end, number);
    if (handle->empty() || ec != std::errc() || ptr != end || !std::isfinite(number)) {
      return fail("InvalidValue", {*handle, std::string("handle")});
    }
    coverage.handles.insert(number == 0.0 ? 0.0 : number);
  }

  void state(const XML_Char** attributes) {
    Attributes values;
    PatternKey key;
    if (!read("state", attributes, {"pattern", "value"}, {"pattern", "value"}, values)) return;
    if (!pattern(*find(values, "pattern"), key)) return;
    const std::string& value = *find(values, "value");
    try {
      staging_.states.at(key) = {qvsvParseWarningState(value), {}};
    } catch (const std::invalid_argument&) {
      fail("InvalidValue", {value, std::string("value")});
    }
  }

  XML_Parser parser_;
  int depth_ = 0;
  const char* reason_ = nullptr;  // a key of the catalogue; null while sound
  qvsvArgumentVector arguments_;
  XML_Size line_ = 0;
  XML_Size column_ = 0;
  Staging staging_;
};

void XMLCALL onStart(void* data, const XML_Char* name, const XML_Char** attributes) {
  static_cast<Reader*>(data)->start(name, attributes);
}
void XMLCALL onEnd(void* data, const XML_Char*) { static_cast<Reader*>(data)->end(); }
void XMLCALL onText(void* data, const XML_Char* text, int length) { static_cast<Reader*>(data)->text(text, length); }
void XMLCALL onDoctype(void* data, const XML_Char*, const XML_Char*, const XML_Char*, int) {
  static_cast<Reader*>(data)->fail("DoctypeNotAccepted", {});
}

struct ParserDeleter {
  void operator()(XML_ParserStruct* parser) const { XML_ParserFree(parser); }
};

qvsvDiagnosticImpl* badFile(const std::string& source, XML_Size line, XML_Size column, const char* reason,
                            const qvsvArgumentVector& arguments) {
  const std::u16string text =
      MutableBaseMsgID::getMessageFromCatalog(std::string(kCatalog) + ":" + reason, arguments, true);
  // Editors count columns from 1; Expat from 0.
  return qvsvCreateDiagnosticFromMessageID(resource_core::BaseMsgID(
      kCatalog, "BadSuppressionFile", {source, std::to_string(line), std::to_string(column + 1), text}));
}

}  // namespace

std::string qvsvWriteDiagnosticSuppressions() {
  std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<diag_suppressions version=\"1\">\n";
  for (const qvsvSuppression& entry : qvsvGetDiagnosticSuppressions()) {
    out += "  <suppress pattern=\"";
    appendEscaped(out, entry.pattern);
    out += '"';
    if (entry.handle) out += " handle=\"" + handleText(*entry.handle) + '"';
    out += "/>\n";
  }
  for (const auto& [pattern, state] : qvsvGetWarningStates()) {
    out += "  <state pattern=\"";
    appendEscaped(out, pattern);
    out += "\" value=\"";
    out += qvsvWarningStateName(state);
    out += "\"/>\n";
  }
  out += "</diag_suppressions>\n";
  return out;
}

qvsvDiagnosticImpl* qvsvSaveDiagnosticSuppressions(const std::string& path) {
  const std::string document = qvsvWriteDiagnosticSuppressions();
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  if (file) file.write(document.data(), static_cast<std::streamsize>(document.size()));
  if (file) file.close();
  if (!file) return fileError("CannotWriteSuppressionFile", path);
  return nullptr;
}

qvsvDiagnosticImpl* qvsvReadDiagnosticSuppressions(const std::string& document, const std::string& source) {
  std::unique_ptr<XML_ParserStruct, ParserDeleter> parser(XML_ParserCreate(nullptr));
  if (!parser) throw std::bad_alloc();
  Reader reader(parser.get());
  XML_SetUserData(parser.get(), &reader);
  XML_SetElementHandler(parser.get(), onStart, onEnd);
  XML_SetCharacterDataHandler(parser.get(), onText);
  XML_SetStartDoctypeDeclHandler(parser.get(), onDoctype);
  // Expat takes int lengths: feed large documents in pieces.
  constexpr std::size_t kPiece = 1 << 20;
  bool ok = true;
  for (std::size_t at = 0; ok && at < document.size(); at += kPiece) {
    const std::size_t n = std::min(kPiece, document.size() - at);
    ok = XML_Parse(parser.get(), document.data() + at, static_cast<int>(n), XML_FALSE) == XML_STATUS_OK;
  }
  if (ok) ok = XML_Parse(parser.get(), "", 0, XML_TRUE) == XML_STATUS_OK;
  if (reader.failed()) return badFile(source, reader.line(), reader.column(), reader.reason(), reader.arguments());
  if (!ok) {
    const XML_LChar* text = XML_ErrorString(XML_GetErrorCode(parser.get()));
    return badFile(source, XML_GetCurrentLineNumber(parser.get()), XML_GetCurrentColumnNumber(parser.get()),
                   "XmlSyntax", {std::string(text != nullptr ? text : "unknown error")});
  }
  auto& registry = qvsv::detail::Suppressor();
  std::swap(registry.suppressions, reader.staging().suppressions);
  std::swap(registry.states, reader.staging().states);
  return nullptr;
}

qvsvDiagnosticImpl* qvsvLoadDiagnosticSuppressions(const std::string& path) {
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) return fileError("CannotReadSuppressionFile", path);
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  if (file) text << file.rdbuf();
  if (!file || file.bad()) return fileError("CannotReadSuppressionFile", path);
  return qvsvReadDiagnosticSuppressions(text.str(), path);
}
