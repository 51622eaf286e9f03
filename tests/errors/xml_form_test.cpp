#include <random>

#include "qv_services/conversions.hpp"
#include "qv_services/xml_form.hpp"
#include "tessel/ut.hpp"
#include "tests/errors/diagnostics_fixture.hpp"
#include "tests/errors/random_diagnostic_tree.hpp"
#include "tests/support/test_support.hpp"

namespace {

using qvsv::test::DiagnosticsTest;

// UTF-16 text as base64 with its terminator, and as hex up to the first NUL.
TEST(XmlEncodings, ExamplesAndRandomTextsRoundTripAndGarbageDecodesSafely) {
  EXPECT_EQ(EncodeBase64FromUChars(u"hi"), "aABpAAAA");
  EXPECT_EQ(EncodeBase64FromUChars(u"A"), "QQAAAA==");
  EXPECT_EQ(EncodeBase64FromUChars(u""), "");
  EXPECT_EQ(EncodeBase64FromUChars(std::u16string(200, u'x')).find('\n'), std::string::npos) << "one line";
  EXPECT_EQ(EncodeFromUChars(std::u16string(u"\U0001F600\u00E9\0cd", 5)), "d83dde0000e9");
  EXPECT_EQ(DecodeFromChars("0041zz42"), u"A") << "decoding stops at a bad group";
  EXPECT_EQ(DecodeFromChars("004"), u"");
  std::mt19937 rng(7);
  for (std::size_t n = 0; n < qvsv::test::Scaled(2000, 50); ++n) {
    std::u16string text(rng() % 40, u' ');
    for (char16_t& c : text) c = static_cast<char16_t>(1 + rng() % 0xFFFE);
    EXPECT_EQ(DecodeBase64FromChars(EncodeBase64FromUChars(text)), text);
    EXPECT_EQ(DecodeFromChars(EncodeFromUChars(text)), text);
    std::string garbage(rng() % 30, ' ');
    for (char& c : garbage) c = static_cast<char>(rng());
    DecodeBase64FromChars(garbage);
    DecodeFromChars(garbage);
  }
}

using XmlForm = DiagnosticsTest;

TEST_F(XmlForm, MessageFormIsWrittenByteForByteWithCausesIndentedAndReleasesTheDiagnostic) {
  qvsvDiagnosticImpl* diag = make("A:b", u"");
  qvsvDiagnosticImpl* cause = make("C:d", u"hi");
  qvsvAddCauseToLastDiagnosticItem(diag, cause);
  EXPECT_EQ(qvsvSerializeDiagnosticAsXMLString(diag),
            "<diag_root>\n<diag id=\"A:b\">\n<msg encoded=\"yes\">\n    <![CDATA[]]>\n</msg>\n<causes>\n"
            "    <diag id=\"C:d\">\n    <msg encoded=\"yes\">\n        <![CDATA[aABpAAAA]]>\n    </msg>\n"
            "    </diag>\n</causes>\n</diag>\n</diag_root>\n");
  EXPECT_EQ(diag, nullptr);
  qvsvDiagnosticImpl* none = nullptr;
  EXPECT_EQ(qvsvSerializeDiagnosticAsXMLString(none), "<diag_root>\n</diag_root>\n");
}

TEST_F(XmlForm, ArgumentFormWritesTheLastItemsArgumentsForEveryItem) {
  qvsvDiagnosticImpl* diag = make("A:b", u"hi");
  EXPECT_EQ(qvsvSerializeDiagnosticAsXMLStringWithArguments(diag),
            "<diag_root><diag id=\"A:b\"><arguments></arguments></diag>\n</diag_root>");
  EXPECT_EQ(qvsvSerializeDiagnosticAsXMLStringWithArguments(diag, {std::int64_t{5}, std::string("x")}),
            "<diag_root><diag id=\"A:b\"><arguments><arg type=\"numeric\">5</arg><arg><![CDATA[x]]></arg>"
            "</arguments></diag>\n</diag_root>");
  {
    tessel::ScopedAllocationFailure failAll;
    const std::string written = qvsvSerializeDiagnosticAsXMLStringWithArguments(diag, {std::string("x")});
    EXPECT_NE(written.find("<arguments><arg</arg></arguments>"), std::string::npos)
        << "a text record that could not be copied is an empty arg: " << written;
  }
  qvsvConcatenateDiagnostics(diag, qvsvCreateDiagnosticFromMessageID(resource_core::BaseMsgID(
                                       "QVSV_TEST:extra", "Pair", {std::int64_t{-3}, std::u16string(u"w")})),
                             false);
  EXPECT_EQ(qvsvSerializeDiagnosticAsXMLStringWithArguments(diag),
            "<diag_root><diag id=\"A:b\"><arguments><arg type=\"numeric\">-3</arg><arg type=\"encoded\">dwAAAA==</arg>"
            "</arguments></diag>\n<diag id=\"QVSV_TEST:extra:Pair\"><arguments><arg type=\"numeric\">-3</arg>"
            "<arg type=\"encoded\">dwAAAA==</arg></arguments></diag>\n</diag_root>");
  ASSERT_NE(diag, nullptr) << "the argument form leaves the diagnostic with the caller";
  qvsvDiscardDiagnostic(diag);
}

TEST_F(XmlForm, SerializedMessageIdCarriesItsArguments) {
  const std::string written = qvsvCreateSerializedMessageIDForDiagnostic(
      resource_core::BaseMsgID("QV_SERVICES:utils", "InvalidHookName", {std::string("Hk")}));
  EXPECT_EQ(written, "<diag_root><diag id=\"QV_SERVICES:utils:InvalidHookName\"><arguments><arg type=\"encoded\">" +
                         EncodeBase64FromUChars(u"Hk") + "</arg></arguments></diag>\n</diag_root>");
}

TEST_F(XmlForm, RandomTreesRoundTripFromNarrowAndWideText) {
  qvsv::test::RandomDiagnosticTree trees(11);
  for (std::size_t round = 0; round < qvsv::test::Scaled(200, 20); ++round) {
    qvsvDiagnosticImpl* diag = trees.build();
    const std::string expected = tree(diag);
    const std::string written = qvsvSerializeDiagnosticAsXMLString(diag);
    qvsvDiagnosticImpl* restored = qvsvRestoreDiagnosticFromXMLFragment(written.c_str());
    qvsvDiagnosticImpl* wide = qvsvRestoreDiagnosticFromXMLFragment(ConvertStdStringToUString(written).c_str());
    ASSERT_EQ(tree(restored), expected) << written;
    ASSERT_EQ(tree(wide), expected) << written;
    qvsvDiscardDiagnostic(restored);
    qvsvDiscardDiagnostic(wide);
  }
}

TEST_F(XmlForm, ArgumentFormRestoresArgumentsAndTheReceiversText) {
  qvsvDiagnosticImpl* diag = make("QVSV_TEST:extra:Pair");
  const std::string written = qvsvSerializeDiagnosticAsXMLStringWithArguments(
      diag, {std::int64_t{7}, std::string("plain"), std::u16string(u"w\u00E9")});
  qvsvDiagnosticImpl* restored = qvsvRestoreDiagnosticFromXMLFragment(written.c_str());
  EXPECT_EQ(tree(restored), "QVSV_TEST:extra:Pair=first 7, second plain;");
  EXPECT_EQ(qvsvGetArgumentsFromLastDiagnostic(restored),
            (qvsvArgumentVector{std::int64_t{7}, std::u16string(u"plain"), std::u16string(u"w\u00E9")}));
  qvsvDiscardDiagnostic(restored);
  qvsvDiscardDiagnostic(diag);
}

TEST_F(XmlForm, DocumentTypeSuppliesTheAttributeDefaults) {
  qvsvDiagnosticImpl* restored = qvsvRestoreDiagnosticFromXMLFragment(
      "<diag_root><diag id=\"A:b\"><msg>plain &amp; simple</msg></diag>"
      "<diag id=\"QVSV_TEST:extra:Pair\"><arguments><arg>one</arg><arg type=\"numeric\">2</arg></arguments></diag>"
      "</diag_root>");
  EXPECT_EQ(tree(restored), "A:b=plain & simple;QVSV_TEST:extra:Pair=first one, second 2;");
  qvsvDiscardDiagnostic(restored);
}

TEST_F(XmlForm, TextThatIsNotAFragmentGivesNull) {
  EXPECT_EQ(qvsvRestoreDiagnosticFromXMLFragment(static_cast<const char*>(nullptr)), nullptr);
  EXPECT_EQ(qvsvRestoreDiagnosticFromXMLFragment(static_cast<const char16_t*>(nullptr)), nullptr);
  EXPECT_EQ(qvsvRestoreDiagnosticFromXMLFragment(" <diag_root></diag_root>"), nullptr);
  EXPECT_EQ(qvsvRestoreDiagnosticFromXMLFragment("<?xml version=\"1.0\"?><diag_root></diag_root>"), nullptr);
  EXPECT_EQ(qvsvRestoreDiagnosticFromXMLFragment("<diag_roo"), nullptr);
  EXPECT_EQ(qvsvRestoreDiagnosticFromXMLFragment(u" <diag_root>"), nullptr);
}

struct Malformed {
  const char* name;
  std::string document;
  const char* handlerId;  // null: Expat's own error, no third level
};

void PrintTo(const Malformed& tc, std::ostream* os) { *os << tc.name; }

class XmlRestoreErrors : public XmlForm, public ::testing::WithParamInterface<Malformed> {};

TEST_P(XmlRestoreErrors, GiveTheChainedErrorDiagnostic) {
  qvsvDiagnosticImpl* error = qvsvRestoreDiagnosticFromXMLFragment(GetParam().document.c_str());
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(ids(error), std::vector<std::string>{"QVSV_DIAGNOSTIC:RESTORE_DIAGNOSTIC_ERROR"});
  EXPECT_EQ(error->firstItem()->message, u"QV_SERVICES WASN'T ABLE TO RESTORE qvsvDiagnostic from xml string");
  qvsvDiagnosticImpl* parser = qvsvGetCauseFromDiagnosticItem(error, 0);
  ASSERT_EQ(ids(parser), std::vector<std::string>{"QVSV_SERVICES:ExpatParserError"});
  const std::string message = ConvertUStringToStdString(parser->firstItem()->message);
  EXPECT_EQ(message.rfind("XMLParser error: ", 0), 0u) << message;
  EXPECT_NE(message.find("; at "), std::string::npos) << message;
  qvsvDiagnosticImpl* handler = qvsvGetCauseFromDiagnosticItem(parser, 0);
  if (GetParam().handlerId == nullptr) {
    EXPECT_EQ(handler, nullptr);
  } else {
    EXPECT_EQ(ids(handler), std::vector<std::string>{GetParam().handlerId});
  }
  qvsvDiscardDiagnostic(error);
}

std::string nested(int depth) {
  std::string doc = "<diag_root>";
  for (int i = 0; i < depth; ++i) doc += "<diag id=\"a\"><msg>x</msg><causes>";
  doc += "<diag id=\"a\"><msg>x</msg></diag>";
  for (int i = 0; i < depth; ++i) doc += "</causes></diag>";
  return doc + "</diag_root>";
}

INSTANTIATE_TEST_SUITE_P(
    XmlForm, XmlRestoreErrors,
    ::testing::Values(
        Malformed{"unclosed", "<diag_root><diag id=\"a\"><msg>x</msg>", nullptr},
        Malformed{"junk_after_root", "<diag_root><diag id=\"a\"><msg>x</msg></diag></diag_root><x/>", nullptr},
        Malformed{"missing_id", "<diag_root><diag><msg>x</msg></diag></diag_root>",
                  "QVSV_SERVICES:QVSVDIAGNOSTICCREATION:WRONGID"},
        Malformed{"bad_type",
                  "<diag_root><diag id=\"a\"><arguments><arg type=\"bogus\">1</arg></arguments></diag></diag_root>",
                  "QVSV_SERVICES:QVSVDIAGNOSTICCREATION:WRONGATTVALUE"},
        Malformed{"bad_number",
                  "<diag_root><diag id=\"a\"><arguments><arg type=\"numeric\">1x</arg></arguments></diag></diag_root>",
                  "QVSV_SERVICES:QVSVDIAGNOSTICCREATION:WRONGATTVALUE"},
        Malformed{"no_message", "<diag_root><diag id=\"a\"></diag></diag_root>",
                  "QVSV_SERVICES:QVSVDIAGNOSTICCREATION:INTERNALERROR_NOMSGS"},
        Malformed{"empty_causes", "<diag_root><diag id=\"a\"><msg>x</msg><causes></causes></diag></diag_root>",
                  "QVSV_SERVICES:QVSVDIAGNOSTICCREATION:NODIAGNOSTICS"},
        Malformed{"empty_root", "<diag_root></diag_root>", "QVSV_SERVICES:QVSVDIAGNOSTICCREATION:INTERNALERROR_1"},
        Malformed{"nested_root", "<diag_root><diag_root></diag_root></diag_root>",
                  "QVSV_SERVICES:QVSVDIAGNOSTICCREATION:ROOT_ELEMENT"},
        Malformed{"unknown_element", "<diag_root><note/></diag_root>", "QVSV_SERVICES:QVSVDIAGNOSTICCREATION:DTD_ERROR"},
        Malformed{"misplaced_msg", "<diag_root><msg>x</msg></diag_root>",
                  "QVSV_SERVICES:QVSVDIAGNOSTICCREATION:DTD_ERROR"},
        Malformed{"too_deep", nested(kQvsvMaxRestoredCauseDepth + 1), "QVSV_SERVICES:QVSVDIAGNOSTICCREATION:DTD_ERROR"},
        Malformed{"invalid_character_reference", "<diag_root><diag id=\"a\"><msg>&#0;</msg></diag></diag_root>", nullptr}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(XmlForm, NestingUpToTheLimitRestores) {
  qvsvDiagnosticImpl* restored = qvsvRestoreDiagnosticFromXMLFragment(nested(kQvsvMaxRestoredCauseDepth).c_str());
  ASSERT_NE(restored, nullptr);
  EXPECT_EQ(ids(restored), std::vector<std::string>{"a"});
  qvsvDiscardDiagnostic(restored);
}

}  // namespace
