// The tcos catalogue: every key the area throws exists in both shipped
// locales with the same placeholders, and resolves.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "tessel/catalog.hpp"

namespace {

// Key -> the placeholders its text uses, from lines `Key { "text" }`.
std::map<std::string, std::set<std::string>> CatalogueKeys(const std::filesystem::path& file) {
  std::ifstream in(file);
  EXPECT_TRUE(in.good()) << file;
  std::map<std::string, std::set<std::string>> keys;
  const std::regex entry(R"re(^\s*(\w+) \{ "(.*)" \}$)re");
  const std::regex placeholder(R"(\{(\d+)\})");
  for (std::string line; std::getline(in, line);) {
    std::smatch m;
    if (!std::regex_match(line, m, entry)) continue;
    auto& args = keys[m[1]];
    const std::string text = m[2];
    for (std::sregex_iterator it(text.begin(), text.end(), placeholder), end; it != end; ++it) args.insert((*it)[1]);
  }
  return keys;
}

TEST(TcosCatalogue, EveryKeyThrownExistsInEveryLocaleWithTheSamePlaceholders) {
  const std::filesystem::path root(QVSV_SOURCE_DIR);
  const auto en = CatalogueKeys(root / "resources/QV_SERVICES/tcos/en.txt");
  EXPECT_EQ(en, CatalogueKeys(root / "resources/QV_SERVICES/tcos/de.txt"));
  for (const auto& [key, placeholders] : en) {
    resource_core::MsgArguments arguments(placeholders.size(), std::string("x"));
    for (const char* locale : {"en", "de"}) {
      EXPECT_NO_THROW(resource_core::GetMessageText(resource_core::BaseMsgID("QV_SERVICES:tcos", key, arguments),
                                                    locale))
          << key << " " << locale;
    }
  }
  // Keys named in the area's sources: Diagnostic("Key", ... and WithCause("Key", ...
  const std::regex thrown(R"re((?:Diagnostic|WithCause)\("(\w+)")re");
  std::size_t seen = 0;
  for (const auto& file : std::filesystem::directory_iterator(root / "qv_services/tcos")) {
    std::ifstream in(file.path());
    std::stringstream text;
    text << in.rdbuf();
    const std::string source = text.str();
    for (std::sregex_iterator it(source.begin(), source.end(), thrown), end; it != end; ++it, ++seen) {
      EXPECT_TRUE(en.count((*it)[1])) << (*it)[1] << " in " << file.path().filename();
    }
  }
  EXPECT_GT(seen, 20u);
}

}  // namespace
