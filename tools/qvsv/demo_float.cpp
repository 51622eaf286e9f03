// Demo section: a few values through every target of the float formatter and
// the number-to-text helpers.
#include <cfloat>
#include <iomanip>
#include <iostream>
#include <limits>
#include <string>
#include <vector>

#include "qv_services/float_formatter.hpp"
#include "qv_services/number_text.hpp"
#include "tools/qvsv/command.hpp"

namespace qvsv::tool {
namespace {

void showFloatFormatter() {
  const double inf = std::numeric_limits<double>::infinity();
  const std::vector<double> doubles = {0.1, 1.0, 0.1 + 0.2, 2.5e7, -0.0, inf, std::numeric_limits<double>::quiet_NaN()};
  const std::vector<float> singles = {0.1f, FLT_MAX, -std::numeric_limits<float>::infinity()};
  const struct {
    int target;
    const char* name;
  } targets[] = {
      {0, "plain"},        {1, "default"},          {2, "exponent"},    {3, "exponent compact"}, {4, "lower case"},
      {5, "weft concise"}, {6, "weft exponential"}, {7, "weft signed"}, {8, "weft exp. signed"}, {9, "weft unsuffixed"},
      {10, "weft bare"},   {11, "lower case bare"}, {12, "save vars"},  {14, "legacy"}};
  std::cout << "doubles 0.1, 1.0, 0.1+0.2, 2.5e7, -0.0, Inf, NaN | singles 0.1f, FLT_MAX, -Inf\n";
  char text[QvfrgFltToAscii::kBufferSize];
  for (const auto& t : targets) {
    const QvfrgFltToAscii formatter(static_cast<QVSV_Flt2Ascii::TargetEnum>(t.target));
    std::cout << std::setw(2) << t.target << " " << std::left << std::setw(17) << t.name << std::right;
    for (double v : doubles) {
      formatter.writeDoubleFlt(text, v);
      std::cout << " " << text;
    }
    std::cout << " |";
    for (float v : singles) {
      formatter.writeSingleFlt(text, v);
      std::cout << " " << text;
    }
    std::cout << "\n";
  }
  std::cout << "qvsv_complex2ascii(1, -2) = " << qvsv_complex2ascii(1, -2)
            << ", qvsv_dtoa_numkit(1e20) = " << qvsv_dtoa_numkit(1e20) << "\n";
}

const DemoSection kFloatFormatter(60, "Float formatter for generated code", showFloatFormatter);

}  // namespace
}  // namespace qvsv::tool
