// Writing the host-array form of a diagnostic. The cause tree is walked with
// an explicit work list, so a deep chain of causes cannot exhaust the stack;
// each causes array is handed to its parent as soon as it is made, so the
// root owns everything and destroying it on failure leaves nothing behind.
#include <cstdint>
#include <new>
#include <utility>
#include <vector>

#include "qv_services/array_form.hpp"
#include "qv_services/conversions.hpp"
#include "qv_services/errors/array_form_fields.hpp"
#include "qv_services/fault_injection.hpp"

namespace {

using qvsv::detail::ArrayPtr;
using qvsv::detail::MakeArray;

ArrayPtr none() {
  return MakeArray([] { return txCreateDoubleMatrix(0, 0); });
}

// Hands value to the struct; a failure destroys value instead of leaking it.
void put(txArray* s, txIndex element, int field, ArrayPtr value) {
  txSetFieldByNumber(s, element, field, value.get());
  value.release();
}

ArrayPtr newForm(const qvsvDiagnosticImpl* diag) {
  return MakeArray(
      [&] { return txCreateStructMatrix(1, diag == nullptr ? 0 : diag->count(), qvsv::detail::FormFieldNames()); });
}

ArrayPtr sharedCopyOrNone(const txArray* kept) {
  return kept == nullptr ? none() : MakeArray([&] { return txCreateSharedDataCopy(kept); });
}

ArrayPtr handlesOf(const qvsvDiagnosticItem& item) {
  if (item.handles == nullptr || item.numHandles <= 0) return none();
  ArrayPtr row = MakeArray([&] { return txCreateDoubleMatrix(1, static_cast<txIndex>(item.numHandles)); });
  double* out = txGetPrForWrite(row.get());
  for (int i = 0; i < item.numHandles; ++i) out[i] = item.handles[i];
  return row;
}

// A double only when it holds the integer exactly; else the decimal digits.
ArrayPtr int64Value(std::int64_t value) {
  const double asDouble = static_cast<double>(value);
  if (asDouble >= -9223372036854775808.0 && asDouble < 9223372036854775808.0 &&
      static_cast<std::int64_t>(asDouble) == value) {
    return MakeArray([&] { return txCreateDoubleScalar(asDouble); });
  }
  return MakeArray([&] { return txCreateStringFromUTF8(std::to_string(value)); });
}

ArrayPtr metadataOf(const qvsvDiagnosticItem& item) {
  if (item.metadata.empty()) return none();
  ArrayPtr table =
      MakeArray([&] { return txCreateStructMatrix(item.metadata.size(), 1, qvsv::detail::MetadataFieldNames()); });
  txIndex row = 0;
  // Named references rather than structured bindings: clang 14, which builds
  // the fuzzers, cannot capture bindings in the lambdas below.
  for (const auto& entry : item.metadata) {
    const std::u16string& key = entry.first;
    const qvsvArgumentValue& value = entry.second;
    put(table.get(), row, 0, MakeArray([&] { return txCreateString(key); }));
    if (const auto* number = std::get_if<std::int64_t>(&value)) {
      put(table.get(), row, 1, MakeArray([&] { return txCreateStringFromUTF8(qvsv::detail::kKindInt64); }));
      put(table.get(), row, 2, int64Value(*number));
    } else if (const auto* narrow = std::get_if<std::string>(&value)) {
      put(table.get(), row, 1, MakeArray([&] { return txCreateStringFromUTF8(qvsv::detail::kKindString); }));
      put(table.get(), row, 2, MakeArray([&] { return txCreateString(ConvertStdStringToUString(*narrow)); }));
    } else {
      put(table.get(), row, 1, MakeArray([&] { return txCreateStringFromUTF8(qvsv::detail::kKindWideString); }));
      put(table.get(), row, 2, MakeArray([&] { return txCreateString(std::get<std::u16string>(value)); }));
    }
    ++row;
  }
  return table;
}

void writeItem(txArray* form, txIndex element, const qvsvDiagnosticItem& item) {
  using namespace qvsv::detail;
  put(form, element, kFieldIdentifier, MakeArray([&] { return txCreateStringFromUTF8(item.identifier); }));
  put(form, element, kFieldMessage, MakeArray([&] { return txCreateString(item.message); }));
  put(form, element, kFieldExtraMessage, MakeArray([&] { return txCreateString(item.extraMessage); }));
  put(form, element, kFieldArguments, sharedCopyOrNone(item.arguments));
  put(form, element, kFieldHandles, handlesOf(item));
  put(form, element, kFieldStack, sharedCopyOrNone(item.callStack));
  put(form, element, kFieldCreationTime, MakeArray([&] { return txCreateDoubleScalar(static_cast<double>(item.creationTime)); }));
  put(form, element, kFieldMetadata, metadataOf(item));
}

}  // namespace

txArray* qvsvDiagnosticToArray(qvsvDiagnosticImpl* const& diag) {
  ArrayPtr root = newForm(diag);
  std::vector<std::pair<const qvsvDiagnosticImpl*, txArray*>> work;
  if (diag != nullptr) work.emplace_back(diag, root.get());
  while (!work.empty()) {
    const auto [source, form] = work.back();
    work.pop_back();
    txIndex element = 0;
    for (const qvsvDiagnosticItem* item : source->items()) {
      writeItem(form, element, *item);
      if (item->cause == nullptr) {
        put(form, element, qvsv::detail::kFieldCauses, none());
      } else {
        ArrayPtr causes = newForm(item->cause);
        txArray* causesForm = causes.get();
        put(form, element, qvsv::detail::kFieldCauses, std::move(causes));
        work.emplace_back(item->cause, causesForm);
      }
      ++element;
    }
  }
  return root.release();
}

namespace qvsv::detail {

void CheckArrayAllocation(const char* file, const char* function, int line) {
  if (!QVSV_ExceptionTester::isXTesterAvailable()) return;
  qvsvCreateExceptionTesterByName(qvsv::fault::kArrayForm);
  QVSV_ExceptionTester* tester = qvsvGetExceptionTesterByName(qvsv::fault::kArrayForm);
  if (tester != nullptr && tester->handleTester("Alloc", file, function, line)) throw std::bad_alloc();
}

}  // namespace qvsv::detail
