// The JSON form of a diagnostic: written with RapidJSON's streaming writer,
// read back through its DOM with the iterative parser (no recursion on
// hostile nesting).
#include "qv_services/json_form.hpp"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/errors/cause_walk.hpp"
#include "qv_services/errors/diagnostic_state.hpp"
#include "qv_services/errors/json_text.hpp"
#include "qv_services/xml_form.hpp"
#include "tessel/foundation.hpp"

namespace {

using qvsv::detail::JsonWriter;
using qvsv::detail::Key;

constexpr const char* kFormat = "qv_services.diagnostic";
constexpr int kVersion = 1;
constexpr const char* kCatalog = "QV_SERVICES:serialization";

// ---------------------------------------------------------------- writing

void writeCallStack(JsonWriter& w, const txArray* stack) {
  Key(w, R"("callStack")");
  w.StartArray();
  const txIndex n = txGetNumberOfElements(stack);
  for (txIndex i = 0; i < n; ++i) {
    w.StartObject();
    for (const char* name : {"file", "name"}) {
      const txArray* field = txGetField(stack, i, name);
      w.Key(name);
      if (txIsChar(field)) {
        qvsv::detail::WriteText(w, std::u16string_view(txGetChars(field), txGetNumberOfElements(field)));
      } else {
        w.String("");
      }
    }
    const txArray* line = txGetField(stack, i, "line");
    Key(w, R"("line")");
    if ((txIsNumeric(line) || txIsLogical(line)) && txGetNumberOfElements(line) == 1) {
      qvsv::detail::WriteNumber(w, txGetScalar(line));
    } else {
      w.Null();
    }
    w.EndObject();
  }
  w.EndArray();
}

// Every member of the item but its causes; the object stays open.
void writeItemMembers(JsonWriter& w, const qvsvDiagnosticItem& item) {
  w.StartObject();
  Key(w, R"("id")");
  qvsv::detail::WriteNarrow(w, item.identifier);
  Key(w, R"("message")");
  qvsv::detail::WriteText(w, item.message);
  if (!item.extraMessage.empty()) {
    Key(w, R"("extraMessage")");
    qvsv::detail::WriteText(w, item.extraMessage);
  }
  if (item.arguments != nullptr) qvsv::detail::WriteArguments(w, item.arguments);
  if (item.handles != nullptr && item.numHandles > 0) {
    Key(w, R"("handles")");
    w.StartArray();
    for (int i = 0; i < item.numHandles; ++i) qvsv::detail::WriteNumber(w, item.handles[i]);
    w.EndArray();
  }
  if (txIsStruct(item.callStack)) writeCallStack(w, item.callStack);
  if (item.creationTime != qvsvErrorCreationTimeUnset) {
    Key(w, R"("creationTime")");
    w.Uint(item.creationTime);
  }
  if (!item.metadata.empty()) qvsv::detail::WriteMetadata(w, item.metadata);
}

// ---------------------------------------------------------------- reading

// A finding about the document's structure: where and what.
struct FormError {
  std::string path;
  std::string problem;
};

// The member `name` of an object, or null. (Comparing RapidJSON's member
// iterators is ambiguous under C++20's reversed operators.)
const rapidjson::Value* memberOf(const rapidjson::Value& object, const char* name) {
  for (const auto& member : object.GetObject()) {
    if (std::string_view(member.name.GetString(), member.name.GetStringLength()) == name) return &member.value;
  }
  return nullptr;
}

struct DiagnosticDeleter {
  void operator()(qvsvDiagnosticImpl* diag) const { qvsvDiscardDiagnostic(diag); }
};
using DiagnosticPtr = std::unique_ptr<qvsvDiagnosticImpl, DiagnosticDeleter>;

class FormReader {
 public:
  // The items of `array` (at `path`) as a new diagnostic; null for none.
  DiagnosticPtr items(const rapidjson::Value& array, const std::string& path, int depth) {
    if (!array.IsArray()) throw FormError{path, "expected an array of items"};
    DiagnosticPtr diag;
    for (rapidjson::SizeType i = 0; i < array.Size(); ++i) {
      std::unique_ptr<qvsvDiagnosticItem> item = this->item(array[i], path + "[" + std::to_string(i) + "]", depth);
      if (!diag) diag.reset(qvsvObtainDiagnostic());
      diag->appendWithoutLimit(item.get());
      item.release();
    }
    return diag;
  }

