#include <gtest/gtest.h>

#include <string>

#include "qv_services/conversions.hpp"
#include "qv_services/errors/exchange_messages.hpp"
#include "tessel/catalog.hpp"

namespace {

// Each argument a marker that must show up exactly once in the text.
std::string marker(int i) { return "<arg" + std::to_string(i) + ">"; }

TEST(ExchangeCatalog, EveryMessageResolvesInEveryLocaleWithAllItsArguments) {
  for (const auto& [key, count] : qvsv::detail::kExchangeMessages) {
    SCOPED_TRACE(key);
    resource_core::MsgArguments arguments;
    for (int i = 0; i < count; ++i) arguments.emplace_back(marker(i));
    const resource_core::BaseMsgID id(qvsv::detail::kExchangeCatalog, key, arguments);
    std::string english;
    for (const char* locale : {"en", "de"}) {
      SCOPED_TRACE(locale);
      std::string text;
      ASSERT_NO_THROW(text = ConvertUStringToStdString(resource_core::GetMessageText(id, locale)));
      for (int i = 0; i < count; ++i) {
        const std::size_t at = text.find(marker(i));
        EXPECT_NE(at, std::string::npos) << text;
        EXPECT_EQ(text.find(marker(i), at + 1), std::string::npos) << text;
      }
      EXPECT_EQ(text.find('{'), std::string::npos) << "an argument the table does not count: " << text;
      if (english.empty()) {
        english = text;
      } else if (std::string(key) != "StdException") {
        EXPECT_NE(text, english) << "no German text; the lookup fell back to English";
      }
    }
  }
}

}  // namespace
