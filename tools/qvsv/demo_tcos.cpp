// Demo section: a "Gain" block as a handle class, used from host
// expressions; deferred dimensions and units; the errors users meet; and the
// legacy data types' rounding.
#include <charconv>
#include <iostream>

#include "qv_services/conversions.hpp"
#include "qv_services/feature.hpp"
#include "qv_services/interpreter_calls.hpp"
#include "qv_services/legacy_types.hpp"
#include "qv_services/tcos_class.hpp"
#include "tessel/interpreter.hpp"
#include "tools/qvsv/command.hpp"
#include "tools/qvsv/report_table.hpp"

namespace qvsv::tool {
namespace {

using P = qvsvTcosPropertyDescription;
using qvsv::tcos::ElementKind;

std::u16string FiniteGain(const txArray* value) {
  const double g = txGetScalar(value);
  return g == g && g - g == 0 ? u"" : u"the gain must be a finite number";
}

const qvsvTcosClass kGainBlock(
    "Gain", u"A gain block: multiplies its input",
    {P("Gain").withDefault(1.0).describedAs(u"Multiplier applied to the input").validatedBy(FiniteGain),
     P("OutUnit", ElementKind::Text).deferrable(qvsvTcosDeferral::Unit).describedAs(u"Unit of the output"),
     P("Width", ElementKind::Int32).withDefault(1.0).deferrable(qvsvTcosDeferral::Dimension).describedAs(
         u"Signal width"),
     P("Ports", ElementKind::UInt8).withDefault(1.0).readOnly().describedAs(u"Number of input ports")});

// Runs one host expression and shows its value or the diagnostic it raised.
void run(const char* expression, int nargout = 0) {
  txArray* out = nullptr;
  qvsvDiagnosticImpl* error = qvsvEvaluateExpression_NoThrow(std::string_view(expression), nargout, &out);
  std::cout << ">> " << expression << "\n";
  if (error != nullptr) {
    std::cout << "   " << qvsvGetIdentifierFromDiagnosticItem(error, 0) << ": "
              << ConvertUStringToStdString(qvsvGetMessageFromDiagnosticItem(error, 0)) << "\n";
    if (qvsvDiagnosticImpl* cause = qvsvGetCauseFromDiagnosticItem(error, 0)) {
      std::cout << "     caused by " << qvsvGetIdentifierFromDiagnosticItem(cause, 0) << ": "
                << ConvertUStringToStdString(qvsvGetMessageFromDiagnosticItem(cause, 0)) << "\n";
    }
    qvsvDiscardDiagnostic(error);
  } else if (nargout > 0) {
    std::cout << "   = " << ShowValue(out) << "\n";
  }
  txDestroyArray(out);
}

void showTcos() {
  auto gain = kGainBlock.create();
  tessel::ScopedFunction gainFn("gain1", [&](int, txArray* plhs[], int, txArray*[]) {
    plhs[0] = gain->toHostObject();
  });
  tessel::ScopedFunction n("N", [](int, txArray* plhs[], int, txArray*[]) { plhs[0] = txCreateDoubleScalar(4); });

  std::cout << "class Gain: " << kGainBlock.propertyNames() << " (the host value N is 4)\n";
  run("QvTcosSet(gain1, 'Gain', 2.5)");
  run("QvTcosGet(gain1, 'Gain')", 1);
  run("QvTcosGet(gain1, 'gain')", 1);
  run("QvTcosSet(gain1, 'Ports', 2)");
  run("QvTcosSet(gain1, 'Width', 2.5)");
  run("QvTcosSet(gain1, 'Width', 'N*2')");

  const int dimensions = QvFeatureHostCommand::get("DimensionVariants");
  const int units = QvFeatureHostCommand::get("QVUnit");
  QvFeatureHostCommand::set("DimensionVariants", 1);
  QvFeatureHostCommand::set("QVUnit", 1);
  std::cout << "with the features DimensionVariants and QVUnit at 1:\n";
  run("QvTcosSet(gain1, 'Width', 'N*2')");
  run("QvTcosGet(gain1, 'Width')", 1);
  run("QvTcosSet(gain1, 'OutUnit', 'kg*m/s^2/kg')");
  run("QvTcosGet(gain1, 'OutUnit')", 1);
  run("QvTcosSet(gain1, 'Width', 'N/3')");
  run("QvTcosGet(gain1, 'Width')", 1);
  run("QvTcosSet(gain1, 'OutUnit', 'm/(s')");
  QvFeatureHostCommand::set("DimensionVariants", dimensions);
  QvFeatureHostCommand::set("QVUnit", units);

  txArray* stale = gain->toHostObject();
  txMakeArrayPersistent(stale);
  gain = kGainBlock.create();
  {
    tessel::ScopedFunction oldFn("old_gain", [&](int, txArray* plhs[], int, txArray*[]) {
      plhs[0] = txDuplicateArray(stale);
    });
    std::cout << "after the first block was deleted natively:\n";
    run("QvTcosGet(old_gain, 'Gain')", 1);
  }
  txDestroyArray(stale);

  txArray* numbers = txCreateDoubleMatrix(1, 5);
  const double values[] = {2.5, -2.5, 300, -4, 0.1};
  std::copy(std::begin(values), std::end(values), txGetPrForWrite(numbers));
  std::cout << "legacy types of " << ShowValue(numbers) << ":\n";
  for (const char* type : {"int8", "uint8", "single", "boolean"}) {
    txArray* back = qvsvLegacyToHost(qvsvLegacyFromHost(qvsvLegacyDataType::byName(type), numbers));
    std::cout << "   " << type << ": " << ShowValue(back) << "\n";
    txDestroyArray(back);
  }
  txDestroyArray(numbers);
}

const DemoSection kTcos(48, "Object-system bridges", showTcos);

}  // namespace
}  // namespace qvsv::tool
