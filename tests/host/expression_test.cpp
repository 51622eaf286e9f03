// The host's two expression readers: full expressions (numbers, texts and
// calls) and string expressions, which share the reading of text literals.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "tessel/array.hpp"
#include "tessel/interpreter.hpp"
#include "tests/support/raised.hpp"
#include "tests/support/test_support.hpp"

namespace {

using qvsv::test::Raised;

// Every test runs in a host call scope and must leave no array behind.
class Expression : public ::testing::Test {
 protected:
  void SetUp() override {
    live_ = tessel::LiveArrayCount();
    scope_.emplace();
  }
  void TearDown() override {
    scope_.reset();
    EXPECT_EQ(tessel::LiveArrayCount(), live_);
  }

  // A host function that records its inputs as text and returns their count.
  tessel::ScopedFunction recorder_{
      "record", [this](int nlhs, txArray* plhs[], int nrhs, txArray* prhs[]) {
        for (int i = 0; i < nrhs; ++i) {
          calls_.push_back(txIsChar(prhs[i]) ? txGetStringUTF8(prhs[i]) : std::to_string(txGetScalar(prhs[i])));
        }
        if (nlhs > 0) plhs[0] = txCreateDoubleScalar(nrhs);
      }};
  // Concatenates its text inputs.
  tessel::ScopedFunction join_{"pkg.join", [](int, txArray* plhs[], int nrhs, txArray* prhs[]) {
                                 std::u16string out;
                                 for (int i = 0; i < nrhs; ++i) out += txGetString(prhs[i]);
                                 plhs[0] = txCreateString(out);
                               }};
  std::vector<std::string> calls_;
  std::size_t live_ = 0;
  std::optional<tessel::HostCallScope> scope_;
};

struct Number {
  const char* name;
  std::u16string expression;
  double value;
};

class ExpressionNumbers : public Expression, public ::testing::WithParamInterface<Number> {};

TEST_P(ExpressionNumbers, ReadToTheirValue) {
  EXPECT_EQ(txGetScalar(tessel::EvaluateExpression(GetParam().expression)), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(Expression, ExpressionNumbers,
                         ::testing::Values(Number{"integer", u"42", 42}, Number{"signed_fraction", u" -2.5 ", -2.5},
                                           Number{"leading_point", u".25", 0.25}, Number{"exponent", u"+1e3", 1000},
                                           Number{"trailing_point", u"7.", 7}),
                         qvsv::test::RowName());

struct Text {
  const char* name;
  std::u16string expression;
  std::u16string value;
};

class StringExpressionReads : public ::testing::TestWithParam<Text> {};

TEST_P(StringExpressionReads, ToItsValue) {
  EXPECT_EQ(tessel::EvaluateStringExpression(GetParam().expression), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    StringExpression, StringExpressionReads,
    ::testing::Values(Text{"lone_text", u"'abc'", u"abc"}, Text{"doubled_quotes", u"'it''s '''''", u"it's ''"},
                      Text{"blanks_around", u" \t'a b' ", u"a b"}, Text{"empty_brackets", u"[ ]", u""},
                      Text{"blank_separated", u"['a' char(10) 'b']", u"a\nb"},
                      Text{"comma_separated", u"['a',char(34) , 'b']", u"a\"b"},
                      Text{"blanks_inside_call", u"[char( 65 )]", u"A"},
                      Text{"extreme_codes", u"[char(0) char(00065535)]", std::u16string(u"\0\uFFFF", 2)},
                      Text{"non_ascii_kept", u"['\u00E9\U0001F600']", u"\u00E9\U0001F600"}),
    qvsv::test::RowName());

TEST_F(Expression, CallsRegisteredFunctionsWithNestedArgumentsAndNoOutputsAskedGivesNull) {
  txArray* value = tessel::EvaluateExpression(u"pkg.join('a', pkg.join( ['b' char(99)] ,'d'),'', char(101))");
  EXPECT_EQ(txGetString(value), u"abcde");
  txArray* count = tessel::EvaluateExpression(u"record(1, 'x', record)");
  EXPECT_EQ(txGetScalar(count), 3.0);
  EXPECT_EQ(tessel::EvaluateExpression(u"record('only')", 0), nullptr);
  EXPECT_EQ(calls_, (std::vector<std::string>{"1.000000", "x", "0.000000", "only"}))
      << "a bare name is a call without arguments, made before the outer call";
  const int before = tessel::RefreshCustomizationsCount();
  EXPECT_EQ(tessel::EvaluateExpression(u"qv_refresh_customizations()", 0), nullptr);
  EXPECT_EQ(tessel::RefreshCustomizationsCount(), before + 1);
}

TEST_F(Expression, ErrorBuiltInRaisesTheHostError) {
  const auto error =
      Raised<tessel::HostError>([] { tessel::EvaluateExpression(u"error('Demo:fail', ['two' char(10) 'lines'])"); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->identifier(), "Demo:fail");
  EXPECT_STREQ(error->what(), "two\nlines");
  const auto plain = Raised<tessel::HostError>([] { tessel::EvaluateExpression(u"error('plain')"); });
  ASSERT_TRUE(plain);
  EXPECT_EQ(plain->identifier(), "Tessel:UserError");
}

TEST_F(Expression, FailingInnerCallDestroysWhatWasMadeAndSkipsTheOuterOne) {
  EXPECT_THROW(tessel::EvaluateExpression(u"record('kept', record(no_such_function))"), tessel::HostError);
  EXPECT_TRUE(calls_.empty());
}

// where is the reader's unit for the place of the fault: "column" for full
// expressions, "position" for string expressions.
struct Unreadable {
  const char* name;
  std::string where;
  std::u16string expression;
  std::size_t place;
};

class ExpressionRejects : public Expression, public ::testing::WithParamInterface<Unreadable> {};

TEST_P(ExpressionRejects, BeforeCallingAnythingNamingThePlace) {
  const Unreadable& u = GetParam();
  const auto error = Raised<tessel::HostError>([&] {
    if (u.where == "column") {
      tessel::EvaluateExpression(u.expression);
    } else {
      tessel::EvaluateStringExpression(u.expression);
    }
  });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->identifier(), "Tessel:ParseError");
  EXPECT_THAT(error->what(), ::testing::HasSubstr(" " + u.where + " " + std::to_string(u.place) + ":"));
  EXPECT_TRUE(calls_.empty()) << "a syntax error runs nothing";
}

INSTANTIATE_TEST_SUITE_P(
    Expression, ExpressionRejects,
    ::testing::Values(Unreadable{"empty", "column", u"", 1}, Unreadable{"lone_sign", "column", u"-", 1},
                      Unreadable{"number_into_name", "column", u"12abc", 3},
                      Unreadable{"exponent_without_digits", "column", u"1e+", 2},
                      Unreadable{"unclosed_call", "column", u"record('a'", 11},
                      Unreadable{"missing_comma", "column", u"record(1 2)", 10},
                      Unreadable{"empty_argument", "column", u"record(1,,2)", 10},
                      Unreadable{"name_ending_in_point", "column", u"pkg.(1)", 4},
                      Unreadable{"text_after_call", "column", u"record() 5", 10},
                      Unreadable{"symbol", "column", u"record(@)", 8}),
    qvsv::test::RowName());

INSTANTIATE_TEST_SUITE_P(
    StringExpression, ExpressionRejects,
    ::testing::Values(Unreadable{"empty", "position", u"", 1}, Unreadable{"unterminated", "position", u"'abc", 1},
                      Unreadable{"line_feed_inside_quotes", "position", u"['a' 'b\nc']", 6},
                      Unreadable{"missing_separator", "position", u"['a''b'char(10)]", 8},
                      Unreadable{"trailing_comma", "position", u"['a',]", 6},
                      Unreadable{"unclosed_bracket", "position", u"['a'", 5},
                      Unreadable{"code_too_large", "position", u"[char(65536)]", 7},
                      Unreadable{"code_missing", "position", u"[char()]", 7},
                      Unreadable{"hex_code", "position", u"[char(0x41)]", 8},
                      Unreadable{"blank_before_paren", "position", u"[char (65)]", 2},
                      Unreadable{"text_after_expression", "position", u"'a' 'b'", 5}),
    qvsv::test::RowName());

TEST_F(Expression, NestingPastTheLimitIsASyntaxError) {
  auto nestedCalls = [](int calls) {
    std::u16string text;
    for (int i = 0; i < calls; ++i) text += u"record(";
    return text + u"1" + std::u16string(static_cast<std::size_t>(calls), u')');
  };
  EXPECT_NO_THROW(txDestroyArray(tessel::EvaluateExpression(nestedCalls(tessel::kMaxExpressionDepth))));
  calls_.clear();
  const auto error =
      Raised<tessel::HostError>([&] { tessel::EvaluateExpression(nestedCalls(tessel::kMaxExpressionDepth + 1)); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->identifier(), "Tessel:ParseError");
  EXPECT_TRUE(calls_.empty());
  EXPECT_THROW(tessel::EvaluateExpression(u"1", 2), tessel::HostError);
}

TEST(Interrupts, RequestStaysPendingUntilTaken) {
  EXPECT_EQ(tessel::PendingInterrupt(), tessel::InterruptRequest::None);
  tessel::RequestInterrupt(tessel::InterruptRequest::UserBreak);
  EXPECT_EQ(tessel::PendingInterrupt(), tessel::InterruptRequest::UserBreak);
  tessel::RequestInterrupt(tessel::InterruptRequest::Program);
  EXPECT_EQ(tessel::TakeInterrupt(), tessel::InterruptRequest::Program) << "the newer request replaces the older";
  EXPECT_EQ(tessel::TakeInterrupt(), tessel::InterruptRequest::None);
}

}  // namespace
