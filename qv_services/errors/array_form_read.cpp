// Reading the host-array form of a diagnostic back. The form comes from host
// code, so every field is checked before it is used; the first finding ends
// the read with a diagnostic that names the field, the element and the path.
// Cause arrays are walked with an explicit work list (no recursion), each one
// entered once: meeting an array again means the causes form a cycle.
#include <charconv>
#include <cmath>
#include <memory>
#include <new>
#include <string>
#include <unordered_set>
#include <vector>

#include "qv_services/array_form.hpp"
#include "qv_services/conversions.hpp"
#include "qv_services/except.hpp"
#include "qv_services/exception_exchange.hpp"
#include "qv_services/errors/array_form_fields.hpp"
#include "qv_services/errors/diagnostic_state.hpp"
#include "qv_services/errors/exchange_messages.hpp"
#include "qv_services/xml_form.hpp"

namespace {

using qvsv::detail::ExchangeText;

// A finding: the catalogue key and its arguments (the "Expect..." phrase
// already looked up). Thrown inside the reader only.
struct Malformed {
  const char* key;
  qvsvArgumentVector arguments;
};

std::string describe(const txArray* a) {
  if (a == nullptr) return "null";
  return std::to_string(txGetM(a)) + "x" + std::to_string(txGetN(a)) + " " + txGetClassName(a);
}

std::int64_t oneBased(txIndex index) { return static_cast<std::int64_t>(index) + 1; }

// Where a field's value sits, for the messages.
struct Place {
  const std::string& path;  // of the struct array
  txIndex element;
  const char* field;

  [[noreturn]] void wrongType(const char* expectation, const txArray* value) const {
    throw Malformed{"ArrayFieldType",
                    {std::string(field), oneBased(element), path, ExchangeText(expectation), describe(value)}};
  }
  std::string subPath() const { return path + "(" + std::to_string(element + 1) + ")." + field; }
};

bool isNone(const txArray* a) { return a == nullptr || (txIsNumeric(a) && txIsEmpty(a)); }
bool isPlainStruct(const txArray* a) { return txGetClassID(a) == txClassID::Struct; }
bool isRealScalar(const txArray* a) { return (txIsNumeric(a) || txIsLogical(a)) && txGetNumberOfElements(a) == 1; }
bool isTextRow(const txArray* a) { return txIsChar(a) && (txGetM(a) == 1 || txIsEmpty(a)); }

const txArray* fieldOf(const txArray* s, txIndex element, int field) {
  return field < 0 ? nullptr : txGetFieldByNumber(s, element, field);
}

std::u16string text(const Place& place, const txArray* value) {
  if (isNone(value)) return std::u16string();
  if (!isTextRow(value)) place.wrongType("ExpectText", value);
  return txGetString(value);
}

// The field numbers of a struct, in the order of names; a required field that
// is missing is a finding.
std::vector<int> fieldNumbers(const txArray* s, const std::string& path, const std::vector<std::string>& names,
                              std::initializer_list<const char*> required) {
  std::vector<int> numbers;
  for (const std::string& name : names) numbers.push_back(txGetFieldNumber(s, name));
  for (const char* name : required) {
    if (txGetFieldNumber(s, name) < 0) throw Malformed{"ArrayMissingField", {path, std::string(name)}};
  }
  return numbers;
}

std::int64_t int64From(const Place& place, const txArray* value) {
  if (isRealScalar(value)) {
    const double d = txGetScalar(value);
    if (d == std::floor(d) && d >= -9223372036854775808.0 && d < 9223372036854775808.0) {
      return static_cast<std::int64_t>(d);
    }
  } else if (isTextRow(value) && !txIsEmpty(value)) {
    const std::string digits = txGetStringUTF8(value);
    std::int64_t parsed = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), parsed);
    if (error == std::errc() && end == digits.data() + digits.size()) return parsed;
  }
  place.wrongType("ExpectInt64", value);
}

txArray* persistentCopy(const txArray* kept) {
  qvsv::detail::ArrayPtr copy = qvsv::detail::MakeArray([&] { return txCreateSharedDataCopy(kept); });
  txMakeArrayPersistent(copy.get());
  return copy.release();
}

