#include <algorithm>
#include <functional>

#include "qv_services/enum_table.hpp"
#include "qv_services/except.hpp"
#include "qv_services/float_formatter.hpp"
#include "qv_services/listeners.hpp"
#include "tessel/array.hpp"
#include "tessel/catalog.hpp"
#include "tessel/foundation.hpp"
#include "tests/strings/strings_test.hpp"

namespace {

using qvsv::util::qvsvDiagnosticListenerContext;
using Contexts = qvsvEnumTable<qvsvDiagnosticListenerContext>;

const Contexts& contexts() { return *QVENUM_DiagnosticListenerContext; }
const qvsvEnumTable<QVSV_Flt2Ascii::TargetEnum>& targets() { return *QVENUM_FloatFormatterTarget; }

enum class Shade : short { Light = -1, Dark = 7, Dim = 7 };

class EnumTable : public ::testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(tessel::LiveArrayCount(), arrays_); }

  // The message of the diagnostic that fn throws; fails when it throws none.
  template <typename Fn>
  static std::string diagnosticText(Fn fn, const std::string& expectedId) {
    try {
      fn();
    } catch (const qvsv::except::DiagnosticException& e) {
      EXPECT_EQ(e.identifier(), expectedId);
      return e.what();
    }
    ADD_FAILURE() << "no diagnostic thrown";
    return {};
  }

  tessel::ScopedGlobalLocale locale_{"en_US"};
  std::size_t arrays_ = tessel::LiveArrayCount();
};

TEST_F(EnumTable, LooksUpExactlyOrIgnoringCaseOnRequestAndIteratesInDeclaredOrder) {
  EXPECT_EQ(contexts().nameOf(qvsv::util::kErrorContext), "kErrorContext");
  EXPECT_EQ(contexts().valueOf("KWARNINGCONTEXT", true), qvsv::util::kWarningContext);
  EXPECT_FALSE(contexts().findValueOf("KWARNINGCONTEXT").has_value());
  EXPECT_EQ(contexts().findName("kwarningcontext", true), contexts().findValue(1));
  EXPECT_FALSE(targets().contains(static_cast<QVSV_Flt2Ascii::TargetEnum>(13)));
  std::vector<std::int64_t> values;
  for (const auto& entry : targets()) values.push_back(entry.value);
  EXPECT_EQ(values, (std::vector<std::int64_t>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 14}));
  EXPECT_EQ(contexts().validNames(), "kWarningContext, kErrorContext, kInformationContext");
}

TEST_F(EnumTable, DisplayTextFollowsTheGlobalLocale) {
  EXPECT_EQ(contexts().displayText(qvsv::util::kWarningContext), u"Warning");
  {
    tessel::ScopedGlobalLocale german("de_DE");
    EXPECT_EQ(contexts().displayText(qvsv::util::kWarningContext), u"Warnung");
  }
  EXPECT_EQ(targets().displayText(QVSV_Flt2Ascii::TARGET_SAVE_VARS), u"Variable-saving text form");
}

struct UnknownRow {
  const char* name;
  const char* locale;
  std::function<void()> lookup;
  const char* id;
  std::string text;
};

class EnumTableUnknown : public EnumTable, public ::testing::WithParamInterface<UnknownRow> {};

TEST_P(EnumTableUnknown, DiagnosticNamesWhatWasGivenAndListsTheValidNames) {
  tessel::ScopedGlobalLocale locale(GetParam().locale);
  EXPECT_EQ(diagnosticText(GetParam().lookup, GetParam().id), GetParam().text);
}

const std::string kContextNames = "kWarningContext, kErrorContext, kInformationContext";

