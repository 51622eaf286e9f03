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

class Renderings : public DiagnosticsTest {};

TEST_F(Renderings, PlainRenderingIndentsCausesAndConsumesTheDiagnostic) {
  qvsvDiagnosticImpl* diag = make("A:b", u"top \u00E9");
  qvsvDiagnosticImpl* causes = queueOf(2, "C");
  qvsvAddCauseToLastDiagnosticItem(diag, causes);
  EXPECT_EQ(qvsvSerializeDiagnosticAsPlainString(diag),
            "ID:     A:b\nMSG:    top \xC3\xA9\nCAUSES: \n    ID:     C:0\n    MSG:    0\n    ID:     C:1\n"
            "    MSG:    1\n\n");
  EXPECT_EQ(diag, nullptr);
  qvsvDiagnosticImpl* none = nullptr;
  EXPECT_EQ(qvsvSerializeDiagnosticAsPlainString(none), "\n");
  qvsvDiagnosticImpl* plain = make("A:b", u"m");
  EXPECT_EQ(qvsvSerializeDiagnosticAsString(plain, 0), "ID:     A:b\nMSG:    m\n\n");
  qvsvDiagnosticImpl* xml = make("A:b", u"hi");
  EXPECT_EQ(qvsvSerializeDiagnosticAsString(xml, 1).rfind("<diag_root>\n", 0), 0u);
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
  // HTML stops at a wrapper item: what follows it is not shown.
  qvsvConcatenateDiagnostics(wrapper, make("Z:z", u"Z"), false);
  EXPECT_EQ(qvsvSerializeToHTMLCreate(wrapper, false),
            u"<p>XCaused by:<ul type=\"square\" style=\"padding-left:15px\"><li>D</li></ul></p><p>Y</p>");
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
                      WrapCase{"blank_at_width", u"aaaa bbbb cccc", 4, u"aaaa \nbbbb \ncccc"},
                      WrapCase{"back_to_blank", u"aa bbbbbb", 5, u"aa \nbbbbb\nb"},
                      WrapCase{"runs_of_blanks_stay", u"aaaa   bbbb", 5, u"aaaa   \nbbbb"},
                      WrapCase{"slash_starts_line", u"abc/defghij", 6, u"abc\n/defgh\nij"},
                      WrapCase{"hard_break", u"abcdefghij", 4, u"abcd\nefgh\nij"},
                      WrapCase{"slash_at_line_start", u"/abcdefgh", 4, u"/abc\ndefg\nh"},
                      WrapCase{"trailing_blanks", u"abcd    ", 4, u"abcd    "},
                      // An existing newline where the line is full is passed
                      // over like a blank, so the break goes after it.
                      WrapCase{"newline_at_hard_break", u"abcde\nfghij", 5, u"abcde\n\nfghij"},
                      WrapCase{"newline_then_blanks", u"abcde\n  fgh", 5, u"abcde\n  \nfgh"},
                      WrapCase{"blank_then_newline", u"abcd \nefgh", 5, u"abcd \n\nefgh"},
                      WrapCase{"tab_at_width_starts_line", u"abcde\tfgh", 5, u"abcde\n\tfgh"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(Renderings, HtmlEscapesAngleBracketsNestsCausesAndStripsAnchorsOnRequest) {
  qvsvDiagnosticImpl* diag = make("A:b", u"a<b>&c <a href=\"tessel:doc('x')\">docs</a>");
  qvsvDiagnosticImpl* cause = make("C:d", u"inner");
  qvsvDiagnosticImpl* deeper = make("E:f", u"deepest");
  qvsvAddCauseToLastDiagnosticItem(cause, deeper);
  qvsvAddCauseToLastDiagnosticItem(diag, cause);
  const std::u16string list = u"<ul type=\"square\" style=\"padding-left:15px\">";
  const std::u16string causes =
      u"Caused by:" + list + u"<li>innerCaused by:" + list + u"<li>deepest</li></ul></li></ul></p>";
  EXPECT_EQ(qvsvSerializeToHTMLCreate(diag, false),
            u"<p>a&lt;b&gt;&c &lt;a href=\"tessel:doc('x')\"&gt;docs&lt;/a&gt;" + causes);
  EXPECT_EQ(qvsvSerializeToHTMLCreate(diag, true), u"<p>a&lt;b&gt;&c docs" + causes);
  qvsvDiscardDiagnostic(diag);
  EXPECT_EQ(qvsvSerializeToHTMLCreate(nullptr, false), u"");
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

TEST_F(Renderings, HotlinkCallbackRewritesTextArgumentsButNarrowOnesKeepTheirTextOnMinusOne) {
  qvsvDiagnosticImpl* diag = qvsvCreateDiagnosticFromMessageID(
      resource_core::BaseMsgID("QVSV_TEST:extra", "Pair", {std::int64_t{3}, std::string("blk")}));
  qvsvForceCreateHotlinks(diag);
  EXPECT_EQ(diag->lastItem()->message, u"first 3, second blk") << "no callback: nothing happens";
  qvsvSetGlobalQVCreateHotlinkCallback(&bracket);
  qvsvForceCreateHotlinks(diag);
  EXPECT_EQ(diag->lastItem()->message, u"first 3, second [blk]");
  qvsvDiscardDiagnostic(diag);
  for (const double answer : {-1.0, std::nan("")}) {
    gAnswer = answer;
    MutableBaseMsgID id("A", "b", {std::string("n"), std::u16string(u"w"), std::int64_t{1}});
    hot_link_visitor visitor(&bracket);
    id.setArguments(visitor);
    EXPECT_EQ(id.arguments(), (qvsvArgumentVector{std::string(answer == -1.0 ? "n" : "[n]"), std::u16string(u"[w]"),
                                                  std::int64_t{1}}))
        << answer;
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

TEST_F(ErrorReport, DefaultFileNameCarriesTheProcessIdAndAnUnopenableFileIsAnnounced) {
  qvsvDiagnosticImpl* diag = make("A:b");
  const auto previous = std::filesystem::current_path();
  std::filesystem::current_path(dir_.path());
  qvsvConfigureErrorReport(true);
  qvsvCreateReportForErrors(diag);
  std::filesystem::current_path(previous);
  EXPECT_EQ(read(dir_.path() / ("ReportError." + std::to_string(::getpid()))),
            "Identifier: A:b\tM-STACK: Not Available\n");
  const std::string file = (dir_.path() / "missing" / "report.txt").string();
  qvsvConfigureErrorReport(true, file);
  tessel::ConsoleCapture console;
  qvsvCreateReportForErrors(diag);
  EXPECT_EQ(console.text(), "Aborting Reporting Mechanism for error. Cannot open file " + file + ".\n");
  qvsvDiscardDiagnostic(diag);
}

}  // namespace
