#include <algorithm>

#include "qv_services/conversions.hpp"
#include "tests/strings/strings_test.hpp"

namespace {

const int kAllStyles[] = {kQvsvEscapeStyleC, kQvsvEscapeStyleJson, kQvsvEscapeStyleAscii, kQvsvEscapeStyleXml,
                          kQvsvEscapeStyleUrl};

std::u16string codePoints(std::initializer_list<char32_t> cps) {
  std::u16string out;
  for (const char32_t cp : cps) {
    if (cp >= 0x10000) {
      out.push_back(static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF)));
    } else {
      out.push_back(static_cast<char16_t>(cp));
    }
  }
  return out;
}

std::u16string range(char32_t first, char32_t last) {
  std::u16string out;
  for (char32_t cp = first; cp <= last; ++cp) out += codePoints({cp});
  return out;
}

// What a lossy style gives back, by its documented rule: XML keeps only what
// XML 1.0 can hold, URL only well-formed UTF-16; the rest reads as U+FFFD.
std::u16string afterRoundTrip(const std::u16string& text, int style) {
  if (qvsvEscapeStyleIsLossless(style)) return text;
  std::u16string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t u = text[i];
    const bool high = u >= 0xD800 && u <= 0xDBFF;
    if (high && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
      out += text.substr(i++, 2);
      continue;
    }
    const bool surrogate = u >= 0xD800 && u <= 0xDFFF;
    const bool xmlForbidden = (u < 0x20 && u != 0x9 && u != 0xA && u != 0xD) || u == 0xFFFE || u == 0xFFFF;
    out.push_back(surrogate || (style == kQvsvEscapeStyleXml && xmlForbidden) ? u'\uFFFD' : u);
  }
  return out;
}

// The output's own syntax: ASCII styles write printable ASCII only, the UTF-8
// styles well-formed UTF-8 without controls and, for XML, without the
// characters its syntax reserves.
void expectWellFormedOutput(const std::string& escaped, int style) {
  const bool utf8 = style == kQvsvEscapeStyleJson || style == kQvsvEscapeStyleXml;
  if (utf8) {
    EXPECT_NO_THROW(ConvertStdStringToUString(escaped, false));
  }
  const auto bad = [&](unsigned char c) { return c < 0x20 || (!utf8 && c > 0x7E); };
  EXPECT_TRUE(std::none_of(escaped.begin(), escaped.end(), bad)) << escaped;
  if (style == kQvsvEscapeStyleXml) {
    EXPECT_EQ(escaped.find_first_of("<>\"'"), std::string::npos) << escaped;
  }
}

// --- Documented examples, both ways.

struct ExampleRow {
  const char* name;
  int style;
  std::u16string text;
  std::string escaped;
};

class EscapingExample : public ::testing::TestWithParam<ExampleRow> {};

TEST_P(EscapingExample, EscapesAsDocumentedAndReadsBack) {
  const ExampleRow& row = GetParam();
  EXPECT_EQ(ConvertUStringWithEscaping(row.text, row.style), row.escaped);
  EXPECT_EQ(ConvertEscapedStringToUString(row.escaped, row.style), row.text);
}

INSTANTIATE_TEST_SUITE_P(
    Escaping, EscapingExample,
    ::testing::Values(
        ExampleRow{"c_quotes_and_universal_names", kQvsvEscapeStyleC, u"Tab\t\"\u00E9\"", "Tab\\t\\\"\\u00E9\\\""},
        ExampleRow{"c_octal_is_always_three_digits", kQvsvEscapeStyleC, std::u16string(u"\0" "1\x1B\x7F", 4),
                   "\\0001\\033\\177"},
        ExampleRow{"c_short_escapes", kQvsvEscapeStyleC, u"\a\b\t\n\v\f\r\\", "\\a\\b\\t\\n\\v\\f\\r\\\\"},
        ExampleRow{"c_beyond_the_bmp", kQvsvEscapeStyleC, u"\U0001F600'?", "\\U0001F600'?"},
        ExampleRow{"json_keeps_non_ascii", kQvsvEscapeStyleJson, u"say \"\u00E9\"\n", "say \\\"\xC3\xA9\\\"\\n"},
        ExampleRow{"json_controls_in_lower_hex", kQvsvEscapeStyleJson, u"\x1F\x7F/", "\\u001f\x7F/"},
        ExampleRow{"json_unpaired_surrogate", kQvsvEscapeStyleJson, std::u16string{u'a', 0xDBFF}, "a\\udbff"},
        ExampleRow{"ascii_long_form_and_unpaired", kQvsvEscapeStyleAscii, u"\\\x7F\U0001F600" + std::u16string(1, 0xD800),
                   "\\\\\\u007F\\U0001F600\\uD800"},
        ExampleRow{"xml_entities", kQvsvEscapeStyleXml, u"a<b & \"c\" 'd'>", "a&lt;b &amp; &quot;c&quot; &apos;d&apos;&gt;"},
        ExampleRow{"xml_line_ends_as_references", kQvsvEscapeStyleXml, u"\t\n\r\u00E9", "&#9;&#10;&#13;\xC3\xA9"},
        ExampleRow{"url_unreserved_stay", kQvsvEscapeStyleUrl, u"a b/\u00E9-._~+", "a%20b%2F%C3%A9-._~%2B"}),
    qvsv::test::RowName());

