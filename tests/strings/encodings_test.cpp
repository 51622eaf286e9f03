#include "qv_services/conversions.hpp"
#include "qv_services/encodings.hpp"
#include "tessel/foundation.hpp"
#include "tests/strings/strings_test.hpp"

namespace {

// The offset named by an ill-formed-input error, or -1 when nothing was thrown.
template <typename Fn>
long thrownOffset(Fn fn) {
  try {
    fn();
  } catch (const std::invalid_argument& e) {
    const std::string what = e.what();
    const auto at = what.find("at offset ");
    if (at != std::string::npos) return std::stol(what.substr(at + 10));
    ADD_FAILURE() << "no offset in: " << what;
  }
  return -1;
}

// --- UTF-8 through ICU follows the library's own rule (its table of
// ill-formed input is in conversions_test.cpp) exactly: the same
// replacements and the same first offset, in both directions.

TEST(Encodings, Utf8AgreesWithTheLibrarysOwnConversionOnRandomInput) {
  std::mt19937 rng(5);
  const unsigned char interesting[] = {0x00, 0x41, 0x7F, 0x80, 0xBF, 0xC0, 0xC2, 0xDF, 0xE0, 0xED, 0xEF,
                                       0xF0, 0xF4, 0xF5, 0xFF, 0xA0, 0x9F, 0x90, 0x8F};
  for (std::size_t i = 0, n = qvsv::test::Scaled(10000); i < n; ++i) {
    std::string bytes(rng() % 10, '\0');
    for (char& c : bytes) c = static_cast<char>(rng() % 2 ? interesting[rng() % std::size(interesting)] : rng());
    ASSERT_EQ(ConvertNarrowToUString(bytes, "UTF-8"), ConvertStdStringToUString(bytes));
    ASSERT_EQ(thrownOffset([&] { (void)ConvertNarrowToUString(bytes, "utf8", false); }),
              thrownOffset([&] { (void)ConvertStdStringToUString(bytes, false); }));

    std::u16string units(rng() % 8, u'\0');
    for (char16_t& u : units) u = static_cast<char16_t>(rng() % 3 ? 0xD7F0 + rng() % 0x820 : rng());
    ASSERT_EQ(ConvertUStringToNarrow(units, "UTF-8"), ConvertUStringToStdString(units));
    ASSERT_EQ(thrownOffset([&] { (void)ConvertUStringToNarrow(units, "UTF-8", false); }),
              thrownOffset([&] { (void)ConvertUStringToStdString(units, false); }));
  }
}

// --- Latin-1.

// Latin-1 holds exactly the first 256 code points; the rest is written as
// question marks, or refused naming the encoding and the offset.
TEST(Encodings, Latin1HoldsTheFirst256CodePointsAndSubstitutesOrNamesTheRest) {
  std::string bytes;
  std::u16string text;
  for (int b = 0; b < 256; ++b) {
    bytes.push_back(static_cast<char>(b));
    text.push_back(static_cast<char16_t>(b));
  }
  EXPECT_EQ(ConvertNarrowToUString(bytes, "ISO-8859-1", false), text);
  EXPECT_EQ(ConvertUStringToNarrow(text, "latin1", false), bytes);
  const std::u16string beyond = {u'5', u' ', 0x20AC, u'x', 0xD83D, 0xDE00, 0xDC00, 0x0100};
  EXPECT_EQ(ConvertUStringToNarrow(beyond, "latin1"), "5 ?x???");
  EXPECT_EQ(thrownOffset([&] { (void)ConvertUStringToNarrow(beyond, "latin1", false); }), 2);
  EXPECT_EQ(thrownOffset([&] { (void)ConvertUStringToNarrow(std::u16string{u'a', 0xDC00}, "latin1", false); }), 1);
  EXPECT_THAT([&] { (void)ConvertUStringToNarrow(beyond, "latin1", false); },
              ThrowsMessage<std::invalid_argument>(HasSubstr("ISO-8859-1")));
}

// --- The host's locale encoding.

struct LocaleRow {
  const char* name;
  const char* locale;
  const char* encoding;
  std::u16string text;
  std::string bytes;
};

class EncodingsLocale : public ::testing::TestWithParam<LocaleRow> {};

TEST_P(EncodingsLocale, FollowsTheCodesetOfTheGlobalLocaleName) {
  tessel::ScopedGlobalLocale locale(GetParam().locale);
  EXPECT_EQ(qvsvLocaleEncodingName(), GetParam().encoding);
  EXPECT_EQ(ConvertUStringToNarrow(GetParam().text, "locale", false), GetParam().bytes);
  EXPECT_EQ(ConvertNarrowToUString(GetParam().bytes, "LOCALE", false), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Encodings, EncodingsLocale,
    ::testing::Values(LocaleRow{"no_codeset_is_utf8", "de_DE", "UTF-8", u"\u20AC", "\xE2\x82\xAC"},
                      LocaleRow{"latin9", "de_DE.ISO-8859-15", "ISO-8859-15", u"\u20AC\u00E9", "\xA4\xE9"},
                      LocaleRow{"modifier_is_not_part_of_the_codeset", "de_DE.UTF-8@euro", "UTF-8", u"\u00E9",
                                "\xC3\xA9"},
                      LocaleRow{"windows_code_page", "de_DE.windows-1252", "windows-1252", u"\u20AC", "\x80"}),
    qvsv::test::RowName());

// The locale's encoding substitutes and refuses like any other; Latin-9 put
// the euro sign where Latin-1 had U+00A4. An unknown codeset is named.
TEST(Encodings, LocaleEncodingSubstitutesOrNamesWhatItCannotHoldOrItsUnknownCodeset) {
  tessel::ScopedGlobalLocale locale("fr_FR.ISO-8859-15");
  const std::u16string text = u"1 \u20AC \u00A4";
  EXPECT_EQ(ConvertUStringToNarrow(text, "locale"), "1 \xA4 ?");
  EXPECT_EQ(thrownOffset([&] { (void)ConvertUStringToNarrow(text, "locale", false); }), 4);
  tessel::ScopedGlobalLocale unknown("de_DE.NOPE");
  EXPECT_THAT([] { (void)ConvertUStringToNarrow(u"x", "locale"); },
              ThrowsMessage<std::invalid_argument>(HasSubstr("'de_DE.NOPE' names the encoding 'NOPE'")));
}

// --- Names.

TEST(Encodings, NamesAreMatchedLooselyAndUnknownOnesAreNamed) {
  EXPECT_EQ(qvsvCanonicalEncodingName("utf8"), "UTF-8");
  EXPECT_EQ(qvsvCanonicalEncodingName("ISO_8859-1"), "ISO-8859-1");
  EXPECT_EQ(qvsvCanonicalEncodingName("LATIN1"), "ISO-8859-1");
  for (const char* bad : {"rot13", ""}) {
    EXPECT_THAT([&] { (void)ConvertNarrowToUString("x", bad); },
                ThrowsMessage<std::invalid_argument>("'" + std::string(bad) + "' is not a known encoding"));
  }
}

TEST(Encodings, EmbeddedNulsAndLongTextsRoundTripInEveryEncoding) {
  std::u16string text(u"a\0b\u00E9", 4);
  while (text.size() < 5000) text += text;  // past the first guess of the output size
  for (const char* encoding : {"UTF-8", "ISO-8859-1", "UTF-16LE", "windows-1252", "locale"}) {
    SCOPED_TRACE(encoding);
    EXPECT_EQ(ConvertNarrowToUString(ConvertUStringToNarrow(text, encoding, false), encoding, false), text);
  }
}

}  // namespace
