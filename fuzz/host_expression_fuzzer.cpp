// libFuzzer target: the embedded host's string-expression evaluator, and the
// library's host literal for whatever it reads.

#include "fuzz/fuzz_support.hpp"
#include "qv_services/wide_string.hpp"
#include "tessel/interpreter.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider in(data, size);
  const std::u16string expression = qvsv::fuzz::WideText(in, 8192);
  std::u16string value;
  try {
    value = tessel::EvaluateStringExpression(expression);
  } catch (const tessel::HostError& e) {
    qvsv::fuzz::Check(e.identifier() == "Tessel:ParseError", "the evaluator failed with another identifier");
    return 0;
  }
  qvsv::fuzz::Check(value.size() <= expression.size(), "a value longer than its expression");
  qvsv::fuzz::Check(tessel::EvaluateStringExpression(qvsvMAT2str(value)) == value,
                    "the host literal of a value does not read back");
  return 0;
}