txArray* argumentsFrom(const Place& place, const txArray* value) {
  if (isNone(value)) return nullptr;
  if (!txIsCell(value)) place.wrongType("ExpectArguments", value);
  for (txIndex i = 0, n = txGetNumberOfElements(value); i < n; ++i) {
    const txArray* argument = txGetCell(value, i);
    if (!isRealScalar(argument) && !isTextRow(argument)) place.wrongType("ExpectArguments", value);
  }
  return persistentCopy(value);
}

txArray* stackFrom(const Place& place, const txArray* value) {
  if (isNone(value)) return nullptr;
  if (!isPlainStruct(value)) place.wrongType("ExpectStack", value);
  const std::string path = place.subPath();
  static const std::vector<std::string> names = {"file", "name", "line"};
  const std::vector<int> fields = fieldNumbers(value, path, names, {"file", "name", "line"});
  for (txIndex i = 0, n = txGetNumberOfElements(value); i < n; ++i) {
    text(Place{path, i, "file"}, fieldOf(value, i, fields[0]));
    text(Place{path, i, "name"}, fieldOf(value, i, fields[1]));
    const txArray* line = fieldOf(value, i, fields[2]);
    if (!isRealScalar(line)) Place{path, i, "line"}.wrongType("ExpectScalar", line);
  }
  return persistentCopy(value);
}

qvsvMetaDataMap metadataFrom(const Place& place, const txArray* value) {
  qvsvMetaDataMap metadata;
  if (isNone(value)) return metadata;
  if (!isPlainStruct(value)) place.wrongType("ExpectMetadata", value);
  const std::string path = place.subPath();
  const std::vector<int> fields = fieldNumbers(value, path, qvsv::detail::MetadataFieldNames(), {"key", "value"});
  for (txIndex i = 0, n = txGetNumberOfElements(value); i < n; ++i) {
    std::u16string key = text(Place{path, i, "key"}, fieldOf(value, i, fields[0]));
    const txArray* kindArray = fieldOf(value, i, fields[1]);
    const std::string kind =
        isNone(kindArray) ? std::string() : ConvertUStringToStdString(text(Place{path, i, "kind"}, kindArray));
    const txArray* entry = fieldOf(value, i, fields[2]);
    const Place at{path, i, "value"};
    qvsvArgumentValue parsed;
    if (kind == qvsv::detail::kKindInt64) {
      parsed = int64From(at, entry);
    } else if (kind == qvsv::detail::kKindString) {
      parsed = ConvertUStringToStdString(text(at, entry));
    } else if (kind == qvsv::detail::kKindWideString) {
      parsed = text(at, entry);
    } else if (!kind.empty()) {
      Place{path, i, "kind"}.wrongType("ExpectKind", kindArray);
    } else if (isRealScalar(entry)) {
      parsed = int64From(at, entry);
    } else if (isNone(entry) || isTextRow(entry)) {
      parsed = text(at, entry);
    } else {
      at.wrongType("ExpectValue", entry);
    }
    const std::string keyText = ConvertUStringToStdString(key);
    if (!metadata.emplace(std::move(key), std::move(parsed)).second) {
      throw Malformed{"ArrayDuplicateKey", {oneBased(i), path, keyText}};
    }
  }
  return metadata;
}

struct DeleteItem {
  void operator()(qvsvDiagnosticItem* item) const { delete item; }
};

// One causes array still to read into its (already attached) diagnostic.
struct Pending {
  const txArray* form;
  qvsvDiagnosticImpl* diag;
  int depth;
  std::string path;
};

class FormReader {
 public:
  // The diagnostic of the form (null for one of no items); throws Malformed.
  qvsvDiagnosticImpl* read(const txArray* form) {
    if (!isPlainStruct(form)) {
      throw Malformed{"ArrayWrongClass", {std::string("diag"), ExchangeText("ExpectForm"), describe(form)}};
    }
    fieldNumbers(form, "diag", {}, {"identifier", "message"});
    if (txIsEmpty(form)) return nullptr;
    visited_.insert(form);
    qvsvDiagnosticImpl* root = qvsvObtainDiagnostic();
    try {
      std::vector<Pending> work{{form, root, 0, "diag"}};
      while (!work.empty()) {
        Pending next = std::move(work.back());
        work.pop_back();
        readItems(next, work);
      }
    } catch (...) {
      qvsvDiscardDiagnostic(root);
      throw;
    }
    return root;
  }

