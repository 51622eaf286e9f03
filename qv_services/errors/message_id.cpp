// Message identifiers and catalogue lookup.
#include <stdexcept>

#include "qv_services/conversions.hpp"
#include "qv_services/diagnostic_creation.hpp"
#include "tessel/catalog.hpp"

MutableBaseMsgID::MsgArgVisitor::~MsgArgVisitor() = default;

MutableBaseMsgID::MutableBaseMsgID(std::string catalog, std::string key, qvsvArgumentVector arguments)
    : resource_core::BaseMsgID(std::move(catalog), std::move(key), std::move(arguments)) {}

MutableBaseMsgID::MutableBaseMsgID(const resource_core::BaseMsgID& other) : resource_core::BaseMsgID(other) {}

void MutableBaseMsgID::setArguments(MsgArgVisitor& visitor) {
  for (qvsvArgumentValue& argument : arguments_) {
    std::visit([&visitor](auto& value) { visitor.visit(value); }, argument);
  }
}

namespace {

MutableBaseMsgID split(const std::string& identifier, const qvsvArgumentVector& arguments) {
  const auto colon = identifier.rfind(':');
  if (colon == std::string::npos) throw std::invalid_argument("Message ID does not contain catalog name.");
  return MutableBaseMsgID(identifier.substr(0, colon), identifier.substr(colon + 1), arguments);
}

}  // namespace

std::u16string MutableBaseMsgID::getMessageFromCatalog(const std::string& identifier,
                                                       const qvsvArgumentVector& arguments, bool translate) {
  return qvsvGetMessageFromMessageIDAsUString(split(identifier, arguments), translate);
}

std::string MutableBaseMsgID::getMessageFromCatalog_NoThrow(const std::string& identifier,
                                                            qvsvArgumentVector& arguments) {
  try {
    return ConvertUStringToStdString(getMessageFromCatalog(identifier, arguments, true), true);
  } catch (const std::exception& e) {
    // Callers display whatever comes back, so the error's text stands in.
    return e.what();
  }
}

std::shared_ptr<resource_core::BaseMsgID> MutableBaseMsgID::getBaseMsgIDPtr(const std::string& identifier,
                                                                           const qvsvArgumentVector& arguments) {
  return std::make_shared<MutableBaseMsgID>(split(identifier, arguments));
}

std::u16string qvsvGetMessageFromMessageIDAsUString(const resource_core::BaseMsgID& id, bool translate) {
  return translate ? resource_core::GetMessageTextInGlobalLocale(id) : resource_core::GetMessageTextInDefaultLocale(id);
}

std::string qvsvGetMessageFromMessageIDAsStdString(const resource_core::BaseMsgID& id, bool translate) {
  return ConvertUStringToStdString(qvsvGetMessageFromMessageIDAsUString(id, translate), true);
}