 private:
  std::unique_ptr<qvsvDiagnosticItem> item(const rapidjson::Value& value, const std::string& path, int depth) {
    if (!value.IsObject()) throw FormError{path, "expected an item object"};
    auto item = std::make_unique<qvsvDiagnosticItem>();
    const rapidjson::Value& id = member(value, path, "id");
    if (!qvsv::detail::ReadNarrow(id, item->identifier)) throw FormError{path + ".id", "expected a string"};
    text(member(value, path, "message"), path + ".message", item->message);
    if (const rapidjson::Value* extra = optional(value, "extraMessage")) {
      text(*extra, path + ".extraMessage", item->extraMessage);
    }
    if (const rapidjson::Value* arguments = optional(value, "arguments")) {
      item->arguments = this->arguments(*arguments, path + ".arguments");
    }
    if (const rapidjson::Value* handles = optional(value, "handles")) {
      readHandles(*handles, path + ".handles", *item);
    }
    if (const rapidjson::Value* stack = optional(value, "callStack")) {
      item->callStack = callStack(*stack, path + ".callStack");
    }
    if (const rapidjson::Value* time = optional(value, "creationTime")) {
      if (!time->IsUint()) throw FormError{path + ".creationTime", "expected an unsigned 32-bit integer"};
      item->creationTime = static_cast<qvsvErrorCreationTime>(time->GetUint());
    }
    if (const rapidjson::Value* metadata = optional(value, "metadata")) {
      readMetadata(*metadata, path + ".metadata", *item);
    }
    if (const rapidjson::Value* causes = optional(value, "causes")) {
      if (depth >= kQvsvMaxRestoredCauseDepth) {
        throw FormError{path + ".causes",
                        "causes nested deeper than " + std::to_string(kQvsvMaxRestoredCauseDepth) + " levels"};
      }
      item->cause = items(*causes, path + ".causes", depth + 1).release();
      if (item->cause != nullptr) item->cause->setCauseOf(item.get());
    }
    return item;
  }

  static const rapidjson::Value& member(const rapidjson::Value& object, const std::string& path, const char* name) {
    const rapidjson::Value* found = memberOf(object, name);
    if (found == nullptr) throw FormError{path, std::string("missing member \"") + name + "\""};
    return *found;
  }

  static const rapidjson::Value* optional(const rapidjson::Value& object, const char* name) {
    return memberOf(object, name);
  }

  static void text(const rapidjson::Value& value, const std::string& path, std::u16string& out) {
    if (!qvsv::detail::ReadText(value, out)) throw FormError{path, "expected a string or a {\"utf16\": hex} object"};
  }

  // Host arrays are owned by the guard until the item takes them.
  struct ArrayGuard {
    txArray* array;
    ~ArrayGuard() {
      if (array != nullptr) txDestroyArray(array);
    }
    txArray* release() { return std::exchange(array, nullptr); }
  };

  txArray* arguments(const rapidjson::Value& value, const std::string& path) {
    if (!value.IsArray()) throw FormError{path, "expected an array"};
    ArrayGuard cell{txCreateCellMatrix(1, value.Size())};
    std::u16string scratch;
    for (rapidjson::SizeType i = 0; i < value.Size(); ++i) {
      const rapidjson::Value& element = value[i];
      txArray* created = nullptr;
      if (element.IsNumber()) {
        created = txCreateDoubleScalar(element.GetDouble());
      } else if (element.IsBool()) {
        created = txCreateLogicalScalar(element.GetBool());
      } else if (element.IsNull()) {
        created = txCreateDoubleMatrix(0, 0);
      } else {
        text(element, path + "[" + std::to_string(i) + "]", scratch);
        created = txCreateString(scratch);
      }
      txSetCell(cell.array, i, created);
    }
    txMakeArrayPersistent(cell.array);
    return cell.release();
  }

  static void readHandles(const rapidjson::Value& value, const std::string& path, qvsvDiagnosticItem& item) {
    if (!value.IsArray() || value.Empty()) throw FormError{path, "expected a non-empty array of numbers"};
    std::vector<double> handles;
    handles.reserve(value.Size());
    for (rapidjson::SizeType i = 0; i < value.Size(); ++i) {
      if (!value[i].IsNumber()) throw FormError{path + "[" + std::to_string(i) + "]", "expected a number"};
      handles.push_back(value[i].GetDouble());
    }
    bool copied = false;
    item.handles = qvsv::detail::CopyHandles(handles.data(), static_cast<int>(handles.size()), copied);
    if (!copied) throw std::bad_alloc();
    item.numHandles = static_cast<int>(handles.size());
  }

  txArray* callStack(const rapidjson::Value& value, const std::string& path) {
    if (!value.IsArray()) throw FormError{path, "expected an array of frames"};
    ArrayGuard stack{txCreateStructMatrix(1, value.Size(), {"file", "name", "line"})};
    std::u16string scratch;
    for (rapidjson::SizeType i = 0; i < value.Size(); ++i) {
      const std::string at = path + "[" + std::to_string(i) + "]";
      const rapidjson::Value& frame = value[i];
      if (!frame.IsObject()) throw FormError{at, "expected a frame object"};
      for (const char* name : {"file", "name"}) {
        text(member(frame, at, name), at + "." + name, scratch);
        txSetField(stack.array, i, name, txCreateString(scratch));
      }
      const rapidjson::Value& line = member(frame, at, "line");
      if (line.IsNumber()) {
        txSetField(stack.array, i, "line", txCreateDoubleScalar(line.GetDouble()));
      } else if (line.IsNull()) {
        txSetField(stack.array, i, "line", txCreateDoubleMatrix(0, 0));
      } else {
        throw FormError{at + ".line", "expected a number or null"};
      }
    }
    txMakeArrayPersistent(stack.array);
    return stack.release();
  }

