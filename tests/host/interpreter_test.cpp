#include "tessel/interpreter.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include "tessel/array.hpp"
#include "tessel/module.hpp"
#include "tests/support/raised.hpp"

namespace {

using qvsv::test::Raised;

class Interpreter : public ::testing::Test {
 protected:
  void SetUp() override {
    live_ = tessel::LiveArrayCount();
    scope_.emplace();
  }
  // Closing the scope must take every array the test made with it.
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
    txArray* in = txCreateDoubleScalar(21);
    txArray* out = nullptr;
    tessel::feval("twice", 1, &out, 1, &in);
    EXPECT_EQ(txGetScalar(out), 42.0);
  }
  const auto error = Raised<tessel::HostError>([] { tessel::feval("twice", 0, nullptr, 0, nullptr); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->identifier(), "Tessel:UndefinedFunction");
  EXPECT_THAT(error->what(), ::testing::HasSubstr("'twice'"));
}

TEST_F(Interpreter, OutputLeftUnsetIsAnErrorAndSetOutputsAreDestroyed) {
  tessel::ScopedFunction half("half_done", [](int, txArray* plhs[], int, txArray**) {
    plhs[0] = txCreateDoubleScalar(1);
    txMakeArrayPersistent(plhs[0]);  // would leak if feval did not clean up
  });
  txArray* out[2] = {txCreateDoubleScalar(7), txCreateDoubleScalar(8)};  // stale values are not outputs
  const auto error = Raised<tessel::HostError>([&] { tessel::feval("half_done", 2, out, 0, nullptr); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->identifier(), "Tessel:OutputNotSet");
  EXPECT_EQ(out[0], nullptr);
}

TEST_F(Interpreter, CallStackListsFramesInnermostFirstAndHostErrorsKeepIt) {
  EXPECT_EQ(txGetFieldNumber(tessel::GetCallStack(), "line"), 2) << "an empty stack keeps its fields";
  tessel::ScopedFrame outer("/models/run.m", "run", 10);
  {
    tessel::ScopedFrame inner("/models/step.m", "step", 42);
    const txArray* stack = tessel::GetCallStack();
    ASSERT_EQ(txGetNumberOfElements(stack), 2u);
    EXPECT_EQ(txGetStringUTF8(txGetField(stack, 0, "name")), "step");
    EXPECT_EQ(txGetScalar(txGetField(stack, 0, "line")), 42.0);
    EXPECT_EQ(txGetStringUTF8(txGetField(stack, 1, "file")), "/models/run.m");
    const tessel::HostError error("X:y", "z");
    ASSERT_EQ(error.stack().size(), 2u);
    EXPECT_EQ(error.stack()[0].name, "step");
    EXPECT_EQ(error.stack()[1].line, 10);
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
    txArray* out = nullptr;
    tessel::feval("module_fn", 1, &out, 0, nullptr);
    EXPECT_EQ(txGetScalar(out), 5.0);
  }
  EXPECT_FALSE(tessel::IsFunctionRegistered("module_fn"));
  EXPECT_EQ(gTerminated, 1);
  gInitResult = 1;
  const auto error = Raised<tessel::HostError>([&] { tessel::ScopedModule failed(init, terminate, query); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->identifier(), "Tessel:ModuleInitFailed");
  EXPECT_FALSE(tessel::IsFunctionRegistered("module_fn"));
}

}  // namespace
