// Demo section: the message catalogue in two locales.
#include <iostream>

#include "qv_services/conversions.hpp"
#include "tessel/catalog.hpp"
#include "tools/qvsv/command.hpp"

namespace qvsv::tool {
namespace {

void showCatalog() {
  const resource_core::BaseMsgID overflow("QV_SERVICES:utils", "TooManyErrorsErr");
  const resource_core::BaseMsgID hook("QV_SERVICES:utils", "InvalidHookName", {std::string("NoSuchHook")});
  for (const char* locale : {"en_US", "de_DE"}) {
    std::cout << locale << ": " << ConvertUStringToStdString(resource_core::GetMessageText(overflow, locale)) << "\n";
    std::cout << locale << ": " << ConvertUStringToStdString(resource_core::GetMessageText(hook, locale)) << "\n";
  }
  try {
    resource_core::GetMessageText(resource_core::BaseMsgID("QV_SERVICES:utils", "NoSuchKey"), "en_US");
  } catch (const resource_core::CatalogError& e) {
    std::cout << "unknown key: " << e.what() << "\n";
  }
}

const DemoSection kCatalog(10, "Message catalogue", showCatalog);

}  // namespace
}  // namespace qvsv::tool
