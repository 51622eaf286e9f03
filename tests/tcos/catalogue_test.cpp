// The tcos catalogue: every key the area throws exists in both shipped
// locales with the same placeholders, and resolves.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <vector>

#include "tessel/catalog.hpp"
#include "tests/support/test_support.hpp"

namespace {

// The keys named in a source: Diagnostic("Key", ... and WithCause("Key", ...
std::vector<std::string> ThrownKeys(const std::string& source) {
  std::vector<std::string> keys;
  for (const std::string marker : {"Diagnostic(\"", "WithCause(\""}) {
    for (auto at = source.find(marker); at != std::string::npos; at = source.find(marker, at + 1)) {
      const auto begin = at + marker.size();
      keys.push_back(source.substr(begin, source.find('"', begin) - begin));
    }
  }
  return keys;
}

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
  std::size_t seen = 0;
  for (const auto& file : std::filesystem::directory_iterator(root / "qv_services/tcos")) {
    std::ifstream in(file.path());
    std::stringstream text;
    text << in.rdbuf();
    for (const std::string& key : ThrownKeys(text.str())) {
      ++seen;
      EXPECT_TRUE(en.count(key)) << key << " in " << file.path().filename();
    }
  }
  EXPECT_GT(seen, 20u);
}

}  // namespace
