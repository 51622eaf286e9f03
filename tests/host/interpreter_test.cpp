// The host interpreter: calls of registered functions, modules and the call
// stack, and its two expression readers, full expressions (numbers, texts
// and calls) and string expressions, which share the reading of text literals.
#include "tessel/interpreter.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tessel/array.hpp"
#include "tessel/module.hpp"
#include "tests/support/test_support.hpp"

namespace {

using ::testing::StartsWith;

// "identifier: message" of the host error fn raises; "" when it returns.
std::string HostErrorOf(const std::function<void()>& fn) {
  try {
    fn();
  } catch (const tessel::HostError& e) {
    return e.identifier() + ": " + e.what();
  }
  return "";
}

// Every test runs in a host call scope and must leave no array behind.
class Interpreter : public ::testing::Test {
 protected:
  void SetUp() override {
    live_ = tessel::LiveArrayCount();
    scope_.emplace();
  }
  void TearDown() override {
    scope_.reset();
    EXPECT_EQ(tessel::LiveArrayCount(), live_);
  }
  std::size_t live_ = 0;
  std::optional<tessel::HostCallScope> scope_;
};

TEST_F(Interpreter, SortThenSelectRowsReordersACellByItsFirstColumn) {
  txArray* table = txCreateCellMatrix(3, 2);
  const char16_t* names[] = {u"beta", u"Alpha", u"alpha"};
  for (txIndex r = 0; r < 3; ++r) {
    txSetCell(table, r, txCreateString(names[r]));
    txSetCell(table, 3 + r, txCreateDoubleScalar(static_cast<double>(r)));
  }
  txArray* sortOut[2] = {};
  tessel::feval("@(x)sort(x(:,1))", 2, sortOut, 1, &table);
  ASSERT_EQ(txGetNumberOfElements(sortOut[1]), 3u);
  EXPECT_EQ(std::vector<double>(txGetPr(sortOut[1]), txGetPr(sortOut[1]) + 3), (std::vector<double>{2, 3, 1}))
      << "code-unit order: upper case before lower case";

  txArray* selectIn[2] = {table, sortOut[1]};
  txArray* selected = nullptr;
  tessel::feval("@(x,i) x(i,:)", 1, &selected, 2, selectIn);
  ASSERT_EQ(txGetN(selected), 2u);
  // Each row keeps its number beside its name, in the sorted order.
  for (txIndex r = 0; r < 3; ++r) {
    EXPECT_EQ(txGetString(txGetCell(sortOut[0], r)), txGetString(txGetCell(selected, r))) << "row " << r;
    EXPECT_EQ(txGetScalar(txGetCell(selected, 3 + r)), txGetPr(sortOut[1])[r] - 1) << "row " << r;
  }
  txArray* outside[2] = {txCreateDoubleMatrix(2, 1), txCreateDoubleScalar(3)};
  EXPECT_THROW(tessel::feval("@(x,i) x(i,:)", 1, &selected, 2, outside), tessel::HostError);
}

TEST_F(Interpreter, RegisteredFunctionsAreCalledAndUnregisteredByScope) {
  {
    tessel::ScopedFunction twice("twice", [](int, txArray* plhs[], int, txArray* prhs[]) {
      plhs[0] = txCreateDoubleScalar(2 * txGetScalar(prhs[0]));
    });
    EXPECT_FALSE(tessel::RegisterFunction("twice", [](int, txArray**, int, txArray**) {}));
    EXPECT_EQ(txGetScalar(tessel::EvaluateExpression(u"twice(21)")), 42.0);
  }
  EXPECT_THAT(HostErrorOf([] { tessel::feval("twice", 0, nullptr, 0, nullptr); }),
              StartsWith("Tessel:UndefinedFunction: Undefined function 'twice'"));
}

TEST_F(Interpreter, OutputLeftUnsetIsAnErrorAndSetOutputsAreDestroyed) {
  tessel::ScopedFunction half("half_done", [](int, txArray* plhs[], int, txArray**) {
    plhs[0] = txCreateDoubleScalar(1);
    txMakeArrayPersistent(plhs[0]);  // would leak if feval did not clean up
  });
  txArray* out[2] = {txCreateDoubleScalar(7), txCreateDoubleScalar(8)};  // stale values are not outputs
  EXPECT_THAT(HostErrorOf([&] { tessel::feval("half_done", 2, out, 0, nullptr); }), StartsWith("Tessel:OutputNotSet:"));
  EXPECT_EQ(out[0], nullptr);
}

TEST_F(Interpreter, CallStackListsFramesInnermostFirst) {
  EXPECT_EQ(txGetFieldNumber(tessel::GetCallStack(), "line"), 2) << "an empty stack keeps its fields";
  tessel::ScopedFrame outer("/models/run.m", "run", 10);
  {
    tessel::ScopedFrame inner("/models/step.m", "step", 42);
    const txArray* stack = tessel::GetCallStack();
    ASSERT_EQ(txGetNumberOfElements(stack), 2u);
    EXPECT_EQ(txGetStringUTF8(txGetField(stack, 0, "name")), "step");
    EXPECT_EQ(txGetScalar(txGetField(stack, 0, "line")), 42.0);
    EXPECT_EQ(txGetStringUTF8(txGetField(stack, 1, "file")), "/models/run.m");
  }
  EXPECT_EQ(tessel::CallStackDepth(), 1u);
}

// A module whose table offers one function, and whose entry points are counted.
int gInitResult = 0;
int gTerminated = 0;
const tessel::ModuleFunction kFunctions[] = {
    {"module_fn", [](int, txArray* plhs[], int, txArray**) { plhs[0] = txCreateDoubleScalar(5); }}};
const tessel::ModuleFunctionTable kTable{1, kFunctions};

TEST_F(Interpreter, ModuleRegistersItsTableForItsLifetimeAndRefusesAFailedInitialise) {
  const auto init = [] { return gInitResult; };
  const auto terminate = [] { ++gTerminated; };
  const auto query = []() -> const tessel::ModuleFunctionTable* { return &kTable; };
  {
    tessel::ScopedModule module(init, terminate, query);
    EXPECT_EQ(txGetScalar(tessel::EvaluateExpression(u"module_fn")), 5.0);
  }
  EXPECT_FALSE(tessel::IsFunctionRegistered("module_fn"));
  EXPECT_EQ(gTerminated, 1);
  {
    // The name is taken: the module neither replaces nor, unloading, removes it.
    tessel::ScopedFunction owner("module_fn", [](int, txArray* plhs[], int, txArray**) {
      plhs[0] = txCreateDoubleScalar(7);
    });
    { tessel::ScopedModule module(init, terminate, query); }
    EXPECT_EQ(txGetScalar(tessel::EvaluateExpression(u"module_fn")), 7.0);
  }
  EXPECT_EQ(gTerminated, 2);
  gInitResult = 1;
  EXPECT_THAT(HostErrorOf([&] { tessel::ScopedModule failed(init, terminate, query); }),
              StartsWith("Tessel:ModuleInitFailed:"));
  EXPECT_FALSE(tessel::IsFunctionRegistered("module_fn"));
  EXPECT_EQ(gTerminated, 2) << "a module that failed to initialise is not terminated";
}

class Expression : public Interpreter {
 protected:
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
};

TEST_F(Expression, CallsRegisteredFunctionsWithNestedArgumentsAndNoOutputsAskedGivesNull) {
  txArray* value = tessel::EvaluateExpression(u"pkg.join('a', pkg.join( ['b' char(99)] ,'d'),'', char(101))");
  EXPECT_EQ(txGetString(value), u"abcde");
  txArray* count = tessel::EvaluateExpression(u"record(1, 'x', record)");
  EXPECT_EQ(txGetScalar(count), 3.0);
  EXPECT_EQ(tessel::EvaluateExpression(u"record('only')", 0), nullptr);
  EXPECT_EQ(calls_, (std::vector<std::string>{"1.000000", "x", "0.000000", "only"}))
      << "a bare name is a call without arguments, made before the outer call";
  calls_.clear();
  tessel::EvaluateExpression(u"record( -2.5 ,.25, +1e3,7.)", 0);
  EXPECT_EQ(calls_, (std::vector<std::string>{"-2.500000", "0.250000", "1000.000000", "7.000000"}));
  const int before = tessel::RefreshCustomizationsCount();
  EXPECT_EQ(tessel::EvaluateExpression(u"qv_refresh_customizations()", 0), nullptr);
  EXPECT_EQ(tessel::RefreshCustomizationsCount(), before + 1);
  calls_.clear();
  // A failing inner call destroys what was made and skips the outer call.
  EXPECT_THROW(tessel::EvaluateExpression(u"record('kept', record(no_such_function))"), tessel::HostError);
  EXPECT_TRUE(calls_.empty());
  EXPECT_EQ(HostErrorOf([] { tessel::EvaluateExpression(u"error('plain')"); }), "Tessel:UserError: plain");
}

// where names the reader: "column" for full expressions, "position" for
// string expressions (each names the place of a fault in its unit). A row
// with place 0 reads to value.
struct Reading {
  const char* name;
  std::string where;
  std::u16string expression;
  std::size_t place;
  std::u16string value = u"";
};

class ExpressionReaders : public Expression, public ::testing::WithParamInterface<Reading> {};

TEST_P(ExpressionReaders, ReadOrFailBeforeCallingAnythingNamingThePlace) {
  const Reading& r = GetParam();
  auto read = [&] {
    return r.where == "column" ? txGetString(tessel::EvaluateExpression(r.expression))
                               : tessel::EvaluateStringExpression(r.expression);
  };
  if (r.place == 0) {
    EXPECT_EQ(read(), r.value);
    return;
  }
  EXPECT_THAT(HostErrorOf(read), StartsWith("Tessel:ParseError: Parse error at " + r.where + " " +
                                            std::to_string(r.place) + ": "));
  EXPECT_TRUE(calls_.empty()) << "a syntax error runs nothing";
}

// One row per way to read or fail; the string reader's rows also cover the
// text literals that both readers share.
INSTANTIATE_TEST_SUITE_P(
    Expression, ExpressionReaders,
    ::testing::Values(Reading{"lone_sign", "column", u"-", 1}, Reading{"number_into_name", "column", u"12abc", 3},
                      Reading{"exponent_without_digits", "column", u"1e+", 2},
                      Reading{"unclosed_call", "column", u"record('a'", 11},
                      Reading{"empty_argument", "column", u"record(1,,2)", 10},
                      Reading{"name_ending_in_point", "column", u"pkg.(1)", 4},
                      Reading{"text_after_call", "column", u"record() 5", 10}),
    qvsv::test::RowName());

INSTANTIATE_TEST_SUITE_P(
    StringExpression, ExpressionReaders,
    ::testing::Values(Reading{"lone_text", "position", u"'abc'", 0, u"abc"},
                      Reading{"doubled_quotes", "position", u"'it''s '''''", 0, u"it's ''"},
                      Reading{"blanks_around", "position", u" \t'a b' ", 0, u"a b"},
                      Reading{"empty_brackets", "position", u"[ ]", 0, u""},
                      Reading{"blank_separated", "position", u"['a' char(10) 'b']", 0, u"a\nb"},
                      Reading{"comma_separated", "position", u"['a',char(34) , 'b']", 0, u"a\"b"},
                      Reading{"blanks_inside_call", "position", u"[char( 65 )]", 0, u"A"},
                      Reading{"extreme_codes", "position", u"[char(0) char(00065535)]", 0,
                              std::u16string(u"\0\uFFFF", 2)},
                      Reading{"non_ascii_kept", "position", u"['\u00E9\U0001F600']", 0, u"\u00E9\U0001F600"},
                      Reading{"empty", "position", u"", 1}, Reading{"unterminated", "position", u"'abc", 1},
                      Reading{"line_feed_inside_quotes", "position", u"['a' 'b\nc']", 6},
                      Reading{"unclosed_bracket", "position", u"['a'", 5},
                      Reading{"code_too_large", "position", u"[char(65536)]", 7},
                      Reading{"code_missing", "position", u"[char()]", 7},
                      Reading{"hex_code", "position", u"[char(0x41)]", 8},
                      Reading{"blank_before_paren", "position", u"[char (65)]", 2},
                      Reading{"text_after_expression", "position", u"'a' 'b'", 5}),
    qvsv::test::RowName());

TEST_F(Expression, NestingPastTheLimitIsASyntaxError) {
  auto nestedCalls = [](int calls) {
    std::u16string text;
    for (int i = 0; i < calls; ++i) text += u"record(";
    return text + u"1" + std::u16string(static_cast<std::size_t>(calls), u')');
  };
  EXPECT_NO_THROW(txDestroyArray(tessel::EvaluateExpression(nestedCalls(tessel::kMaxExpressionDepth))));
  calls_.clear();
  EXPECT_THAT(HostErrorOf([&] { tessel::EvaluateExpression(nestedCalls(tessel::kMaxExpressionDepth + 1)); }),
              StartsWith("Tessel:ParseError:"));
  EXPECT_TRUE(calls_.empty());
  EXPECT_THROW(tessel::EvaluateExpression(u"1", 2), tessel::HostError);
}

}  // namespace
