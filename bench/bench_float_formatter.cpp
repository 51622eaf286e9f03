// The float formatter's compact writers (defaultFormatter, target 1) against
// std::to_chars' shortest form and against the literal procedure they must
// match byte for byte (sprintf, strtod, atof, fallback, trimming), all on the
// same values in the same run.
//
// Value sets (the benchmark argument): 0 = random finite bit patterns, 1 =
// uniform in [0, 1), 2 = short decimals (n / 100, which read back at 15 digits).
#include <benchmark/benchmark.h>

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "bench/bench_support.hpp"
#include "qv_services/float_formatter.hpp"
#include "tests/numeric/literal_reference.hpp"

namespace {

constexpr std::size_t kValues = 1 << 14;

const std::vector<double>& Doubles(int set) {
  static const std::array<std::vector<double>, 3> sets = [] {
    std::vector<double> bits, unit, decimals;
    std::mt19937_64 rng(2024);
    std::uniform_real_distribution<double> uniform(0.0, 1.0);
    while (bits.size() < kValues) {
      const double v = std::bit_cast<double>(rng());
      if (std::isfinite(v)) bits.push_back(v);
    }
    for (std::size_t i = 0; i < kValues; ++i) {
      unit.push_back(uniform(rng));
      decimals.push_back(static_cast<double>(static_cast<std::int64_t>(rng() % 2000001) - 1000000) / 100);
    }
    return std::array<std::vector<double>, 3>{bits, unit, decimals};
  }();
  return sets[set];
}

const std::vector<float>& Singles() {
  static const std::vector<float> values = [] {
    std::vector<float> v;
    std::mt19937_64 rng(2025);
    while (v.size() < kValues) {
      const float f = std::bit_cast<float>(static_cast<std::uint32_t>(rng()));
      if (std::isfinite(f)) v.push_back(f);
    }
    return v;
  }();
  return values;
}

// Every value set holds kValues (a power of two) values, walked with a mask so
// that the loop costs no division.
template <typename Write, typename T>
void Run(benchmark::State& state, const std::vector<T>& values, Write write) {
  static_assert((kValues & (kValues - 1)) == 0);
  char text[QvfrgFltToAscii::kBufferSize];
  std::size_t i = 0;
  for (auto _ : state) {
    write(text, values[i]);
    benchmark::DoNotOptimize(text);
    benchmark::ClobberMemory();
    i = (i + 1) & (kValues - 1);
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_DefaultCompactDouble(benchmark::State& state) {
  Run(state, Doubles(static_cast<int>(state.range(0))),
      [](char* text, double v) { QvfrgFltToAscii::defaultFormatter.writeDoubleFlt(text, v); });
}

void BM_ToCharsShortestDouble(benchmark::State& state) {
  Run(state, Doubles(static_cast<int>(state.range(0))),
      [](char* text, double v) { *std::to_chars(text, text + QvfrgFltToAscii::kBufferSize - 1, v).ptr = '\0'; });
}

void BM_LiteralProcedureDouble(benchmark::State& state) {
  const auto settings = qvsv::test::ReferenceSettings::ForTarget(1);
  Run(state, Doubles(static_cast<int>(state.range(0))), [&settings](char* text, double v) {
    const std::string s = qvsv::test::ReferenceText(settings, v);
    s.copy(text, s.size());
  });
}

void BM_WeftConciseDouble(benchmark::State& state) {
  const QvfrgFltToAscii weft(QVSV_Flt2Ascii::TARGET_WEFT_CONCISE);
  Run(state, Doubles(static_cast<int>(state.range(0))),
      [&weft](char* text, double v) { weft.writeDoubleFlt(text, v); });
}

void BM_DefaultCompactSingle(benchmark::State& state) {
  Run(state, Singles(), [](char* text, float v) { QvfrgFltToAscii::defaultFormatter.writeSingleFlt(text, v); });
}

void BM_ToCharsShortestSingle(benchmark::State& state) {
  Run(state, Singles(),
      [](char* text, float v) { *std::to_chars(text, text + QvfrgFltToAscii::kBufferSize - 1, v).ptr = '\0'; });
}

void BM_LiteralProcedureSingle(benchmark::State& state) {
  const auto settings = qvsv::test::ReferenceSettings::ForTarget(1);
  Run(state, Singles(), [&settings](char* text, float v) {
    const std::string s = qvsv::test::ReferenceText(settings, v);
    s.copy(text, s.size());
  });
}

BENCHMARK(BM_DefaultCompactDouble)->Arg(0)->Arg(1)->Arg(2);
BENCHMARK(BM_ToCharsShortestDouble)->Arg(0)->Arg(1)->Arg(2);
BENCHMARK(BM_LiteralProcedureDouble)->Arg(0)->Arg(1)->Arg(2);
BENCHMARK(BM_WeftConciseDouble)->Arg(0);
BENCHMARK(BM_DefaultCompactSingle);
BENCHMARK(BM_ToCharsShortestSingle);
BENCHMARK(BM_LiteralProcedureSingle);

// Targets: within 2x of std::to_chars, at least 10x faster than the literal procedure.
const qvsv::bench::Ratio kShortestBits("BM_DefaultCompactDouble/0", "BM_ToCharsShortestDouble/0", 2.0);
const qvsv::bench::Ratio kLiteralBits("BM_DefaultCompactDouble/0", "BM_LiteralProcedureDouble/0", 0.1);
const qvsv::bench::Ratio kShortestUnit("BM_DefaultCompactDouble/1", "BM_ToCharsShortestDouble/1", 2.0);
const qvsv::bench::Ratio kLiteralUnit("BM_DefaultCompactDouble/1", "BM_LiteralProcedureDouble/1", 0.1);
const qvsv::bench::Ratio kShortestDecimals("BM_DefaultCompactDouble/2", "BM_ToCharsShortestDouble/2", 2.0);
const qvsv::bench::Ratio kLiteralDecimals("BM_DefaultCompactDouble/2", "BM_LiteralProcedureDouble/2", 0.1);
const qvsv::bench::Ratio kWeft("BM_WeftConciseDouble/0", "BM_ToCharsShortestDouble/0");
const qvsv::bench::Ratio kShortestSingle("BM_DefaultCompactSingle", "BM_ToCharsShortestSingle");
const qvsv::bench::Ratio kLiteralSingle("BM_DefaultCompactSingle", "BM_LiteralProcedureSingle");

}  // namespace

QVSV_BENCH_MAIN()
