#include <rapidjson/document.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include "qv_services/conversions.hpp"
#include "qv_services/json_form.hpp"
#include "qv_services/renderings.hpp"
#include "qv_services/sarif_form.hpp"
#include "qv_services/xml_form.hpp"
#include "tests/errors/diagnostics_fixture.hpp"
#include "tests/errors/random_diagnostic_tree.hpp"
#include "tests/support/test_support.hpp"

namespace {

using qvsv::test::DiagnosticsTest;

class JsonForm : public DiagnosticsTest {
 protected:
  // Both XML forms and the JSON form of a diagnostic; it stays alive.
  struct Forms {
    std::string xmlMessages, xmlArguments, json;
    bool operator==(const Forms&) const = default;
  };
  static Forms formsOf(qvsvDiagnosticImpl* const& diag) {
    Forms forms;
    forms.xmlArguments = qvsvSerializeDiagnosticAsXMLStringWithArguments(const_cast<qvsvDiagnosticImpl*&>(diag));
    forms.json = qvsvSerializeDiagnosticAsJSON(diag);
    qvsvDiagnosticImpl* copy = qvsvDuplicateDiagnostic(diag);
    forms.xmlMessages = qvsvSerializeDiagnosticAsXMLString(copy);
    return forms;
  }

  // The identifiers and message of a restore error: outer, cause.
  static std::string errorChain(qvsvDiagnosticImpl* diag) {
    std::string chain;
    for (qvsvDiagnosticImpl* d = diag; d != nullptr && d->count() > 0; d = d->lastItem()->cause) {
      chain += d->lastItem()->identifier + " | ";
      if (d != diag) chain += std::string(d->lastItem()->message.begin(), d->lastItem()->message.end());
    }
    return chain;
  }
};

TEST_F(JsonForm, RandomTreesRestoreWithByteIdenticalXmlForms) {
  qvsv::test::RandomDiagnosticTree trees(23, true);
  for (std::size_t round = 0; round < qvsv::test::Scaled(300, 30); ++round) {
    qvsvDiagnosticImpl* diag = trees.build();
    const Forms expected = formsOf(diag);
    qvsvDiagnosticImpl* restored = qvsvRestoreDiagnosticFromJSON(expected.json);
    ASSERT_EQ(formsOf(restored), expected) << expected.json;
    qvsvDiscardDiagnostic(restored);
    qvsvDiscardDiagnostic(diag);
  }
}

TEST_F(JsonForm, NullWritesNoItemsAndTextsJsonCannotCarryUseTheHexForm) {
  const std::string written = qvsvSerializeDiagnosticAsJSON(nullptr);
  EXPECT_EQ(written, R"({"format":"qv_services.diagnostic","version":1,"items":[]})");
  EXPECT_EQ(qvsvRestoreDiagnosticFromJSON(written), nullptr);
  qvsvDiagnosticImpl* diag = make("A:b", std::u16string(u"x\xDC00y"));
  const std::string hex = qvsvSerializeDiagnosticAsJSON(diag);
  EXPECT_NE(hex.find(R"("message":{"utf16":"0078dc000079"})"), std::string::npos) << hex;
  qvsvDiscardDiagnostic(diag);
}

TEST_F(JsonForm, SyntaxErrorNamesLineAndColumn) {
  qvsvDiagnosticImpl* error = qvsvRestoreDiagnosticFromJSON("{\"format\": \"qv_services.diagnostic\",\n  \"items\": [}");
  EXPECT_EQ(errorChain(error),
            "QV_SERVICES:serialization:RestoreFromJSONError | QV_SERVICES:serialization:JSONSyntaxError | "
            "JSON syntax error at line 2, column 13: Invalid value.");
  qvsvDiscardDiagnostic(error);
}

struct MalformedCase {
  const char* items;  // the value of "items"
  const char* expected;
};

class JsonFormMalformed : public JsonForm, public ::testing::WithParamInterface<MalformedCase> {};

TEST_P(JsonFormMalformed, NamesTheMemberAndRestoresNothing) {
  const std::string text =
      std::string(R"({"format":"qv_services.diagnostic","version":1,"items":)") + GetParam().items + "}";
  qvsvDiagnosticImpl* error = qvsvRestoreDiagnosticFromJSON(text);
  EXPECT_EQ(errorChain(error), std::string("QV_SERVICES:serialization:RestoreFromJSONError | "
                                           "QV_SERVICES:serialization:JSONFormError | "
                                           "The JSON text is not the form of a diagnostic: ") +
                                   GetParam().expected + ".");
  qvsvDiscardDiagnostic(error);
}

INSTANTIATE_TEST_SUITE_P(
    EveryMember, JsonFormMalformed,
    ::testing::Values(
        MalformedCase{"{}", "items: expected an array of items"},
        MalformedCase{"[3]", "items[0]: expected an item object"},
        MalformedCase{R"([{"message":"m"}])", "items[0]: missing member \"id\""},
        MalformedCase{R"([{"id":7,"message":"m"}])", "items[0].id: expected a string"},
        MalformedCase{R"([{"id":"a","message":{"utf16":"12"}}])",
                      "items[0].message: expected a string or a {\"utf16\": hex} object"},
        MalformedCase{R"([{"id":"a","message":"m","arguments":[1,{}]}])",
                      "items[0].arguments[1]: expected a string or a {\"utf16\": hex} object"},
        MalformedCase{R"([{"id":"a","message":"m","handles":[1,"x"]}])", "items[0].handles[1]: expected a number"},
        MalformedCase{R"([{"id":"a","message":"m","callStack":[{"file":"f","name":"n"}]}])",
                      "items[0].callStack[0]: missing member \"line\""},
        MalformedCase{R"([{"id":"a","message":"m","creationTime":-1}])",
                      "items[0].creationTime: expected an unsigned 32-bit integer"},
        MalformedCase{R"([{"id":"a","message":"m","metadata":[{"key":"k","real":1}]}])",
                      "items[0].metadata[0]: expected one of \"integer\", \"string\", \"wide\""},
        MalformedCase{R"([{"id":"a","message":"m","causes":[{"id":"b","message":"m","causes":[{"id":5}]}]}])",
                      "items[0].causes[0].causes[0].id: expected a string"}));

struct NumberCase {
  const char* text;  // a handle as written in the JSON text
  double value;
};

class JsonFormNumber : public JsonForm, public ::testing::WithParamInterface<NumberCase> {};

// Numbers read correctly rounded, a zero significand with any exponent as
// zero, and the sign of zero kept only where a fraction or exponent is given.
TEST_P(JsonFormNumber, ReadsTheCorrectlyRoundedDouble) {
  const std::string text = std::string(R"({"format":"qv_services.diagnostic","version":1,"items":)") +
                           R"([{"id":"A:b","message":"m","handles":[)" + GetParam().text + "]}]}";
  qvsvDiagnosticImpl* diag = qvsvRestoreDiagnosticFromJSON(text);
  ASSERT_NE(diag, nullptr);
  ASSERT_EQ(diag->lastItem()->numHandles, 1) << diag->lastItem()->identifier;
  const double read = diag->lastItem()->handles[0];
  if (std::isnan(GetParam().value)) {
    EXPECT_TRUE(std::isnan(read)) << read;
  } else {
    EXPECT_EQ(std::bit_cast<std::uint64_t>(read), std::bit_cast<std::uint64_t>(GetParam().value)) << read;
  }
  qvsvDiscardDiagnostic(diag);
}

INSTANTIATE_TEST_SUITE_P(
    Handles, JsonFormNumber,
    ::testing::Values(NumberCase{"0e51", 0.0}, NumberCase{"-0.000e40", -0.0}, NumberCase{"0.0e-30", 0.0},
                      NumberCase{"-0", 0.0}, NumberCase{"1e-400", 0.0}, NumberCase{"4.9e-324", 4.9e-324},
                      NumberCase{"2.2250738585072011e-308", 2.2250738585072011e-308},
                      NumberCase{"0.1e1", 1.0}, NumberCase{"9007199254740993", 9007199254740992.0},
                      NumberCase{"-9223372036854775808", -9223372036854775808.0},
                      NumberCase{"18446744073709551617", 18446744073709551616.0},
                      NumberCase{"-Infinity", -std::numeric_limits<double>::infinity()},
                      NumberCase{"Infinity", std::numeric_limits<double>::infinity()},
                      NumberCase{"NaN", std::numeric_limits<double>::quiet_NaN()}));

TEST_F(JsonForm, WrongFormatVersionOrNestingIsNotRestored) {
  for (const std::string& text : {std::string(R"({"format":"other","version":1,"items":[]})"),
                                  std::string(R"({"format":"qv_services.diagnostic","version":2,"items":[]})"),
                                  std::string("[]"), std::string(200000, '[') + std::string(200000, ']')}) {
    SCOPED_TRACE(text.substr(0, 60));
    qvsvDiagnosticImpl* error = qvsvRestoreDiagnosticFromJSON(text);
    EXPECT_EQ(errorChain(error).rfind(
                  "QV_SERVICES:serialization:RestoreFromJSONError | QV_SERVICES:serialization:JSONFormError", 0),
              0u);
    qvsvDiscardDiagnostic(error);
  }
}

TEST_F(JsonForm, CausesDeeperThanTheReadersLimitAreMalformed) {
  qvsvDiagnosticImpl* chain = make("Deep:0");
  for (int depth = 1; depth <= kQvsvMaxRestoredCauseDepth + 1; ++depth) {
    qvsvDiagnosticImpl* outer = make("Deep:x");
    qvsvAddCauseToLastDiagnosticItem(outer, chain);
    chain = outer;
  }
  qvsvDiagnosticImpl* error = qvsvRestoreDiagnosticFromJSON(qvsvSerializeDiagnosticAsJSON(chain));
  EXPECT_NE(errorChain(error).find("causes nested deeper than 100 levels"), std::string::npos) << errorChain(error);
  qvsvDiscardDiagnostic(error);
  qvsvDiscardDiagnostic(chain);
}

// The JSON writers copy plain text a block at a time and finish a text with
// a block that overlaps what was copied: one unit that needs care, at every
// position of texts of every length across several blocks, must read back.
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
