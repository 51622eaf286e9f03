// Handle classes as the host sees them: properties read and written through
// the interpreter, their descriptions and reports, validators, read-only
// properties, stale objects, and deferred expressions.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "qv_services/feature.hpp"
#include "qv_services/module.hpp"
#include "qv_services/tcos_class.hpp"
#include "tessel/interpreter.hpp"
#include "tessel/module.hpp"
#include "tests/support/test_support.hpp"
#include "tests/tcos/tcos_test_support.hpp"

namespace {

using qvsv::tcos::ElementKind;
using qvsv::test::Array;
using qvsv::test::FailureOf;
using qvsv::test::MessageOf;

enum class Mode { Fast, Exact };
const qvsvEnumTable<Mode> kModes("TcosTestMode", {{Mode::Fast, "Fast", "QV_SERVICES:tcos:UnknownUnit"},
                                                  {Mode::Exact, "Exact", "QV_SERVICES:tcos:UnknownUnit"}});

std::u16string NonNegative(const txArray* v) { return txGetScalar(v) < 0 ? u"it must not be negative" : u""; }

using P = qvsvTcosPropertyDescription;
constexpr auto kDimension = qvsvTcosDeferral::Dimension;

const qvsvTcosClass kBlock("TcosTestBlock", u"A block of the tests",
                           {P("Gain").withDefault(1.0).describedAs(u"Multiplier").validatedBy(NonNegative),
                            P("Label", ElementKind::Text).describedAs(u"Shown name"),
                            P("Mode").withDefault(std::u16string(u"Fast")).ofEnumeration("TcosTestMode"),
                            P("Ports", ElementKind::Int32).withDefault(2.0).readOnly(),
                            P("Width", ElementKind::Int32).withDefault(1.0).deferrable(kDimension),
                            P("Height", ElementKind::Int32).withDefault(1.0).deferrable(kDimension),
                            P("Depth", ElementKind::Int32).withDefault(1.0).deferrable(kDimension),
                            P("Unit", ElementKind::Text).deferrable(qvsvTcosDeferral::Unit),
                            P("RateUnit", ElementKind::Text).deferrable(qvsvTcosDeferral::Unit)});

// The module loaded, one instance shown to the host as "block", the host
// value "N" (counting its reads) and both deferral features on.
class TcosHost : public testing::Test {
 protected:
  void SetUp() override {
    module_.emplace(TLInitialize_qv_services, TLTerminate_qv_services, QueryTLFcnTable_qv_services);
    block_ = kBlock.create();
    deferral(1);
  }
  void TearDown() override { deferral(0); }
  void deferral(int state) {
    QvFeatureHostCommand::set("DimensionVariants", state);
    QvFeatureHostCommand::set("QVUnit", state);
  }

  txArray* eval(const std::u16string& expression) { return tessel::EvaluateExpression(expression, 1); }
  void run(const std::u16string& expression) { tessel::EvaluateExpression(expression, 0); }
  double number(const std::u16string& expression) { return txGetScalar(Array(eval(expression)).get()); }

