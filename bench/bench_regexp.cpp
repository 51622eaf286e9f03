// The regular-expression facade against the same work done directly with
// icu::RegexMatcher: a search with a kept handle, and a replace-all.
#include <benchmark/benchmark.h>
#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <memory>
#include <string>

#include "bench/bench_support.hpp"
#include "qv_services/regexp.hpp"

namespace {

const char16_t kPattern[] = u"(\\w+)@(\\w+)\\.com";

// A log-like line of about `length` units with the address near its end.
std::u16string subject(std::int64_t length) {
  std::u16string text;
  while (static_cast<std::int64_t>(text.size()) < length) text += u"block Gain1 output 0.25; ";
  return text + u"mail me@example.com";
}

std::unique_ptr<icu::RegexMatcher> icuMatcher() {
  UErrorCode status = U_ZERO_ERROR;
  auto matcher = std::make_unique<icu::RegexMatcher>(icu::UnicodeString(kPattern), UREGEX_DOTALL, status);
  return U_SUCCESS(status) ? std::move(matcher) : nullptr;
}

void BM_FacadeSearch(benchmark::State& state) {
  const auto handle = qvsv::regexp::createMatcher(kPattern);
  const std::u16string text = subject(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(qvsv::regexp::regexp_search(handle, text, false));
}

void BM_IcuSearch(benchmark::State& state) {
  const auto matcher = icuMatcher();
  const std::u16string text = subject(state.range(0));
  icu::UnicodeString input;
  for (auto _ : state) {
    input.setTo(false, text.data(), static_cast<std::int32_t>(text.size()));
    matcher->reset(input);
    UErrorCode status = U_ZERO_ERROR;
    benchmark::DoNotOptimize(matcher->find(0, status) && U_SUCCESS(status));
  }
}

void BM_FacadeReplace(benchmark::State& state) {
  const auto handle = qvsv::regexp::createMatcher(kPattern);
  const std::u16string text = subject(state.range(0));
  const std::u16string replacement = u"$2 at $1";
  for (auto _ : state) benchmark::DoNotOptimize(qvsv::regexp::regexp_replace(handle, text, replacement));
}

void BM_IcuReplace(benchmark::State& state) {
  const auto matcher = icuMatcher();
  const std::u16string text = subject(state.range(0));
  const std::u16string replacement = u"$2 at $1";
  icu::UnicodeString input;
  for (auto _ : state) {
    input.setTo(false, text.data(), static_cast<std::int32_t>(text.size()));
    matcher->reset(input);
    UErrorCode status = U_ZERO_ERROR;
    const icu::UnicodeString result = matcher->replaceAll(
        icu::UnicodeString(false, replacement.data(), static_cast<std::int32_t>(replacement.size())), status);
    std::u16string out = U_SUCCESS(status) ? std::u16string(result.getBuffer(), result.length()) : std::u16string();
    benchmark::DoNotOptimize(out);
  }
}

// Each pair runs back to back, so that a change of machine load between the
// runs distorts its ratio as little as possible.
BENCHMARK(BM_IcuSearch)->Arg(32);
BENCHMARK(BM_FacadeSearch)->Arg(32);
BENCHMARK(BM_IcuSearch)->Arg(1024);
BENCHMARK(BM_FacadeSearch)->Arg(1024);
BENCHMARK(BM_IcuReplace)->Arg(32);
BENCHMARK(BM_FacadeReplace)->Arg(32);
BENCHMARK(BM_IcuReplace)->Arg(1024);
BENCHMARK(BM_FacadeReplace)->Arg(1024);

const qvsv::bench::Ratio kSearchShort("BM_FacadeSearch/32", "BM_IcuSearch/32", 1.1);
const qvsv::bench::Ratio kSearchLong("BM_FacadeSearch/1024", "BM_IcuSearch/1024", 1.1);
const qvsv::bench::Ratio kReplaceShort("BM_FacadeReplace/32", "BM_IcuReplace/32", 1.1);
const qvsv::bench::Ratio kReplaceLong("BM_FacadeReplace/1024", "BM_IcuReplace/1024", 1.1);

}  // namespace

QVSV_BENCH_MAIN()
