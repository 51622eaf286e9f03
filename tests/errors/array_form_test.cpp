#include <functional>

#include "qv_services/array_form.hpp"
#include "qv_services/conversions.hpp"
#include "qv_services/except.hpp"
#include "qv_services/xml_form.hpp"
#include "tests/errors/diagnostics_fixture.hpp"
#include "tests/errors/random_diagnostic_tree.hpp"
#include "tests/support/test_support.hpp"

namespace {

using qvsv::test::DiagnosticsTest;
using qvsv::test::DumpDiagnostic;
using qvsv::test::XmlForms;

const std::vector<std::string> kFields = {"identifier", "message",      "extraMessage", "arguments", "handles",
                                          "stack",      "creationTime", "metadata",     "causes"};

class ArrayForm : public DiagnosticsTest {
 protected:
  static std::string text(const txArray* s, txIndex i, const char* field) {
    return txGetStringUTF8(txGetField(s, i, field));
  }
};

TEST_F(ArrayForm, RandomTreesRestoreWithEveryFieldAndIdenticalXmlForms) {
  qvsv::test::RandomDiagnosticTree trees(23);
  for (std::size_t round = 0; round < qvsv::test::Scaled(300, 30); ++round) {
    qvsvDiagnosticImpl* diag = trees.build();
    qvsvDiagnosticImpl* restored = nullptr;
    qvsvDiagnosticImpl* error = nullptr;
    {
      // The form is temporary in the scope; what the restored diagnostic
      // keeps must outlive it.
      tessel::HostCallScope scope;
      txArray* form = qvsvDiagnosticToArray(diag);
      error = qvsvDiagnosticFromArray_NoThrow(form, restored);
    }
    ASSERT_EQ(error, nullptr) << qvsvGetFirstErrorIdentifier(error);
    ASSERT_EQ(DumpDiagnostic(restored), DumpDiagnostic(diag));
    ASSERT_EQ(XmlForms(restored), XmlForms(diag));
    qvsvDiscardDiagnostic(restored);
    qvsvDiscardDiagnostic(diag);
  }
}

TEST_F(ArrayForm, ItemFieldsAreHostValuesThatHostCodeCanRead) {
  const double handles[] = {1.5, 2.5};
  qvsvDiagnosticImpl* diag = qvsvCreateDiagnosticFromIdAndMsg(handles, 2, "A:b", u"hi");
  qvsvReplaceLastDiagnosticArguments(diag, {std::int64_t{7}, std::string("x")});
  qvsv::SetMetaDataToLastDiagnostic(diag, u"big", qvsvArgumentValue(std::int64_t{(std::int64_t{1} << 60) + 1}));
  qvsv::SetMetaDataToLastDiagnostic(diag, u"n", qvsvArgumentValue(std::int64_t{-4}));
  qvsv::SetMetaDataToLastDiagnostic(diag, u"s", qvsvArgumentValue(std::string("caf\xc3\xa9")));
  qvsvSetLastErrorCreationTime(diag, static_cast<qvsvErrorCreationTime>(3));
  qvsvDiagnosticImpl* cause = make("C:d", u"cause");
  qvsvAddCauseToLastDiagnosticItem(diag, cause);
  txArray* out = qvsvDiagnosticToArray(diag);

  ASSERT_EQ(txGetNumberOfElements(out), 1u);
  EXPECT_EQ(text(out, 0, "identifier") + "/" + text(out, 0, "message"), "A:b/hi");
  const txArray* h = txGetField(out, 0, "handles");
  ASSERT_EQ(txGetM(h), 1u) << "handles are a row";
  EXPECT_EQ(std::vector<double>(txGetPr(h), txGetPr(h) + txGetN(h)), (std::vector<double>{1.5, 2.5}));
  const txArray* args = txGetField(out, 0, "arguments");
  EXPECT_EQ(txGetStringUTF8(txGetCell(args, 1)), "x") << "arguments are a cell";
  EXPECT_EQ(txGetScalar(txGetField(out, 0, "creationTime")), 3.0);
  const txArray* meta = txGetField(out, 0, "metadata");
  ASSERT_EQ(txGetNumberOfElements(meta), 3u);
  EXPECT_EQ(text(meta, 0, "kind") + "=" + text(meta, 0, "value"), "int64=1152921504606846977")
      << "past 2^53 the value is kept as digits";
  EXPECT_EQ(txGetScalar(txGetField(meta, 1, "value")), -4.0);
  EXPECT_EQ(text(meta, 2, "kind") + "=" + text(meta, 2, "value"), "string=caf\xc3\xa9");
  const txArray* causes = txGetField(out, 0, "causes");
  EXPECT_EQ(text(causes, 0, "identifier"), "C:d");
  EXPECT_TRUE(txIsEmpty(txGetField(causes, 0, "causes"))) << "no causes is []";
  txDestroyArray(out);
  qvsvDiscardDiagnostic(diag);
}

TEST_F(ArrayForm, NoDiagnosticIsAFormOfNoItemsAndBack) {
  txArray* out = qvsvDiagnosticToArray(nullptr);
  EXPECT_EQ(txGetN(out), 0u);
  EXPECT_EQ(txGetNumberOfFields(out), static_cast<int>(kFields.size()));
  qvsvDiagnosticImpl* restored = nullptr;
  EXPECT_EQ(qvsvDiagnosticFromArray_NoThrow(out, restored), nullptr);
  EXPECT_EQ(restored, nullptr);
  txDestroyArray(out);
}

TEST_F(ArrayForm, HandBuiltFormNeedsOnlyIdentifierAndMessage) {
  txArray* in = txCreateStructMatrix(1, 1, {"message", "identifier", "metadata", "note"});
  txSetField(in, 0, "identifier", txCreateStringFromUTF8("Host:raised"));
  txSetField(in, 0, "message", txCreateStringFromUTF8("from host code"));
  txArray* meta = txCreateStructMatrix(2, 1, {"key", "value"});
  txSetField(meta, 0, "key", txCreateStringFromUTF8("count"));
  txSetField(meta, 0, "value", txCreateDoubleScalar(12));
  txSetField(meta, 1, "key", txCreateStringFromUTF8("who"));
  txSetField(meta, 1, "value", txCreateStringFromUTF8("me"));
  txSetField(in, 0, "metadata", meta);
  qvsvDiagnosticImpl* diag = qvsvDiagnosticFromArray(in);
  txDestroyArray(in);
  ASSERT_EQ(qvsvGetNumItemsInDiagnostic(diag), 1);
  EXPECT_STREQ(qvsvGetFirstErrorIdentifier(diag), "Host:raised");
  EXPECT_EQ(*qvsv::GetMetaDataFromLastDiagnostic(diag, u"count"), qvsvArgumentValue(std::int64_t{12}))
      << "a number without a kind reads as int64";
  EXPECT_EQ(*qvsv::GetMetaDataFromLastDiagnostic(diag, u"who"), qvsvArgumentValue(std::u16string(u"me")))
      << "a text without a kind reads as a wide text";
  EXPECT_EQ(diag->firstItem()->cause, nullptr);
  EXPECT_EQ(diag->firstItem()->callStack, nullptr);
  qvsvDiscardDiagnostic(diag);
}

// --- Malformed forms: each names what is wrong, and nothing is kept. ---

struct Malformed {
  const char* name;
  std::function<txArray*()> build;
  const char* key;      // QV_SERVICES:exchange:<key>
  const char* mention;  // a part of the message
};

void PrintTo(const Malformed& row, std::ostream* out) { *out << row.name; }

// The form of two items with one field of item 2 set to value.
txArray* withField(const char* field, txArray* value) {
  txArray* s = txCreateStructMatrix(1, 2, kFields);
  for (txIndex i = 0; i < 2; ++i) {
    txSetField(s, i, "identifier", txCreateStringFromUTF8("F:" + std::to_string(i)));
    txSetField(s, i, "message", txCreateStringFromUTF8("m"));
  }
  txSetField(s, 1, field, value);
  return s;
}

txArray* metadataWith(txArray* kind, txArray* value, bool twice = false) {
  txArray* meta = txCreateStructMatrix(twice ? 2 : 1, 1, {"key", "kind", "value"});
  for (txIndex i = 0; i < txGetM(meta); ++i) txSetField(meta, i, "key", txCreateStringFromUTF8("k"));
  txSetField(meta, 0, "kind", kind);
  txSetField(meta, 0, "value", value);
  return withField("metadata", meta);
}

// Causes nested levels deep below a one-item form.
txArray* nested(int levels) {
  txArray* inner = nullptr;
  for (int level = 0; level <= levels; ++level) {
    txArray* s = txCreateStructMatrix(1, 1, kFields);
    txSetField(s, 0, "identifier", txCreateStringFromUTF8("L:" + std::to_string(levels - level)));
    txSetField(s, 0, "message", txCreateStringFromUTF8("m"));
    if (inner != nullptr) txSetField(s, 0, "causes", inner);
    inner = s;
  }
  return inner;
}

class ArrayFormRejects : public DiagnosticsTest, public ::testing::WithParamInterface<Malformed> {};

TEST_P(ArrayFormRejects, NamingTheFieldAndElement) {
  txArray* in = GetParam().build();
  qvsvDiagnosticImpl* restored = nullptr;
  qvsvDiagnosticImpl* error = qvsvDiagnosticFromArray_NoThrow(in, restored);
  txDestroyArray(in);
  EXPECT_EQ(restored, nullptr);
  ASSERT_EQ(qvsvGetNumItemsInDiagnostic(error), 1);
  EXPECT_EQ(std::string(qvsvGetFirstErrorIdentifier(error)), std::string("QV_SERVICES:exchange:") + GetParam().key);
  const std::string message = ConvertUStringToStdString(qvsvGetFirstErrorMessage(error));
  EXPECT_NE(message.find(GetParam().mention), std::string::npos) << message;
  qvsvDiscardDiagnostic(error);
}

INSTANTIATE_TEST_SUITE_P(
    ArrayForm, ArrayFormRejects,
    ::testing::Values(
        Malformed{"null_form", [] { return nullptr; }, "ArrayWrongClass", "diag must be a struct array"},
        Malformed{"object_form", [] { return txCreateObjectMatrix(1, 1, "MException", kFields); }, "ArrayWrongClass",
                  "1x1 MException"},
        Malformed{"no_identifier_field",
                  [] { return txCreateStructMatrix(1, 1, {"message"}); }, "ArrayMissingField",
                  "diag has no field 'identifier'"},
        Malformed{"two_row_message", [] { return withField("message", txCreateCharMatrix(2, 3)); }, "ArrayFieldType",
                  "Field 'message' of element 2 of diag must be a character row, not a 2x3 char array"},
        Malformed{"handles_as_text", [] { return withField("handles", txCreateStringFromUTF8("1 2")); },
                  "ArrayFieldType", "must be a double row"},
        Malformed{"struct_argument",
                  [] {
                    txArray* args = txCreateCellMatrix(1, 2);
                    txSetCell(args, 0, txCreateDoubleScalar(1));
                    txSetCell(args, 1, txCreateStructMatrix(1, 1, {"x"}));
                    return withField("arguments", args);
                  },
                  "ArrayFieldType", "Field 'arguments' of element 2"},
        Malformed{"stack_line_as_text",
                  [] {
                    txArray* stack = txCreateStructMatrix(1, 1, {"file", "name", "line"});
                    txSetField(stack, 0, "line", txCreateStringFromUTF8("12"));
                    return withField("stack", stack);
                  }, "ArrayFieldType",
                  "Field 'line' of element 1 of diag(2).stack must be a real scalar"},
        Malformed{"fractional_creation_time", [] { return withField("creationTime", txCreateDoubleScalar(1.5)); },
                  "ArrayFieldType", "whole number from 0 to 4294967295"},
        Malformed{"unknown_metadata_kind",
                  [] { return metadataWith(txCreateStringFromUTF8("float"), txCreateDoubleScalar(1)); },
                  "ArrayFieldType", "Field 'kind' of element 1 of diag(2).metadata"},
        Malformed{"int64_past_the_range",
                  [] { return metadataWith(txCreateStringFromUTF8("int64"), txCreateDoubleScalar(1e19)); },
                  "ArrayFieldType", "64-bit integer range"},
        Malformed{"cell_metadata_value", [] { return metadataWith(nullptr, txCreateCellMatrix(1, 1)); },
                  "ArrayFieldType", "Field 'value' of element 1"},
        Malformed{"repeated_metadata_key", [] { return metadataWith(nullptr, txCreateDoubleScalar(2), true); },
                  "ArrayDuplicateKey", "Element 2 of diag(2).metadata repeats the metadata key 'k'"},
        Malformed{"bad_field_deep_in_causes",
                  [] {
                    txArray* in = nested(3);
                    txArray* deepest = const_cast<txArray*>(txGetField(
                        txGetField(txGetField(in, 0, "causes"), 0, "causes"), 0, "causes"));
                    txSetField(deepest, 0, "handles", txCreateLogicalScalar(true));
                    return in;
                  },
                  "ArrayFieldType", "Field 'handles' of element 1 of diag(1).causes(1).causes(1).causes"},
        Malformed{"causes_past_the_depth_limit", [] { return nested(kQvsvMaxRestoredCauseDepth + 1); },
                  "ArrayTooDeep", "deeper than 100 levels"}),
    qvsv::test::RowName());

TEST_F(ArrayForm, CausesUpToTheDepthLimitRestore) {
  txArray* in = nested(kQvsvMaxRestoredCauseDepth);
  qvsvDiagnosticImpl* restored = qvsvDiagnosticFromArray(in);
  txDestroyArray(in);
  EXPECT_EQ(causeChain(restored).size(), static_cast<std::size_t>(kQvsvMaxRestoredCauseDepth) + 1);
  qvsvDiscardDiagnostic(restored);
}

TEST_F(ArrayForm, CausesThatLeadBackToTheirOwnFormAreACycle) {
  txArray* outer = nested(0);
  txArray* inner = nested(0);
  txSetField(inner, 0, "causes", outer);
  txSetField(outer, 0, "causes", inner);  // outer -> inner -> outer
  qvsvDiagnosticImpl* restored = nullptr;
  qvsvDiagnosticImpl* error = qvsvDiagnosticFromArray_NoThrow(outer, restored);
  EXPECT_EQ(restored, nullptr);
  EXPECT_STREQ(qvsvGetFirstErrorIdentifier(error), "QV_SERVICES:exchange:ArrayCauseCycle");
  EXPECT_NE(ConvertUStringToStdString(qvsvGetFirstErrorMessage(error)).find("element 1 of diag(1).causes"),
            std::string::npos);
  qvsvDiscardDiagnostic(error);
  // Undo the cycle: a shared copy keeps the old data while outer is given a
  // copy of its own without causes; destroying the copy then takes the rest.
  txArray* holder = txCreateSharedDataCopy(outer);
  txSetField(outer, 0, "causes", nullptr);
  txDestroyArray(holder);
}

TEST_F(ArrayForm, ThrowingFormCarriesTheFinding) {
  txArray* in = txCreateCellMatrix(0, 0);
  try {
    static_cast<void>(qvsvDiagnosticFromArray(in));
    ADD_FAILURE() << "no exception";
  } catch (const qvsv::except::DiagnosticException& e) {
    EXPECT_EQ(e.identifier(), "QV_SERVICES:exchange:ArrayWrongClass");
  }
  txDestroyArray(in);
}

}  // namespace
