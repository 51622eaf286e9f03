#include "bench/bench_support.hpp"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <vector>

namespace qvsv::bench {
namespace {

struct Pair {
  std::string name;
  std::string baseline;
  double limit;
};

std::vector<Pair>& pairs() {
  static std::vector<Pair> list;
  return list;
}

// Keeps the console output and records the time per iteration of every run.
class RecordingReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration || run.iterations == 0) continue;
      times[run.benchmark_name()] = run.GetAdjustedRealTime();
    }
  }
  std::map<std::string, double> times;
};

}  // namespace

Ratio::Ratio(std::string name, std::string baseline, double limit) {
  pairs().push_back(Pair{std::move(name), std::move(baseline), limit});
}

int Main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RecordingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  if (!pairs().empty()) std::printf("\nRatios (time / baseline time, same run):\n");
  for (const Pair& pair : pairs()) {
    const auto a = reporter.times.find(pair.name);
    const auto b = reporter.times.find(pair.baseline);
    if (a == reporter.times.end() || b == reporter.times.end() || b->second <= 0) continue;
    const double ratio = a->second / b->second;
    if (pair.limit > 0) {
      std::printf("  %-50s / %-40s = %7.3f  (target <= %.2f: %s)\n", pair.name.c_str(), pair.baseline.c_str(), ratio,
                  pair.limit, ratio <= pair.limit ? "met" : "MISSED");
    } else {
      std::printf("  %-50s / %-40s = %7.3f\n", pair.name.c_str(), pair.baseline.c_str(), ratio);
    }
  }
  return 0;
}

}  // namespace qvsv::bench
