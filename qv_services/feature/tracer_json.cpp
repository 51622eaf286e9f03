// The tracer's statistics as JSON, for tools that read them.
#include <charconv>
#include <cmath>
#include <cstdio>

#include "qv_services/conversions.hpp"
#include "qv_services/tracer.hpp"

namespace {

// A JSON string literal; ill-formed UTF-8 is first replaced by U+FFFD so that
// the output is always valid.
void appendString(std::string& out, const std::string& text) {
  const std::string clean = ConvertUStringToStdString(ConvertStdStringToUString(text, true), true);
  out += '"';
  for (const char c : clean) {
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          char escape[8];
          std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(static_cast<unsigned char>(c)));
          out += escape;
        } else {
          out += c;
        }
    }
  }
  out += '"';
}

// Shortest round-trip decimal; JSON has no infinities or NaN.
void appendNumber(std::string& out, double value) {
  if (!std::isfinite(value)) {
    out += "null";
    return;
  }
  char buffer[32];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  out.append(buffer, result.ptr);
}

}  // namespace

std::string QvTracerStatToJson(const QvTracerStatMap& stats) {
  std::string out = "[";
  bool first = true;
  for (const auto& [name, s] : stats) {
    out += first ? "\n  " : ",\n  ";
    first = false;
    const double calls = static_cast<double>(s.calls);
    out += "{\"name\":";
    appendString(out, name);
    out += ",\"calls\":" + std::to_string(s.calls);
    out += ",\"total_ns\":" + std::to_string(s.totalTime);
    out += ",\"mean_ns\":";
    appendNumber(out, s.calls == 0 ? 0.0 : static_cast<double>(s.totalTime) / calls);
    out += ",\"stddev_ns\":";
    appendNumber(out, std::sqrt(s.variance));
    out += '}';
  }
  out += first ? "]" : "\n]";
  return out;
}

std::string QvTracerGetStatJson() { return QvTracerStatToJson(QvTracerGetStat()); }
