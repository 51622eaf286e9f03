// The tcos catalogue: every key the area throws exists in both shipped
// locales with the same placeholders, and resolves.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "tessel/catalog.hpp"
#include "tests/support/test_support.hpp"

namespace {

TEST(TcosCatalogue, EveryKeyThrownExistsInEveryLocaleWithTheSamePlaceholders) {
  const std::filesystem::path root(QVSV_SOURCE_DIR);
  const auto en = qvsv::test::CatalogueKeys(root / "resources/QV_SERVICES/tcos/en.txt");
  EXPECT_EQ(en, qvsv::test::CatalogueKeys(root / "resources/QV_SERVICES/tcos/de.txt"));
  for (const auto& [key, placeholders] : en) {
    resource_core::MsgArguments arguments(placeholders.size(), std::string("x"));
    for (const char* locale : {"en", "de"}) {
      EXPECT_NO_THROW(resource_core::GetMessageText(resource_core::BaseMsgID("QV_SERVICES:tcos", key, arguments),
                                                    locale))
          << key << " " << locale;
    }
  }
  // The keys a source throws: Diagnostic("Key", ... and WithCause("Key", ...
  std::size_t seen = 0;
  for (const auto& file : std::filesystem::directory_iterator(root / "qv_services/tcos")) {
    std::stringstream text;
    text << std::ifstream(file.path()).rdbuf();
    const std::string source = text.str();
    for (const std::string marker : {"Diagnostic(\"", "WithCause(\""}) {
      for (auto at = source.find(marker); at != std::string::npos; at = source.find(marker, at + 1)) {
        const auto begin = at + marker.size();
        const std::string key = source.substr(begin, source.find('"', begin) - begin);
        ++seen;
        EXPECT_TRUE(en.count(key)) << key << " in " << file.path().filename();
      }
    }
  }
  EXPECT_GT(seen, 20u);
}

}  // namespace