// --- Round trips over every class of scalar value and unpaired surrogates,
// each class alone, between ordinary letters that escapes must not swallow,
// and in random mixtures.

TEST(Escaping, EveryClassRoundTripsOrLosesOnlyWhatTheStyleSays) {
  // Every scalar value in the release suite; the sanitizer runs take every n-th.
  const std::size_t stride = 0x110000 / qvsv::test::Scaled(0x110000, 0x1000);
  std::u16string everyScalar;
  for (char32_t cp = 0; cp <= 0x10FFFF; cp += static_cast<char32_t>(stride)) {
    if (cp < 0xD800 || cp > 0xDFFF) everyScalar += codePoints({cp});
  }
  std::vector<std::u16string> texts = {range(0x00, 0x1F), range(0x20, 0x7E), range(0x7F, 0x9F), range(0xA0, 0xFF),
                                       codePoints({0x100, 0x7FF, 0x800, 0xFFF, 0x1000, 0xD7FF}),
                                       codePoints({0xE000, 0xF8FF, 0xF0000, 0x10FFFD, 0xFDD0, 0xFFFE, 0xFFFF}),
                                       codePoints({0x10000, 0x1F600, 0x2A6D6, 0xEFFFF, 0x10FFFF}),
                                       {u'x', 0xD800}, {0xDC00, u'x'}, {0xDFFF, 0xDBFF}, {0xD800, 0xD83D, 0xDE00},
                                       u"\\u0041 \\x41 %41 &amp; &#65; \\\\"};
  for (std::size_t i = 0, n = texts.size(); i < n; ++i) texts.push_back(u"a1" + texts[i] + u"0f");
  std::mt19937 rng(7);
  const char32_t pool[] = {0x0, 0x7, 0x1B, u'"', u'\\', u'\'', u'&', u'%', u'0', u'7', u'f', 0x7F, 0x85, 0xE9,
                           0x20AC, 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xFFFE, 0xFFFF, 0x1F600, 0x10FFFF};
  for (std::size_t i = 0, n = qvsv::test::Scaled(3000); i < n; ++i) {
    std::u16string& text = texts.emplace_back();
    for (std::size_t k = rng() % 12; k > 0; --k) text += codePoints({pool[rng() % std::size(pool)]});
  }
  texts.push_back(everyScalar);
  for (const int style : kAllStyles) {
    for (const std::u16string& text : texts) {
      const std::string escaped = ConvertUStringWithEscaping(text, style);
      expectWellFormedOutput(escaped, style);
      ASSERT_EQ(ConvertEscapedStringToUString(escaped, style), afterRoundTrip(text, style))
          << qvsvEscapeStyleName(style) << ": " << escaped.substr(0, 200);
    }
  }
}

// --- What unescaping reads besides its own output, and what it refuses.

struct ReadRow {
  const char* name;
  int style;
  std::string escaped;
  std::u16string text;
};

class Unescaping : public ::testing::TestWithParam<ReadRow> {};

