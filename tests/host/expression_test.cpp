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

struct Literal {
  const char* name;
  std::u16string expression;
  double number;  // when the value is a double scalar
  std::u16string text;
};

class ExpressionLiterals : public Expression, public ::testing::WithParamInterface<Literal> {};

TEST_P(ExpressionLiterals, ReadToTheirValue) {
  txArray* value = tessel::EvaluateExpression(GetParam().expression);
  if (txIsChar(value) || GetParam().text.size() > 0) {
    EXPECT_EQ(txGetString(value), GetParam().text);
  } else {
    ASSERT_TRUE(txIsNumeric(value));
    EXPECT_EQ(txGetScalar(value), GetParam().number);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Expression, ExpressionLiterals,
    ::testing::Values(Literal{"integer", u"42", 42, u""}, Literal{"signed_fraction", u" -2.5 ", -2.5, u""},
                      Literal{"leading_point", u".25", 0.25, u""}, Literal{"exponent", u"+1e3", 1000, u""},
                      Literal{"trailing_point", u"7.", 7, u""}, Literal{"quoted", u"'it''s'", 0, u"it's"},
                      Literal{"concatenation", u"['a' char(10), 'b']", 0, u"a\nb"},
                      Literal{"lone_char_call", u"char(65)", 0, u"A"}),
    qvsv::test::RowName());

TEST_F(Expression, CallsRegisteredFunctionsWithNestedArgumentsAndNoOutputsAskedGivesNull) {
  txArray* value = tessel::EvaluateExpression(u"pkg.join('a', pkg.join( ['b' char(99)] ,'d'),'')");
  EXPECT_EQ(txGetString(value), u"abcd");
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

struct Unreadable {
  const char* name;
  std::u16string expression;
  std::size_t column;
};

class ExpressionRejects : public Expression, public ::testing::WithParamInterface<Unreadable> {};

TEST_P(ExpressionRejects, BeforeCallingAnythingNamingTheColumn) {
  const auto error = Raised<tessel::HostError>([] { tessel::EvaluateExpression(GetParam().expression); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->identifier(), "Tessel:ParseError");
  const std::string where = "column " + std::to_string(GetParam().column) + ":";
  EXPECT_NE(std::string(error->what()).find(where), std::string::npos) << error->what();
  EXPECT_TRUE(calls_.empty()) << "a syntax error runs nothing";
}

INSTANTIATE_TEST_SUITE_P(
    Expression, ExpressionRejects,
    ::testing::Values(Unreadable{"empty", u"", 1}, Unreadable{"lone_sign", u"-", 1},
                      Unreadable{"number_into_name", u"12abc", 3}, Unreadable{"exponent_without_digits", u"1e+", 2},
                      Unreadable{"unclosed_call", u"record('a'", 11}, Unreadable{"missing_comma", u"record(1 2)", 10},
                      Unreadable{"empty_argument", u"record(1,,2)", 10},
                      Unreadable{"name_ending_in_point", u"pkg.(1)", 4},
                      Unreadable{"text_after_call", u"record() 5", 10},
                      Unreadable{"unterminated_quote", u"record('abc)", 8},
                      Unreadable{"unclosed_bracket", u"record(['a')", 12}, Unreadable{"symbol", u"record(@)", 8}),
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
