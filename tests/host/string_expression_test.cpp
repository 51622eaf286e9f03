#include <gtest/gtest.h>

#include <string>

#include "tessel/interpreter.hpp"
#include "tests/support/test_support.hpp"

namespace {

struct Readable {
  const char* name;
  std::u16string expression;
  std::u16string value;
};

class StringExpressionReads : public ::testing::TestWithParam<Readable> {};

TEST_P(StringExpressionReads, ToItsValue) {
  EXPECT_EQ(tessel::EvaluateStringExpression(GetParam().expression), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    StringExpression, StringExpressionReads,
    ::testing::Values(Readable{"lone_text", u"'abc'", u"abc"}, Readable{"empty_text", u"''", u""},
                      Readable{"doubled_quotes", u"'it''s '''''", u"it's ''"},
                      Readable{"blanks_around", u" \t'a b' ", u"a b"}, Readable{"empty_brackets", u"[ ]", u""},
                      Readable{"blank_separated", u"['a' char(10) 'b']", u"a\nb"},
                      Readable{"comma_separated", u"['a',char(34) , 'b']", u"a\"b"},
                      Readable{"blanks_inside_call", u"[char( 65 )]", u"A"},
                      Readable{"extreme_codes", u"[char(0) char(00065535)]", std::u16string(u"\0\uFFFF", 2)},
                      Readable{"quote_next_to_call", u"['''' char(39)]", u"''"},
                      Readable{"non_ascii_kept", u"['\u00E9\U0001F600']", u"\u00E9\U0001F600"}),
    qvsv::test::RowName());

struct Unreadable {
  const char* name;
  std::u16string expression;
  std::size_t position;
};

class StringExpressionRejects : public ::testing::TestWithParam<Unreadable> {};

TEST_P(StringExpressionRejects, WithParseErrorNamingThePosition) {
  try {
    tessel::EvaluateStringExpression(GetParam().expression);
    FAIL() << "no exception";
  } catch (const tessel::HostError& e) {
    EXPECT_EQ(e.identifier(), "Tessel:ParseError");
    const std::string where = "position " + std::to_string(GetParam().position) + ":";
    EXPECT_NE(std::string(e.what()).find(where), std::string::npos) << e.what();
  }
}

INSTANTIATE_TEST_SUITE_P(StringExpression, StringExpressionRejects,
                         ::testing::Values(Unreadable{"empty", u"", 1}, Unreadable{"bare_word", u"abc", 1},
                                           Unreadable{"unterminated", u"'abc", 1},
                                           Unreadable{"line_feed_inside_quotes", u"['a' 'b\nc']", 6},
                                           Unreadable{"missing_separator", u"['a''b'char(10)]", 8},
                                           Unreadable{"double_comma", u"['a',,'b']", 6},
                                           Unreadable{"trailing_comma", u"['a',]", 6},
                                           Unreadable{"unclosed_bracket", u"['a'", 5},
                                           Unreadable{"code_too_large", u"[char(65536)]", 7},
                                           Unreadable{"code_missing", u"[char()]", 7},
                                           Unreadable{"hex_code", u"[char(0x41)]", 8},
                                           Unreadable{"blank_before_paren", u"[char (65)]", 2},
                                           Unreadable{"text_after_expression", u"'a' 'b'", 5},
                                           Unreadable{"nested_brackets", u"[['a']]", 2}),
                         qvsv::test::RowName());

}  // namespace
