// The tracer: the factory switch, the per-name statistics and their reports.
#include "qv_services/tracer.hpp"

#include <chrono>
#include <cmath>
#include <memory>
#include <new>
#include <sstream>
#include <string_view>

#include "tessel/ut.hpp"

namespace {

// Created on first use, destroyed at process exit.
QvTracerStatMap& statistics() {
  static QvTracerStatMap stats;
  return stats;
}

// The entry of a name, made on first lookup.
QvTracerStats& statsOf(const char* name) {
  const std::string_view key = name == nullptr ? std::string_view() : std::string_view(name);
  QvTracerStatMap& stats = statistics();
  const auto it = stats.find(key);
  if (it != stats.end()) return it->second;
  return stats.emplace(std::string(key), QvTracerStats{}).first->second;
}

// The low 32 bits of the steady clock's nanosecond count: spans are measured
// in 32-bit arithmetic and wrap at 2^31 ns.
std::uint32_t now32() {
  const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(
      std::chrono::steady_clock::now().time_since_epoch());
  return static_cast<std::uint32_t>(ns.count());
}

QvTracerRecord* offFactory(const char*) noexcept { return nullptr; }

QvTracerRecord* onFactory(const char* name) noexcept {
  try {
    // Owned until returned: a statistics entry that cannot be made must not
    // lose the record.
    std::unique_ptr<QvTracerRecord> record(new QvTracerRecord);
    record->name = name;
    QvTracerStats& stats = statsOf(name);
    // A name already being measured leaves this record stopped, so only the
    // outermost span of a name counts.
    if (!stats.active) {
      stats.active = true;
      record->leak = 0;
      record->stopped = false;
      record->start = now32();
    }
    return record.release();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

// Folds one elapsed time into a name's statistics with the running variance.
void addMeasurement(QvTracerStats& stats, std::int32_t elapsed, std::int32_t leak) {
  const std::uint32_t n = stats.calls + 1;
  // Unsigned addition: the 32-bit total wraps by design.
  stats.totalTime = static_cast<std::int32_t>(static_cast<std::uint32_t>(stats.totalTime) +
                                              static_cast<std::uint32_t>(elapsed));
  stats.calls = n;
  if (n > 1) {
    const double dn = static_cast<double>(n);
    const double mean = static_cast<double>(stats.totalTime) / dn;
    const double deviation = static_cast<double>(elapsed) - mean;
    stats.variance = ((dn - 1.0) / dn) * stats.variance + deviation * deviation / (dn - 1.0);
  }
  stats.last = elapsed;
  stats.leak = static_cast<std::int32_t>(static_cast<std::uint32_t>(stats.leak) + static_cast<std::uint32_t>(leak));
  stats.leakCount += 1;
}

void recordSpan(const char* name, std::int32_t elapsed, std::int32_t leak) {
  QvTracerStats& stats = statsOf(name);
  stats.active = false;
  addMeasurement(stats, elapsed, leak);
}

}  // namespace

namespace qvsv::detail {

TracerFactory gTracerFactory = offFactory;

void FinishTracerRecord(QvTracerRecord* record) noexcept {
  if (!record->stopped) {
    record->elapsed = static_cast<std::int32_t>(now32() - record->start);
    record->stopped = true;
    record->leak = -record->leak;
    try {
      recordSpan(record->name, record->elapsed, record->leak);
    } catch (const std::bad_alloc&) {
      // The entry was cleared meanwhile and cannot be made again: the span is lost.
    }
  }
  delete record;
}

void RecordTracerSpanForTesting(const char* name, std::int32_t elapsed) { recordSpan(name, elapsed, 0); }

}  // namespace qvsv::detail

void QvTracerSetOn() { qvsv::detail::gTracerFactory = onFactory; }

void QvTracerSetOff() { qvsv::detail::gTracerFactory = offFactory; }

bool QvTracerIsOn() { return qvsv::detail::gTracerFactory == onFactory; }

void QvTracerClearStat() { statistics().clear(); }

QvTracerStatMap QvTracerGetStat() { return statistics(); }

void QvTracerGetStat(int nlhs, txArray** plhs, int, txArray**) {
  if (nlhs < 1 || plhs == nullptr) return;
  const QvTracerStatMap& stats = statistics();
  // Owned until handed out: a field that cannot be made must not lose the report.
  std::unique_ptr<txArray, void (*)(txArray*)> owned(
      txCreateStructMatrix(1, stats.size(), {"name", "calls", "time", "leak"}), txDestroyArray);
  txArray* report = owned.get();
  txIndex i = 0;
  for (const auto& [name, s] : stats) {
    txSetFieldByNumber(report, i, 0, txCreateStringFromUTF8(name));
    txSetFieldByNumber(report, i, 1, txCreateDoubleScalar(static_cast<double>(s.calls)));
    // Whole milliseconds in integer arithmetic, truncated toward zero.
    txSetFieldByNumber(report, i, 2, txCreateDoubleScalar(static_cast<double>(s.totalTime / 1000000)));
    txSetFieldByNumber(report, i, 3, txCreateDoubleScalar(static_cast<double>(s.leak)));
    ++i;
  }
  plhs[0] = owned.release();
}

void QvTracerPrintStat() {
  std::ostringstream out;
  out << "--- Profiling Statistics ---\n";
  for (const auto& [name, s] : statistics()) {
    // A name whose only tracer is still measuring has no calls yet.
    const double perCall = s.calls == 0 ? 0.0 : static_cast<double>(s.totalTime) / static_cast<double>(s.calls);
    const double leakPerCall =
        s.leakCount == 0 ? 0.0 : static_cast<double>(s.leak) / static_cast<double>(s.leakCount);
    out << "==>  " << name << "\n";
    out << "     calls: " << s.calls << "\n";
    out << "total time: " << static_cast<double>(s.totalTime) / 1e9 << "\n";
    out << " time/call: " << perCall / 1e9 << "\n";
    out << "    stdDev: " << std::sqrt(s.variance) / 1e9 << "\n";
    out << "      leak: " << s.leak << "\n";
    out << " leak/call: " << leakPerCall << "\n";
  }
  out << "--- End of Profiling Statistics ---\n";
  utPrintf("%s\n", out.str().c_str());
}