  static void readMetadata(const rapidjson::Value& value, const std::string& path, qvsvDiagnosticItem& item) {
    if (!value.IsArray()) throw FormError{path, "expected an array of entries"};
    for (rapidjson::SizeType i = 0; i < value.Size(); ++i) {
      const std::string at = path + "[" + std::to_string(i) + "]";
      const rapidjson::Value& entry = value[i];
      if (!entry.IsObject() || entry.MemberCount() != 2) {
        throw FormError{at, "expected {\"key\": ..., and one of \"integer\", \"string\", \"wide\"}"};
      }
      std::u16string key;
      text(member(entry, at, "key"), at + ".key", key);
      if (const rapidjson::Value* number = optional(entry, "integer")) {
        if (!number->IsInt64()) throw FormError{at + ".integer", "expected a 64-bit integer"};
        item.metadata.insert_or_assign(std::move(key), qvsvArgumentValue(number->GetInt64()));
      } else if (const rapidjson::Value* narrow = optional(entry, "string")) {
        std::string out;
        if (!qvsv::detail::ReadNarrow(*narrow, out)) throw FormError{at + ".string", "expected a string"};
        item.metadata.insert_or_assign(std::move(key), qvsvArgumentValue(std::move(out)));
      } else if (const rapidjson::Value* wide = optional(entry, "wide")) {
        std::u16string out;
        text(*wide, at + ".wide", out);
        item.metadata.insert_or_assign(std::move(key), qvsvArgumentValue(std::move(out)));
      } else {
        throw FormError{at, "expected one of \"integer\", \"string\", \"wide\""};
      }
    }
  }
};

// The SAX events of the reader, passed on to the document, but with numbers
// converted here from their text. RapidJSON 1.1's full-precision conversion
// normalises a zero significand with clz(0), which is undefined ("0e40" reads
// as whatever the instruction leaves).
class NumberConvertingHandler {
 public:
  NumberConvertingHandler(rapidjson::Document& document, const rapidjson::MemoryStream& input)
      : document_(document), input_(input) {}

  bool Null() { return document_.Null(); }
  bool Bool(bool b) { return document_.Bool(b); }
  bool Int(int i) { return document_.Int(i); }
  bool Uint(unsigned u) { return document_.Uint(u); }
  bool Int64(std::int64_t i) { return document_.Int64(i); }
  bool Uint64(std::uint64_t u) { return document_.Uint64(u); }
  bool Double(double d) { return document_.Double(d); }
  bool String(const char* s, rapidjson::SizeType n, bool copy) { return document_.String(s, n, copy); }
  bool StartObject() { return document_.StartObject(); }
  bool Key(const char* s, rapidjson::SizeType n, bool copy) { return document_.Key(s, n, copy); }
  bool EndObject(rapidjson::SizeType members) { return document_.EndObject(members); }
  bool StartArray() { return document_.StartArray(); }
  bool EndArray(rapidjson::SizeType elements) { return document_.EndArray(elements); }

  // `text` is the number as written, NUL-terminated, except that NaN and
  // Infinity leave only their sign in it: the input, which ends where the
  // number does, tells them apart.
  bool RawNumber(const char* text, rapidjson::SizeType length, bool) {
    const bool minus = length > 0 && text[0] == '-';
    const std::string_view digits(text + (minus ? 1 : 0), length - (minus ? 1 : 0));
    if (digits.empty()) {
      const std::size_t end = input_.Tell();
      if (end > 0 && input_.begin_[end - 1] == 'N') return document_.Double(std::numeric_limits<double>::quiet_NaN());
      const double infinity = std::numeric_limits<double>::infinity();
      return document_.Double(minus ? -infinity : infinity);
    }
    if (digits.find_first_of(".eE") == std::string_view::npos) {
      std::uint64_t magnitude = 0;
      const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), magnitude);
      if (error == std::errc() && end == digits.data() + digits.size()) {
        if (!minus) return document_.Uint64(magnitude);
        // -0 stays the integer 0, as a plain integer reads.
        constexpr std::uint64_t kMostNegative = std::uint64_t{1} << 63;
        if (magnitude <= kMostNegative) return document_.Int64(static_cast<std::int64_t>(0 - magnitude));
      }
    }
    // The reader has checked the grammar; strtod rounds correctly, and
    // gives the denormal or zero of an underflow.
    return document_.Double(tessel::StrtodLocaleIndependent(text, nullptr));
  }

 private:
  rapidjson::Document& document_;
  const rapidjson::MemoryStream& input_;
};

