// The tests' side of the formatter's friend: the private setters and helpers
// that other modules of the product reach the same way.
#pragma once

#include <string>

#include "qv_services/float_formatter.hpp"

struct QvfrgFltToAsciiAccess {
  static void setPrecisionFormat(QvfrgFltToAscii& f, int slot, const char* format) {
    f.setPrecisionFormat(static_cast<QVSV_Flt2Ascii::FloatPrecisionFormatEnum>(slot), format);
  }
  static void setEnsureBeingFloatingPoint(QvfrgFltToAscii& f, bool ensure) { f.setEnsureBeingFloatingPoint(ensure); }
  static void setIndicateSingleFloatingPoint(QvfrgFltToAscii& f, bool on) { f.setIndicateSingleFloatingPoint(on); }
  static void setUpCaseExponentSymbol(QvfrgFltToAscii& f, bool upper) { f.setUpCaseExponentSymbol(upper); }
  static void setInfSymbol(QvfrgFltToAscii& f, const char* s) { f.setInfSymbol(s); }
  static void setSingleInfSymbol(QvfrgFltToAscii& f, const char* s) { f.setSingleInfSymbol(s); }
  static void setSingleNaNSymbol(QvfrgFltToAscii& f, const char* s) { f.setSingleNaNSymbol(s); }

  static double convertStrToDouble(const QvfrgFltToAscii& f, const char* text) { return f.convertStrToDouble(text); }
  static bool isStrRepEqualToDouble(const QvfrgFltToAscii& f, double v, const char* text) {
    return f.isStrRepEqualToDouble(v, text);
  }
  static bool isStrRepEqualToFloat(const QvfrgFltToAscii& f, float v, const char* text) {
    return f.isStrRepEqualToFloat(v, text);
  }
  static bool writeNonfinite(const QvfrgFltToAscii& f, char* dst, double v) {
    return f.writeNonfiniteFloatingPoint(dst, v);
  }
};

// What a formatter writes for a double or a single, as a string.
inline std::string Written(const QvfrgFltToAscii& formatter, double v) {
  char text[QvfrgFltToAscii::kBufferSize];
  formatter.writeDoubleFlt(text, v);
  return text;
}

inline std::string Written(const QvfrgFltToAscii& formatter, float v) {
  char text[QvfrgFltToAscii::kBufferSize];
  formatter.writeSingleFlt(text, v);
  return text;
}
