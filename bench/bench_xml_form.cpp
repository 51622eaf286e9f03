// The XML form of a 10,000-item diagnostic with causes: restoring against a
// bare Expat parse of the same bytes, writing against restoring, and how both
// grow with the number of items. The JSON and SARIF forms are measured
// against writing the XML argument form of the same diagnostic.
#include <benchmark/benchmark.h>
#include <expat.h>

#include <cstring>
#include <string>

#include "bench/bench_diagnostics_trees.hpp"
#include "bench/bench_support.hpp"
#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/error_queue.hpp"
#include "qv_services/json_form.hpp"
#include "qv_services/module.hpp"
#include "qv_services/sarif_form.hpp"
#include "qv_services/xml_form.hpp"

namespace {

using qvsv::bench::makeCataloguedDiagnostic;
using qvsv::bench::makeDiagnostic;

std::string documentOf(int n) {
  qvsvDiagnosticImpl* diag = makeDiagnostic(n);
  return qvsvSerializeDiagnosticAsXMLString(diag);
}

void BM_Restore(benchmark::State& state) {
  const std::string doc = documentOf(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    qvsvDiagnosticImpl* diag = qvsvRestoreDiagnosticFromXMLFragment(doc.c_str());
    benchmark::DoNotOptimize(diag);
    state.PauseTiming();
    qvsvDiscardDiagnostic(diag);
    state.ResumeTiming();
  }
  state.SetComplexityN(state.range(0));
}

void XMLCALL noStart(void*, const XML_Char*, const XML_Char**) {}
void XMLCALL noEnd(void*, const XML_Char*) {}
void XMLCALL noText(void*, const XML_Char*, int) {}

void BM_BareExpat(benchmark::State& state) {
  const std::string doc = documentOf(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    XML_Parser parser = XML_ParserCreate("UTF-8");
    XML_SetElementHandler(parser, noStart, noEnd);
    XML_SetCharacterDataHandler(parser, noText);
    const XML_Status status = XML_Parse(parser, doc.data(), static_cast<int>(doc.size()), XML_TRUE);
    benchmark::DoNotOptimize(status);
    XML_ParserFree(parser);
  }
}

void BM_Write(benchmark::State& state) {
  qvsvDiagnosticImpl* diag = makeDiagnostic(static_cast<int>(state.range(0)));
  // Duplication copies at most the queue limit (and nothing at 0).
  qvsvSetMaxDiagnosticsInQueue(1 << 30);
  for (auto _ : state) {
    state.PauseTiming();
    qvsvDiagnosticImpl* copy = qvsvDuplicateDiagnostic(diag);
    state.ResumeTiming();
    std::string doc = qvsvSerializeDiagnosticAsXMLString(copy);
    benchmark::DoNotOptimize(doc);
  }
  qvsvDiscardDiagnostic(diag);
  qvsvSetMaxDiagnosticsInQueue(0);
  state.SetComplexityN(state.range(0));
}

// The argument form leaves the diagnostic alone: writing without the release.
void BM_WriteArgumentForm(benchmark::State& state) {
  qvsvDiagnosticImpl* diag = makeDiagnostic(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    std::string doc = qvsvSerializeDiagnosticAsXMLStringWithArguments(diag);
    benchmark::DoNotOptimize(doc);
  }
  qvsvDiscardDiagnostic(diag);
  state.SetComplexityN(state.range(0));
}

void BM_WriteCataloguedArgumentForm(benchmark::State& state) {
  qvsvDiagnosticImpl* diag = makeCataloguedDiagnostic(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    std::string doc = qvsvSerializeDiagnosticAsXMLStringWithArguments(diag);
    benchmark::DoNotOptimize(doc);
  }
  qvsvDiscardDiagnostic(diag);
}

// JSON and SARIF leave the diagnostic alone, like the argument form.
void BM_WriteJSON(benchmark::State& state) {
  qvsvDiagnosticImpl* diag = makeCataloguedDiagnostic(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    std::string doc = qvsvSerializeDiagnosticAsJSON(diag);
    benchmark::DoNotOptimize(doc);
  }
  qvsvDiscardDiagnostic(diag);
  state.SetComplexityN(state.range(0));
}

void BM_WriteSARIF(benchmark::State& state) {
  qvsvDiagnosticImpl* diag = makeCataloguedDiagnostic(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    std::string doc = qvsvSerializeDiagnosticAsSARIF(diag, qvsvReportKind::Error);
    benchmark::DoNotOptimize(doc);
  }
  qvsvDiscardDiagnostic(diag);
  state.SetComplexityN(state.range(0));
}

BENCHMARK(BM_BareExpat)->Arg(10000);
BENCHMARK(BM_WriteCataloguedArgumentForm)->Arg(10000);
BENCHMARK(BM_WriteJSON)->Arg(10000)->Arg(100000)->Arg(400000)->Complexity(benchmark::oN);
BENCHMARK(BM_WriteSARIF)->Arg(10000)->Arg(100000)->Arg(400000)->Complexity(benchmark::oN);
// Growth is judged between sizes that are both far beyond the caches: from
// 10,000 to 100,000 items the structure leaves the cache and the cost per
// item rises once, without the work per item changing.
BENCHMARK(BM_Restore)->Arg(10000)->Arg(100000)->Arg(400000)->Complexity(benchmark::oN);
BENCHMARK(BM_Write)->Arg(10000)->Arg(100000)->Arg(400000)->Complexity(benchmark::oN);
BENCHMARK(BM_WriteArgumentForm)->Arg(10000)->Arg(100000)->Arg(400000)->Complexity(benchmark::oN);

const qvsv::bench::Ratio kRestore("BM_Restore/10000", "BM_BareExpat/10000", 2.0);
const qvsv::bench::Ratio kWrite("BM_Write/10000", "BM_Restore/10000", 1.0);
// Four times the items: linear growth shows as a ratio near 4.
const qvsv::bench::Ratio kRestoreGrowth("BM_Restore/400000", "BM_Restore/100000");
const qvsv::bench::Ratio kWriteGrowth("BM_Write/400000", "BM_Write/100000");
const qvsv::bench::Ratio kJson("BM_WriteJSON/10000", "BM_WriteCataloguedArgumentForm/10000", 2.0);
const qvsv::bench::Ratio kSarif("BM_WriteSARIF/10000", "BM_WriteCataloguedArgumentForm/10000", 2.0);
const qvsv::bench::Ratio kJsonGrowth("BM_WriteJSON/400000", "BM_WriteJSON/100000");
const qvsv::bench::Ratio kSarifGrowth("BM_WriteSARIF/400000", "BM_WriteSARIF/100000");
const qvsv::bench::Ratio kArgumentGrowth("BM_WriteArgumentForm/400000", "BM_WriteArgumentForm/100000");

}  // namespace

QVSV_BENCH_MAIN()
