#include <functional>
#include <system_error>

#include "qv_services/conversions.hpp"
#include "qv_services/exception_exchange.hpp"
#include "tessel/foundation.hpp"
#include "tests/errors/diagnostics_fixture.hpp"
#include "tests/support/test_support.hpp"

namespace {

using qvsv::test::DiagnosticsTest;

class ExceptionExchange : public DiagnosticsTest {
 protected:
  // What the catch-all entry point makes of what thrower throws.
  static qvsvDiagnosticImpl* caught(const std::function<void()>& thrower) {
    try {
      thrower();
    } catch (...) {
      return qvsvDiagnosticFromCurrentException();
    }
    ADD_FAILURE() << "nothing was thrown";
    return nullptr;
  }

  static std::string message(qvsvDiagnosticImpl* const& diag) {
    return ConvertUStringToStdString(qvsvGetFirstErrorMessage(diag));
  }
};

struct Kind {
  const char* name;
  std::function<void()> thrower;
  const char* identifier;
  const char* message;
  qvsvArgumentVector arguments;
};

void PrintTo(const Kind& row, std::ostream* out) { *out << row.name; }

class ExceptionKinds : public ExceptionExchange, public ::testing::WithParamInterface<Kind> {};

TEST_P(ExceptionKinds, BecomeTheirDiagnostic) {
  qvsvDiagnosticImpl* diag = caught(GetParam().thrower);
  ASSERT_EQ(qvsvGetNumItemsInDiagnostic(diag), 1);
  EXPECT_STREQ(qvsvGetFirstErrorIdentifier(diag), GetParam().identifier);
  EXPECT_EQ(message(diag), GetParam().message);
  EXPECT_EQ(qvsvGetArgumentsFromLastDiagnostic(diag), GetParam().arguments);
  qvsvDiscardDiagnostic(diag);
}

INSTANTIATE_TEST_SUITE_P(
    Exchange, ExceptionKinds,
    ::testing::Values(
        Kind{"bad_alloc", [] { throw std::bad_alloc(); }, "QV_SERVICES:utils:MemoryAllocationError",
             "Out of memory. The operation could not allocate the memory it needed.", {}},
        Kind{"host_out_of_memory", [] { throw tessel::OutOfMemory(); }, "QV_SERVICES:utils:MemoryAllocationError",
             "Out of memory. The operation could not allocate the memory it needed.", {}},
        Kind{"catalog_error",
             [] { throw resource_core::CatalogError("Cat:Key", "de_DE", "no such message"); },
             "QV_SERVICES:exchange:CatalogError",
             "The message catalogue failed for 'Cat:Key' in locale 'de_DE': no such message",
             {std::u16string(u"Cat:Key"), std::u16string(u"de_DE"), std::u16string(u"no such message")}},
        Kind{"system_error",
             [] { throw std::system_error(std::make_error_code(std::errc::no_such_file_or_directory), "open"); },
             "QV_SERVICES:exchange:SystemError",
             "open: No such file or directory (error 2 of category 'generic')",
             {std::int64_t{2}, std::u16string(u"generic"), std::u16string(u"open: No such file or directory")}},
        Kind{"standard_exception", [] { throw std::out_of_range("index 9"); }, "QV_SERVICES:exchange:StdException",
             "index 9 (std::out_of_range)", {std::u16string(u"index 9"), std::u16string(u"std::out_of_range")}},
        Kind{"host_error", [] { throw tessel::HostError("Tessel:Custom", "from the host"); }, "Tessel:Custom",
             "from the host", {}},
        Kind{"an_int", [] { throw 42; }, "QV_SERVICES:exchange:UnknownException",
             "An unknown exception was caught.", {}}),
    qvsv::test::RowName());

TEST_F(ExceptionExchange, DiagnosticExceptionHandsItsDiagnosticOver) {
  qvsvDiagnosticImpl* original = queueOf(2, "Own");
  const qvsvDiagnosticImpl* expected = original;
  qvsvDiagnosticImpl* diag = caught([&] { qvsv::except::ThrowDiagnostic(original); });
  EXPECT_EQ(diag, expected) << "the very diagnostic, not a copy";
  EXPECT_EQ(ids(diag), (std::vector<std::string>{"Own:0", "Own:1"}));
  qvsvDiscardDiagnostic(diag);

  // One whose diagnostic was taken already reads as its identifier and text.
  qvsvDiagnosticImpl* single = make("A:b", u"text");
  qvsv::except::DiagnosticException taken(single);
  qvsvDiagnosticImpl* took = taken.takeDiagnostic();
  qvsvDiscardDiagnostic(took);
  diag = caught([&] { throw taken; });
  EXPECT_STREQ(qvsvGetFirstErrorIdentifier(diag), "A:b");
  EXPECT_EQ(message(diag), "text");
  qvsvDiscardDiagnostic(diag);
}

TEST_F(ExceptionExchange, CopiesShareTheDiagnosticAndTheLastOneReleasesIt) {
  qvsvDiagnosticImpl* diag = make("A:b", u"broken \u00E9");
  qvsv::except::DiagnosticException original(diag);
  EXPECT_EQ(diag, nullptr);
  qvsv::except::DiagnosticException copy = original;
  EXPECT_EQ(copy.diagnostic(), original.diagnostic());
  EXPECT_STREQ(copy.what(), "broken \xC3\xA9");
  EXPECT_EQ(copy.identifier(), "A:b");
  // The fixture's leak check sees the release.
}

TEST_F(ExceptionExchange, NestedExceptionsBecomeACauseChainInNestingOrder) {
  qvsvDiagnosticImpl* diag = caught([] {
    try {
      try {
        throw tessel::HostError("Deep:three", "innermost");
      } catch (...) {
        std::throw_with_nested(std::runtime_error("middle"));
      }
    } catch (...) {
      qvsvDiagnosticImpl* outer = qvsvCreateDiagnosticFromIdAndMsg("Deep:one", "outermost");
      std::throw_with_nested(qvsv::except::DiagnosticException(outer));
    }
  });
  EXPECT_EQ(tree(diag), "Deep:one=outermost[QV_SERVICES:exchange:StdException=middle (std::runtime_error)"
                        "[Deep:three=innermost;];];");
  qvsvDiscardDiagnostic(diag);

  // Nested under a static item, the cause follows it instead of being lost.
  diag = caught([] {
    try {
      throw std::logic_error("why");
    } catch (...) {
      std::throw_with_nested(std::bad_alloc());
    }
  });
  EXPECT_EQ(ids(diag), (std::vector<std::string>{"QV_SERVICES:utils:MemoryAllocationError",
                                                 "QV_SERVICES:exchange:StdException"}));
  qvsvDiscardDiagnostic(diag);
  EXPECT_EQ(qvsvDiagnosticFromCurrentException(), nullptr) << "outside a handler there is nothing to convert";
  EXPECT_EQ(qvsvDiagnosticFromException(nullptr), nullptr);
}

TEST_F(ExceptionExchange, RaisedInTheHostKeepsIdentifierAndDiagnostic) {
  qvsvDiagnosticImpl* diag = make("Quiver:blocks:AlgebraicLoop", u"Algebraic loop.");
  const qvsvDiagnosticImpl* expected = diag;
  try {
    qvsv::except::RaiseInHost(diag);
    FAIL() << "nothing raised";
  } catch (const tessel::HostError& e) {
    // Host code catches by identifier.
    EXPECT_EQ(e.identifier(), "Quiver:blocks:AlgebraicLoop");
    EXPECT_STREQ(e.what(), "Algebraic loop.");
    qvsvDiagnosticImpl* back = qvsvDiagnosticFromCurrentException();
    EXPECT_EQ(back, expected);
    qvsvDiscardDiagnostic(back);
  }
  EXPECT_EQ(diag, nullptr);
  qvsvDiagnosticImpl* none = nullptr;
  EXPECT_NO_THROW(qvsv::except::RaiseInHost(none));
}

}  // namespace