TEST_P(Unescaping, ReadsTheWholeSyntax) {
  EXPECT_EQ(ConvertEscapedStringToUString(GetParam().escaped, GetParam().style), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Escaping, Unescaping,
    ::testing::Values(ReadRow{"c_short_octal_and_hex", kQvsvEscapeStyleC, "\\'\\?\\12\\x41\\x00e9\\0", std::u16string(u"'?\nA\u00E9\0", 6)},
                      ReadRow{"c_surrogate_pair_as_two_escapes", kQvsvEscapeStyleC, "\\uD83D\\uDE00", u"\U0001F600"},
                      ReadRow{"json_solidus_and_upper_hex", kQvsvEscapeStyleJson, "\\/\\u00E9", u"/\u00E9"},
                      ReadRow{"json_raw_utf8_and_bad_bytes", kQvsvEscapeStyleJson, "\xC3\xA9\xFF", u"\u00E9\uFFFD"},
                      ReadRow{"xml_decimal_and_hex_references", kQvsvEscapeStyleXml, "&#233;&#xe9;&#x1F600;&#00065;",
                              u"\u00E9\u00E9\U0001F600A"},
                      ReadRow{"xml_references_up_to_the_last_code_point", kQvsvEscapeStyleXml, "&#x10FFFF;&#1114111;",
                              u"\U0010FFFF\U0010FFFF"},
                      ReadRow{"url_lower_hex_and_plus", kQvsvEscapeStyleUrl, "%c3%a9+a", u"\u00E9+a"},
                      ReadRow{"url_bytes_that_are_not_utf8", kQvsvEscapeStyleUrl, "%C3%28", u"\uFFFD("},
                      ReadRow{"ascii_long_form_in_the_bmp", kQvsvEscapeStyleAscii, "\\U000000e9", u"\u00E9"}),
    qvsv::test::RowName());

struct RefusedRow {
  const char* name;
  int style;
  std::string escaped;
  std::string mentions;
};

class UnescapingRefuses : public ::testing::TestWithParam<RefusedRow> {};

TEST_P(UnescapingRefuses, NamingTheStyleTheEscapeAndItsOffset) {
  EXPECT_THAT([this] { (void)ConvertEscapedStringToUString(GetParam().escaped, GetParam().style); },
              ThrowsMessage<std::invalid_argument>(HasSubstr(GetParam().mentions)));
}

INSTANTIATE_TEST_SUITE_P(
    Escaping, UnescapingRefuses,
    ::testing::Values(RefusedRow{"c_unknown_letter", kQvsvEscapeStyleC, "ab\\q", "invalid c escape '\\q' at offset 2"},
                      RefusedRow{"c_trailing_backslash", kQvsvEscapeStyleC, "ab\\", "'\\' at offset 2"},
                      RefusedRow{"c_hex_without_digits", kQvsvEscapeStyleC, "\\xg", "'\\x' at offset 0"},
                      RefusedRow{"c_hex_beyond_a_unit", kQvsvEscapeStyleC, "\\x10000", "'\\x10000'"},
                      RefusedRow{"ascii_short_universal", kQvsvEscapeStyleAscii, "x\\u12", "'\\u12' at offset 1"},
                      RefusedRow{"ascii_beyond_unicode", kQvsvEscapeStyleAscii, "\\U00110000", "beyond U+10FFFF"},
                      RefusedRow{"ascii_c_escape", kQvsvEscapeStyleAscii, "\\n", "invalid ascii escape '\\n'"},
                      RefusedRow{"json_hex_escape", kQvsvEscapeStyleJson, "\\x41", "invalid json escape '\\x'"},
                      RefusedRow{"json_bad_hex_digit", kQvsvEscapeStyleJson, "\\u12G4", "'\\u12G4'"},
                      RefusedRow{"xml_unknown_entity", kQvsvEscapeStyleXml, "a&nbsp;", "'&nbsp;' at offset 1"},
                      RefusedRow{"xml_unterminated", kQvsvEscapeStyleXml, "&amp", "no ';'"},
                      RefusedRow{"xml_surrogate_reference", kQvsvEscapeStyleXml, "&#xD800;", "'&#xD800;'"},
                      RefusedRow{"xml_reference_beyond_unicode", kQvsvEscapeStyleXml, "&#x110000;", "'&#x110000;'"},
                      RefusedRow{"xml_empty_reference", kQvsvEscapeStyleXml, "&#;", "'&#;'"},
                      RefusedRow{"url_bad_hex", kQvsvEscapeStyleUrl, "a%G1", "invalid url escape '%G1' at offset 1"},
                      RefusedRow{"url_truncated", kQvsvEscapeStyleUrl, "a%4", "'%4' at offset 1"}),
    qvsv::test::RowName());

// --- Styles by name.

TEST(Escaping, StylesHaveNamesAndUnknownOnesAreNamedInTheError) {
  for (const int style : kAllStyles) EXPECT_EQ(qvsvEscapeStyleFromName(qvsvEscapeStyleName(style)), style);
  EXPECT_TRUE(qvsvEscapeStyleIsLossless(kQvsvEscapeStyleC));
  EXPECT_FALSE(qvsvEscapeStyleIsLossless(kQvsvEscapeStyleUrl));
  EXPECT_THAT([] { (void)qvsvEscapeStyleFromName("JSON"); },
              ThrowsMessage<std::invalid_argument>("'JSON' is not an escaping style (styles: c, json, ascii, xml, url)"));
  for (const int bad : {0, 3, 7, -1}) {
    EXPECT_THROW((void)ConvertUStringWithEscaping(u"x", bad), std::invalid_argument) << bad;
    EXPECT_THROW((void)ConvertEscapedStringToUString("x", bad), std::invalid_argument) << bad;
  }
  EXPECT_THROW((void)ConvertUStringWithEscaping(nullptr, true, 0), std::invalid_argument);
}

}  // namespace