  std::optional<tessel::ScopedModule> module_;
  std::unique_ptr<qvsvTcosInstance> block_;
  tessel::ScopedFunction blockFn_{"block", [this](int, txArray* plhs[], int, txArray*[]) {
                                    plhs[0] = block_->toHostObject();
                                  }};
  double n_ = 3;
  int nReads_ = 0;
  tessel::ScopedFunction nFn_{"N", [this](int, txArray* plhs[], int, txArray*[]) {
                                ++nReads_;
                                plhs[0] = txCreateDoubleScalar(n_);
                              }};
  tessel::ScopedFunction maxFn_{"max2", [](int, txArray* plhs[], int, txArray* prhs[]) {
                                  plhs[0] = txCreateDoubleScalar(std::max(txGetScalar(prhs[0]), txGetScalar(prhs[1])));
                                }};
};

TEST_F(TcosHost, HostWritesAndReadsPropertiesByName) {
  run(u"QvTcosSet(block, 'Gain', 2.5)");
  run(u"QvTcosSet(block, 'Label', 'front axle')");
  run(u"QvTcosSet(block, 'Mode', 1)");  // an enumeration by number reads back as its name
  EXPECT_EQ(number(u"QvTcosGet(block, 'Gain')"), 2.5);
  EXPECT_EQ(block_->get<std::string>("Label"), "front axle");
  EXPECT_EQ(txGetString(Array(eval(u"QvTcosGet(block, 'Mode')")).get()), u"Exact");
  // Native code may set what the host may only read.
  block_->set<std::int32_t>("Ports", 4);
  EXPECT_EQ(number(u"QvTcosGet(block, 'Ports')"), 4.0);
}

// Each property's value and expression, one line each, to compare states.
std::string State(qvsvTcosInstance& block) {
  Array report(block.propertyReport());
  std::string out;
  for (txIndex i = 0; i < txGetNumberOfElements(report.get()); ++i) {
    const txArray* value = txGetField(report.get(), i, "Value");
    out += txIsChar(value) ? txGetStringUTF8(value) : txIsEmpty(value) ? "[]" : std::to_string(txGetScalar(value));
    out += " " + txGetStringUTF8(txGetField(report.get(), i, "Expression")) + "\n";
  }
  return out;
}

struct HostFailure {
  std::string name;
  std::u16string expression;
  std::string failure;
};

class TcosHostFailures : public TcosHost, public testing::WithParamInterface<HostFailure> {};

// A refused call changes nothing and leaves no array behind.
TEST_P(TcosHostFailures, NameTheFaultAndChangeNothing) {
  const std::size_t live = tessel::LiveArrayCount();
  EXPECT_EQ(FailureOf([&] { run(GetParam().expression); }), GetParam().failure);
  EXPECT_EQ(tessel::LiveArrayCount(), live);
  EXPECT_EQ(State(*block_), State(*kBlock.create()));
}

const std::string kTcos = "QV_SERVICES:tcos:";
const std::string kBadValue = kTcos + "BadPropertyValue <- ";

INSTANTIATE_TEST_SUITE_P(
    Tcos, TcosHostFailures,
    testing::Values(
        HostFailure{"UnknownProperty", u"QvTcosGet(block, 'gain')", kTcos + "UnknownProperty"},  // names are exact
        HostFailure{"ReadOnly", u"QvTcosSet(block, 'Ports', 3)", kTcos + "ReadOnlyProperty"},
        HostFailure{"ValidatorRefuses", u"QvTcosSet(block, 'Gain', -1)", kTcos + "ValueRefused"},
        HostFailure{"WrongType", u"QvTcosSet(block, 'Gain', 'N*2')", kBadValue + kTcos + "WrongValue"},
        HostFailure{"IntegerOutOfRange", u"QvTcosSet(block, 'Width', 3e9)", kBadValue + kTcos + "ValueOutOfRange"},
        HostFailure{"UnknownEnumName", u"QvTcosSet(block, 'Mode', 'Slow')",
                    kBadValue + "QV_SERVICES:strings:UnknownEnumName"},
        HostFailure{"UnknownClass", u"QvTcosPropertyReport('NoSuchBlock')", kTcos + "UnknownClass"},
        HostFailure{"NotAnObject", u"QvTcosGet(3, 'Gain')", kTcos + "UnknownInstance"},
        HostFailure{"MissingArgument", u"QvTcosGet(block)", kTcos + "EntryUsage"},
        HostFailure{"DimensionSyntax", u"QvTcosSet(block, 'Width', 'N*')", kTcos + "ExpressionSyntax"},
        HostFailure{"UnitSyntax", u"QvTcosSet(block, 'Unit', 'm/(s')", kTcos + "ExpressionSyntax"}),
    qvsv::test::RowName());

TEST_F(TcosHost, ObjectOfADestroyedInstanceIsStale) {
  Array object(block_->toHostObject());
  tessel::ScopedFunction old("oldBlock", [&](int, txArray* plhs[], int, txArray*[]) {
    plhs[0] = txDuplicateArray(object.get());
  });
  block_ = kBlock.create();  // the new instance gets a new number
  EXPECT_EQ(FailureOf([&] { run(u"QvTcosGet(oldBlock, 'Gain')"); }), kTcos + "StaleInstance");
  EXPECT_EQ(FailureOf([&] { run(u"QvTcosSet(oldBlock, 'Gain', 2)"); }), kTcos + "StaleInstance");
  EXPECT_EQ(FailureOf([&] { run(u"QvTcosGet(block, 'Gain')"); }), "");
}

TEST_F(TcosHost, ReportsDescribeEveryProperty) {
  Array names(eval(u"QvTcosProperties(block)"));
  ASSERT_EQ(txGetNumberOfElements(names.get()), kBlock.properties().size());
  EXPECT_EQ(txGetString(txGetCell(names.get(), 3)), u"Ports");

  run(u"QvTcosSet(block, 'Width', 'N+1')");
  Array report(eval(u"QvTcosPropertyReport(block)"));
  auto field = [&](txIndex i, const char* name) { return txGetField(report.get(), i, name); };
  EXPECT_EQ(txGetString(field(3, "Access")), u"read-only");
  EXPECT_EQ(txGetString(field(2, "Type")), u"enum TcosTestMode");
  EXPECT_EQ(txGetString(field(7, "Feature")), u"QVUnit");
  EXPECT_TRUE(txGetLogicals(field(0, "HasValidator"))[0]);
  EXPECT_EQ(txGetScalar(field(4, "Value")), 4.0);
  EXPECT_EQ(txGetString(field(4, "Expression")), u"N+1");

  Array classReport(eval(u"QvTcosPropertyReport('TcosTestBlock')"));
  EXPECT_EQ(txGetNumberOfFields(classReport.get()) + 2, txGetNumberOfFields(report.get()));
}

TEST_F(TcosHost, DeferredValueIsCachedUntilItOrADependencyIsSet) {
  run(u"QvTcosSet(block, 'Width', 'N*2')");
  EXPECT_EQ(number(u"QvTcosGet(block, 'Width')"), 6.0);
  EXPECT_EQ(block_->get<std::int32_t>("Width"), 6);
  EXPECT_EQ(nReads_, 1);

  block_->set<std::int32_t>("Height", 5);  // not a dependency, so no resolution (see the count below)
  EXPECT_EQ(block_->get<std::int32_t>("Width"), 6);

  // A chain: Width <- Height <- Depth; setting the far end re-resolves both.
  block_->setExpression("Width", u"Height*2");
  block_->setExpression("Height", u"Depth+1");
  block_->set<std::int32_t>("Depth", 4);
  EXPECT_EQ(block_->get<std::int32_t>("Width"), 10);
  block_->set<std::int32_t>("Depth", 5);
  EXPECT_EQ(block_->get<std::int32_t>("Width"), 12);
  EXPECT_EQ(block_->resolutionCount(), 5u);

  // Host values are not watched: a change shows after clearing the cache.
  block_->setExpression("Depth", u"N");
  EXPECT_EQ(block_->get<std::int32_t>("Width"), 8);
  n_ = 10;
  EXPECT_EQ(block_->get<std::int32_t>("Width"), 8);
  block_->clearResolvedValues();
  EXPECT_EQ(block_->get<std::int32_t>("Width"), 22);
}

TEST_F(TcosHost, CycleOfDeferredPropertiesIsReported) {
  block_->setExpression("Width", u"Height");
  block_->setExpression("Height", u"Depth*2");
  block_->setExpression("Depth", u"Width+1");
  auto width = [&] { (void)block_->get<std::int32_t>("Width"); };
  EXPECT_EQ(FailureOf(width), kTcos + "DeferredResolveFailed <- " + kTcos + "DeferredCycle");
  EXPECT_THAT(MessageOf(width), testing::EndsWith(" <- The deferred properties of class TcosTestBlock depend on "
                                                  "each other: Width -> Height -> Depth -> Width."));
  // Breaking the cycle makes it resolve.
  block_->set<std::int32_t>("Depth", 2);
  EXPECT_EQ(block_->get<std::int32_t>("Width"), 4);
}

TEST_F(TcosHost, DeferralIsRefusedWhileItsFeatureIsOff) {
  deferral(0);
  EXPECT_EQ(FailureOf([&] { run(u"QvTcosSet(block, 'Width', 'N*2')"); }), kTcos + "DeferralDisabled");
  EXPECT_EQ(FailureOf([&] { block_->setExpression("Unit", u"m/s"); }), kTcos + "DeferralDisabled");
  EXPECT_EQ(FailureOf([&] { block_->setExpression("Gain", u"2"); }), kTcos + "DeferralNotAccepted");
  run(u"QvTcosSet(block, 'Width', 7)");
  run(u"QvTcosSet(block, 'Unit', '')");  // no unit is a value, not an expression
  EXPECT_EQ(block_->get<std::int32_t>("Width"), 7);
  EXPECT_FALSE(block_->expression("Unit").has_value());
}

struct Deferred {
  std::string name;
  std::string property;
  std::u16string expression;
  std::string value;  // a unit's text, or the integer; "" when it fails
  std::string failure;
};

class TcosDeferred : public TcosHost, public testing::WithParamInterface<Deferred> {};

TEST_P(TcosDeferred, ResolvesOrNamesTheCause) {
  const Deferred& d = GetParam();
  block_->setExpression("RateUnit", u"m/s");
  block_->setExpression(d.property, d.expression);
  std::string got;
  auto read = [&] {
    got = d.property == "Unit" ? block_->get<std::string>("Unit") : std::to_string(block_->get<std::int32_t>("Width"));
  };
  EXPECT_EQ(FailureOf(read), d.failure);
  EXPECT_EQ(got, d.value);
}

const std::string kResolve = kTcos + "DeferredResolveFailed <- ";

INSTANTIATE_TEST_SUITE_P(
    Tcos, TcosDeferred,
    testing::Values(Deferred{"FactorsCancel", "Unit", u"N*m/N", "m", ""},
                    Deferred{"SeveralBelow", "Unit", u"kg*m/(s^2*A)", "kg*m/(s^2*A)", ""},
                    Deferred{"PowerOfQuotient", "Unit", u"(m/s)^2", "m^2/s^2", ""},
                    Deferred{"NothingAbove", "Unit", u"1/s", "1/s", ""},
                    Deferred{"Dimensionless", "Unit", u"m/m", "1", ""},
                    Deferred{"Prefixed", "Unit", u"km/h", "km/h", ""},
                    Deferred{"OtherPropertysUnit", "Unit", u"RateUnit*s", "m", ""},
                    Deferred{"NestedPowersMultiply", "Unit", u"((s^-10)^10)^10", "1/s^1000", ""},
                    Deferred{"CombinedPowerPastTheLimit", "Unit", u"((m^1000)^1000)^1000", "",
                             kResolve + kTcos + "ExpressionSyntax"},
                    Deferred{"UnknownUnit", "Unit", u"furlong/s", "", kResolve + kTcos + "UnknownUnit"},
                    Deferred{"Arithmetic", "Width", u"2*(3+4)-2^3", "6", ""},
                    Deferred{"HostValueAndSign", "Width", u"-N+20", "17", ""},
                    Deferred{"HostCall", "Width", u"max2(N, 7) * Height", "7", ""},
                    Deferred{"FractionForInteger", "Width", u"N/2", "", kResolve + kTcos + "BadPropertyValue"},
                    Deferred{"TextPropertyInArithmetic", "Width", u"Label+1", "", kResolve + kTcos + "NotANumber"},
                    Deferred{"UnknownHostFunction", "Width", u"nosuch(1)", "", kResolve + "Tessel:UndefinedFunction"}),
    qvsv::test::RowName());

TEST(TcosClass, DescriptionsThatCannotWorkAreRefusedAtConstruction) {
  const std::vector<std::pair<const char*, std::vector<P>>> bad = {
      {"duplicate name", {P("A").withDefault(0.0), P("A").withDefault(0.0)}},
      {"empty name", {P("").withDefault(0.0)}},
      {"default refused", {P("A").withDefault(-1.0).validatedBy(NonNegative)}},
      {"default of wrong type", {P("A", ElementKind::UInt8).withDefault(256.0)}},
      {"no default", {P("A", ElementKind::Int8)}},
      {"unknown table", {P("A").ofEnumeration("NoSuchTable")}},
      {"dimension on text", {P("A", ElementKind::Text).deferrable(kDimension)}},
      {"unit on a number", {P("A").withDefault(0.0).deferrable(qvsvTcosDeferral::Unit)}}};
  const std::size_t live = tessel::LiveArrayCount();
  for (const auto& [why, properties] : bad) {
    EXPECT_THROW(qvsvTcosClass("TcosTestBad", u"", properties), std::invalid_argument) << why;
  }
  EXPECT_EQ(qvsvTcosClassRegistry::lookup("TcosTestBad"), nullptr);
  EXPECT_EQ(tessel::LiveArrayCount(), live);
  // A second class of a taken name is not entered and leaves the first.
  {
    qvsvTcosClass second("TcosTestBlock", u"", {});
    EXPECT_EQ(qvsvTcosClassRegistry::lookup("TcosTestBlock"), &kBlock);
  }
  EXPECT_EQ(&qvsvTcosClassRegistry::get("TcosTestBlock"), &kBlock);
}

}  // namespace
