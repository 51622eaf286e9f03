// The string-or-message-identifier value: lookup on demand, equality by kind
// and content, the host-array form and diagnostic creation.
#include "qv_services/string_or_id.hpp"

#include <cmath>
#include <cstdio>
#include <stdexcept>
#include <vector>

#include "qv_services/conversions.hpp"
#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/strings/strings_diagnostics.hpp"

namespace {

constexpr const char* kIdentifierField = "Identifier";
constexpr const char* kArgumentsField = "Arguments";
// Integers beyond this magnitude have no exact double.
constexpr std::int64_t kLargestExactInteger = std::int64_t{1} << 53;

const std::u16string& emptyText() {
  static const std::u16string empty;
  return empty;
}

bool splitIdentifier(std::string_view identifier, std::string& catalog, std::string& key) {
  const auto colon = identifier.rfind(':');
  if (colon == std::string_view::npos || colon == 0 || colon + 1 == identifier.size()) return false;
  catalog.assign(identifier.substr(0, colon));
  key.assign(identifier.substr(colon + 1));
  return true;
}

std::u16string wideText(const qvsvArgumentValue& value) {
  if (const auto* narrow = std::get_if<std::string>(&value)) return ConvertStdStringToUString(*narrow);
  return std::get<std::u16string>(value);
}

bool sameArgument(const qvsvArgumentValue& a, const qvsvArgumentValue& b) {
  const bool aNumber = std::holds_alternative<std::int64_t>(a);
  const bool bNumber = std::holds_alternative<std::int64_t>(b);
  if (aNumber || bNumber) return aNumber && bNumber && std::get<std::int64_t>(a) == std::get<std::int64_t>(b);
  if (a.index() == b.index()) return a == b;
  return wideText(a) == wideText(b);
}

txArray* argumentArray(const resource_core::BaseMsgID& id) {
  const auto& arguments = id.arguments();
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (const auto* number = std::get_if<std::int64_t>(&arguments[i])) {
      if (*number > kLargestExactInteger || *number < -kLargestExactInteger) {
        throw std::out_of_range("argument " + std::to_string(i) + " of message '" + id.identifier() + "' (" +
                                std::to_string(*number) + ") has no exact host double");
      }
    }
  }
  txArray* cell = txCreateCellMatrix(1, arguments.size());
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const qvsvArgumentValue& value = arguments[i];
    if (const auto* number = std::get_if<std::int64_t>(&value)) {
      txSetCell(cell, i, txCreateDoubleScalar(static_cast<double>(*number)));
    } else {
      txSetCell(cell, i, txCreateString(wideText(value)));
    }
  }
  return cell;
}

qvsvArgumentValue argumentFromHostArray(const txArray* element, std::size_t index, const std::string& identifier) {
  if (qvsv::detail::IsTextRow(element)) return txGetString(element);
  if (txIsNumeric(element) && txGetNumberOfElements(element) == 1) {
    const double value = txGetScalar(element);
    if (std::isfinite(value) && value == std::trunc(value) && std::fabs(value) <= static_cast<double>(kLargestExactInteger)) {
      return static_cast<std::int64_t>(value);
    }
  }
  std::string what = qvsv::detail::DescribeHostArray(element);
  if (txIsNumeric(element) && txGetNumberOfElements(element) == 1) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.17g", txGetScalar(element));
    what = "the number " + std::string(buffer);
  }
  qvsv::detail::ThrowStringsDiagnostic("StringOrIDBadArgument",
                                       {static_cast<std::int64_t>(index + 1), identifier, what});
}

}  // namespace

qvsvStringOrID::qvsvStringOrID() = default;

qvsvStringOrID::qvsvStringOrID(std::u16string text) : value_(std::move(text)) {}

qvsvStringOrID::qvsvStringOrID(const char16_t* text) : value_(std::u16string(text == nullptr ? u"" : text)) {}

qvsvStringOrID::qvsvStringOrID(const resource_core::BaseMsgID& id)
    : value_(resource_core::BaseMsgID(id.catalog(), id.key(), id.arguments())) {}

qvsvStringOrID qvsvStringOrID::fromIdentifier(std::string_view identifier, qvsvArgumentVector arguments) {
  std::string catalog;
  std::string key;
  if (!splitIdentifier(identifier, catalog, key)) {
    throw std::invalid_argument("'" + std::string(identifier) + "' is not a message identifier (catalogue:key)");
  }
  return qvsvStringOrID(resource_core::BaseMsgID(std::move(catalog), std::move(key), std::move(arguments)));
}

const std::u16string& qvsvStringOrID::literal() const {
  const auto* text = std::get_if<std::u16string>(&value_);
  return text == nullptr ? emptyText() : *text;
}

const resource_core::BaseMsgID* qvsvStringOrID::messageID() const {
  return std::get_if<resource_core::BaseMsgID>(&value_);
}

std::string qvsvStringOrID::identifier() const {
  const resource_core::BaseMsgID* id = messageID();
  return id == nullptr ? std::string() : id->identifier();
}

