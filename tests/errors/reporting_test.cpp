#include "qv_services/reporting.hpp"
#include "tessel/console.hpp"
#include "tests/errors/diagnostics_fixture.hpp"

namespace {

using qvsv::test::DiagnosticsTest;

class Reporting : public DiagnosticsTest {};

TEST_F(Reporting, EachKindEndsInItsDisplayAndConsumesTheDiagnosticButNothingShowsForNone) {
  tessel::ConsoleCapture console;
  qvsvDiagnosticImpl* error = make("A:e", u"it broke");
  qvsvReportAsError(error);
  qvsvDiagnosticImpl* warning = queueOf(2);
  qvsvReportAsWarning(warning);
  qvsvDiagnosticImpl* info = make("A:i", u"for your information");
  qvsvReportAsInfo(info);
  qvsvDiagnosticImpl* tagged = make("A:w", u"tagged");
  qvsvReportAsWarning(tagged, {{u"key", std::int64_t{1}}});
  qvsvDiagnosticImpl* none = nullptr;
  qvsvReportAsError(none);
  qvsvDiagnosticImpl* empty = qvsvObtainDiagnostic();
  qvsvReportAsWarning(empty);  // null and empty diagnostics show nothing
  for (qvsvDiagnosticImpl* d : {error, warning, info, tagged, empty}) EXPECT_EQ(d, nullptr);
  EXPECT_EQ(console.text(), "Error: it broke\nWarning: 0\n1\nfor your information\nWarning: tagged\n");
}

TEST_F(Reporting, WarningEntryHonoursCallbackCountAndText) {
  tessel::ConsoleCapture console;
  qvsvDiagnosticImpl* first = queueOf(3);
  qvsvWarning(first, nullptr, 2, u"");
  qvsvDiagnosticImpl* replaced = queueOf(3);
  qvsvWarning(replaced, nullptr, 0, u"instead");
  qvsvDiagnosticImpl* suppressed = queueOf(1);
  qvsvWarning(suppressed, [](qvsvDiagnosticImpl* const&) { return false; }, 0, u"");
  EXPECT_EQ(suppressed, nullptr);
  EXPECT_EQ(console.text(), "Warning: 0\n1\nWarning: instead\n");
}

}  // namespace
