// Cause chains far deeper than any stack: every walk over causes (release,
// duplication, renderings, writers, reporting, the pool's clearing) must
// finish. The depth is not scaled down under the sanitizers, whose larger
// frames would only make a recursive walk fail sooner.
#include <algorithm>
#include <string>

#include "qv_services/renderings.hpp"
#include "qv_services/reporting.hpp"
#include "qv_services/xml_form.hpp"
#include "tessel/console.hpp"
#include "tests/errors/diagnostics_fixture.hpp"

namespace {

using qvsv::test::DiagnosticsTest;

constexpr std::size_t kDepth = 100000;

class DeepCauses : public DiagnosticsTest {
 protected:
  // "Deep:0" caused by "Deep:1" caused by ... "Deep:<depth>"; each message is its identifier.
  static qvsvDiagnosticImpl* chain(std::size_t depth) {
    auto node = [](std::size_t i) {
      const std::string id = "Deep:" + std::to_string(i);
      return make(id.c_str(), std::u16string(id.begin(), id.end()));
    };
    qvsvDiagnosticImpl* inner = node(depth);
    for (std::size_t i = depth; i-- > 0;) {
      qvsvDiagnosticImpl* outer = node(i);
      qvsvAddCauseToLastDiagnosticItem(outer, inner);
      EXPECT_EQ(inner, nullptr);
      inner = outer;
    }
    return inner;
  }

  // Levels of causes below the first item, following first items.
  static std::size_t depthOf(qvsvDiagnosticImpl* diag) { return causeChain(diag).size() - 1; }

  // Blanks in front of the "ID:" line of level i of a plain rendering.
  static std::size_t indentOf(const std::string& plain, std::size_t i) {
    const std::size_t at = plain.find("ID:     Deep:" + std::to_string(i) + "\n");
    if (at == std::string::npos) return std::string::npos;
    const std::size_t lineStart = plain.rfind('\n', at) + 1;
    return plain.find_first_not_of(' ', lineStart) == at ? at - lineStart : std::string::npos;
  }

  static std::size_t count(const std::string& text, const std::string& what) {
    std::size_t n = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size())) ++n;
    return n;
  }
};

TEST_F(DeepCauses, CopiesRenderingsAndReportingReachEveryLevel) {
  qvsvDiagnosticImpl* diag = chain(kDepth);
  qvsvDiagnosticImpl* copy = qvsvDuplicateDiagnostic(diag);
  const std::u16string formatted = qvsvSerializeToFormattedUStringCreate(diag, false, u"");
  EXPECT_EQ(static_cast<std::size_t>(std::count(formatted.begin(), formatted.end(), u'\n')), kDepth);
  EXPECT_EQ(formatted.substr(formatted.rfind(u'\n') + 1), u"Deep:100000");

  const std::u16string html16 = qvsvSerializeToHTMLCreate(diag, false);
  const std::string html(html16.begin(), html16.end());
  EXPECT_EQ(count(html, "<ul"), kDepth);
  EXPECT_EQ(count(html, "</ul>"), kDepth);
  EXPECT_EQ(html.rfind("<p>Deep:0", 0), 0u);
  EXPECT_EQ(html.substr(html.size() - 14), "</li></ul></p>");
  tessel::ConsoleCapture console;
  qvsvReportAsError(diag);
  EXPECT_EQ(diag, nullptr);
  EXPECT_EQ(count(console.text(), "Deep:"), kDepth + 1) << "every level's message";

  EXPECT_EQ(depthOf(copy), kDepth) << "the copy shares nothing with the original";
  const std::string plain = qvsvSerializeDiagnosticAsPlainString(copy);
  EXPECT_EQ(copy, nullptr);
  EXPECT_EQ(count(plain, "ID:     "), kDepth + 1);
  const std::size_t limit = kQvsvMaxRestoredCauseDepth;
  EXPECT_EQ(indentOf(plain, limit - 1), 4 * (limit - 1));
  EXPECT_EQ(indentOf(plain, limit), 4 * limit);
  EXPECT_EQ(indentOf(plain, kDepth), 4 * limit) << "deeper levels keep the indentation of the limit";
}

TEST_F(DeepCauses, WritersStopAtTheReadersLimitAndThePoolsClearingFinishes) {
  qvsvDiagnosticImpl* diag = chain(kDepth);
  const std::string arguments = qvsvSerializeDiagnosticAsXMLStringWithArguments(diag);
  const std::string messages = qvsvSerializeDiagnosticAsXMLString(diag);  // releases the chain
  for (const std::string* xml : {&messages, &arguments}) {
    SCOPED_TRACE(xml == &arguments ? "argument form" : "message form");
    EXPECT_EQ(count(*xml, "<causes>"), static_cast<std::size_t>(kQvsvMaxRestoredCauseDepth));
    qvsvDiagnosticImpl* restored = qvsvRestoreDiagnosticFromXMLFragment(xml->c_str());
    const std::vector<std::string> levels = causeChain(restored);
    EXPECT_EQ(levels.size(), static_cast<std::size_t>(kQvsvMaxRestoredCauseDepth) + 1);
    EXPECT_EQ(levels.front() + " ... " + levels.back(), "Deep:0 ... Deep:100");
    qvsvDiscardDiagnostic(restored);
  }
  static_cast<void>(chain(kDepth));  // left to the pool
  qvsvClearDiagnosticQueuePool();  // every level goes; the fixture checks that nothing is left
}

}  // namespace