// Parses `text` into `document`; the parse result tells a syntax error.
rapidjson::ParseResult parseJson(std::string_view text, rapidjson::Document& document) {
  constexpr unsigned kFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag |
                              rapidjson::kParseNumbersAsStringsFlag | rapidjson::kParseNanAndInfFlag;
  rapidjson::MemoryStream memory(text.data(), text.size());
  rapidjson::EncodedInputStream<rapidjson::UTF8<>, rapidjson::MemoryStream> input(memory);
  rapidjson::ParseResult result;
  auto generate = [&](rapidjson::Document& events) {
    NumberConvertingHandler handler(events, memory);
    rapidjson::Reader reader;
    result = reader.Parse<kFlags>(input, handler);
    return !result.IsError();
  };
  document.Populate(generate);
  return result;
}

qvsvDiagnosticImpl* restoreError(qvsvDiagnosticImpl* cause) {
  qvsvDiagnosticImpl* error =
      qvsvCreateDiagnosticFromMessageID(resource_core::BaseMsgID(kCatalog, "RestoreFromJSONError"));
  qvsvAddCauseToLastDiagnosticItem(error, cause);
  qvsvDiscardDiagnostic(cause);
  return error;
}

// 1-based line and column (in bytes) of a byte offset.
std::pair<std::int64_t, std::int64_t> lineAndColumn(std::string_view text, std::size_t offset) {
  offset = std::min(offset, text.size());
  std::int64_t line = 1;
  std::size_t lineStart = 0;
  for (std::size_t i = 0; i < offset; ++i) {
    if (text[i] == '\n') {
      ++line;
      lineStart = i + 1;
    }
  }
  return {line, static_cast<std::int64_t>(offset - lineStart) + 1};
}

}  // namespace

std::string qvsvSerializeDiagnosticAsJSON(qvsvDiagnosticImpl* const& diag) {
  JsonWriter w;
  std::size_t estimate = 64;
  qvsv::detail::WalkItems(diag, [&](const qvsvDiagnosticItem& item, std::size_t) {
    estimate += qvsv::detail::EstimatedJsonSize(item);
    return true;
  });
  w.Reserve(estimate);
  w.StartObject();
  Key(w, R"("format")");
  w.String(kFormat);
  Key(w, R"("version")");
  w.Int(kVersion);
  Key(w, R"("items")");
  w.StartArray();
  qvsv::detail::WalkItems(
      diag,
      [&](const qvsvDiagnosticItem& item, std::size_t) {
        writeItemMembers(w, item);
        const bool hasCauses = item.cause != nullptr && item.cause->count() > 0;
        if (hasCauses) {
          Key(w, R"("causes")");
          w.StartArray();
        }
        return hasCauses;
      },
      [&](const qvsvDiagnosticItem&, std::size_t, bool walkedIn) {
        if (walkedIn) w.EndArray();
        w.EndObject();
      });
  w.EndArray();
  w.EndObject();
  return w.Take();
}

qvsvDiagnosticImpl* qvsvRestoreDiagnosticFromJSON(std::string_view text) {
  rapidjson::Document document;
  const rapidjson::ParseResult parsed = parseJson(text, document);
  if (parsed.IsError()) {
    const auto [line, column] = lineAndColumn(text, parsed.Offset());
    return restoreError(qvsvCreateDiagnosticFromMessageID(resource_core::BaseMsgID(
        kCatalog, "JSONSyntaxError", {std::string(rapidjson::GetParseError_En(parsed.Code())), line, column})));
  }
  try {
    const rapidjson::Value& root = document;
    if (!root.IsObject()) throw FormError{"(document)", "expected an object"};
    const rapidjson::Value* format = memberOf(root, "format");
    if (format == nullptr || !format->IsString() || std::string_view(format->GetString()) != kFormat) {
      throw FormError{"format", std::string("expected \"") + kFormat + "\""};
    }
    const rapidjson::Value* version = memberOf(root, "version");
    if (version == nullptr || !version->IsInt() || version->GetInt() != kVersion) {
      throw FormError{"version", "expected " + std::to_string(kVersion)};
    }
    const rapidjson::Value* items = memberOf(root, "items");
    if (items == nullptr) throw FormError{"(document)", "missing member \"items\""};
    return FormReader().items(*items, "items", 0).release();
  } catch (const FormError& error) {
    return restoreError(qvsvCreateDiagnosticFromMessageID(
        resource_core::BaseMsgID(kCatalog, "JSONFormError", {error.path, error.problem})));
  }
}
