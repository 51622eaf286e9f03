// The diagnostic pools and the queue: creation and release must not grow
// with the number of live diagnostics, the pool must beat plain new/delete,
// and merging must be linear in the items moved.
#include <benchmark/benchmark.h>

#include <vector>

#include "bench/bench_support.hpp"
#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/error_queue.hpp"
#include "qv_services/module.hpp"

namespace {

// Keeps `alive` other diagnostics (with one item each) alive meanwhile.
void createAndRelease(benchmark::State& state, int alive) {
  TLInitialize_qv_services();
  std::vector<qvsvDiagnosticImpl*> others;
  others.reserve(static_cast<std::size_t>(alive));
  for (int i = 0; i < alive; ++i) others.push_back(qvsvCreateDiagnosticFromIdAndMsg("Bench:other", u"other"));
  // Free a few low chunks so that the lowest free address is not at the end.
  for (int i = 0; i < alive; i += 1000) qvsvDiscardDiagnostic(others[static_cast<std::size_t>(i)]);
  const std::u16string message = u"A message of ordinary length for a diagnostic";
  for (auto _ : state) {
    qvsvDiagnosticImpl* diag = qvsvCreateDiagnosticFromIdAndMsg("Bench:create", message);
    benchmark::DoNotOptimize(diag);
    qvsvDiscardDiagnostic(diag);
  }
  for (qvsvDiagnosticImpl*& d : others) qvsvDiscardDiagnostic(d);
}

void BM_CreateRelease_NoneAlive(benchmark::State& state) { createAndRelease(state, 0); }
void BM_CreateRelease_100kAlive(benchmark::State& state) { createAndRelease(state, 100000); }

void BM_PoolNewDelete(benchmark::State& state) {
  for (auto _ : state) {
    auto* diag = new qvsvDiagnosticImpl;
    benchmark::DoNotOptimize(diag);
    delete diag;
  }
}

void BM_PlainNewDelete(benchmark::State& state) {
  // The same object through the global allocator, bypassing the pool.
  for (auto _ : state) {
    auto* diag = ::new qvsvDiagnosticImpl;
    benchmark::DoNotOptimize(diag);
    diag->~qvsvDiagnosticImpl();
    ::operator delete(diag);
  }
}

void BM_PoolItemNewDelete(benchmark::State& state) {
  for (auto _ : state) {
    auto* item = new qvsvDiagnosticItem;
    benchmark::DoNotOptimize(item);
    delete item;
  }
}

void BM_PlainItemNewDelete(benchmark::State& state) {
  for (auto _ : state) {
    auto* item = ::new qvsvDiagnosticItem;
    benchmark::DoNotOptimize(item);
    item->~qvsvDiagnosticItem();
    ::operator delete(item);
  }
}

// Many live objects at once: the pool's chunks stay address-ordered.
void BM_PoolBatch(benchmark::State& state) {
  std::vector<qvsvDiagnosticImpl*> batch(1000);
  for (auto _ : state) {
    for (auto& d : batch) d = new qvsvDiagnosticImpl;
    for (auto& d : batch) delete d;
  }
}

void BM_PlainBatch(benchmark::State& state) {
  std::vector<qvsvDiagnosticImpl*> batch(1000);
  for (auto _ : state) {
    for (auto& d : batch) d = ::new qvsvDiagnosticImpl;
    for (auto& d : batch) {
      d->~qvsvDiagnosticImpl();
      ::operator delete(d);
    }
  }
}

void BM_ConcatenateItems(benchmark::State& state) {
  TLInitialize_qv_services();
  qvsvSetMaxDiagnosticsInQueue(0);
  const auto n = static_cast<int>(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    qvsvDiagnosticImpl* src = nullptr;
    for (int i = 0; i < n; ++i) qvsvConcatenateDiagnostics(src, qvsvCreateDiagnosticFromIdAndMsg("B:c", u"m"), false);
    qvsvDiagnosticImpl* dest = qvsvCreateDiagnosticFromIdAndMsg("B:d", u"m");
    state.ResumeTiming();
    qvsvConcatenateDiagnostics(dest, src, false);
    state.PauseTiming();
    qvsvDiscardDiagnostic(dest);
    state.ResumeTiming();
  }
  state.SetComplexityN(n);
  qvsvSetMaxDiagnosticsInQueue(128);
}

BENCHMARK(BM_CreateRelease_NoneAlive);
BENCHMARK(BM_CreateRelease_100kAlive);
BENCHMARK(BM_PoolNewDelete);
BENCHMARK(BM_PlainNewDelete);
BENCHMARK(BM_PoolItemNewDelete);
BENCHMARK(BM_PlainItemNewDelete);
BENCHMARK(BM_PoolBatch);
BENCHMARK(BM_PlainBatch);
BENCHMARK(BM_ConcatenateItems)->RangeMultiplier(10)->Range(100, 100000)->Complexity(benchmark::o1);

const qvsv::bench::Ratio kAlive("BM_CreateRelease_100kAlive", "BM_CreateRelease_NoneAlive", 1.2);
const qvsv::bench::Ratio kPool("BM_PoolNewDelete", "BM_PlainNewDelete", 1.0);
const qvsv::bench::Ratio kItemPool("BM_PoolItemNewDelete", "BM_PlainItemNewDelete", 1.0);
const qvsv::bench::Ratio kBatch("BM_PoolBatch", "BM_PlainBatch", 1.0);
// Moving a whole source is a splice of the list: no cost per item.
const qvsv::bench::Ratio kSplice("BM_ConcatenateItems/100000", "BM_ConcatenateItems/100");

}  // namespace

QVSV_BENCH_MAIN()
