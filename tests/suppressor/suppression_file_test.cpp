#include <fstream>

#include "qv_services/conversions.hpp"
#include "tessel/foundation.hpp"
#include "tests/support/test_support.hpp"
#include "tests/suppressor/suppressor_fixture.hpp"

namespace {

using qvsv::test::TempDir;

std::string messageOf(qvsvDiagnosticImpl*& diag) {
  if (diag == nullptr) return "no diagnostic";
  const std::string text = qvsvGetIdentifierFromDiagnosticItem(diag, 0) + std::string(": ") +
                           ConvertUStringToStdString(qvsvGetMessageFromDiagnosticItem(diag, 0));
  qvsvDiscardDiagnostic(diag);
  return text;
}

class SuppressionFile : public qvsv::test::SuppressorTest {
 protected:
  void fill() {
    qvsvAddDiagnosticSuppression("Quiver:blocks:*");
    qvsvAddDiagnosticSuppression("Quiver:blocks:AlgebraicLoop", 12.0001);
    qvsvAddDiagnosticSuppression("Quiver:blocks:AlgebraicLoop", -0.1);
    qvsvAddDiagnosticSuppression("Quiver:blocks:AlgebraicLoop", 1e300);
    qvsvAddDiagnosticSuppression("Odd:\"<&>' text:*", 3.0);
    qvsvAddDiagnosticSuppression("Ünïcode:ß");
    qvsvSetWarningState("Quiver:demo:*", qvsvWarningState::kOnce);
    qvsvSetWarningState("Quiver:demo:Noisy", qvsvWarningState::kOff);
    qvsvSetWarningState("Odd:&", qvsvWarningState::kError);
  }
  TempDir dir_;
};

TEST_F(SuppressionFile, SaveThenLoadGivesTheSameTables) {
  fill();
  const Tables saved = tables();
  const std::string path = (dir_.path() / "s.xml").string();
  qvsvDiagnosticImpl* error = qvsvSaveDiagnosticSuppressions(path);
  ASSERT_EQ(error, nullptr) << messageOf(error);
  reset();
  qvsvAddDiagnosticSuppression("Gone:after:load");
  error = qvsvLoadDiagnosticSuppressions(path);
  ASSERT_EQ(error, nullptr) << messageOf(error);
  EXPECT_EQ(tables(), saved) << "loading replaces both tables";
  EXPECT_EQ(qvsvWriteDiagnosticSuppressions(), qvsvWriteDiagnosticSuppressions());
}

struct BadRow {
  std::string name;
  std::string document;
  std::string where;   // "line L, column C"
  std::string reason;  // part of the English message
};

void PrintTo(const BadRow& row, std::ostream* out) { *out << row.name; }

class BadSuppressionFile : public SuppressionFile, public ::testing::WithParamInterface<BadRow> {};

TEST_P(BadSuppressionFile, NamesLineAndColumnAndLoadsNothing) {
  fill();
  const Tables before = tables();
  qvsvDiagnosticImpl* error = qvsvReadDiagnosticSuppressions(GetParam().document, "in.xml");
  ASSERT_NE(error, nullptr);
  const std::string message = messageOf(error);
  EXPECT_NE(message.find("QV_SERVICES:suppressor:BadSuppressionFile: The suppression file 'in.xml' was not loaded: " +
                         GetParam().where),
            std::string::npos)
      << message;
  EXPECT_NE(message.find(GetParam().reason), std::string::npos) << message;
  EXPECT_EQ(tables(), before);
}

const std::string kHead = "<?xml version=\"1.0\"?>\n<diag_suppressions>\n";

INSTANTIATE_TEST_SUITE_P(
    Faults, BadSuppressionFile,
    ::testing::Values(
        BadRow{"Empty", "", "line 1, column 1", "not well-formed (no element found)"},
        BadRow{"FailsHalfWay",
               kHead + "  <suppress pattern=\"New:one\"/>\n  <state pattern=\"New:two\" value=\"off\"/>\n"
                       "  <suppress pattern=\"New:*:bad\"/>\n</diag_suppressions>\n",
               "line 5, column 3", "'New:*:bad' is not a valid value of the attribute 'pattern'"},
        BadRow{"Unclosed", kHead + "  <suppress pattern=\"A:b\">\n</diag_suppressions>\n", "line 4, column 3",
               "mismatched tag"},
        BadRow{"WrongRoot", "<diag_root/>", "line 1, column 1", "the element <diag_root> is not expected here"},
        BadRow{"NestedEntry", kHead + "<suppress pattern=\"A:b\"><suppress pattern=\"A:c\"/></suppress>",
               "line 3, column 25", "the element <suppress> is not expected here"},
        BadRow{"MisspeltAttribute", kHead + "<suppress pattern=\"A:b\" handel=\"1\"/>", "line 3, column 1",
               "the element <suppress> has no attribute 'handel'"},
        BadRow{"StateWithoutValue", kHead + "<state pattern=\"A:b\"/>", "line 3, column 1",
               "the element <state> needs the attribute 'value'"},
        BadRow{"UnknownState", kHead + "<state pattern=\"A:b\" value=\"loud\"/>", "line 3, column 1",
               "'loud' is not a valid value of the attribute 'value'"},
        BadRow{"HandleNotANumber", kHead + "<suppress pattern=\"A:b\" handle=\"12.0001x\"/>", "line 3, column 1",
               "'12.0001x' is not a valid value of the attribute 'handle'"},
        BadRow{"HandleNotFinite", kHead + "<suppress pattern=\"A:b\" handle=\"inf\"/>", "line 3, column 1",
               "'inf' is not a valid value of the attribute 'handle'"},
        BadRow{"LaterVersion", "<diag_suppressions version=\"2\"/>", "line 1, column 1",
               "'2' is not a valid value of the attribute 'version'"},
        BadRow{"StrayText", kHead + "  oops\n</diag_suppressions>", "line 3, column 1", "text is not expected here"},
        BadRow{"DocumentType", "<!DOCTYPE diag_suppressions [<!ENTITY a \"b\">]>\n<diag_suppressions/>",
               "line 1, column", "a document type declaration is not accepted"}),
    qvsv::test::RowName());

TEST_F(SuppressionFile, MessagesFollowTheGlobalLocale) {
  tessel::ScopedGlobalLocale german("de_DE");
  qvsvDiagnosticImpl* error = qvsvReadDiagnosticSuppressions(kHead + "<state pattern=\"A:b\"/>", "in.xml");
  EXPECT_EQ(messageOf(error),
            "QV_SERVICES:suppressor:BadSuppressionFile: Die Unterdrückungsdatei 'in.xml' wurde nicht geladen: "
            "Zeile 3, Spalte 1: das Element <state> braucht das Attribut 'value'.");
}

TEST_F(SuppressionFile, UnreadableAndUnwritablePathsAreNamed) {
  fill();
  const Tables before = tables();
  const std::string missing = (dir_.path() / "missing.xml").string();
  qvsvDiagnosticImpl* error = qvsvLoadDiagnosticSuppressions(missing);
  EXPECT_EQ(messageOf(error), "QV_SERVICES:suppressor:CannotReadSuppressionFile: Cannot read the suppression file '" +
                                  missing + "'.");
  error = qvsvLoadDiagnosticSuppressions(dir_.path().string());
  EXPECT_NE(messageOf(error).find("CannotReadSuppressionFile"), std::string::npos) << "a directory is no file";
  const std::string unwritable = (dir_.path() / "no" / "such" / "dir.xml").string();
  error = qvsvSaveDiagnosticSuppressions(unwritable);
  EXPECT_NE(messageOf(error).find("'" + unwritable + "'"), std::string::npos);
  EXPECT_EQ(tables(), before);
}

}  // namespace