INSTANTIATE_TEST_SUITE_P(
    EnumTable, EnumTableUnknown,
    ::testing::Values(
        UnknownRow{"name_en", "en_US", [] { (void)contexts().valueOf("warning"); },
                   "QV_SERVICES:strings:UnknownEnumName",
                   "'warning' is not a name of the enumeration DiagnosticListenerContext. Valid names: " +
                       kContextNames + "."},
        UnknownRow{"value_en", "en_US", [] { (void)contexts().nameOf(static_cast<qvsvDiagnosticListenerContext>(1000)); },
                   "QV_SERVICES:strings:UnknownEnumValue",
                   "1000 is not a value of the enumeration DiagnosticListenerContext. Valid names: " + kContextNames +
                       "."},
        UnknownRow{"value_de", "de_DE", [] { (void)contexts().displayText(static_cast<qvsvDiagnosticListenerContext>(-4)); },
                   "QV_SERVICES:strings:UnknownEnumValue",
                   "-4 ist kein Wert der Aufzählung DiagnosticListenerContext. Gültige Namen: " + kContextNames + "."},
        UnknownRow{"table_de", "de_DE", [] { (void)qvsvEnumTableRegistry::get("Colours"); },
                   "QV_SERVICES:strings:UnknownEnumTable",
                   "'Colours' ist nicht der Name einer Aufzählungstabelle. Tabellen: DiagnosticListenerContext, "
                   "FloatFormatterTarget."}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(EnumTable, ReportListsNamesValuesAndDisplayTextsInDeclaredOrder) {
  tessel::HostCallScope scope;
  const txArray* report = contexts().getReport("de");
  ASSERT_EQ(txGetM(report), 1u);
  ASSERT_EQ(txGetN(report), 3u);
  ASSERT_EQ(txGetNumberOfFields(report), 3);
  EXPECT_STREQ(txGetFieldNameByNumber(report, 2), "DisplayText");
  EXPECT_EQ(txGetStringUTF8(txGetField(report, 1, "Name")), "kErrorContext");
  EXPECT_EQ(txGetScalar(txGetField(report, 1, "Value")), 2.0);
  EXPECT_EQ(txGetString(txGetField(report, 1, "DisplayText")), u"Fehler");
  EXPECT_EQ(txGetString(txGetField(contexts().getReport(), 0, "DisplayText")), u"Warning") << "the global locale's";
}

// The host form is the name; it reads back from a name or a number, and
// what names no entry is rejected with a diagnostic that says why.
TEST_F(EnumTable, HostFormIsTheNameAndReadsBackFromNameOrNumberOnly) {
  tessel::HostCallScope scope;
  const txArray* form = contexts().toHostArray(qvsv::util::kInformationContext);
  EXPECT_EQ(txGetStringUTF8(form), "kInformationContext");
  EXPECT_EQ(contexts().fromHostArray(form), qvsv::util::kInformationContext);
  EXPECT_EQ(contexts().fromHostArray(txCreateString(u"kerrorcontext"), true), qvsv::util::kErrorContext);
  EXPECT_EQ(targets().fromHostArray(txCreateDoubleScalar(14)), QVSV_Flt2Ascii::TARGET_LEGACY);
  const auto rejection = [](txArray* form, const char* key) {
    return diagnosticText([&] { (void)contexts().fromHostArray(form); }, std::string("QV_SERVICES:strings:") + key);
  };
  EXPECT_THAT(rejection(txCreateDoubleScalar(2.5), "UnknownEnumValue"), HasSubstr("2.5 is not a value"));
  EXPECT_THAT(rejection(txCreateDoubleScalar(1e300), "UnknownEnumValue"), HasSubstr("1.0000000000000001e+300 is not"));
  EXPECT_EQ(rejection(txCreateCellMatrix(1, 1), "EnumBadHostArray"),
            "A value of the enumeration DiagnosticListenerContext must be a name (a character row) or a number, "
            "not a 1x1 cell array.");
  EXPECT_THAT(rejection(nullptr, "EnumBadHostArray"), HasSubstr("not no array"));
}

// --- Tables defined by users and the registry.

// A user's table of a scoped enumeration with a negative value and an alias
// (which reads as the first name declared for its value). The registry lists
// tables by name, forgets destroyed ones, and keeps the first of two tables of
// one name, also when the second is destroyed.
TEST_F(EnumTable, UserTablesJoinTheRegistryByNameWhileTheyLive) {
  {
    const qvsvEnumTable<Shade> shades("AAA_TestShade", {{Shade::Light, "Light", "QV_SERVICES:strings:ListenerContextInformation"},
                                                        {Shade::Dark, "Dark", "QV_SERVICES:strings:ListenerContextError"},
                                                        {Shade::Dim, "Dim", "QV_SERVICES:strings:ListenerContextWarning"}});
    EXPECT_EQ(shades.nameOf(Shade::Dim), "Dark");
    EXPECT_EQ(shades.valueOf("Dim"), Shade::Dark);
    EXPECT_EQ(shades.valueOf("light", true), Shade::Light);
    tessel::HostCallScope scope;
    EXPECT_EQ(shades.fromHostArray(txCreateDoubleScalar(-1)), Shade::Light);
    const auto tables = qvsvEnumTableRegistry::tables();
    EXPECT_EQ(tables.front(), &shades);
    EXPECT_TRUE(std::is_sorted(tables.begin(), tables.end(),
                               [](const auto* a, const auto* b) { return a->name() < b->name(); }));
    EXPECT_EQ(&qvsvEnumTableRegistry::get("floatformattertarget", true), QVENUM_FloatFormatterTarget);
    EXPECT_EQ(qvsvEnumTableRegistry::lookup("floatformattertarget"), nullptr);
    { const qvsvEnumTable<Shade> second("AAA_TestShade", {{Shade::Dark, "Dark", "X:y:Z"}}); }
    EXPECT_EQ(qvsvEnumTableRegistry::lookup("AAA_TestShade"), &shades);
  }
  EXPECT_EQ(qvsvEnumTableRegistry::lookup("AAA_TestShade"), nullptr);
}

TEST_F(EnumTable, MalformedDefinitionsAreRefusedNamingTheCulprit) {
  const auto refused = [](auto make, const std::string& mentions) {
    EXPECT_THAT(make, ThrowsMessage<std::invalid_argument>(HasSubstr(mentions)));
  };
  using T = qvsvEnumTable<Shade>;
  refused([] { T t("TestBad", {{Shade::Light, "Light", "X:y:Z"}, {Shade::Dark, "LIGHT", "X:y:Z"}}); }, "'LIGHT'");
  refused([] { T t("TestBad", {{Shade::Light, "", "X:y:Z"}}); }, "entry 0");
  refused([] { T t("TestBad", {{Shade::Light, "Light", "NoCatalogue"}}); }, "'NoCatalogue'");
  refused([] { T t("", {}); }, "needs a name");
  EXPECT_EQ(qvsvEnumTableRegistry::lookup("TestBad"), nullptr);
}

// --- Every display key of a registered table is in the area's catalogue (the
// util suite reads each catalogue text in both locales).

TEST(EnumTableCatalogue, EveryDisplayKeyIsInTheCatalogue) {
  const auto en = qvsv::test::ShippedCatalogueKeys("strings");
  for (const auto* table : qvsvEnumTableRegistry::tables()) {
    for (const auto& entry : *table) {
      EXPECT_TRUE(en.count(entry.display.messageID()->key())) << table->name() << " " << entry.name;
    }
  }
}

}  // namespace
