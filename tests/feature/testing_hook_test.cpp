#include "qv_services/except.hpp"
#include "qv_services/testing_hook.hpp"
#include "tests/errors/diagnostics_fixture.hpp"

namespace {

using qvsv::test::DiagnosticsTest;

// Hooks are static objects that live as long as the process.
std::vector<int>& callbackValues() {
  static std::vector<int> values;
  return values;
}
QvTestingHook gCallbackHook("zz_TestCallbackHook", "a hook with a callback", __FILE__, "tests", 3,
                            [](int value) { callbackValues().push_back(value); });
QvTestingHook gShadowHook("ExportedTest", "a second hook of a taken name", __FILE__, "tests", -1);

class TestingHooks : public DiagnosticsTest {};

TEST_F(TestingHooks, DefaultsAndSetReturningThePreviousValue) {
  EXPECT_EQ(QvTestingHook::getHookValue("ExportedTest"), 54321) << "the first hook of a name keeps it";
  EXPECT_EQ(QvTestingHook::getHookValue("ModuleTest"), 12345);
  EXPECT_EQ(QvTestingHook::setHookValue("ExportedTest", 7), 54321);
  EXPECT_EQ(QvTestingHook::getHookValue("ExportedTest"), 7);
  EXPECT_EQ(QvTestingHook::setHookValue("ExportedTest", 54321), 7);
  EXPECT_STREQ(QVFEAT_ExportedTest->name(), "ExportedTest");
  EXPECT_EQ(QVFEAT_QVSV_POPULATE_TSTACK->defaultState(), 0);
  EXPECT_STREQ(QVFEAT_ModelReferenceTesting->owner(), "Quiver Engine [Model Reference]");
  EXPECT_NE(std::string(QVFEAT_QVSV_POPULATE_TSTACK->fileRegistered()).find("qv_services/errors/qvsvdiagnosticitem"),
            std::string::npos);
}

TEST_F(TestingHooks, SetCallsTheCallbackWithTheNewValue) {
  callbackValues().clear();
  QvTestingHook::setHookValue("zz_TestCallbackHook", 9);
  QvTestingHook::setHookValue("zz_TestCallbackHook", 3);
  EXPECT_EQ(callbackValues(), (std::vector<int>{9, 3}));
}

TEST_F(TestingHooks, ReportListsEveryHookInNameOrder) {
  tessel::HostCallScope scope;
  const txArray* report = QvTestingHook::getHookReport();
  ASSERT_EQ(txGetM(report), 1u);
  ASSERT_EQ(txGetNumberOfFields(report), 3);
  EXPECT_STREQ(txGetFieldNameByNumber(report, 0), "Name");
  EXPECT_STREQ(txGetFieldNameByNumber(report, 2), "DefaultState");
  std::vector<std::string> names;
  for (txIndex i = 0; i < txGetN(report); ++i) names.push_back(txGetStringUTF8(txGetField(report, i, "Name")));
  // The library's hooks and this program's, sorted, a taken name once.
  EXPECT_EQ(names, (std::vector<std::string>{"ExportedTest", "ModelReferenceTesting", "ModuleTest",
                                             "QVSV_POPULATE_TSTACK", "zz_TestCallbackHook"}));
  EXPECT_EQ(txGetScalar(txGetField(report, 0, "DefaultState")), 54321.0);
}

TEST_F(TestingHooks, UnknownNameThrowsTheInvalidHookDiagnosticAndChangesNothing) {
  for (const bool setting : {false, true}) {
    try {
      setting ? QvTestingHook::setHookValue("NoSuchHook", 1) : QvTestingHook::getHookValue("NoSuchHook");
      FAIL() << "no exception";
    } catch (qvsv::except::DiagnosticException& e) {
      EXPECT_EQ(e.identifier(), "QV_SERVICES:utils:InvalidHookName");
      EXPECT_STREQ(e.what(), "'NoSuchHook' is not the name of a testing hook.");
      qvsvDiagnosticImpl* diag = e.takeDiagnostic();
      EXPECT_EQ(e.takeDiagnostic(), nullptr);
      const qvsvArgumentVector args = qvsvGetArgumentsFromLastDiagnostic(diag);
      ASSERT_EQ(args.size(), 1u);
      EXPECT_EQ(std::get<std::u16string>(args[0]), u"NoSuchHook");
      qvsvDiscardDiagnostic(diag);
    }
  }
}

}  // namespace
