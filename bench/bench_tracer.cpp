// The tracer: while tracing is off a tracer must cost no more than one call
// through a function pointer and a null test; while on, what a traced scope
// costs is reported per scope.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "bench/bench_support.hpp"
#include "qv_services/tracer.hpp"

namespace {

// The budget, written out: a call through a pointer the compiler cannot see
// through, returning null, and a test of the result.
QvTracerRecord* returnsNull(const char*) noexcept { return nullptr; }
QvTracerRecord* (*volatile gNullFactory)(const char*) noexcept = returnsNull;

void BM_EmptyScope(benchmark::State& state) {
  for (auto _ : state) {
    int scope = 0;
    benchmark::DoNotOptimize(scope);
  }
}

void BM_IndirectCallNullTest(benchmark::State& state) {
  for (auto _ : state) {
    QvTracerRecord* record = gNullFactory("bench");
    if (record != nullptr) benchmark::DoNotOptimize(record);
    benchmark::ClobberMemory();
  }
}

void BM_TracerOff(benchmark::State& state) {
  QvTracerSetOff();
  for (auto _ : state) {
    QvTracer tracer("bench");
    benchmark::ClobberMemory();
  }
}

void BM_TracerOn(benchmark::State& state) {
  QvTracerClearStat();
  QvTracerSetOn();
  for (auto _ : state) {
    QvTracer tracer("bench");
    benchmark::ClobberMemory();
  }
  QvTracerSetOff();
  QvTracerClearStat();
}

// Spans of many names: the statistics lookup grows with the map.
void BM_TracerOn_64Names(benchmark::State& state) {
  std::vector<std::string> names;
  for (int i = 0; i < 64; ++i) names.push_back("bench." + std::to_string(i));
  QvTracerClearStat();
  QvTracerSetOn();
  std::size_t i = 0;
  for (auto _ : state) {
    QvTracer tracer(names[i++ & 63].c_str());
    benchmark::ClobberMemory();
  }
  QvTracerSetOff();
  QvTracerClearStat();
}

// An inner tracer of a name already measured records nothing but still
// allocates its record.
void BM_TracerOn_Nested(benchmark::State& state) {
  QvTracerClearStat();
  QvTracerSetOn();
  {
    QvTracer outer("bench");
    for (auto _ : state) {
      QvTracer inner("bench");
      benchmark::ClobberMemory();
    }
  }
  QvTracerSetOff();
  QvTracerClearStat();
}

BENCHMARK(BM_EmptyScope);
BENCHMARK(BM_IndirectCallNullTest);
BENCHMARK(BM_TracerOff);
BENCHMARK(BM_TracerOn);
BENCHMARK(BM_TracerOn_64Names);
BENCHMARK(BM_TracerOn_Nested);

const qvsv::bench::Ratio kOffBudget("BM_TracerOff", "BM_IndirectCallNullTest", 1.25);
const qvsv::bench::Ratio kOffEmpty("BM_TracerOff", "BM_EmptyScope");
const qvsv::bench::Ratio kOn("BM_TracerOn", "BM_TracerOff");

}  // namespace

QVSV_BENCH_MAIN()
