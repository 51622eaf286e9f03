// Scoped listeners of one name, begun and ended in every order, and what the
// identifier callbacks receive. A scoped listener owns its registration only
// while it holds it: the first of a name registers, a later one of the same
// name is refused, and ending one never removes or brings back anyone else's.
#include <memory>
#include <string>
#include <vector>

#include "qv_services/listeners.hpp"
#include "qv_services/reporting.hpp"
#include "tessel/console.hpp"
#include "tests/errors/diagnostics_fixture.hpp"
#include "tests/support/test_support.hpp"

namespace {

using qvsv::test::DiagnosticsTest;
using qvsv::util::ScopedDiagnosticListener;
using qvsv::util::ScopedIDDiagnosticListener;

int gOwner = 0;
const std::string kName = "scoped";

// The two scoped forms behind one interface, so that every order runs for both.
class Form {
 public:
  virtual ~Form() = default;
  // A heap scoped listener of kName that counts into its own counter.
  virtual std::shared_ptr<void> begin(unsigned& heard) = 0;
  // Registers a plain callback under the name (as an owner other than the scopes would).
  virtual bool registerPlain(unsigned& heard) = 0;
  virtual void unregister() = 0;
};

class DiagnosticForm : public Form {
 public:
  std::shared_ptr<void> begin(unsigned& heard) override {
    return std::make_shared<ScopedDiagnosticListener>(kName, [&heard](qvsvDiagnosticImpl*&) { ++heard; });
  }
  bool registerPlain(unsigned& heard) override {
    return qvsvRegisterDiagnosticCallback(kName, [&heard](qvsvDiagnosticImpl*&) { ++heard; });
  }
  void unregister() override { qvsvUnRegisterDiagnosticCallback(kName); }
};

class IdentifierForm : public Form {
 public:
  std::shared_ptr<void> begin(unsigned& heard) override {
    return std::make_shared<ScopedIDDiagnosticListener>(
        kName, [&heard](std::shared_ptr<resource_core::BaseMsgID>&, void*) { ++heard; }, &gOwner);
  }
  bool registerPlain(unsigned& heard) override {
    return qvsvRegisterIDDiagnosticCallback(
        kName, [&heard](std::shared_ptr<resource_core::BaseMsgID>&, void*) { ++heard; }, &gOwner);
  }
  void unregister() override { qvsvUnRegisterIDDiagnosticCallback(kName, &gOwner); }
};

struct OrderCase {
  std::string name;
  bool identifierForm;
  bool firstEndsFirst;
};

class ScopedListenerOrder : public DiagnosticsTest, public ::testing::WithParamInterface<OrderCase> {
 protected:
  void SetUp() override {
    DiagnosticsTest::SetUp();
    if (GetParam().identifierForm) {
      form_ = std::make_unique<IdentifierForm>();
    } else {
      form_ = std::make_unique<DiagnosticForm>();
    }
  }
  void TearDown() override {
    form_->unregister();
    DiagnosticsTest::TearDown();
  }
  static void report() {
    qvsvDiagnosticImpl* diag = make("A:b");
    qvsvReportAsInfo(diag);
  }
  std::unique_ptr<Form> form_;
  tessel::ConsoleCapture console_;  // reports that nobody hears go to the display
};

TEST_P(ScopedListenerOrder, TheFirstOfANameHearsAndNoEndingLeavesACallbackToAnEndedScope) {
  unsigned firstHeard = 0;
  unsigned secondHeard = 0;
  std::shared_ptr<void> first = form_->begin(firstHeard);
  std::shared_ptr<void> second = form_->begin(secondHeard);
  report();
  EXPECT_EQ(firstHeard, 1u);
  EXPECT_EQ(secondHeard, 0u) << "a name already registered refuses the second scope";

  if (GetParam().firstEndsFirst) {
    first.reset();
    report();  // the registration ended with its owner; the refused scope never had one
    EXPECT_EQ(secondHeard, 0u);
    second.reset();
  } else {
    second.reset();
    report();
    EXPECT_EQ(firstHeard, 2u) << "ending the refused scope leaves the registered one in place";
    first.reset();
  }
  report();
  unsigned plainHeard = 0;
  EXPECT_TRUE(form_->registerPlain(plainHeard)) << "nothing is left under the name";
  report();
  EXPECT_EQ(plainHeard, 1u);
}

TEST_P(ScopedListenerOrder, EndingAScopeNeverRemovesOrRestoresAnotherOwnersRegistration) {
  unsigned scopedHeard = 0;
  unsigned plainHeard = 0;
  auto scope = form_->begin(scopedHeard);
  form_->unregister();  // its registration removed by name, from outside
  ASSERT_TRUE(form_->registerPlain(plainHeard));
  std::shared_ptr<void> refused;
  unsigned refusedHeard = 0;
  if (GetParam().firstEndsFirst) {
    scope.reset();
    refused = form_->begin(refusedHeard);
  } else {
    refused = form_->begin(refusedHeard);
    scope.reset();
  }
  refused.reset();
  report();
  EXPECT_EQ(plainHeard, 1u) << "the plain registration survived both scopes";
  EXPECT_EQ(scopedHeard, 0u);
  EXPECT_EQ(refusedHeard, 0u);
}

INSTANTIATE_TEST_SUITE_P(Listeners, ScopedListenerOrder,
                         ::testing::Values(OrderCase{"diagnostic_first_ends_first", false, true},
                                           OrderCase{"diagnostic_last_ends_first", false, false},
                                           OrderCase{"identifier_first_ends_first", true, true},
                                           OrderCase{"identifier_last_ends_first", true, false}),
                         qvsv::test::RowName());

class ScopedListenerLifetime : public DiagnosticsTest {
 protected:
  tessel::ConsoleCapture console_;
};

TEST_F(ScopedListenerLifetime, AScopeEndedByItsOwnCallbackFinishesTheCallSafely) {
  // Members of a heap object: the callback deletes the object that holds the scope.
  struct Holder {
    std::unique_ptr<ScopedDiagnosticListener> scope;
  };
  auto* holder = new Holder;
  unsigned heard = 0;
  holder->scope = std::make_unique<ScopedDiagnosticListener>(kName, [&heard, holder](qvsvDiagnosticImpl*&) {
    delete holder;
    ++heard;  // reads a capture after its scope (and the scope's function) ended
  });
  qvsvDiagnosticImpl* diag = make("A:b");
  qvsvReportAsInfo(diag);
  EXPECT_EQ(heard, 1u);
  qvsvDiagnosticImpl* again = make("A:b");
  qvsvReportAsInfo(again);
  EXPECT_EQ(heard, 1u) << "unregistered when the holder went";
}

class IdentifierCallbacks : public DiagnosticsTest {
 protected:
  tessel::ConsoleCapture console_;
};

TEST_F(IdentifierCallbacks, EachItemArrivesWithItsOwnArguments) {
  std::vector<std::pair<std::string, qvsvArgumentVector>> heard;
  ScopedIDDiagnosticListener ids(
      "args",
      [&](std::shared_ptr<resource_core::BaseMsgID>& id, void*) { heard.emplace_back(id->identifier(), id->arguments()); },
      &gOwner);
  qvsvDiagnosticImpl* queue =
      qvsvCreateDiagnosticFromMessageID(resource_core::BaseMsgID("QVSV_TEST:extra", "Pair", {std::int64_t{1}, std::string("x")}));
  qvsvConcatenateDiagnostics(queue, make("No:args"), false);
  qvsvConcatenateDiagnostics(
      queue,
      qvsvCreateDiagnosticFromMessageID(resource_core::BaseMsgID("QVSV_TEST:extra", "Count", {std::int64_t{3}, std::string("y")})),
      false);
  qvsvReportAsInfo(queue);
  ASSERT_EQ(heard.size(), 3u);
  EXPECT_EQ(heard[0].first, "QVSV_TEST:extra:Pair");
  EXPECT_EQ(heard[0].second, (qvsvArgumentVector{std::int64_t{1}, std::u16string(u"x")}));
  EXPECT_TRUE(heard[1].second.empty());
  EXPECT_EQ(heard[2].second, (qvsvArgumentVector{std::int64_t{3}, std::u16string(u"y")}));
}

}  // namespace
