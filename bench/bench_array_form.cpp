// The host-array form of a diagnostic against its XML form (the other complete
// form that crosses boundaries), how both array directions grow, and what
// keeping each report's form for host code adds to a report.
#include <benchmark/benchmark.h>

#include <optional>
#include <string>

#include "bench/bench_diagnostics_trees.hpp"
#include "bench/bench_support.hpp"
#include "qv_services/array_form.hpp"
#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/error_queue.hpp"
#include "qv_services/listeners.hpp"
#include "qv_services/module.hpp"
#include "qv_services/reporting.hpp"
#include "qv_services/xml_form.hpp"
#include "tessel/module.hpp"

namespace {

using qvsv::bench::makeDiagnostic;

void BM_ArrayWrite(benchmark::State& state) {
  qvsvDiagnosticImpl* diag = makeDiagnostic(static_cast<int>(state.range(0)));
  // One write first: the heap's first growth would otherwise dominate a
  // large size's few iterations.
  txDestroyArray(qvsvDiagnosticToArray(diag));
  for (auto _ : state) {
    txArray* form = qvsvDiagnosticToArray(diag);
    benchmark::DoNotOptimize(form);
    state.PauseTiming();
    txDestroyArray(form);
    state.ResumeTiming();
  }
  qvsvDiscardDiagnostic(diag);
  state.SetComplexityN(state.range(0));
}

void BM_ArrayRestore(benchmark::State& state) {
  qvsvDiagnosticImpl* diag = makeDiagnostic(static_cast<int>(state.range(0)));
  txArray* form = qvsvDiagnosticToArray(diag);
  qvsvDiscardDiagnostic(diag);
  for (auto _ : state) {
    qvsvDiagnosticImpl* restored = nullptr;
    qvsvDiagnosticImpl* error = qvsvDiagnosticFromArray_NoThrow(form, restored);
    benchmark::DoNotOptimize(error);
    state.PauseTiming();
    qvsvDiscardDiagnostic(restored);
    state.ResumeTiming();
  }
  txDestroyArray(form);
  state.SetComplexityN(state.range(0));
}

// Baselines: the XML form in both directions (the message form releases what
// it writes, so it writes a copy made outside the timing).
void BM_XmlWrite(benchmark::State& state) {
  qvsvDiagnosticImpl* diag = makeDiagnostic(static_cast<int>(state.range(0)));
  qvsvSetMaxDiagnosticsInQueue(1 << 30);
  for (auto _ : state) {
    state.PauseTiming();
    qvsvDiagnosticImpl* copy = qvsvDuplicateDiagnostic(diag);
    state.ResumeTiming();
    std::string doc = qvsvSerializeDiagnosticAsXMLString(copy);
    benchmark::DoNotOptimize(doc);
  }
  qvsvSetMaxDiagnosticsInQueue(0);
  qvsvDiscardDiagnostic(diag);
}

void BM_XmlRestore(benchmark::State& state) {
  qvsvDiagnosticImpl* diag = makeDiagnostic(static_cast<int>(state.range(0)));
  const std::string doc = qvsvSerializeDiagnosticAsXMLString(diag);
  for (auto _ : state) {
    qvsvDiagnosticImpl* restored = qvsvRestoreDiagnosticFromXMLFragment(doc.c_str());
    benchmark::DoNotOptimize(restored);
    state.PauseTiming();
    qvsvDiscardDiagnostic(restored);
    state.ResumeTiming();
  }
}

// A one-item error with one cause, reported to a callback that takes it; with
// the module loaded each report also keeps its form for host code.
void report(benchmark::State& state, bool moduleLoaded) {
  std::optional<tessel::ScopedModule> module;
  if (moduleLoaded) module.emplace(TLInitialize_qv_services, TLTerminate_qv_services, QueryTLFcnTable_qv_services);
  qvsvRegisterDiagnosticCallback("bench.sink", [](qvsvDiagnosticImpl*& diag) { qvsvDiscardDiagnostic(diag); });
  qvsvDiagnosticImpl* model = makeDiagnostic(1);
  qvsvSetMaxDiagnosticsInQueue(128);
  for (auto _ : state) {
    state.PauseTiming();
    qvsvDiagnosticImpl* diag = qvsvDuplicateDiagnostic(model);
    state.ResumeTiming();
    qvsvReportAsError(diag);
  }
  qvsvDiscardDiagnostic(model);
  qvsvUnRegisterDiagnosticCallback("bench.sink");
}

void BM_Report(benchmark::State& state) { report(state, false); }
void BM_ReportKeptForHost(benchmark::State& state) { report(state, true); }

BENCHMARK(BM_XmlWrite)->Arg(10000);
BENCHMARK(BM_XmlRestore)->Arg(10000);
BENCHMARK(BM_ArrayWrite)->Arg(10000)->Arg(40000)->Complexity(benchmark::oN);
BENCHMARK(BM_ArrayRestore)->Arg(10000)->Arg(40000)->Complexity(benchmark::oN);
BENCHMARK(BM_Report);
BENCHMARK(BM_ReportKeptForHost);

const qvsv::bench::Ratio kWrite("BM_ArrayWrite/10000", "BM_XmlWrite/10000");
const qvsv::bench::Ratio kRestore("BM_ArrayRestore/10000", "BM_XmlRestore/10000");
// Four times the items: linear growth shows as a ratio near 4.
const qvsv::bench::Ratio kWriteGrowth("BM_ArrayWrite/40000", "BM_ArrayWrite/10000");
const qvsv::bench::Ratio kRestoreGrowth("BM_ArrayRestore/40000", "BM_ArrayRestore/10000");
const qvsv::bench::Ratio kReport("BM_ReportKeptForHost", "BM_Report");

}  // namespace

QVSV_BENCH_MAIN()
