// The ICU-converter conversions against the library's own UTF-8 conversion
// (what opening a converter per call costs on short and long texts), and the
// escaping styles against the plain conversion of the same text.
#include <benchmark/benchmark.h>

#include <string>

#include "bench/bench_support.hpp"
#include "qv_services/conversions.hpp"
#include "qv_services/encodings.hpp"

namespace {

std::u16string sampleText(std::size_t units) {
  const std::u16string piece = u"Gain block \"K\"\t= 2.5 \u00E9\u20AC \U0001F600; ";
  std::u16string text;
  while (text.size() < units) text += piece;
  text.resize(units);
  return text;
}

void BM_OwnUtf8Decode(benchmark::State& state) {
  const std::string bytes = ConvertUStringToStdString(sampleText(static_cast<std::size_t>(state.range(0))));
  for (auto _ : state) benchmark::DoNotOptimize(ConvertStdStringToUString(bytes));
}

void BM_IcuUtf8Decode(benchmark::State& state) {
  const std::string bytes = ConvertUStringToStdString(sampleText(static_cast<std::size_t>(state.range(0))));
  for (auto _ : state) benchmark::DoNotOptimize(ConvertNarrowToUString(bytes, "UTF-8"));
}

void BM_OwnUtf8Encode(benchmark::State& state) {
  const std::u16string text = sampleText(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(ConvertUStringToStdString(text));
}

void BM_IcuUtf8Encode(benchmark::State& state) {
  const std::u16string text = sampleText(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(ConvertUStringToNarrow(text, "UTF-8"));
}

void BM_EscapeStyle(benchmark::State& state) {
  const std::u16string text = sampleText(1024);
  const int style = static_cast<int>(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(ConvertUStringWithEscaping(text, style));
}

void BM_UnescapeStyle(benchmark::State& state) {
  const int style = static_cast<int>(state.range(0));
  const std::string escaped = ConvertUStringWithEscaping(sampleText(1024), style);
  for (auto _ : state) benchmark::DoNotOptimize(ConvertEscapedStringToUString(escaped, style));
}

BENCHMARK(BM_OwnUtf8Decode)->Arg(16)->Arg(4096);
BENCHMARK(BM_IcuUtf8Decode)->Arg(16)->Arg(4096);
BENCHMARK(BM_OwnUtf8Encode)->Arg(16)->Arg(4096);
BENCHMARK(BM_IcuUtf8Encode)->Arg(16)->Arg(4096);
BENCHMARK(BM_OwnUtf8Encode)->Arg(1024);
BENCHMARK(BM_OwnUtf8Decode)->Arg(1024);
BENCHMARK(BM_EscapeStyle)->Arg(kQvsvEscapeStyleC)->Arg(kQvsvEscapeStyleJson)->Arg(kQvsvEscapeStyleXml);
BENCHMARK(BM_UnescapeStyle)->Arg(kQvsvEscapeStyleC)->Arg(kQvsvEscapeStyleJson)->Arg(kQvsvEscapeStyleXml);

const qvsv::bench::Ratio kDecodeShort("BM_IcuUtf8Decode/16", "BM_OwnUtf8Decode/16");
const qvsv::bench::Ratio kDecodeLong("BM_IcuUtf8Decode/4096", "BM_OwnUtf8Decode/4096");
const qvsv::bench::Ratio kEncodeShort("BM_IcuUtf8Encode/16", "BM_OwnUtf8Encode/16");
const qvsv::bench::Ratio kEncodeLong("BM_IcuUtf8Encode/4096", "BM_OwnUtf8Encode/4096");
const qvsv::bench::Ratio kEscapeC("BM_EscapeStyle/1", "BM_OwnUtf8Encode/1024");
const qvsv::bench::Ratio kEscapeJson("BM_EscapeStyle/2", "BM_OwnUtf8Encode/1024");
const qvsv::bench::Ratio kUnescapeC("BM_UnescapeStyle/1", "BM_OwnUtf8Decode/1024");
const qvsv::bench::Ratio kUnescapeJson("BM_UnescapeStyle/2", "BM_OwnUtf8Decode/1024");

}  // namespace

QVSV_BENCH_MAIN()
