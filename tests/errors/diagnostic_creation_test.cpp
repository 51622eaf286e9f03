#include <stdexcept>

#include "qv_services/testing_hook.hpp"
#include "tessel/catalog.hpp"
#include "tessel/foundation.hpp"
#include "tessel/interpreter.hpp"
#include "tessel/ut.hpp"
#include "tests/errors/diagnostics_fixture.hpp"

namespace {

using qvsv::test::DiagnosticsTest;
using resource_core::BaseMsgID;

class MessageLookup : public DiagnosticsTest {};

TEST_F(MessageLookup, IdentifierSplitsAtTheLastColonAndMissingPartsAreErrors) {
  const auto id = MutableBaseMsgID::getBaseMsgIDPtr("QV_SERVICES:utils:TooManyErrorsErr", {});
  EXPECT_EQ(id->catalog() + " / " + id->key(), "QV_SERVICES:utils / TooManyErrorsErr");
  EXPECT_THROW(MutableBaseMsgID::getMessageFromCatalog("NoColonHere", {}, true), std::invalid_argument);
  qvsvArgumentVector args;
  EXPECT_EQ(MutableBaseMsgID::getMessageFromCatalog_NoThrow("NoColonHere", args),
            "Message ID does not contain catalog name.");
  const std::string missing = MutableBaseMsgID::getMessageFromCatalog_NoThrow("QV_SERVICES:utils:Nope", args);
  EXPECT_NE(missing.find("QV_SERVICES:utils:Nope"), std::string::npos) << missing;
  EXPECT_THROW(MutableBaseMsgID::getMessageFromCatalog("QV_SERVICES:utils:Nope", {}, true), resource_core::CatalogError);
  EXPECT_THROW(qvsvCreateDiagnosticFromMessageID(BaseMsgID("QV_SERVICES:utils", "Nope")), resource_core::CatalogError);
}

TEST_F(MessageLookup, TranslateChoosesTheGlobalOrTheDefaultLocale) {
  tessel::ScopedGlobalLocale german("de_DE");
  EXPECT_EQ(MutableBaseMsgID::getMessageFromCatalog("QV_SERVICES:utils:CAUSED_BY", {}, true), u"Ursache:");
  EXPECT_EQ(MutableBaseMsgID::getMessageFromCatalog("QV_SERVICES:utils:CAUSED_BY", {}, false), u"Caused by:");
  qvsvArgumentVector args{std::string("Hook")};
  EXPECT_EQ(MutableBaseMsgID::getMessageFromCatalog_NoThrow("QV_SERVICES:utils:InvalidHookName", args),
            "'Hook' ist nicht der Name eines Test-Hooks.");
}

// Rewrites every kind of argument so the visit order and kinds show.
class TaggingVisitor : public MutableBaseMsgID::MsgArgVisitor {
 public:
  void visit(std::u16string& a) override { a += u"!"; }
  void visit(std::int64_t& a) override { a *= 10; }
  void visit(std::string& a) override { a += "?"; }
};

TEST_F(MessageLookup, VisitorRewritesArgumentsByKind) {
  MutableBaseMsgID id("QVSV_TEST:extra", "Pair", {std::int64_t{4}, std::string("n"), std::u16string(u"w")});
  TaggingVisitor visitor;
  id.setArguments(visitor);
  EXPECT_EQ(id.arguments(), (qvsvArgumentVector{std::int64_t{40}, std::string("n?"), std::u16string(u"w!")}));
  const MutableBaseMsgID copy(static_cast<const BaseMsgID&>(id));
  EXPECT_EQ(copy.identifier(), "QVSV_TEST:extra:Pair");
  EXPECT_EQ(qvsvGetMessageFromMessageIDAsStdString(copy, true), "first 40, second n?");
}

class DiagnosticCreation : public DiagnosticsTest {};

TEST_F(DiagnosticCreation, NullAndEmptyIdentifiersAndMessages) {
  qvsvDiagnosticImpl* unnamed = qvsvCreateDiagnosticFromIdAndMsg(nullptr, "text");
  EXPECT_STREQ(qvsvGetFirstErrorIdentifier(unnamed), "QV_SERVICES:utils:TLStyleMsgId");
  qvsvDiagnosticImpl* empty = qvsvCreateDiagnosticFromIdAndMsg("", "text");
  EXPECT_STREQ(qvsvGetFirstErrorIdentifier(empty), "QV_SERVICES:utils:UNDEFINED_ID");
  qvsvDiagnosticImpl* silent = qvsvCreateDiagnosticFromIdAndMsg("A:b", static_cast<const char*>(nullptr));
  EXPECT_EQ(std::u16string(qvsvGetFirstErrorMessage(silent)), u"");
  qvsvDiagnosticImpl* utf8 = qvsvCreateDiagnosticFromIdAndMsg("A:b", "caf\xC3\xA9");
  EXPECT_EQ(std::u16string(qvsvGetFirstErrorMessage(utf8)), u"caf\u00E9");
  for (qvsvDiagnosticImpl* d : {unnamed, empty, silent, utf8}) qvsvDiscardDiagnostic(d);
}

TEST_F(DiagnosticCreation, FromMessageIdFormatsTheTextAndKeepsTheArguments) {
  qvsvDiagnosticImpl* diag = qvsvCreateDiagnosticFromMessageID(
      BaseMsgID("QVSV_TEST:extra", "Pair", {std::int64_t{-12}, std::string("caf\xC3\xA9")}));
  EXPECT_EQ(std::u16string(qvsvGetFirstErrorMessage(diag)), u"first -12, second caf\u00E9");
  EXPECT_EQ(qvsvGetArgumentsFromLastDiagnostic(diag), (qvsvArgumentVector{std::int64_t{-12}, std::u16string(u"caf\u00E9")}))
      << "text arguments read back as wide strings";
  EXPECT_EQ(qvsvGetNumbArgumentsFromLastDiagnostic(diag), 2);
  qvsvDiscardDiagnostic(diag);
}

// The object-discovery callback turns object indices into handles.
class ObjectDiscovery : public DiagnosticsTest {
 protected:
  static std::vector<int>& indices() {
    static std::vector<int> v;
    return v;
  }
  static void discover(const BaseMsgID& id, std::u16string& message, std::vector<double>& handles,
                       const std::vector<int>& objects) {
    indices() = objects;
    for (int i : objects) handles.push_back(100.0 + i);
    message += u" [objects]";
    // Creation from inside the callback is re-entrant: it must not call back.
    EXPECT_EQ(qvsvGetGlobalQVObjectDiscoveryCallback(), nullptr);
    qvsvDiagnosticImpl* nested = qvsvCreateDiagnostic(id, "9");
    EXPECT_EQ(qvsvGetHandlesFromDiagnosticItem(nested, 0).size(), 0u);
    qvsvDiscardDiagnostic(nested);
  }
};

TEST_F(ObjectDiscovery, ObjectIndicesBecomeHandlesAndTheSlotIsRestored) {
  qvsvSetGlobalQVObjectDiscoveryCallback(&discover);
  qvsvDiagnosticImpl* diag = qvsvCreateDiagnostic(BaseMsgID("QVSV_TEST:extra", "Plain"), "3, 7,12");
  EXPECT_EQ(indices(), (std::vector<int>{3, 7, 12}));
  EXPECT_EQ(qvsvGetHandlesFromDiagnosticItem(diag, 0), (std::vector<double>{103, 107, 112}));
  EXPECT_EQ(std::u16string(qvsvGetFirstErrorMessage(diag)), u"plain text [objects]");
  EXPECT_EQ(qvsvGetGlobalQVObjectDiscoveryCallback(), &discover);
  qvsvDiscardDiagnostic(diag);
  indices().clear();
  // An object string that is not numbers throws and restores the slot.
  EXPECT_THROW(qvsvCreateDiagnostic(BaseMsgID("QVSV_TEST:extra", "Plain"), "1,x"), std::invalid_argument);
  EXPECT_THROW(qvsvCreateDiagnostic(BaseMsgID("QVSV_TEST:extra", "Plain"), "1,99999999999"), std::out_of_range);
  EXPECT_EQ(qvsvGetGlobalQVObjectDiscoveryCallback(), &discover);
  EXPECT_TRUE(indices().empty());
}

TEST_F(DiagnosticCreation, ExtendedFormsAttachExtraMessageMetadataHandleAndCauses) {
  const BaseMsgID plain("QVSV_TEST:extra", "Plain");
  qvsvDiagnosticImpl* extra = qvsvCreateDiagnosticEx(u"more", plain);
  EXPECT_EQ(std::u16string(qvsvGetExtraMessageFromDiagnosticItem(extra, 0)), u"more");
  const qvsvMetaDataMap metadata{{u"k", std::int64_t{1}}};
  qvsvDiagnosticImpl* meta = qvsvCreateDiagnosticEx(plain, metadata);
  ASSERT_NE(qvsv::GetMetaDataFromLastDiagnostic(meta, u"k"), nullptr);
  qvsvDiagnosticImpl* handle = qvsvCreateDiagnosticEx(42.0, plain, metadata);
  EXPECT_EQ(qvsvGetHandlesFromDiagnosticItem(handle, 0), std::vector<double>{42.0});
  qvsvDiagnosticImpl* causes = make("Cause:x");
  qvsvDiagnosticImpl* withCauses = qvsvCreateDiagnosticWithArguments(plain, causes);
  EXPECT_EQ(causes, nullptr);
  EXPECT_EQ(ids(qvsvGetCauseFromDiagnosticItem(withCauses, 0)), std::vector<std::string>{"Cause:x"});
  for (qvsvDiagnosticImpl* d : {extra, meta, handle, withCauses}) qvsvDiscardDiagnostic(d);
}

TEST_F(DiagnosticCreation, ReplacingArgumentsRendersTheMessageAgain) {
  qvsvDiagnosticImpl* diag =
      qvsvCreateDiagnosticFromMessageID(BaseMsgID("QVSV_TEST:extra", "Pair", {std::int64_t{1}, std::int64_t{2}}));
  qvsvReplaceLastDiagnosticArguments(diag, {std::u16string(u"a"), std::string("b")});
  EXPECT_EQ(std::u16string(qvsvGetFirstErrorMessage(diag)), u"first a, second b");
  EXPECT_EQ(qvsvGetNumbArgumentsFromLastDiagnostic(diag), 2);

  qvsvDiagnosticImpl* named = qvsvCreateDiagnosticFromIdAndMsg("QVSV_TEST:extra:Named", "unrendered");
  qvsvReplaceLastDiagnosticStringArguments(named, {{u"whom", u"Bob"}, {u"who", u"Ann"}});
  EXPECT_EQ(std::u16string(qvsvGetFirstErrorMessage(named)), u"Ann met Bob");
  EXPECT_EQ(qvsvGetArgumentsFromLastDiagnostic(named), (qvsvArgumentVector{std::u16string(u"Ann"), std::u16string(u"Bob")}))
      << "values stored in name order";

  qvsvDiagnosticImpl* adHoc = qvsvCreateDiagnosticFromIdAndMsg("Not:catalogued", "kept");
  qvsvReplaceLastDiagnosticArguments(adHoc, {std::int64_t{5}});
  EXPECT_EQ(std::u16string(qvsvGetFirstErrorMessage(adHoc)), u"kept");
  for (qvsvDiagnosticImpl* d : {diag, named, adHoc}) qvsvDiscardDiagnostic(d);
}

// The host call stack is attached while the hook asks for it.
class CallStackCapture : public DiagnosticsTest {
 protected:
  void TearDown() override {
    QvTestingHook::setHookValue("QVSV_POPULATE_TSTACK", 0);
    DiagnosticsTest::TearDown();
  }
};

TEST_F(CallStackCapture, StackIsKeptWhileTheHookIsSetAndStacksAreNotSkippedAndItsTextListsTwentyFrames) {
  std::vector<std::unique_ptr<tessel::ScopedFrame>> frames;
  for (int i = 0; i < 25; ++i) frames.push_back(std::make_unique<tessel::ScopedFrame>("f.m", "fn", i));
  qvsvDiagnosticImpl* off = make("A:b");
  EXPECT_EQ(qvsvGetTStackFromDiagnostic(off, 0), "");
  QvTestingHook::setHookValue("QVSV_POPULATE_TSTACK", 1);
  qvsvDiagnosticImpl* on = make("A:b");
  const std::string text = qvsvGetTStackFromDiagnostic(on, 0);
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 20);
  EXPECT_EQ(text.substr(0, 20) + "..." + text.substr(text.size() - 9), "f.m>fn:24\nf.m>fn:23\n...f.m>fn:5\n")
      << "innermost first, the outermost five cut";
  qvsvTStackFrames all{{"stale", "x", 1}};
  EXPECT_EQ(qvsvPopulateTStackFromDiagnostic(all, on, 0).size(), 25u) << "the frames are all kept";
  EXPECT_EQ(all[0], std::make_tuple(std::string("f.m"), std::string("fn"), 24));
  qvsvSetSkipDetailedStackDiagnostics(true);
  qvsvDiagnosticImpl* skipped = make("A:b");
  EXPECT_EQ(qvsvGetTStackFromDiagnostic(skipped, 0), "");
  for (qvsvDiagnosticImpl* d : {off, on, skipped}) qvsvDiscardDiagnostic(d);
  while (!frames.empty()) frames.pop_back();
}

struct TLStyleCase {
  const char* component;
  const char* mnemonic;
  const char* expected;
};

class TLStyleIdentifier : public ::testing::TestWithParam<TLStyleCase> {};

TEST_P(TLStyleIdentifier, JoinsTheNonEmptyParts) {
  EXPECT_STREQ(qvsvGetTLStyleMessageIdentifier(GetParam().component, GetParam().mnemonic), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(DiagnosticCreation, TLStyleIdentifier,
                         ::testing::Values(TLStyleCase{"Quiver", "BadBlock", "Quiver:BadBlock"},
                                           TLStyleCase{nullptr, "BadBlock", "BadBlock"},
                                           TLStyleCase{"Quiver", "", "Quiver"}, TLStyleCase{nullptr, nullptr, ""},
                                           TLStyleCase{"a:b", "c", "a:b:c"}));

TEST(DiagnosticCreationMemory, TLStyleBufferThatCannotGrowThrowsOutOfMemory) {
  const std::string longPart(5000, 'x');
  tessel::ScopedAllocationFailure failAll;
  EXPECT_THROW(qvsvGetTLStyleMessageIdentifier(longPart.c_str(), "y"), tessel::OutOfMemory);
}

}  // namespace
