// libFuzzer target: deferred expressions of handle-class properties, a
// dimension and a unit, set from arbitrary text and resolved. Every failure
// must be a diagnostic exception or a host error; nothing may crash, hang or
// overflow.
#include "fuzz/fuzz_support.hpp"
#include "qv_services/except.hpp"
#include "qv_services/feature.hpp"
#include "qv_services/tcos_class.hpp"
#include "tessel/interpreter.hpp"

namespace {

using P = qvsvTcosPropertyDescription;
using qvsv::tcos::ElementKind;

const qvsvTcosClass& FuzzClass() {
  static const qvsvTcosClass cls(
      "TcosFuzzBlock", u"Deferred expressions",
      {P("Width", ElementKind::Double).withDefault(1.0).deferrable(qvsvTcosDeferral::Dimension),
       P("Unit", ElementKind::Text).deferrable(qvsvTcosDeferral::Unit),
       P("Rate", ElementKind::Text).deferrable(qvsvTcosDeferral::Unit)});
  return cls;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qvsv::fuzz::InitializeLibraryOnce();
  [[maybe_unused]] static const bool features =
      (QvFeatureHostCommand::set("DimensionVariants", 1), QvFeatureHostCommand::set("QVUnit", 1), true);
  FuzzedDataProvider in(data, size);
  const bool unit = in.ConsumeBool();
  const std::u16string other = qvsv::fuzz::WideText(in, 256);
  const std::u16string expression = qvsv::fuzz::WideText(in, 4096);
  const std::unique_ptr<qvsvTcosInstance> block = FuzzClass().create();
  std::string normal;
  const bool refused = qvsv::fuzz::Throws<qvsv::except::DiagnosticException, tessel::HostError>([&] {
    block->setExpression("Rate", other);
    block->setExpression(unit ? "Unit" : "Width", expression);
    if (unit) {
      normal = block->get<std::string>("Unit");
    } else {
      block->get<double>("Width");
    }
  });
  if (!refused && unit && !normal.empty()) {
    // A normal form is its own normal form.
    block->setExpression("Unit", ConvertStdStringToUString(normal, false));
    qvsv::fuzz::Check(block->get<std::string>("Unit") == normal, "a unit's normal form normalises differently");
  }
  return 0;
}
