// The JSON writers copy plain text a block at a time and finish a text with
// a block that overlaps what was copied: one unit that needs care, at every
// position of texts of every length across several blocks, must read back.
#include <rapidjson/document.h>

#include "qv_services/conversions.hpp"
#include "qv_services/json_form.hpp"
#include "qv_services/sarif_form.hpp"
#include "tests/errors/diagnostics_fixture.hpp"

namespace {

constexpr std::size_t kLongest = 40;  // two 16-byte blocks and a tail

// Calls check(text) for the unit at every position of texts of every length.
template <typename Text, typename Check>
void everyPlacement(const Text& unit, Check check) {
  for (std::size_t length = unit.size(); length <= kLongest; ++length) {
    for (std::size_t at = 0; at + unit.size() <= length; ++at) {
      Text text(length, 'a');
      text.replace(at, unit.size(), unit);
      SCOPED_TRACE("length " + std::to_string(length) + ", at " + std::to_string(at));
      check(text);
    }
  }
}

using JsonText = qvsv::test::DiagnosticsTest;

TEST_F(JsonText, WideUnitsReadBackAndShowInSarifAtEveryPositionAndLength) {
  for (const std::u16string unit : {u"\"", u"\\", u"\n", u"\x01", u"\x7F", u"\u00E9", u"\u20AC", u"\U0001F600",
                                    u"\xD800", u"\xDC00"}) {
    SCOPED_TRACE(::testing::PrintToString(unit));
    everyPlacement(unit, [](const std::u16string& text) {
      qvsvDiagnosticImpl* diag = qvsvCreateDiagnosticFromIdAndMsg("Quiver:test:Text", text);
      qvsvDiagnosticImpl* restored = qvsvRestoreDiagnosticFromJSON(qvsvSerializeDiagnosticAsJSON(diag));
      ASSERT_NE(restored, nullptr);
      EXPECT_EQ(restored->lastItem()->message, text);
      // SARIF shows the text, ill-formed parts repaired as the conversions do.
      rapidjson::Document log;
      log.Parse(qvsvSerializeDiagnosticAsSARIF(diag, qvsvReportKind::Error).c_str());
      ASSERT_FALSE(log.HasParseError());
      const rapidjson::Value& shown = log["runs"][0]["results"][0]["message"]["text"];
      EXPECT_EQ(std::string(shown.GetString(), shown.GetStringLength()), ConvertUStringToStdString(text, true));
      qvsvDiscardDiagnostic(restored);
      qvsvDiscardDiagnostic(diag);
    });
  }
}

// Narrow texts are metadata values here; bytes that are not UTF-8 take the
// lossless hex form and must come back all the same.
TEST_F(JsonText, NarrowBytesReadBackAtEveryPositionAndLength) {
  for (const std::string unit : {"\"", "\x1F", "\xC3\xA9", "\xF0\x9F\x98\x80", "\xFF", "\xE2\x82", "\xED\xA0\x80"}) {
    SCOPED_TRACE(::testing::PrintToString(unit));
    everyPlacement(unit, [](const std::string& text) {
      qvsvDiagnosticImpl* diag =
          qvsvCreateDiagnosticEx(resource_core::BaseMsgID("QVSV_TEST:extra", "Plain"), {{u"k", text}});
      qvsvDiagnosticImpl* restored = qvsvRestoreDiagnosticFromJSON(qvsvSerializeDiagnosticAsJSON(diag));
      ASSERT_NE(restored, nullptr);
      EXPECT_EQ(restored->lastItem()->metadata, diag->lastItem()->metadata);
      qvsvDiscardDiagnostic(restored);
      qvsvDiscardDiagnostic(diag);
    });
  }
}

}  // namespace
