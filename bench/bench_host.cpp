// Host arrays: a shared-data copy (what diagnostics keep of their argument
// arrays) against a deep copy of the same cell array.
#include <benchmark/benchmark.h>

#include "bench/bench_support.hpp"
#include "tessel/array.hpp"

namespace {

txArray* makeCell(int n) {
  txArray* cell = txCreateCellMatrix(1, static_cast<txIndex>(n));
  for (int i = 0; i < n; ++i) {
    txSetCell(cell, static_cast<txIndex>(i), i % 2 ? txCreateDoubleScalar(i) : txCreateString(u"argument text"));
  }
  return cell;
}

void BM_SharedDataCopy(benchmark::State& state) {
  txArray* cell = makeCell(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    txArray* copy = txCreateSharedDataCopy(cell);
    benchmark::DoNotOptimize(copy);
    txDestroyArray(copy);
  }
  txDestroyArray(cell);
}

void BM_DeepCopy(benchmark::State& state) {
  txArray* cell = makeCell(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    txArray* copy = txDuplicateArray(cell);
    benchmark::DoNotOptimize(copy);
    txDestroyArray(copy);
  }
  txDestroyArray(cell);
}

BENCHMARK(BM_SharedDataCopy)->Arg(8)->Arg(256);
BENCHMARK(BM_DeepCopy)->Arg(8)->Arg(256);

const qvsv::bench::Ratio kSmall("BM_SharedDataCopy/8", "BM_DeepCopy/8");
const qvsv::bench::Ratio kLarge("BM_SharedDataCopy/256", "BM_DeepCopy/256");

}  // namespace

QVSV_BENCH_MAIN()
