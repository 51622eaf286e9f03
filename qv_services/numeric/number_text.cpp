// Number-to-text helpers over the static and function-local formatters.
#include "qv_services/number_text.hpp"

#include <array>

#include "qv_services/numeric/detail/decimal_text.hpp"

using namespace QVSV_Flt2Ascii;

namespace {

const QvfrgFltToAscii& staticFormatter(bool legacy) {
  return legacy ? QvfrgFltToAscii::legacyFormatter : QvfrgFltToAscii::defaultFormatter;
}

// One formatter per target number 0..14, built on first use.
const QvfrgFltToAscii& targetFormatter(TargetEnum target) {
  static const auto formatters = [] {
    std::array<QvfrgFltToAscii, 15> all;
    for (int t = 0; t < static_cast<int>(all.size()); ++t) all[t].setTarget(static_cast<TargetEnum>(t));
    return all;
  }();
  const int index = target >= 0 && target < static_cast<int>(formatters.size()) ? target : TARGET_PLAIN;
  return formatters[static_cast<std::size_t>(index)];
}

}  // namespace

std::string qvsv_dtoa(double value, bool legacy) {
  char text[QvfrgFltToAscii::kBufferSize] = {};
  staticFormatter(legacy).writeDoubleFlt(text, value);
  return text;
}

std::string qvsv_stoa(float value, bool legacy) {
  char text[QvfrgFltToAscii::kBufferSize] = {};
  staticFormatter(legacy).writeSingleFlt(text, value);
  return text;
}

std::string qvsv_dtoa_numkit(double value) {
  char text[QvfrgFltToAscii::kBufferSize] = {};
  targetFormatter(TARGET_LOWER_CASE_BARE).writeDoubleFlt(text, value);
  return text;
}

std::string qvsv_complex2ascii(double re, double im, bool legacy) {
  std::string text = qvsv_dtoa(re, legacy);
  if (im > 0) {
    text += '+';
    text += qvsv_dtoa(im, legacy);
    text += 'i';
  } else if (im < 0) {
    text += '-';
    text += qvsv_dtoa(-im, legacy);
    text += 'i';
  }
  return text;
}

void qvsv_fptoa_cgirweft(char* const buffer, double value, TargetEnum target, bool single) {
  if (buffer == nullptr) return;
  const QvfrgFltToAscii& formatter = targetFormatter(target);
  if (single) {
    formatter.writeSingleFlt(buffer, qvsv::numeric::detail::NarrowToSingle(value));
  } else {
    formatter.writeDoubleFlt(buffer, value);
  }
}
