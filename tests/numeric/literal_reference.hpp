// The formatter's output computed the slow, literal way: sprintf with the
// slot's format, the round-trip test through the locale-independent strtod and
// the C library's atof, the fallback format, then character-by-character
// trimming. It shares no code with the library, so the tests (and the
// benchmark) can hold the fast writers against it byte for byte.
#pragma once

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tessel/foundation.hpp"

namespace qvsv::test {

// The settings a target installs, restated from the target table.
struct ReferenceSettings {
  enum class Writer {
    Plain, DefaultCompact, Exponent, ExponentCompact, WeftConcise, WeftExponential, SaveVars, Legacy
  };

  Writer writer = Writer::Plain;
  bool ensureFloatingPoint = true;
  bool indicateSingle = false;
  bool removeExtraExponentZeros = true;
  char exponentSymbol = 'E';
  // Infinity, minus infinity, NaN.
  std::string doubleSymbols[3] = {"Inf", "-Inf", "NaN"};
  std::string singleSymbols[3] = {"Inf", "-Inf", "NaN"};
  // Slots 400 to 409.
  std::string formats[10] = {"%#.15G", "%#.17G", "%#.6G", "%#.9G", "%#.10G",
                             "%#.14E", "%#.16E", "%#.5E", "%#.8E", "%#.9E"};

  void useSymbols(const char* inf, const char* minusInf, const char* nan) {
    doubleSymbols[0] = singleSymbols[0] = inf;
    doubleSymbols[1] = singleSymbols[1] = minusInf;
    doubleSymbols[2] = singleSymbols[2] = nan;
  }
  void useFormats(const char* prefix, char general, char exponent) {
    const int digits[10] = {15, 17, 6, 9, 10, 14, 16, 5, 8, 9};
    for (int i = 0; i < 10; ++i) {
      formats[i] = std::string(prefix) + "." + std::to_string(digits[i]) + (i < 5 ? general : exponent);
    }
  }

