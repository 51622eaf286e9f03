// Scoped listeners of one name, begun and ended in every order. A scope owns
// its registration only while it holds it: the first of a name registers, a
// later one is refused, and ending one never removes anyone else's.
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "qv_services/listeners.hpp"
#include "qv_services/reporting.hpp"
#include "tessel/console.hpp"
#include "tests/errors/diagnostics_fixture.hpp"

namespace {

using qvsv::util::ScopedDiagnosticListener;
using qvsv::util::ScopedIDDiagnosticListener;
using MsgID = std::shared_ptr<resource_core::BaseMsgID>;

int gOwner = 0;
const char* const kName = "scoped";

// The two scoped forms behind one table, so that every order runs for both.
struct Form {
  const char* name;
  std::shared_ptr<void> (*begin)(unsigned& heard);  // a scope that counts into heard
  bool (*registerPlain)(unsigned& heard);           // as an owner other than the scopes would
  void (*unregister)();
};

void PrintTo(const Form& form, std::ostream* out) { *out << form.name; }

const Form kDiagnosticForm{
    "diagnostic",
    [](unsigned& heard) -> std::shared_ptr<void> {
      return std::make_shared<ScopedDiagnosticListener>(kName, [&heard](qvsvDiagnosticImpl*&) { ++heard; });
    },
    [](unsigned& heard) { return qvsvRegisterDiagnosticCallback(kName, [&heard](qvsvDiagnosticImpl*&) { ++heard; }); },
    [] { qvsvUnRegisterDiagnosticCallback(kName); }};

const Form kIdentifierForm{
    "identifier",
    [](unsigned& heard) -> std::shared_ptr<void> {
      return std::make_shared<ScopedIDDiagnosticListener>(kName, [&heard](MsgID&, void*) { ++heard; }, &gOwner);
    },
    [](unsigned& heard) {
      return qvsvRegisterIDDiagnosticCallback(kName, [&heard](MsgID&, void*) { ++heard; }, &gOwner);
    },
    [] { qvsvUnRegisterIDDiagnosticCallback(kName, &gOwner); }};

class ScopedListeners : public qvsv::test::DiagnosticsTest {
 protected:
  static void report(qvsvDiagnosticImpl* diag = make("A:b")) { qvsvReportAsInfo(diag); }
  tessel::ConsoleCapture console_;  // reports that nobody hears go to the display
};

class ScopedListenerOrder : public ScopedListeners, public ::testing::WithParamInterface<std::tuple<Form, bool>> {
 protected:
  void TearDown() override {
    form().unregister();
    ScopedListeners::TearDown();
  }
  static const Form& form() { return std::get<0>(GetParam()); }
};

TEST_P(ScopedListenerOrder, OnlyTheFirstOfANameHearsAndEndingAScopeRemovesOnlyItsOwnRegistration) {
  unsigned firstHeard = 0, secondHeard = 0, plainHeard = 0, lateHeard = 0;
  std::shared_ptr<void> first = form().begin(firstHeard);
  std::shared_ptr<void> second = form().begin(secondHeard);
  report();
  EXPECT_EQ(firstHeard, 1u);
  EXPECT_EQ(secondHeard, 0u) << "a name already registered refuses the second scope";
  if (std::get<1>(GetParam())) {
    first.reset();
    report();  // the registration ended with its owner; the refused scope never had one
    EXPECT_EQ(secondHeard, 0u);
  } else {
    second.reset();
    report();
    EXPECT_EQ(firstHeard, 2u) << "ending the refused scope leaves the registered one in place";
    first.reset();
  }
  ASSERT_TRUE(form().registerPlain(plainHeard)) << "nothing is left under the name";
  std::shared_ptr<void> late = form().begin(lateHeard);
  second.reset();  // refused scopes end while another owner holds the name
  late.reset();
  report();
  EXPECT_EQ(plainHeard, 1u);
  EXPECT_EQ(firstHeard + secondHeard + lateHeard, std::get<1>(GetParam()) ? 1u : 2u);
}

INSTANTIATE_TEST_SUITE_P(Listeners, ScopedListenerOrder,
                         ::testing::Combine(::testing::Values(kDiagnosticForm, kIdentifierForm), ::testing::Bool()),
                         [](const auto& info) {
                           return std::string(std::get<0>(info.param).name) +
                                  (std::get<1>(info.param) ? "_first_ends_first" : "_last_ends_first");
                         });

TEST_F(ScopedListeners, AScopeEndedByItsOwnCallbackFinishesTheCallSafely) {
  // The callback deletes the heap object that holds the scope.
  struct Holder {
    std::unique_ptr<ScopedDiagnosticListener> scope;
  };
  auto* holder = new Holder;
  unsigned heard = 0;
  holder->scope = std::make_unique<ScopedDiagnosticListener>(kName, [&heard, holder](qvsvDiagnosticImpl*&) {
    delete holder;
    ++heard;  // reads a capture after its scope (and the scope's function) ended
  });
  report();
  report();
  EXPECT_EQ(heard, 1u) << "unregistered when the holder went";
}

TEST_F(ScopedListeners, IdentifierScopeHearsEveryItemWithItsArgumentsAndOwnerAndCounts) {
  std::vector<std::pair<std::string, qvsvArgumentVector>> heard;
  ScopedIDDiagnosticListener ids(
      "args",
      [&](MsgID& id, void* owner) {
        EXPECT_EQ(owner, &gOwner);
        heard.emplace_back(id->identifier(), id->arguments());
      },
      &gOwner);
  qvsvDiagnosticImpl* queue = qvsvCreateDiagnosticFromMessageID(
      resource_core::BaseMsgID("QVSV_TEST:extra", "Pair", {std::int64_t{1}, std::string("x")}));
  qvsvConcatenateDiagnostics(queue, make("No:args"), false);
  report(queue);
  ASSERT_EQ(heard.size(), 2u);
  EXPECT_EQ(heard[0], (std::pair<std::string, qvsvArgumentVector>{"QVSV_TEST:extra:Pair",
                                                                  {std::int64_t{1}, std::u16string(u"x")}}));
  EXPECT_EQ(heard[1], (std::pair<std::string, qvsvArgumentVector>{"No:args", {}}));
  EXPECT_EQ(ids.counter(), 2u);
  ids.resetCounter();
  EXPECT_EQ(ids.counter(), 0u);
  EXPECT_FALSE(qvsvRegisterIDDiagnosticCallback("args", [](MsgID&, void*) {}, &gOwner));
  EXPECT_TRUE(qvsvRegisterIDDiagnosticCallback("args", [](MsgID&, void*) {}, nullptr)) << "keyed by name and owner";
  qvsvUnRegisterIDDiagnosticCallback("args", nullptr);
}

}  // namespace
