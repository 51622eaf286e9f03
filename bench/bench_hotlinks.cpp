// Hotlink removal must grow linearly with the message: the time for ten times
// the text over the time for the text (target at most 12, linear being 10).
#include <benchmark/benchmark.h>

#include <string>

#include "bench/bench_support.hpp"
#include "qv_services/renderings.hpp"

namespace {

// `count` anchors that are never closed: the worst case of the old pattern.
std::u16string unclosed(std::int64_t count) {
  std::u16string text;
  for (std::int64_t i = 0; i < count; ++i) text += u"<a href=\"tessel:open('m')\">model ";
  return text;
}

// `count` well-formed anchors between plain words.
std::u16string closed(std::int64_t count) {
  std::u16string text;
  for (std::int64_t i = 0; i < count; ++i) text += u"see <a href=\"tessel:open('m')\">model</a> now; ";
  return text;
}

void BM_RemoveUnclosed(benchmark::State& state) {
  const std::u16string text = unclosed(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(qvsv::removeHotLinks(text));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size() * 2));
}

void BM_RemoveClosed(benchmark::State& state) {
  const std::u16string text = closed(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(qvsv::removeHotLinks(text));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size() * 2));
}

BENCHMARK(BM_RemoveUnclosed)->Arg(2000);
BENCHMARK(BM_RemoveUnclosed)->Arg(20000);
BENCHMARK(BM_RemoveClosed)->Arg(2000);
BENCHMARK(BM_RemoveClosed)->Arg(20000);

const qvsv::bench::Ratio kUnclosedGrowth("BM_RemoveUnclosed/20000", "BM_RemoveUnclosed/2000", 12.0);
const qvsv::bench::Ratio kClosedGrowth("BM_RemoveClosed/20000", "BM_RemoveClosed/2000", 12.0);

}  // namespace

QVSV_BENCH_MAIN()