 private:
  void readItems(const Pending& at, std::vector<Pending>& work) {
    using namespace qvsv::detail;
    const std::vector<int> f = fieldNumbers(at.form, at.path, FormFieldNames(), {"identifier", "message"});
    for (txIndex i = 0, n = txGetNumberOfElements(at.form); i < n; ++i) {
      auto field = [&](FormField which) { return fieldOf(at.form, i, f[which]); };
      auto place = [&](FormField which) { return Place{at.path, i, FormFieldNames()[which].c_str()}; };
      std::unique_ptr<qvsvDiagnosticItem, DeleteItem> item(new qvsvDiagnosticItem);
      item->identifier = ConvertUStringToStdString(text(place(kFieldIdentifier), field(kFieldIdentifier)));
      item->message = text(place(kFieldMessage), field(kFieldMessage));
      item->extraMessage = text(place(kFieldExtraMessage), field(kFieldExtraMessage));
      item->arguments = argumentsFrom(place(kFieldArguments), field(kFieldArguments));
      readHandles(*item, place(kFieldHandles), field(kFieldHandles));
      item->callStack = stackFrom(place(kFieldStack), field(kFieldStack));
      item->creationTime = creationTimeFrom(place(kFieldCreationTime), field(kFieldCreationTime));
      item->metadata = metadataFrom(place(kFieldMetadata), field(kFieldMetadata));
      const txArray* causes = field(kFieldCauses);
      if (!isNone(causes)) {
        if (!isPlainStruct(causes)) place(kFieldCauses).wrongType("ExpectForm", causes);
        if (!visited_.insert(causes).second) throw Malformed{"ArrayCauseCycle", {oneBased(i), at.path}};
        if (at.depth + 1 > kQvsvMaxRestoredCauseDepth) {
          throw Malformed{"ArrayTooDeep", {oneBased(i), at.path, std::int64_t{kQvsvMaxRestoredCauseDepth}}};
        }
        const std::string causesPath = place(kFieldCauses).subPath();
        fieldNumbers(causes, causesPath, {}, {"identifier", "message"});
        item->cause = qvsvObtainDiagnostic();
        item->cause->setCauseOf(item.get());
        work.push_back(Pending{causes, item->cause, at.depth + 1, causesPath});
      }
      at.diag->appendWithoutLimit(item.get());
      item.release();
    }
  }

  static void readHandles(qvsvDiagnosticItem& item, const Place& place, const txArray* value) {
    if (isNone(value)) return;
    if (!txIsNumeric(value) || txGetM(value) != 1) place.wrongType("ExpectHandles", value);
    const txIndex n = txGetNumberOfElements(value);
    if (n > static_cast<txIndex>(INT32_MAX)) place.wrongType("ExpectHandles", value);
    bool ok = true;
    item.handles = qvsv::detail::CopyHandles(txGetPr(value), static_cast<int>(n), ok);
    if (!ok) throw std::bad_alloc();
    item.numHandles = static_cast<int>(n);
  }

  static qvsvErrorCreationTime creationTimeFrom(const Place& place, const txArray* value) {
    if (isNone(value)) return qvsvErrorCreationTimeUnset;
    if (isRealScalar(value)) {
      const double d = txGetScalar(value);
      if (d == std::floor(d) && d >= 0 && d <= 4294967295.0) return static_cast<qvsvErrorCreationTime>(d);
    }
    place.wrongType("ExpectCreationTime", value);
  }

  std::unordered_set<const txArray*> visited_;
};

}  // namespace

qvsvDiagnosticImpl* qvsvDiagnosticFromArray_NoThrow(const txArray* form, qvsvDiagnosticImpl*& result) {
  result = nullptr;
  try {
    result = FormReader().read(form);
    return nullptr;
  } catch (const Malformed& finding) {
    return qvsv::detail::ExchangeDiagnostic(finding.key, finding.arguments);
  } catch (...) {
    return qvsvDiagnosticFromCurrentException();
  }
}

qvsvDiagnosticImpl* qvsvDiagnosticFromArray(const txArray* form) {
  qvsvDiagnosticImpl* result = nullptr;
  qvsvDiagnosticImpl* error = qvsvDiagnosticFromArray_NoThrow(form, result);
  if (error != nullptr) qvsv::except::ThrowDiagnostic(error);
  return result;
}
