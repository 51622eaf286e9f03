#include <unistd.h>

#include <cmath>
#include <fstream>

#include "qv_services/conversions.hpp"
#include "qv_services/renderings.hpp"
#include "qv_services/reporting.hpp"
#include "qv_services/testing_hook.hpp"
#include "tessel/console.hpp"
#include "tessel/interpreter.hpp"
#include "tessel/ut.hpp"
#include "tests/errors/diagnostics_fixture.hpp"
#include "tests/support/test_support.hpp"

namespace {

using qvsv::test::DiagnosticsTest;

constexpr const char* kWrapper = "Tessel:TException:MultipleErrors";

class Renderings : public DiagnosticsTest {
 protected:
  // [wrapper(causes X, Y), Z] as in the product's combined errors.
  static qvsvDiagnosticImpl* wrapperThenZ() {
    qvsvDiagnosticImpl* diag = make(kWrapper, u"wrapper");
    qvsvDiagnosticImpl* causes = make("X:x", u"X");
    qvsvConcatenateDiagnostics(causes, make("Y:y", u"Y"), false);
    qvsvAddCauseToLastDiagnosticItem(diag, causes);
    qvsvConcatenateDiagnostics(diag, make("Z:z", u"Z"), false);
    return diag;
  }
};

TEST_F(Renderings, PlainRenderingOfOneItemAndOfNothing) {
  qvsvDiagnosticImpl* diag = make("A:b", u"m");
  EXPECT_EQ(qvsvSerializeDiagnosticAsPlainString(diag), "ID:     A:b\nMSG:    m\n\n");
  EXPECT_EQ(diag, nullptr);
  qvsvDiagnosticImpl* none = nullptr;
  EXPECT_EQ(qvsvSerializeDiagnosticAsPlainString(none), "\n");
  qvsvDiagnosticImpl* other = make("A:b", u"m");
  EXPECT_EQ(qvsvSerializeDiagnosticAsString(other, 0), "ID:     A:b\nMSG:    m\n\n");
  qvsvDiagnosticImpl* xml = make("A:b", u"hi");
  EXPECT_EQ(qvsvSerializeDiagnosticAsString(xml, 1).rfind("<diag_root>\n", 0), 0u);
}

TEST_F(Renderings, PlainRenderingIndentsCauses) {
  qvsvDiagnosticImpl* diag = make("A:b", u"top \u00E9");
  qvsvDiagnosticImpl* causes = queueOf(2, "C");
  qvsvAddCauseToLastDiagnosticItem(diag, causes);
  EXPECT_EQ(qvsvSerializeDiagnosticAsPlainString(diag),
            "ID:     A:b\nMSG:    top \xC3\xA9\nCAUSES: \n    ID:     C:0\n    MSG:    0\n    ID:     C:1\n"
            "    MSG:    1\n\n");
}

TEST_F(Renderings, FormattedRenderingFlattensSkipsWrappersAndPrefixesOnlyMany) {
  qvsvDiagnosticImpl* one = make("A:b", u"alone");
  EXPECT_EQ(qvsvSerializeToFormattedUStringCreate(one, false, u"> "), u"alone");
  qvsvDiagnosticImpl* wrapper = make(kWrapper, u"hidden");
  qvsvDiagnosticImpl* causes = make("X:x", u"X");
  qvsvDiagnosticImpl* deep = make("D:d", u"D");
  qvsvAddCauseToLastDiagnosticItem(causes, deep);
  qvsvConcatenateDiagnostics(causes, make("Y:y", u"Y"), false);
  qvsvAddCauseToLastDiagnosticItem(wrapper, causes);
  EXPECT_EQ(qvsvSerializeToFormattedUStringCreate(wrapper, false, u"> "), u"> X\n> D\n> Y");
  char* narrow = qvsvSerializeToFormattedStringCreate(wrapper, false, "- ");
  EXPECT_STREQ(narrow, "- X\n- D\n- Y");
  utFree(narrow);
  EXPECT_EQ(qvsvSerializeToFormattedStringCreate(nullptr, false, ""), nullptr);
  EXPECT_EQ(qvsvSerializeToFormattedUStringCreate(nullptr, false, u"x"), u"");
  qvsvDiscardDiagnostic(one);
  qvsvDiscardDiagnostic(wrapper);
}

struct WrapCase {
  const char* name;
  std::u16string text;
  int width;
  std::u16string expected;
};

void PrintTo(const WrapCase& tc, std::ostream* os) { *os << tc.name; }

class Wrapping : public Renderings, public ::testing::WithParamInterface<WrapCase> {};

TEST_P(Wrapping, BreaksAtBlanksTabsSlashesOrHard) {
  qvsvDiagnosticImpl* diag = make("A:b", GetParam().text);
  EXPECT_EQ(qvsvSerializeToFormattedUStringWrapped(diag, false, u"", GetParam().width), GetParam().expected);
  qvsvDiscardDiagnostic(diag);
}

INSTANTIATE_TEST_SUITE_P(
    Renderings, Wrapping,
    ::testing::Values(WrapCase{"no_width", u"aaaa bbbb cccc", 0, u"aaaa bbbb cccc"},
                      WrapCase{"fits", u"aaaa bbbb", 20, u"aaaa bbbb"},
                      WrapCase{"blank_at_width", u"aaaa bbbb cccc", 4, u"aaaa \nbbbb \ncccc"},
                      WrapCase{"back_to_blank", u"aa bbbbbb", 5, u"aa \nbbbbb\nb"},
                      WrapCase{"runs_of_blanks_stay", u"aaaa   bbbb", 5, u"aaaa   \nbbbb"},
                      WrapCase{"slash_starts_line", u"abc/defghij", 6, u"abc\n/defgh\nij"},
                      WrapCase{"tab_starts_line", u"abc\tdefghij", 6, u"abc\n\tdefgh\nij"},
                      WrapCase{"hard_break", u"abcdefghij", 4, u"abcd\nefgh\nij"},
                      WrapCase{"slash_at_line_start", u"/abcdefgh", 4, u"/abc\ndefg\nh"},
                      WrapCase{"trailing_blanks", u"abcd    ", 4, u"abcd    "},
                      // An existing newline where the line is full is passed
                      // over like a blank, so the break goes after it.
                      WrapCase{"newline_at_hard_break", u"abcde\nfghij", 5, u"abcde\n\nfghij"},
                      WrapCase{"newline_then_long_word", u"abcde\nfghijklm", 5, u"abcde\n\nfghij\nklm"},
                      WrapCase{"newline_then_blanks", u"abcde\n  fgh", 5, u"abcde\n  \nfgh"},
                      WrapCase{"blank_then_newline", u"abcd \nefgh", 5, u"abcd \n\nefgh"},
                      WrapCase{"tab_at_width_starts_line", u"abcde\tfgh", 5, u"abcde\n\tfgh"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(Renderings, HtmlStopsAtAWrapperItem) {
  qvsvDiagnosticImpl* diag = wrapperThenZ();
  EXPECT_EQ(qvsvSerializeToHTMLCreate(diag, false), u"<p>X</p><p>Y</p>");
  qvsvDiscardDiagnostic(diag);
}

TEST_F(Renderings, HtmlEscapesOnlyAngleBracketsAndNestsCauses) {
  qvsvDiagnosticImpl* diag = make("A:b", u"a<b>&c");
  qvsvDiagnosticImpl* cause = make("C:d", u"inner");
  qvsvDiagnosticImpl* deeper = make("E:f", u"deepest");
  qvsvAddCauseToLastDiagnosticItem(cause, deeper);
  qvsvAddCauseToLastDiagnosticItem(diag, cause);
  const std::u16string list = u"<ul type=\"square\" style=\"padding-left:15px\">";
  EXPECT_EQ(qvsvSerializeToHTMLCreate(diag, false),
            u"<p>a&lt;b&gt;&cCaused by:" + list + u"<li>innerCaused by:" + list + u"<li>deepest</li></ul></li></ul></p>");
  qvsvDiscardDiagnostic(diag);
  EXPECT_EQ(qvsvSerializeToHTMLCreate(nullptr, false), u"");
}

TEST_F(Renderings, HtmlShowsAnchorsEscapedUnlessStripped) {
  qvsvDiagnosticImpl* diag = make("A:b", u"see <a href=\"tessel:doc('x')\">the docs</a>");
  EXPECT_EQ(qvsvSerializeToHTMLCreate(diag, true), u"<p>see the docs</p>");
  EXPECT_EQ(qvsvSerializeToHTMLCreate(diag, false),
            u"<p>see &lt;a href=\"tessel:doc('x')\"&gt;the docs&lt;/a&gt;</p>");
  qvsvDiscardDiagnostic(diag);
}

TEST_F(Renderings, HotlinkStringFollowsTheConsole) {
  EXPECT_EQ(qvsvCreateHotlinkString(u"doc", u"", u"help", u""), u"help");
  EXPECT_EQ(qvsvCreateHotlinkString(u"doc", u"", u"help", u"see help"), u"see help");
  tessel::ScopedPrintfIsHot hot(true);
  const std::u16string plain = qvsvCreateHotlinkString(u"doc", u"", u"help", u"ignored");
  EXPECT_EQ(plain, u"<a href=\"tessel:doc\">help</a>");
  const std::u16string withArg = qvsvCreateHotlinkString(u"open_system", u"engine", u"the engine", u"");
  EXPECT_EQ(withArg, u"<a href=\"tessel:open_system('engine')\">the engine</a>");
  EXPECT_EQ(qvsv::removeHotLinks(withArg), u"the engine") << "the templates make anchors the pattern removes";
}

// Wraps every string argument in brackets; answers what the test sets.
double gAnswer = 0;
double bracket(std::u16string& text, bool) {
  text = u"[" + text + u"]";
  return gAnswer;
}

TEST_F(Renderings, ForcedHotlinksRewriteTheLastItemsArgumentsAndMessage) {
  qvsvDiagnosticImpl* diag = qvsvCreateDiagnosticFromMessageID(
      resource_core::BaseMsgID("QVSV_TEST:extra", "Pair", {std::int64_t{3}, std::string("blk")}));
  qvsvForceCreateHotlinks(diag);
  EXPECT_EQ(diag->lastItem()->message, u"first 3, second blk") << "no callback: nothing happens";
  qvsvSetGlobalQVCreateHotlinkCallback(&bracket);
  qvsvForceCreateHotlinks(diag);
  EXPECT_EQ(diag->lastItem()->message, u"first 3, second [blk]");
  qvsvDiscardDiagnostic(diag);
}

TEST_F(Renderings, NarrowArgumentKeepsItsTextWhenTheCallbackAnswersMinusOne) {
  qvsvSetGlobalQVCreateHotlinkCallback(&bracket);
  for (const double answer : {-1.0, 0.0, std::nan("")}) {
    gAnswer = answer;
    MutableBaseMsgID id("A", "b", {std::string("n"), std::u16string(u"w"), std::int64_t{1}});
    hot_link_visitor visitor(&bracket);
    id.setArguments(visitor);
    EXPECT_EQ(std::get<std::string>(id.arguments()[0]), answer == -1.0 ? "n" : "[n]") << answer;
    EXPECT_EQ(std::get<std::u16string>(id.arguments()[1]), u"[w]") << "wide arguments are edited in place";
    EXPECT_EQ(std::get<std::int64_t>(id.arguments()[2]), 1);
  }
  gAnswer = 0;
}

TEST_F(Renderings, FullMessageJoinsMessageAndExtraMessage) {
  qvsvDiagnosticImpl* diag = qvsvCreateDiagnosticEx(u"extra", resource_core::BaseMsgID("QVSV_TEST:extra", "Plain"));
  EXPECT_EQ(qvsvGetFullMessageFromDiagnosticItem(diag, 0), u"plain text extra");
  diag->firstItem()->extraMessage.clear();
  EXPECT_EQ(qvsvGetFullMessageFromDiagnosticItem(diag, 0), u"plain text");
  EXPECT_EQ(qvsvGetFullMessageFromDiagnosticItem(diag, 4), u"");
  qvsvDiscardDiagnostic(diag);
}

class ErrorReport : public Renderings {
 protected:
  void TearDown() override {
    qvsvConfigureErrorReport(false);
    QvTestingHook::setHookValue("QVSV_POPULATE_TSTACK", 0);
    Renderings::TearDown();
  }
  static std::string read(const std::filesystem::path& file) {
    std::ifstream in(file);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }
  qvsv::test::TempDir dir_;
};

TEST_F(ErrorReport, AppendsIdentifiersAndTheLastLvlLineOfEachItem) {
  const auto file = dir_.path() / "report.txt";
  qvsvConfigureErrorReport(true, file.string());
  EXPECT_TRUE(isQVSVErrorReport());
  QvTestingHook::setHookValue("QVSV_POPULATE_TSTACK", 1);
  qvsvDiagnosticImpl* diag = nullptr;
  {
    tessel::ScopedFrame outer("lvl_top.m", "run_lvl", 1);  // counts through "run_lvl"
    tessel::ScopedFrame inner("model.m", "step", 2);
    diag = make("With:stack");
  }
  {
    tessel::ScopedFrame only("lvlonly.m", "go", 3);  // "lvl" only at position 0: does not count
    qvsvConcatenateDiagnostics(diag, make("No:lvl"), false);
  }
  qvsvConcatenateDiagnostics(diag, make("", u"unnamed"), false);
  diag->lastItem()->identifier.clear();
  qvsvCreateReportForErrors(diag);
  qvsvReportAsError(diag);  // reporting writes the same lines again
  const std::string once = "Identifier: With:stack\tM-STACK: lvl_top.m>run_lvl:1\n"
                           "Identifier: No:lvl\tM-STACK: Not Available\n";
  EXPECT_EQ(read(file), once + once);
}

TEST_F(ErrorReport, UnopenableFileIsAnnouncedOnTheConsole) {
  const std::string file = (dir_.path() / "missing" / "report.txt").string();
  qvsvConfigureErrorReport(true, file);
  qvsvDiagnosticImpl* diag = make("A:b");
  tessel::ConsoleCapture console;
  qvsvCreateReportForErrors(diag);
  EXPECT_EQ(console.text(), "Aborting Reporting Mechanism for error. Cannot open file " + file + ".\n");
  qvsvDiscardDiagnostic(diag);
}

TEST_F(ErrorReport, DefaultFileNameCarriesTheProcessId) {
  const auto previous = std::filesystem::current_path();
  std::filesystem::current_path(dir_.path());
  qvsvConfigureErrorReport(true);
  qvsvDiagnosticImpl* diag = make("A:b");
  qvsvCreateReportForErrors(diag);
  qvsvDiscardDiagnostic(diag);
  std::filesystem::current_path(previous);
  EXPECT_EQ(read(dir_.path() / ("ReportError." + std::to_string(::getpid()))),
            "Identifier: A:b\tM-STACK: Not Available\n");
}

}  // namespace
