#include "tessel/catalog.hpp"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/raised.hpp"
#include "tests/support/test_support.hpp"

namespace {

using resource_core::BaseMsgID;
using resource_core::CatalogError;
using resource_core::GetMessageText;

struct TextRow {
  std::string name;
  BaseMsgID id;
  std::string locale;
  std::u16string expected;
};

class CatalogTexts : public ::testing::TestWithParam<TextRow> {};

TEST_P(CatalogTexts, PlaceTheArgumentsInTheLocalesTextOrTheEnglishOne) {
  EXPECT_EQ(GetMessageText(GetParam().id, GetParam().locale), GetParam().expected);
}

const BaseMsgID kHook("QV_SERVICES:utils", "InvalidHookName", {std::string("Foo")});
const std::u16string kHookEn = u"'Foo' is not the name of a testing hook.";

INSTANTIATE_TEST_SUITE_P(
    Catalog, CatalogTexts,
    ::testing::Values(
        TextRow{"en", kHook, "en", kHookEn}, TextRow{"fr_FR_falls_back", kHook, "fr_FR", kHookEn},
        TextRow{"de_AT_with_encoding", kHook, "de-AT.UTF-8", u"'Foo' ist nicht der Name eines Test-Hooks."},
        TextRow{"key_missing_in_the_locale_falls_back",
                BaseMsgID("QV_SERVICES:utils", "HotlinkTemplate", {std::u16string(u"doc"), std::u16string(u"help")}),
                "de_DE", u"<a href=\"tessel:doc\">help</a>"},
        TextRow{"apostrophes_of_the_template_kept",
                BaseMsgID("QV_SERVICES:utils", "HotlinkTemplateArg",
                          {std::string("open_system"), std::string("model"), std::u16string(u"the model")}),
                "en", u"<a href=\"tessel:open_system('model')\">the model</a>"}),
    qvsv::test::RowName());

struct ErrorRow {
  std::string name;
  std::string catalog;
  std::string key;
  std::string what;  // a part of the message
};

// The test catalogue (with its bad pattern) is on the search path.
class CatalogErrors : public ::testing::TestWithParam<ErrorRow> {
 protected:
  void SetUp() override { resource_core::AddCatalogFolder(QVSV_TEST_CATALOG_ROOT); }
  void TearDown() override { resource_core::RemoveCatalogFolder(QVSV_TEST_CATALOG_ROOT); }
};

TEST_P(CatalogErrors, NameTheIdentifierAndLocale) {
  const auto error =
      qvsv::test::Raised<CatalogError>([] { GetMessageText(BaseMsgID(GetParam().catalog, GetParam().key), "de_DE"); });
  ASSERT_TRUE(error);
  const std::string what = error->what();
  EXPECT_EQ(error->identifier(), GetParam().catalog + ":" + GetParam().key);
  EXPECT_EQ(error->locale(), "de_DE");
  for (const std::string& part : {GetParam().what, error->identifier(), std::string("de_DE")}) {
    EXPECT_NE(what.find(part), std::string::npos) << what;
  }
}

// Catalogue names are folders: none may climb out of the search folder.
INSTANTIATE_TEST_SUITE_P(
    Catalog, CatalogErrors,
    ::testing::Values(ErrorRow{"MissingKey", "QV_SERVICES:utils", "NoSuchKey", "not found"},
                      ErrorRow{"MissingCatalogue", "NO_SUCH:catalog", "Key",
                               "Unknown message catalogue 'NO_SUCH:catalog'"},
                      ErrorRow{"InvalidPattern", "QVSV_TEST:extra", "BadPattern", "invalid pattern"},
                      ErrorRow{"ParentFolder", "..:QV_SERVICES", "Key", ""},
                      ErrorRow{"EmptyLevel", "QV_SERVICES::utils", "Key", ""}, ErrorRow{"NoCatalogue", "", "Key", ""},
                      ErrorRow{"Slash", "a/b", "Key", ""}, ErrorRow{"BlankInKey", "QV_SERVICES:utils", "Bad key", ""},
                      ErrorRow{"EmptyKey", "QV_SERVICES:utils", "", ""}),
    qvsv::test::RowName());

// The test catalogue lives outside the installed folders; numbers are
// formatted for the locale.
TEST(ExtraCatalog, FoundThroughTheEnvironmentOrTheApiOnly) {
  const BaseMsgID plain("QVSV_TEST:extra", "Plain");
  EXPECT_THROW(GetMessageText(plain, "en"), CatalogError);
  {
    qvsv::test::ScopedEnv path("TESSEL_MESSAGE_PATH", std::string("/nonexistent:") + QVSV_TEST_CATALOG_ROOT);
    const BaseMsgID count("QVSV_TEST:extra", "Count", {std::int64_t{1234567}, std::u16string(u"Kiste")});
    EXPECT_EQ(GetMessageText(count, "en"), u"1,234,567 items in Kiste");
    EXPECT_EQ(GetMessageText(count, "de"), u"1.234.567 Dinge in Kiste");
  }
  resource_core::AddCatalogFolder(QVSV_TEST_CATALOG_ROOT);
  EXPECT_EQ(resource_core::CatalogFolders().front(), QVSV_TEST_CATALOG_ROOT);
  EXPECT_EQ(GetMessageText(plain, "de_DE"), u"plain text");
  resource_core::RemoveCatalogFolder(QVSV_TEST_CATALOG_ROOT);
  EXPECT_THROW(GetMessageText(plain, "en"), CatalogError);
}

}  // namespace
