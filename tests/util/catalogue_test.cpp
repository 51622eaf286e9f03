// Every area's catalogue: each text reads in both shipped locales with every
// argument placed, and each text with words has a German translation with the
// same placeholders (the same word, such as "Information", may serve both).
// Texts without words, the markup templates, may be English only.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "qv_services/conversions.hpp"
#include "tessel/catalog.hpp"
#include "tests/support/test_support.hpp"

namespace {

// Whether a read text has letters outside its arguments and markup.
bool HasWords(std::string text) {
  for (auto open = text.find('<'); open != std::string::npos; open = text.find('<')) {
    text.erase(open, text.find('>', open) - open + 1);
  }
  return std::any_of(text.begin(), text.end(), [](unsigned char c) { return std::isalpha(c) != 0; });
}

TEST(Catalogues, EveryKeyReadsInEveryShippedLocaleWithAllItsArguments) {
  std::size_t areas = 0;
  const std::filesystem::path root = std::filesystem::path(QVSV_SOURCE_DIR) / "resources/QV_SERVICES";
  for (const auto& folder : std::filesystem::directory_iterator(root)) {
    ++areas;
    const std::string area = "QV_SERVICES:" + folder.path().filename().string();
    const auto en = qvsv::test::CatalogueKeys(folder.path() / "en.txt");
    const auto de = qvsv::test::CatalogueKeys(folder.path() / "de.txt");
    ASSERT_FALSE(en.empty()) << area;
    for (const auto& [key, placeholders] : de) {
      ASSERT_TRUE(en.count(key)) << area << ":" << key << " is German only";
      EXPECT_EQ(en.at(key), placeholders) << area << ":" << key;
    }
    std::size_t translated = 0;
    for (const auto& [key, placeholders] : en) {
      const std::string where = area + ":" + key + " ";
      // Placeholders are numbered from 0; a text may use an argument twice.
      resource_core::MsgArguments arguments;
      for (const std::string& placeholder : placeholders) {
        const auto index = static_cast<std::size_t>(std::stoul(placeholder));
        arguments.resize(std::max(arguments.size(), index + 1));
        arguments[index] = "<arg" + std::to_string(index) + ">";
      }
      const resource_core::BaseMsgID id(area, key, arguments);
      const std::string english = ConvertUStringToStdString(resource_core::GetMessageText(id, "en"));
      const std::string german = ConvertUStringToStdString(resource_core::GetMessageText(id, "de"));
      EXPECT_TRUE(de.count(key) || !HasWords(english)) << where << "has no German text";
      translated += english != german;
      for (const std::string& text : {english, german}) {
        for (std::size_t i = 0; i < arguments.size(); ++i) {
          EXPECT_NE(text.find("<arg" + std::to_string(i) + ">"), std::string::npos) << where << text;
        }
        EXPECT_EQ(text.find('{'), std::string::npos) << where << text;
      }
    }
    EXPECT_GT(translated, 0u) << area << " is read in English whatever the locale";
  }
  EXPECT_GE(areas, 6u);
}

}  // namespace
