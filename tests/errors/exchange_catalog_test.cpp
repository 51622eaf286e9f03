// The exchange messages the code sends: each is in the catalogue with as many
// placeholders as the code passes arguments (the util suite reads every text
// of every catalogue in both locales).
#include <gtest/gtest.h>

#include "qv_services/errors/exchange_messages.hpp"
#include "tests/support/test_support.hpp"

namespace {

TEST(ExchangeCatalog, EveryMessageTheCodeSendsHasOnePlaceholderPerArgument) {
  const auto en = qvsv::test::ShippedCatalogueKeys("exchange");
  for (const auto& [key, count] : qvsv::detail::kExchangeMessages) {
    ASSERT_TRUE(en.count(key)) << key;
    EXPECT_EQ(en.at(key).size(), static_cast<std::size_t>(count)) << key;
  }
}

}  // namespace
