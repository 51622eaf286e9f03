#include "qv_services/diagnostic.hpp"
#include "qv_services/except.hpp"
#include "qv_services/string_or_id.hpp"
#include "tessel/array.hpp"
#include "tessel/catalog.hpp"
#include "tessel/foundation.hpp"
#include "tests/strings/strings_test.hpp"

namespace {

const char* const kHookId = "QV_SERVICES:utils:InvalidHookName";

qvsvStringOrID hookMessage(const char16_t* name) { return qvsvStringOrID::fromIdentifier(kHookId, {std::u16string(name)}); }

// Every test runs in English, sees the tests' catalogue and must leave no host
// array behind.
class StringOrID : public ::testing::Test {
 protected:
  void SetUp() override { resource_core::AddCatalogFolder(QVSV_TEST_CATALOG_ROOT); }
  void TearDown() override {
    resource_core::RemoveCatalogFolder(QVSV_TEST_CATALOG_ROOT);
    EXPECT_EQ(tessel::LiveArrayCount(), arrays_);
  }
  tessel::ScopedGlobalLocale locale_{"en_US"};
  std::size_t arrays_ = tessel::LiveArrayCount();
};

TEST_F(StringOrID, StoredIdentifierFollowsTheGlobalLocale) {
  const qvsvStringOrID stored = hookMessage(u"Gain");
  const qvsvStringOrID literal(u"Gain block");
  EXPECT_EQ(stored.text(), u"'Gain' is not the name of a testing hook.");
  {
    tessel::ScopedGlobalLocale german("de_DE");
    EXPECT_EQ(stored.text(), u"'Gain' ist nicht der Name eines Test-Hooks.");
    EXPECT_EQ(stored.defaultText(), u"'Gain' is not the name of a testing hook.");
    EXPECT_EQ(literal.text(), u"Gain block");
  }
  EXPECT_EQ(stored.text(), u"'Gain' is not the name of a testing hook.");
  EXPECT_EQ(stored.text("de"), u"'Gain' ist nicht der Name eines Test-Hooks.");
}

// A well-formed identifier is taken as it is and fails only when resolved;
// text that cannot name a message is refused at once. The catalogue part may
// itself hold colons: the key is after the last one.
TEST_F(StringOrID, IdentifierIsCheckedForFormWhenMadeAndResolvedOnlyWhenUsed) {
  const qvsvStringOrID unknown = qvsvStringOrID::fromIdentifier("QV_SERVICES:strings:NoSuchMessage");
  EXPECT_EQ(unknown.identifier(), "QV_SERVICES:strings:NoSuchMessage");
  EXPECT_THAT([&] { (void)unknown.text(); },
              ThrowsMessage<resource_core::CatalogError>(HasSubstr("QV_SERVICES:strings:NoSuchMessage")));
  EXPECT_THROW((void)qvsvCreateDiagnosticFromStringOrID(unknown), resource_core::CatalogError);
  for (const char* bad : {"NoColonHere", ":Key", "Catalog:", ""}) {
    EXPECT_THAT([&] { (void)qvsvStringOrID::fromIdentifier(bad); },
                ThrowsMessage<std::invalid_argument>(HasSubstr("'" + std::string(bad) + "'")));
  }
  const qvsvStringOrID nested = qvsvStringOrID::fromIdentifier("A:b:c:Key");
  EXPECT_EQ(nested.messageID()->catalog(), "A:b:c");
  EXPECT_EQ(nested.messageID()->key(), "Key");
}

struct EqualityRow {
  const char* name;
  qvsvStringOrID a;
  qvsvStringOrID b;
  bool equal;
};

class StringOrIDEquality : public ::testing::TestWithParam<EqualityRow> {};

TEST_P(StringOrIDEquality, ComparesKindAndContentSymmetrically) {
  const EqualityRow& row = GetParam();
  EXPECT_EQ(row.a == row.b, row.equal);
  EXPECT_EQ(row.b == row.a, row.equal);
  EXPECT_EQ(row.a != row.b, !row.equal);
}

using A = qvsvArgumentVector;
const char* const kPair = "QVSV_TEST:extra:Pair";
qvsvStringOrID id(const char* identifier, A arguments = {}) { return qvsvStringOrID::fromIdentifier(identifier, arguments); }
qvsvStringOrID pair(A arguments) { return id(kPair, std::move(arguments)); }
const char* const kInterrupted = "QV_SERVICES:utils:PROGRAM_INTERRUPTION";

INSTANTIATE_TEST_SUITE_P(
    StringOrID, StringOrIDEquality,
    ::testing::Values(
        EqualityRow{"same_literal", qvsvStringOrID(u"a"), qvsvStringOrID(u"a"), true},
        EqualityRow{"different_literal", qvsvStringOrID(u"a"), qvsvStringOrID(u"A"), false},
        EqualityRow{"default_is_empty_literal", qvsvStringOrID(), qvsvStringOrID(static_cast<const char16_t*>(nullptr)), true},
        EqualityRow{"literal_never_equals_identifier", qvsvStringOrID(u"Operation interrupted by the program."),
                    id(kInterrupted), false},
        EqualityRow{"literal_of_identifier_text", qvsvStringOrID(u"QV_SERVICES:utils:PROGRAM_INTERRUPTION"), id(kInterrupted), false},
        EqualityRow{"same_identifier_and_arguments", pair(A{1, std::string("x")}), pair(A{1, std::string("x")}), true},
        EqualityRow{"narrow_and_wide_text_argument", pair(A{std::string("\xC3\xA9")}), pair(A{std::u16string(u"\u00E9")}), true},
        EqualityRow{"number_never_equals_its_text", pair(A{1}), pair(A{std::string("1")}), false},
        EqualityRow{"argument_missing", pair(A{1, 2}), pair(A{1}), false},
        EqualityRow{"different_key", id("QVSV_TEST:extra:Plain"), pair({}), false},
        EqualityRow{"same_key_other_catalogue", id("A:b:Key"), id("A:Key"), false}),
    qvsv::test::RowName());

// --- The host-array form.

struct RoundTripRow {
  const char* name;
  qvsvStringOrID value;
};

class StringOrIDHostArray : public StringOrID, public ::testing::WithParamInterface<RoundTripRow> {};

TEST_P(StringOrIDHostArray, RoundTripsThroughItsHostForm) {
  tessel::HostCallScope scope;
  const qvsvStringOrID& value = GetParam().value;
  const txArray* form = value.toHostArray();
  if (value.isString()) {
    EXPECT_EQ(txGetClassID(form), txClassID::Char);
    EXPECT_EQ(txGetString(form), value.literal());
  } else {
    ASSERT_EQ(txGetClassID(form), txClassID::Struct);
    EXPECT_EQ(txGetStringUTF8(txGetField(form, 0, "Identifier")), value.identifier());
    EXPECT_EQ(txGetNumberOfElements(txGetField(form, 0, "Arguments")), value.messageID()->arguments().size());
  }
  const qvsvStringOrID back = qvsvStringOrID::fromHostArray(form);
  EXPECT_TRUE(back == value);
  EXPECT_EQ(back.isMessageID(), value.isMessageID());
}

INSTANTIATE_TEST_SUITE_P(
    StringOrID, StringOrIDHostArray,
    ::testing::Values(
        RoundTripRow{"empty_literal", qvsvStringOrID()},
        RoundTripRow{"literal_beyond_the_bmp", qvsvStringOrID(std::u16string(u"a\0\U0001F600\u00E9", 5))},
        RoundTripRow{"identifier_without_arguments", id("QVSV_TEST:extra:Plain")},
        RoundTripRow{"identifier_with_every_kind_of_argument",
                     pair(A{std::int64_t{-42}, std::string("caf\xC3\xA9"), std::u16string(u"\U0001F600"), std::u16string()})},
        RoundTripRow{"largest_exact_integers", pair(A{std::int64_t{1} << 53, -(std::int64_t{1} << 53)})}),
    qvsv::test::RowName());

// Absent or empty arguments read as none; an integer without an exact double
// is refused, leaving no array behind.
TEST_F(StringOrID, HostFormTakesAbsentOrEmptyArgumentsAndRefusesInexactIntegers) {
  tessel::HostCallScope scope;
  txArray* form = txCreateStructMatrix(1, 1, {"Identifier"});
  txSetField(form, 0, "Identifier", txCreateString(u"QVSV_TEST:extra:Plain"));
  EXPECT_TRUE(qvsvStringOrID::fromHostArray(form) == id("QVSV_TEST:extra:Plain"));
  txSetFieldByNumber(form, 0, txAddField(form, "Arguments"), txCreateDoubleMatrix(0, 0));
  EXPECT_EQ(qvsvStringOrID::fromHostArray(form).text(), u"plain text");
  EXPECT_TRUE(qvsvStringOrID::fromHostArray(nullptr) == qvsvStringOrID());
  const qvsvStringOrID big = pair(A{1, (std::int64_t{1} << 53) + 1});
  EXPECT_THAT([&] { (void)big.toHostArray(); }, ThrowsMessage<std::out_of_range>(HasSubstr("9007199254740993")));
}

struct BadFormRow {
  const char* name;
  txArray* (*make)();
  const char* key;
  const char* mentions;
};

txArray* formWith(const char16_t* identifier, txArray* arguments) {
  txArray* form = txCreateStructMatrix(1, 1, {"Identifier", "Arguments"});
  txSetFieldByNumber(form, 0, 0, txCreateString(identifier));
  txSetFieldByNumber(form, 0, 1, arguments);
  return form;
}

txArray* cellOf(txArray* element) {
  txArray* cell = txCreateCellMatrix(1, 2);
  txSetCell(cell, 0, txCreateString(u"ok"));
  txSetCell(cell, 1, element);
  return cell;
}

class StringOrIDBadHostForm : public StringOrID, public ::testing::WithParamInterface<BadFormRow> {};

TEST_P(StringOrIDBadHostForm, ThrowsADiagnosticThatSaysWhatIsWrong) {
  tessel::HostCallScope scope;
  const BadFormRow& row = GetParam();
  try {
    (void)qvsvStringOrID::fromHostArray(row.make());
    FAIL() << "no exception";
  } catch (const qvsv::except::DiagnosticException& e) {
    EXPECT_EQ(e.identifier(), std::string("QV_SERVICES:strings:") + row.key);
    EXPECT_NE(std::string(e.what()).find(row.mentions), std::string::npos) << e.what();
  }
}

INSTANTIATE_TEST_SUITE_P(
    StringOrID, StringOrIDBadHostForm,
    ::testing::Values(
        BadFormRow{"number", [] { return txCreateDoubleScalar(3); }, "StringOrIDBadArray", "not a 1x1 double array"},
        BadFormRow{"two_rows_of_text", [] { return txCreateCharMatrix(2, 3); }, "StringOrIDBadArray",
                   "not a 2x3 char array"},
        BadFormRow{"struct_without_identifier", [] { return txCreateStructMatrix(1, 1, {"Id"}); },
                   "StringOrIDBadArray", "1x1 struct array"},
        BadFormRow{"identifier_without_catalogue", [] { return formWith(u"Plain", nullptr); },
                   "StringOrIDBadIdentifier", "'Plain' is not a message identifier"},
        BadFormRow{"arguments_not_a_cell", [] { return formWith(u"QVSV_TEST:extra:Pair", txCreateDoubleScalar(1)); },
                   "StringOrIDBadArguments", "must be a cell array, not a 1x1 double array"},
        BadFormRow{"fractional_argument", [] { return formWith(u"QVSV_TEST:extra:Pair", cellOf(txCreateDoubleScalar(2.5))); },
                   "StringOrIDBadArgument", "Argument 2 of message QVSV_TEST:extra:Pair must be an integer or a "
                                            "character row, not the number 2.5"},
        BadFormRow{"logical_argument",
                   [] { return formWith(u"QVSV_TEST:extra:Pair", cellOf(txCreateLogicalScalar(true))); },
                   "StringOrIDBadArgument", "not a 1x1 logical array"}),
    qvsv::test::RowName());

// --- As the message of a diagnostic: an identifier makes a catalogued one
// with its arguments; literal text goes under the identifier given, else
// under the stand-in one; both kinds carry the handles given.

TEST_F(StringOrID, MakesADiagnosticUnderItsOwnTheGivenOrTheStandInIdentifier) {
  const double handles[] = {12.0001, 12.0002};
  for (const qvsvStringOrID& message : {hookMessage(u"x"), qvsvStringOrID(u"ready text")}) {
    qvsvDiagnosticImpl* diag = qvsvCreateDiagnosticFromStringOrID(handles, 2, message, "Quiver:blocks:Ready");
    EXPECT_STREQ(qvsvGetIdentifierFromDiagnosticItem(diag, 0), message.isString() ? "Quiver:blocks:Ready" : kHookId);
    EXPECT_EQ(qvsvGetHandlesFromDiagnosticItem(diag, 0), (std::vector<double>{12.0001, 12.0002}));
    qvsvDiscardDiagnostic(diag);
  }
  for (const qvsvStringOrID& message : {hookMessage(u"Gain"), qvsvStringOrID(u"ready text")}) {
    qvsvDiagnosticImpl* diag = qvsvCreateDiagnosticFromStringOrID(message);
    EXPECT_STREQ(qvsvGetIdentifierFromDiagnosticItem(diag, 0),
                 message.isString() ? "QV_SERVICES:utils:TLStyleMsgId" : kHookId);
    EXPECT_EQ(std::u16string(qvsvGetMessageFromDiagnosticItem(diag, 0)), message.text());
    EXPECT_EQ(qvsvGetArgumentsFromLastDiagnostic(diag), message.isString() ? A{} : A{std::u16string(u"Gain")});
    qvsvDiscardDiagnostic(diag);
  }
}

}  // namespace
