// Warning suppression: what a report asks of the suppression database and of
// the warning states must cost the same with 10,000 entries as with one.
#include <benchmark/benchmark.h>

#include <string>

#include "bench/bench_support.hpp"
#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/module.hpp"
#include "qv_services/suppressor.hpp"

namespace {

// The entry that concerns the queried item (a prefix for another handle, so
// that the lookup walks every level without an early answer), plus `others`
// entries of every kind that do not.
void fillDatabase(int others) {
  qvsvClearDiagnosticSuppressions();
  qvsvAddDiagnosticSuppression("Quiver:blocks:*", 99.0);
  for (int i = 0; i < others; ++i) {
    const std::string n = std::to_string(i);
    switch (i % 3) {
      case 0: qvsvAddDiagnosticSuppression("Quiver:area" + n + ":Id" + n); break;
      case 1: qvsvAddDiagnosticSuppression("Quiver:area" + n + ":*"); break;
      default: qvsvAddDiagnosticSuppression("Quiver:blocks:Other" + n, static_cast<double>(i)); break;
    }
  }
}

void itemQuery(benchmark::State& state, int others) {
  TLInitialize_qv_services();
  fillDatabase(others);
  const double handles[] = {12.0001, 12.0002};
  qvsvDiagnosticImpl* diag = qvsvCreateDiagnosticFromIdAndMsg(handles, 2, "Quiver:blocks:AlgebraicLoop", "loop");
  for (auto _ : state) benchmark::DoNotOptimize(qvsvIsDiagnosticItemSuppressed(diag, 0));
  qvsvDiscardDiagnostic(diag);
  qvsvClearDiagnosticSuppressions();
}

void BM_ItemQuery_OneEntry(benchmark::State& state) { itemQuery(state, 0); }
void BM_ItemQuery_10kEntries(benchmark::State& state) { itemQuery(state, 9999); }

void stateQuery(benchmark::State& state, int others) {
  qvsvClearWarningStates();
  qvsvSetWarningState("Quiver:*", qvsvWarningState::kOnce);
  for (int i = 0; i < others; ++i) {
    const std::string n = std::to_string(i);
    qvsvSetWarningState(i % 2 == 0 ? "Quiver:area" + n + ":*" : "Quiver:blocks:Other" + n, qvsvWarningState::kOff);
  }
  const std::string identifier = "Quiver:blocks:AlgebraicLoop";
  for (auto _ : state) benchmark::DoNotOptimize(qvsvGetWarningState(identifier));
  qvsvClearWarningStates();
}

void BM_StateQuery_OneState(benchmark::State& state) { stateQuery(state, 0); }
void BM_StateQuery_10kStates(benchmark::State& state) { stateQuery(state, 9999); }

BENCHMARK(BM_ItemQuery_OneEntry);
BENCHMARK(BM_ItemQuery_10kEntries);
BENCHMARK(BM_StateQuery_OneState);
BENCHMARK(BM_StateQuery_10kStates);

const qvsv::bench::Ratio kItemQuery("BM_ItemQuery_10kEntries", "BM_ItemQuery_OneEntry", 1.5);
const qvsv::bench::Ratio kStateQuery("BM_StateQuery_10kStates", "BM_StateQuery_OneState", 1.5);

}  // namespace

QVSV_BENCH_MAIN()
