// The JSON writers copy plain text a block at a time and finish a text with
// a block that overlaps what was copied: one unit that needs care, at every
// position of texts of every length across several blocks, must read back.
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <ostream>
#include <string>

#include "qv_services/conversions.hpp"
#include "qv_services/json_form.hpp"
#include "qv_services/sarif_form.hpp"
#include "tests/errors/diagnostics_fixture.hpp"

namespace {

constexpr std::size_t kLongest = 40;  // two 16-byte blocks and a tail

struct WideCase {
  const char* name;
  std::u16string unit;
  friend void PrintTo(const WideCase& c, std::ostream* os) { *os << c.name; }
};

class JsonTextWide : public qvsv::test::DiagnosticsTest, public testing::WithParamInterface<WideCase> {};

TEST_P(JsonTextWide, ReadsBackAtEveryPositionAndLength) {
  const std::u16string& unit = GetParam().unit;
  for (std::size_t length = unit.size(); length <= kLongest; ++length) {
    for (std::size_t at = 0; at + unit.size() <= length; ++at) {
      std::u16string text(length, u'a');
      text.replace(at, unit.size(), unit);
      qvsvDiagnosticImpl* diag = qvsvCreateDiagnosticFromIdAndMsg("Quiver:test:Text", text);

      qvsvDiagnosticImpl* restored = qvsvRestoreDiagnosticFromJSON(qvsvSerializeDiagnosticAsJSON(diag));
      ASSERT_NE(restored, nullptr);
      EXPECT_EQ(restored->lastItem()->message, text) << "length " << length << ", at " << at;

      // SARIF shows the text, ill-formed parts repaired as the conversions do.
      rapidjson::Document log;
      log.Parse(qvsvSerializeDiagnosticAsSARIF(diag, qvsvReportKind::Error).c_str());
      ASSERT_FALSE(log.HasParseError());
      const rapidjson::Value& shown = log["runs"][0]["results"][0]["message"]["text"];
      EXPECT_EQ(std::string(shown.GetString(), shown.GetStringLength()), ConvertUStringToStdString(text, true))
          << "length " << length << ", at " << at;
      qvsvDiscardDiagnostic(restored);
      qvsvDiscardDiagnostic(diag);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Units, JsonTextWide,
                         testing::Values(WideCase{"Quote", u"\""}, WideCase{"Backslash", u"\\"},
                                         WideCase{"Newline", u"\n"}, WideCase{"Control", u"\x01"},
                                         WideCase{"Delete", u"\x7F"}, WideCase{"Latin1", u"\u00E9"},
                                         WideCase{"Bmp", u"\u20AC"}, WideCase{"Pair", u"\U0001F600"},
                                         WideCase{"LoneHigh", u"\xD800"}, WideCase{"LoneLow", u"\xDC00"}),
                         [](const auto& info) { return std::string(info.param.name); });

struct NarrowCase {
  const char* name;
  std::string bytes;
  friend void PrintTo(const NarrowCase& c, std::ostream* os) { *os << c.name; }
};

class JsonTextNarrow : public qvsv::test::DiagnosticsTest, public testing::WithParamInterface<NarrowCase> {};

// Narrow texts are metadata values here; bytes that are not UTF-8 take the
// lossless hex form and must come back all the same.
TEST_P(JsonTextNarrow, ReadsBackAtEveryPositionAndLength) {
  const std::string& bytes = GetParam().bytes;
  for (std::size_t length = bytes.size(); length <= kLongest; ++length) {
    for (std::size_t at = 0; at + bytes.size() <= length; ++at) {
      std::string text(length, 'a');
      text.replace(at, bytes.size(), bytes);
      qvsvDiagnosticImpl* diag =
          qvsvCreateDiagnosticEx(resource_core::BaseMsgID("QVSV_TEST:extra", "Plain"), {{u"k", text}});
      qvsvDiagnosticImpl* restored = qvsvRestoreDiagnosticFromJSON(qvsvSerializeDiagnosticAsJSON(diag));
      ASSERT_NE(restored, nullptr);
      EXPECT_EQ(restored->lastItem()->metadata, diag->lastItem()->metadata) << "length " << length << ", at " << at;
      qvsvDiscardDiagnostic(restored);
      qvsvDiscardDiagnostic(diag);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Bytes, JsonTextNarrow,
                         testing::Values(NarrowCase{"Quote", "\""}, NarrowCase{"Control", "\x1F"},
                                         NarrowCase{"TwoBytes", "\xC3\xA9"}, NarrowCase{"FourBytes", "\xF0\x9F\x98\x80"},
                                         NarrowCase{"Invalid", "\xFF"}, NarrowCase{"Truncated", "\xE2\x82"},
                                         NarrowCase{"Surrogate", "\xED\xA0\x80"}),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