  static ReferenceSettings ForTarget(int target) {
    ReferenceSettings s;
    switch (target) {
      case 1: s.writer = Writer::DefaultCompact; break;
      case 2: s.writer = Writer::Exponent; break;
      case 3: s.writer = Writer::ExponentCompact; break;
      case 4:
        s.writer = Writer::DefaultCompact;
        s.exponentSymbol = 'e';
        s.useFormats("%#", 'g', 'e');
        break;
      case 5:
      case 6:
        s.writer = target == 5 ? Writer::WeftConcise : Writer::WeftExponential;
        s.useSymbols("rtInf", "rtMinusInf", "rtNaN");
        s.indicateSingle = true;
        break;
      case 7:
      case 8:
        s = ForTarget(target - 2);
        s.useSymbols("+rtInf", "-rtInf", "+rtNaN");
        s.useFormats("%+#", 'G', 'E');
        break;
      case 9:
      case 10:
        s = ForTarget(5);
        s.ensureFloatingPoint = target == 9;
        s.indicateSingle = false;
        break;
      case 11:
        s = ForTarget(4);
        s.ensureFloatingPoint = false;
        break;
      case 12:
        s.writer = Writer::SaveVars;
        s.ensureFloatingPoint = false;
        break;
      case 14: s.writer = Writer::Legacy; break;
      default: break;
    }
    return s;
  }
};

namespace reference {

// Round to single as the hardware does, overflow to infinity included.
inline float ToSingle(double d) {
  if (std::isnan(d) || std::fabs(d) <= FLT_MAX) return static_cast<float>(d);
  const float big = std::fabs(d) < 0x1.ffffffp127 ? FLT_MAX : INFINITY;
  return d < 0 ? -big : big;
}

inline std::string Sprintf(const std::string& format, double v) {
  char text[512];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  std::sprintf(text, format.c_str(), v);
#pragma GCC diagnostic pop
  return text;
}

// Both parsers must give v back (a single after rounding the parsed double).
template <typename T>
bool ReadsBack(T v, const std::string& text) {
  const auto asT = [](double d) { return sizeof(T) == sizeof(float) ? static_cast<double>(ToSingle(d)) : d; };
  return asT(tessel::StrtodLocaleIndependent(text.c_str(), nullptr)) == v && asT(std::atof(text.c_str())) == v;
}

// Zeros right after the exponent's sign go; an all-zero exponent keeps one.
inline void RemoveExtraZerosAfterE(std::string& s, std::size_t e) {
  std::size_t first = e + 1;
  if (first < s.size() && (s[first] == '+' || s[first] == '-')) ++first;
  std::size_t last = first;
  while (last < s.size() && s[last] == '0') ++last;
  const bool allZero = last == s.size() || s[last] < '0' || s[last] > '9';
  if (allZero && last > first) --last;
  s.erase(first, last - first);
}

// Zeros before `end` go, but one stays right after a '.', and s[0] stays.
inline void RemoveTrailingZeros(std::string& s, std::size_t end) {
  std::size_t keep = end;
  while (keep >= 2 && s[keep - 1] == '0' && s[keep - 2] != '.') --keep;
  s.erase(keep, end - keep);
}

inline void RemoveRedundantZeroDigits(const ReferenceSettings& settings, std::string& s) {
  const std::size_t e = s.find(settings.exponentSymbol);
  if (e != std::string::npos) {
    if (settings.removeExtraExponentZeros) RemoveExtraZerosAfterE(s, e);
    RemoveTrailingZeros(s, e);
    return;
  }
  if (!s.empty() && s.back() == '.') s += '0';
  RemoveTrailingZeros(s, s.size());
  if (settings.ensureFloatingPoint) return;
  if (s.size() >= 3 && s.compare(s.size() - 2, 2, ".0") == 0) s.resize(s.size() - 2);
}

template <typename T>
std::string Symbol(const ReferenceSettings& settings, T v) {
  const std::string* symbols = sizeof(T) == sizeof(float) ? settings.singleSymbols : settings.doubleSymbols;
  if (std::isnan(v)) return symbols[2];
  return v > 0 ? symbols[0] : symbols[1];
}

// The compact writers: a first format, the fallback when the text does not
// read back (the widest one for a single's largest magnitude), then trimming.
template <typename T>
std::string Compact(const ReferenceSettings& settings, T v, bool exponent) {
  if (!std::isfinite(v)) return Symbol(settings, v);
  const int first = (exponent ? 5 : 0) + (sizeof(T) == sizeof(float) ? 2 : 0);
  const int fallback = first + (sizeof(T) == sizeof(float) && std::fabs(v) == FLT_MAX ? 2 : 1);
  std::string text = Sprintf(settings.formats[first], v);
  if (!ReadsBack(v, text)) text = Sprintf(settings.formats[fallback], v);
  RemoveRedundantZeroDigits(settings, text);
  return text;
}

template <typename T>
std::string SaveVars(T v) {
  const bool single = sizeof(T) == sizeof(float);
  std::string text;
  if (std::fabs(v) < static_cast<T>(1e6)) {
    text = Sprintf(single ? "%.6G" : "%.15G", v);
    if (!ReadsBack(v, text)) text = Sprintf(single ? "%.9G" : "%.17G", v);
    const std::size_t e = text.find('E');
    if (e != std::string::npos) RemoveExtraZerosAfterE(text, e);
    return text;
  }
  text = Sprintf(single ? "%#.5E" : "%#.14E", v);
  if (!ReadsBack(v, text)) {
    text = Sprintf(single ? (std::fabs(v) == FLT_MAX ? "%#.9E" : "%#.8E") : "%#.16E", v);
  }
  const std::size_t e = text.find('E');
  RemoveExtraZerosAfterE(text, e);
  RemoveTrailingZeros(text, e);
  return text;
}

template <typename T>
std::string Write(const ReferenceSettings& s, T v) {
  using W = ReferenceSettings::Writer;
  const bool single = sizeof(T) == sizeof(float);
  std::string text;
  switch (s.writer) {
    case W::Plain: return Sprintf(single ? "%.10G" : "%.17G", v);
    case W::Exponent: return Sprintf(single ? "%.9E" : "%.16E", v);
    case W::Legacy: return Sprintf("%G", v);
    case W::DefaultCompact: return Compact(s, v, false);
    case W::ExponentCompact: return Compact(s, v, true);
    case W::SaveVars: return std::isfinite(v) ? SaveVars(v) : Symbol(s, v);
    case W::WeftConcise: text = Compact(s, v, std::fabs(v) >= static_cast<T>(1e6)); break;
    case W::WeftExponential: text = Compact(s, v, true); break;
  }
  if (single && s.indicateSingle) text += 'F';
  return text;
}

}  // namespace reference

// The literal procedure's text of `v` (a double or a single) under `settings`.
template <typename T>
std::string ReferenceText(const ReferenceSettings& settings, T v) {
  return reference::Write(settings, v);
}

}  // namespace qvsv::test
