#include <gtest/gtest.h>

#include <string>

#include "tessel/catalog.hpp"
#include "tessel/foundation.hpp"
#include "tests/support/test_support.hpp"

namespace {

using resource_core::BaseMsgID;
using resource_core::CatalogError;
using resource_core::GetMessageText;

std::u16string utilsText(const std::string& key, const std::string& locale, resource_core::MsgArguments args = {}) {
  return GetMessageText(BaseMsgID("QV_SERVICES:utils", key, std::move(args)), locale);
}

struct LocalizedCase {
  std::string locale;
  std::u16string expected;
};

void PrintTo(const LocalizedCase& tc, std::ostream* os) { *os << tc.locale; }

class CatalogLocales : public ::testing::TestWithParam<LocalizedCase> {};

TEST_P(CatalogLocales, PlacesArgumentsInTheLocalesText) {
  EXPECT_EQ(utilsText("InvalidHookName", GetParam().locale, {std::string("Foo")}), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Catalog, CatalogLocales,
    ::testing::Values(LocalizedCase{"en", u"'Foo' is not the name of a testing hook."},
                      LocalizedCase{"en_US", u"'Foo' is not the name of a testing hook."},
                      LocalizedCase{"de", u"'Foo' ist nicht der Name eines Test-Hooks."},
                      LocalizedCase{"de_DE", u"'Foo' ist nicht der Name eines Test-Hooks."},
                      LocalizedCase{"de-AT.UTF-8", u"'Foo' ist nicht der Name eines Test-Hooks."},
                      LocalizedCase{"fr_FR", u"'Foo' is not the name of a testing hook."}));

TEST(Catalog, KeyMissingInTheLocaleFallsBackToEnglish) {
  EXPECT_EQ(utilsText("HotlinkTemplate", "de_DE", {std::u16string(u"doc"), std::u16string(u"help")}),
            u"<a href=\"tessel:doc\">help</a>");
}

TEST(Catalog, HotlinkTemplateWithArgumentKeepsItsApostrophes) {
  EXPECT_EQ(utilsText("HotlinkTemplateArg", "en",
                      {std::string("open_system"), std::string("model"), std::u16string(u"the model")}),
            u"<a href=\"tessel:open_system('model')\">the model</a>");
}

TEST(Catalog, GlobalLocaleSelectsTheCurrentTextAndDefaultIsEnglish) {
  const BaseMsgID id("QV_SERVICES:utils", "CAUSED_BY");
  tessel::ScopedGlobalLocale german("de_DE");
  EXPECT_EQ(resource_core::GetMessageTextInGlobalLocale(id), u"Ursache:");
  EXPECT_EQ(resource_core::GetMessageTextInDefaultLocale(id), u"Caused by:");
}

TEST(Catalog, MissingKeyNamesTheIdentifierAndLocale) {
  try {
    utilsText("NoSuchKey", "de_DE");
    FAIL() << "no exception";
  } catch (const CatalogError& e) {
    EXPECT_EQ(e.identifier(), "QV_SERVICES:utils:NoSuchKey");
    EXPECT_EQ(e.locale(), "de_DE");
    const std::string what = e.what();
    EXPECT_NE(what.find("QV_SERVICES:utils:NoSuchKey"), std::string::npos) << what;
    EXPECT_NE(what.find("de_DE"), std::string::npos) << what;
    EXPECT_NE(what.find("not found"), std::string::npos) << what;
  }
}

TEST(Catalog, MissingCatalogueNamesTheIdentifierAndLocale) {
  try {
    GetMessageText(BaseMsgID("NO_SUCH:catalog", "Key"), "en");
    FAIL() << "no exception";
  } catch (const CatalogError& e) {
    const std::string what = e.what();
    EXPECT_NE(what.find("Unknown message catalogue 'NO_SUCH:catalog'"), std::string::npos) << what;
    EXPECT_NE(what.find("NO_SUCH:catalog:Key"), std::string::npos) << what;
    EXPECT_NE(what.find("locale en"), std::string::npos) << what;
  }
}

TEST(Catalog, CatalogueNamesCannotLeaveTheSearchFolders) {
  for (const char* catalog : {"..:QV_SERVICES", "QV_SERVICES::utils", "", "a/b", ":x"}) {
    EXPECT_THROW(GetMessageText(BaseMsgID(catalog, "Key"), "en"), CatalogError) << catalog;
  }
  EXPECT_THROW(utilsText("Bad key", "en"), CatalogError);
  EXPECT_THROW(utilsText("", "en"), CatalogError);
}

// The test catalogue lives outside the installed folders.
class ExtraCatalog : public ::testing::Test {
 protected:
  static BaseMsgID count(resource_core::MsgArguments args) { return BaseMsgID("QVSV_TEST:extra", "Count", args); }
};

TEST_F(ExtraCatalog, UnknownUntilItsFolderIsOnTheSearchPath) {
  EXPECT_THROW(GetMessageText(count({}), "en"), CatalogError);
}

TEST_F(ExtraCatalog, FoundThroughTheEnvironment) {
  qvsv::test::ScopedEnv path("TESSEL_MESSAGE_PATH", std::string("/nonexistent:") + QVSV_TEST_CATALOG_ROOT);
  EXPECT_EQ(GetMessageText(count({std::int64_t{3}, std::string("box")}), "en"), u"3 items in box");
}

TEST_F(ExtraCatalog, FoundThroughTheApiAndListedFirst) {
  resource_core::AddCatalogFolder(QVSV_TEST_CATALOG_ROOT);
  EXPECT_EQ(resource_core::CatalogFolders().front(), QVSV_TEST_CATALOG_ROOT);
  EXPECT_EQ(GetMessageText(BaseMsgID("QVSV_TEST:extra", "Plain"), "de_DE"), u"plain text");
  resource_core::RemoveCatalogFolder(QVSV_TEST_CATALOG_ROOT);
  EXPECT_THROW(GetMessageText(BaseMsgID("QVSV_TEST:extra", "Plain"), "en"), CatalogError);
}

TEST_F(ExtraCatalog, NumbersAreFormattedForTheLocale) {
  qvsv::test::ScopedEnv path("TESSEL_MESSAGE_PATH", QVSV_TEST_CATALOG_ROOT);
  const auto args = resource_core::MsgArguments{std::int64_t{1234567}, std::u16string(u"Kiste")};
  EXPECT_EQ(GetMessageText(count(args), "en"), u"1,234,567 items in Kiste");
  EXPECT_EQ(GetMessageText(count(args), "de"), u"1.234.567 Dinge in Kiste");
}

TEST_F(ExtraCatalog, InvalidPatternIsACatalogError) {
  qvsv::test::ScopedEnv path("TESSEL_MESSAGE_PATH", QVSV_TEST_CATALOG_ROOT);
  try {
    GetMessageText(BaseMsgID("QVSV_TEST:extra", "BadPattern"), "en");
    FAIL() << "no exception";
  } catch (const CatalogError& e) {
    EXPECT_NE(std::string(e.what()).find("invalid pattern"), std::string::npos) << e.what();
  }
}

}  // namespace
