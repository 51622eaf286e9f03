// The tracer: a scoped timer for profiling native code by name.
//
// Put a QvTracer at the top of a block with a literal name. While tracing is
// on, the span from construction to destruction is measured on the steady
// clock and folded into per-name statistics, which can be printed for people
// (QvTracerPrintStat), written as JSON for tools (QvTracerGetStatJson),
// returned to the host (the host entry QvTracerGetStat) or cleared.
//
//   void Compile(Model& m) {
//     QvTracer trace("Compile");   // costs one indirect call while tracing is off
//     ...
//   }
//
// The switch is a factory pointer rather than a flag: a tracer made while
// tracing is off asks the "off" factory, gets null, allocates nothing and
// records nothing, even if tracing is switched on before it dies. Only the
// outermost span of a name is measured: a tracer whose name is already being
// measured (recursion, nesting) records nothing.
//
// Times are 32-bit nanosecond counts on purpose: a span of 2^31 ns (about 2.1
// seconds) or more wraps, and so does a name's total.
//
// Ownership and input. The name is not copied: it must outlive the tracer (a
// literal). A null name counts as "". Statistics are kept in one ordered map,
// created on first use, that lives until process exit; entries persist until
// QvTracerClearStat. A span that cannot be recorded for lack of memory is
// dropped; a tracer never throws. Main thread only: tracers on other threads
// while tracing is on are not supported.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "qv_services/export.hpp"
#include "tessel/array.hpp"

// The statistics of one name.
struct QvTracerStats {
  std::int32_t totalTime = 0;  // ns, the sum of the elapsed times (wraps)
  std::uint32_t calls = 0;     // completed measurements
  double variance = 0.0;       // running variance of the elapsed times, ns^2
  std::int32_t last = 0;       // the most recent elapsed time, ns
  // The sum of the spans' leak values. Reserved for a memory measurement;
  // nothing in this library supplies one, so it stays 0.
  std::int32_t leak = 0;
  std::uint32_t leakCount = 0;  // incremented with every measurement
  bool active = false;          // a tracer of this name is measuring
};

// Ordered by name: reports list names in byte order. The transparent
// comparison lets a tracer find its entry without building a string.
using QvTracerStatMap = std::map<std::string, QvTracerStats, std::less<>>;

// The timing record of one live tracer while tracing is on.
struct QvTracerRecord {
  bool stopped = true;  // until the start time is taken
  const char* name = nullptr;  // not owned: the tracer's literal
  std::int32_t elapsed = 0;    // ns
  std::uint32_t start = 0;     // low 32 bits of the steady clock's ns count
  std::int32_t leak = 0;       // 0 at start, negated at stop
};

namespace qvsv::detail {

using TracerFactory = QvTracerRecord* (*)(const char* name) noexcept;

// The switch, read inline by every QvTracer so that a tracer costs one
// indirect call while tracing is off. Set only by QvTracerSetOn/Off.
extern QVSV_API TracerFactory gTracerFactory;

// Stops the record (folding its span into the statistics) and deletes it.
QVSV_API void FinishTracerRecord(QvTracerRecord* record) noexcept;

// Folds a span of the given length into a name's statistics as a stop does,
// so that tests can check the arithmetic with lengths of their choosing.
QVSV_API void RecordTracerSpanForTesting(const char* name, std::int32_t elapsed);

}  // namespace qvsv::detail

class QvTracer {
 public:
  explicit QvTracer(const char* name) noexcept : record_(qvsv::detail::gTracerFactory(name)) {}
  ~QvTracer() {
    if (record_ != nullptr) qvsv::detail::FinishTracerRecord(record_);
  }
  QvTracer(const QvTracer&) = delete;
  QvTracer& operator=(const QvTracer&) = delete;

 private:
  QvTracerRecord* record_;  // owned; null when tracing was off at construction
};

// --- The switch. Tracers made before a switch keep what they got. ---
QVSV_API void QvTracerSetOn();
QVSV_API void QvTracerSetOff();
QVSV_API bool QvTracerIsOn();

// --- The statistics. ---
// Empties the map. A tracer measuring meanwhile re-creates its entry when it
// stops, with that one call.
QVSV_API void QvTracerClearStat();
// A copy of the map.
QVSV_API QvTracerStatMap QvTracerGetStat();
// Host entry: sets plhs[0] (when nlhs >= 1) to a new 1 x N struct array with
// the fields "name", "calls", "time" (whole milliseconds, truncated) and
// "leak", one element per name in name order. The inputs are not read.
QVSV_API void QvTracerGetStat(int nlhs, txArray** plhs, int nrhs, txArray** prhs);
// Prints the statistics to the host console: per name the calls, total time,
// time per call and standard deviation in seconds, and the leak sum and leak
// per call. A name with no completed call shows 0 per call.
QVSV_API void QvTracerPrintStat();

// --- JSON for tools: an array with one object per name, in name order,
//   [{"name":"Compile","calls":3,"total_ns":1200,"mean_ns":400,"stddev_ns":12.5}]
// Names are written as valid JSON strings (ill-formed UTF-8 becomes U+FFFD);
// numbers are shortest round-trip decimals; mean and deviation are 0 for a
// name without calls. ---
QVSV_API std::string QvTracerStatToJson(const QvTracerStatMap& stats);
QVSV_API std::string QvTracerGetStatJson();
