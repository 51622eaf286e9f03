// The JSON form of a diagnostic: written with RapidJSON's streaming writer,
// read back through its DOM with the iterative parser (no recursion on
// hostile nesting).
#include "qv_services/json_form.hpp"

#include <rapidjson/error/en.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/errors/cause_walk.hpp"
#include "qv_services/errors/diagnostic_state.hpp"
#include "qv_services/errors/json_text.hpp"
#include "qv_services/xml_form.hpp"

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
  constexpr unsigned kFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag |
                              rapidjson::kParseFullPrecisionFlag | rapidjson::kParseNanAndInfFlag;
  document.Parse<kFlags>(text.data(), text.size());
  if (document.HasParseError()) {
    const auto [line, column] = lineAndColumn(text, document.GetErrorOffset());
    return restoreError(qvsvCreateDiagnosticFromMessageID(resource_core::BaseMsgID(
        kCatalog, "JSONSyntaxError",
        {std::string(rapidjson::GetParseError_En(document.GetParseError())), line, column})));
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
