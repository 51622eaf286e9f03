// What the XML writers write reads back: argument texts with CDATA's own
// terminator and bytes XML cannot hold, identifiers in the ASCII-7 form, and
// the handler that reports a fragment as it arrives.
#include <random>
#include <stdexcept>

#include "qv_services/conversions.hpp"
#include "qv_services/xml_form.hpp"
#include "tessel/console.hpp"
#include "tests/errors/diagnostics_fixture.hpp"
#include "tests/support/test_support.hpp"

namespace {

using qvsv::test::DiagnosticsTest;

constexpr const char* kRestoreError = "QVSV_DIAGNOSTIC:RESTORE_DIAGNOSTIC_ERROR";
constexpr const char* kWithArgument = "QV_SERVICES:utils:InvalidHookName";  // one text argument

std::string firstId(qvsvDiagnosticImpl* const& diag) {
  return diag == nullptr || diag->isEmpty() ? std::string("null") : diag->items().front()->identifier;
}

// --- Narrow-string arguments in the argument form. ---

class XmlArgumentText : public DiagnosticsTest {
 protected:
  // Writes one diagnostic whose only argument is the narrow text, restores
  // it and returns the restored argument's text (restored arguments are
  // wide); throws when the document did not restore.
  static std::u16string readBack(const std::string& text, std::string* document = nullptr) {
    qvsvDiagnosticImpl* diag = make(kWithArgument);
    const std::string xml = qvsvSerializeDiagnosticAsXMLStringWithArguments(diag, {text});
    qvsvDiscardDiagnostic(diag);
    if (document != nullptr) *document = xml;
    qvsvDiagnosticImpl* restored = qvsvRestoreDiagnosticFromXMLFragment(xml.c_str());
    const std::string id = firstId(restored);
    const qvsvArgumentVector arguments = qvsvGetArgumentsFromLastDiagnostic(restored);
    qvsvDiscardDiagnostic(restored);
    if (id != kWithArgument || arguments.size() != 1) throw std::runtime_error("did not restore: " + xml);
    if (const auto* narrow = std::get_if<std::string>(&arguments.front())) return ConvertStdStringToUString(*narrow);
    return std::get<std::u16string>(arguments.front());
  }
};

struct TextCase {
  const char* name;
  std::string text;
};

void PrintTo(const TextCase& c, std::ostream* os) { *os << c.name << " " << ::testing::PrintToString(c.text); }

class XmlArgumentTextTable : public XmlArgumentText, public ::testing::WithParamInterface<TextCase> {};

// Ill-formed bytes are the one loss: they arrive as U+FFFD, as every
// conversion of the library reads them.
TEST_P(XmlArgumentTextTable, ReadsBackAsItsCharacters) {
  std::string document;
  EXPECT_EQ(readBack(GetParam().text, &document), ConvertStdStringToUString(GetParam().text)) << document;
}

INSTANTIATE_TEST_SUITE_P(
    Texts, XmlArgumentTextTable,
    ::testing::Values(TextCase{"Terminator", "a]]>b"}, TextCase{"Overlapping", "]]]>>]]]]>"},
                      TextCase{"CrBeforeTerminator", "\r]]>\r"}, TextCase{"Empty", ""},
                      TextCase{"IllFormedByte", "bad \xFF byte"}, TextCase{"EncodedSurrogate", "\xED\xA0\x80"},
                      TextCase{"NonCharacterFFFE", "\xEF\xBF\xBE"}, TextCase{"TerminatorAndControl", "]]>\x01"}),
    qvsv::test::RowName());

TEST_F(XmlArgumentText, TextThatXmlHoldsStaysInCdataSplitAtTheTerminator) {
  std::string document;
  readBack("a]]>b\r", &document);
  EXPECT_NE(document.find("<arg><![CDATA[a]]]]><![CDATA[>b]]>&#13;<![CDATA[]]></arg>"), std::string::npos)
      << document;
}

TEST_F(XmlArgumentText, RandomBytesAlwaysRestoreToTheirCharacters) {
  std::mt19937 rng(13);
  const std::string favourites = "]]>\r\n\t<&\"'\xC3\xA4\xFF\x01";
  for (std::size_t n = 0; n < qvsv::test::Scaled(1000, 100); ++n) {
    std::string text(rng() % 24, ' ');
    for (char& c : text) {
      c = rng() % 2 == 0 ? favourites[rng() % favourites.size()] : static_cast<char>(1 + rng() % 255);
    }
    ASSERT_EQ(readBack(text), ConvertStdStringToUString(text)) << ::testing::PrintToString(text);
  }
}

// --- Identifiers: the message form writes them raw, the ASCII-7 form escapes them. ---

class XmlIdentifiers : public DiagnosticsTest {
 protected:
  // Item identifiers and messages of what restores from the document.
  static std::string restoredTree(const std::string& xml) {
    qvsvDiagnosticImpl* restored = qvsvRestoreDiagnosticFromXMLFragment(xml.c_str());
    std::string out = tree(restored);
    qvsvDiscardDiagnostic(restored);
    return out;
  }
};

struct IdCase {
  const char* name;
  std::string id;
  std::string messageFormReadsBack;  // what the message form restores as, or the restore error
};

class XmlIdentifierTable : public XmlIdentifiers, public ::testing::WithParamInterface<IdCase> {};

TEST_P(XmlIdentifierTable, Ascii7FormCarriesItWhereTheMessageFormCannot) {
  const IdCase& c = GetParam();
  qvsvDiagnosticImpl* diag = make(c.id.c_str(), u"m\u00E9");
  qvsvDiagnosticImpl* cause = make(c.id.c_str(), u"cause");
  qvsvAddCauseToLastDiagnosticItem(diag, cause);
  const std::string ascii = CreateSerializedDiagnosticAsASCII7String(diag);
  for (const char byte : ascii) ASSERT_LT(static_cast<unsigned char>(byte), 0x80u) << ascii;
  const std::string expected = tree(diag);
  EXPECT_EQ(restoredTree(ascii), expected) << ascii;

  const std::string raw = qvsvSerializeDiagnosticAsXMLString(diag);
  const std::string back = restoredTree(raw);
  if (c.messageFormReadsBack == kRestoreError) {
    EXPECT_EQ(back.substr(0, back.find('=')), kRestoreError) << raw;
  } else {
    EXPECT_EQ(back, c.messageFormReadsBack + "=m\u00E9[" + c.messageFormReadsBack + "=cause;];") << raw;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Ids, XmlIdentifierTable,
    ::testing::Values(IdCase{"Plain", "A:b", "A:b"}, IdCase{"NonAscii", "Ger\xC3\xA4t:\xF0\x9F\x98\x80", "Ger\xC3\xA4t:\xF0\x9F\x98\x80"},
                      IdCase{"Quote", "a\"b", kRestoreError}, IdCase{"Less", "a<b", kRestoreError},
                      IdCase{"Ampersand", "a&b", kRestoreError}, IdCase{"Reference", "a&amp;b", "a&b"},
                      IdCase{"Tab", "a\tb", "a b"}, IdCase{"Newline", "a\nb", "a b"},
                      IdCase{"CarriageReturn", "a\rb", "a b"}, IdCase{"Greater", "a>b", "a>b"},
                      IdCase{"Apostrophe", "a'b", "a'b"}, IdCase{"Delete", "a\x7F" "b", "a\x7F" "b"}),
    qvsv::test::RowName());

TEST_F(XmlIdentifiers, Ascii7FormIsTheMessageFormWhenNothingNeedsEscaping) {
  qvsvDiagnosticImpl* diag = make("A:b", u"hi");
  qvsvDiagnosticImpl* causes = queueOf(2, "C");
  qvsvAddCauseToLastDiagnosticItem(diag, causes);
  const std::string ascii = CreateSerializedDiagnosticAsASCII7String(diag);
  EXPECT_NE(diag, nullptr) << "the diagnostic stays with the caller";
  EXPECT_EQ(ascii, qvsvSerializeDiagnosticAsXMLString(diag));
  EXPECT_EQ(CreateSerializedDiagnosticAsASCII7String(nullptr), "<diag_root>\n</diag_root>\n");
}

TEST_F(XmlIdentifiers, Ascii7FormWritesWhatXmlCannotHoldAsReplacementCharacter) {
  qvsvDiagnosticImpl* diag = make("a\x01:\xFF\xC3", u"m");
  const std::string ascii = CreateSerializedDiagnosticAsASCII7String(diag);
  EXPECT_NE(ascii.find("<diag id=\"a&#65533;:&#65533;&#65533;\">"), std::string::npos) << ascii;
  EXPECT_EQ(restoredTree(ascii), "a\xEF\xBF\xBD:\xEF\xBF\xBD\xEF\xBF\xBD=m;");
  qvsvDiscardDiagnostic(diag);
}

// --- Reporting a fragment as it arrives. ---

class XmlHandleMessage : public DiagnosticsTest {
 protected:
  static std::string fragment(const char* id, const std::u16string& message) {
    qvsvDiagnosticImpl* diag = make(id, message);
    return qvsvSerializeDiagnosticAsXMLString(diag);
  }
};

TEST_F(XmlHandleMessage, RestoredFragmentIsReportedInTheGivenContextAndOtherTextIsNot) {
  tessel::ConsoleCapture console;
  EXPECT_TRUE(qvsvHandleMessageFromXMLFragment(fragment("A:e", u"from afar").c_str(), qvsv::util::kErrorContext));
  EXPECT_TRUE(qvsvHandleMessageFromXMLFragment(fragment("A:w", u"careful").c_str(), qvsv::util::kWarningContext));
  const std::u16string wide = ConvertStdStringToUString(fragment("A:i", u"just so you know"));
  EXPECT_TRUE(qvsvHandleMessageFromXMLFragment(wide.c_str(), qvsv::util::kInformationContext));
  // A restore error forwarded from elsewhere is a fragment like any other.
  EXPECT_TRUE(qvsvHandleMessageFromXMLFragment(fragment(kRestoreError, u"lost elsewhere").c_str(),
                                               qvsv::util::kErrorContext));
  EXPECT_FALSE(qvsvHandleMessageFromXMLFragment(" <diag_root></diag_root>", qvsv::util::kErrorContext));
  EXPECT_FALSE(qvsvHandleMessageFromXMLFragment(static_cast<const char*>(nullptr), qvsv::util::kErrorContext));
  EXPECT_FALSE(qvsvHandleMessageFromXMLFragment(static_cast<const char16_t*>(nullptr), qvsv::util::kErrorContext));
  const std::string shown = "Error: from afar\nWarning: careful\njust so you know\nError: lost elsewhere\n";
  EXPECT_EQ(console.text(), shown);
  // A malformed fragment reports the restore error in its place.
  EXPECT_FALSE(qvsvHandleMessageFromXMLFragment("<diag_root><diag id=\"A:b\">", qvsv::util::kWarningContext));
  EXPECT_EQ(console.text().find("Warning: QV_SERVICES WASN'T ABLE TO RESTORE qvsvDiagnostic from xml string"), shown.size())
      << console.text();
}

TEST_F(XmlHandleMessage, UnknownContextThrowsNamingIt) {
  tessel::ConsoleCapture console;
  try {
    qvsvHandleMessageFromXMLFragment(fragment("A:b", u"m").c_str(),
                                     static_cast<qvsv::util::qvsvDiagnosticListenerContext>(7));
    FAIL() << "no exception";
  } catch (const std::invalid_argument& e) {
    EXPECT_NE(std::string(e.what()).find("7 is not a report context"), std::string::npos) << e.what();
  }
  EXPECT_EQ(console.text(), "");
}

}  // namespace