std::u16string qvsvStringOrID::text() const {
  const resource_core::BaseMsgID* id = messageID();
  return id == nullptr ? literal() : qvsvGetMessageFromMessageIDAsUString(*id, true);
}

std::u16string qvsvStringOrID::text(const std::string& locale) const {
  const resource_core::BaseMsgID* id = messageID();
  return id == nullptr ? literal() : resource_core::GetMessageText(*id, locale);
}

std::u16string qvsvStringOrID::defaultText() const {
  const resource_core::BaseMsgID* id = messageID();
  return id == nullptr ? literal() : qvsvGetMessageFromMessageIDAsUString(*id, false);
}

txArray* qvsvStringOrID::toHostArray() const {
  const resource_core::BaseMsgID* id = messageID();
  if (id == nullptr) return txCreateString(literal());
  // The arguments are checked before anything is created, so a failure leaves no array behind.
  txArray* arguments = argumentArray(*id);
  txArray* form = nullptr;
  try {
    form = txCreateStructMatrix(1, 1, {kIdentifierField, kArgumentsField});
    txSetFieldByNumber(form, 0, 1, arguments);
  } catch (...) {
    txDestroyArray(arguments);
    throw;
  }
  try {
    txSetFieldByNumber(form, 0, 0, txCreateStringFromUTF8(id->identifier()));
  } catch (...) {
    txDestroyArray(form);
    throw;
  }
  return form;
}

qvsvStringOrID qvsvStringOrID::fromHostArray(const txArray* array) {
  if (array == nullptr) return qvsvStringOrID();
  if (qvsv::detail::IsTextRow(array)) return qvsvStringOrID(txGetString(array));
  const bool isForm = txGetClassID(array) == txClassID::Struct && txGetNumberOfElements(array) == 1 &&
                      txGetFieldNumber(array, kIdentifierField) >= 0;
  if (!isForm) qvsv::detail::ThrowStringsDiagnostic("StringOrIDBadArray", {qvsv::detail::DescribeHostArray(array)});
  const txArray* identifierArray = txGetField(array, 0, kIdentifierField);
  const std::string identifier = qvsv::detail::IsTextRow(identifierArray) ? txGetStringUTF8(identifierArray) : "";
  std::string catalog;
  std::string key;
  if (!splitIdentifier(identifier, catalog, key)) {
    qvsv::detail::ThrowStringsDiagnostic(
        "StringOrIDBadIdentifier",
        {qvsv::detail::IsTextRow(identifierArray) ? identifier : qvsv::detail::DescribeHostArray(identifierArray)});
  }
  qvsvArgumentVector arguments;
  const txArray* cell = txGetField(array, 0, kArgumentsField);
  if (cell != nullptr && !(txIsEmpty(cell) && !txIsCell(cell))) {
    if (!txIsCell(cell)) {
      qvsv::detail::ThrowStringsDiagnostic("StringOrIDBadArguments",
                                           {identifier, qvsv::detail::DescribeHostArray(cell)});
    }
    const txIndex n = txGetNumberOfElements(cell);
    arguments.reserve(n);
    for (txIndex i = 0; i < n; ++i) arguments.push_back(argumentFromHostArray(txGetCell(cell, i), i, identifier));
  }
  return qvsvStringOrID(resource_core::BaseMsgID(std::move(catalog), std::move(key), std::move(arguments)));
}

bool operator==(const qvsvStringOrID& a, const qvsvStringOrID& b) {
  const resource_core::BaseMsgID* x = a.messageID();
  const resource_core::BaseMsgID* y = b.messageID();
  if (x == nullptr || y == nullptr) return x == y && a.literal() == b.literal();
  if (x->catalog() != y->catalog() || x->key() != y->key()) return false;
  const auto& xs = x->arguments();
  const auto& ys = y->arguments();
  if (xs.size() != ys.size()) return false;
  for (std::size_t i = 0; i < xs.size(); ++i) {
    if (!sameArgument(xs[i], ys[i])) return false;
  }
  return true;
}

qvsvDiagnosticImpl* qvsvCreateDiagnosticFromStringOrID(const qvsvStringOrID& message, const char* identifierForText) {
  return qvsvCreateDiagnosticFromStringOrID(nullptr, 0, message, identifierForText);
}

qvsvDiagnosticImpl* qvsvCreateDiagnosticFromStringOrID(const double* handles, int count,
                                                       const qvsvStringOrID& message, const char* identifierForText) {
  if (const resource_core::BaseMsgID* id = message.messageID()) {
    if (handles == nullptr || count <= 0) return qvsvCreateDiagnosticFromMessageID(*id);
    std::vector<double> copy(handles, handles + count);
    return qvsvCreateDiagnostic(copy.data(), count, *id, std::string());
  }
  return qvsvCreateDiagnosticFromIdAndMsg(handles, count, identifierForText, message.literal());
}
