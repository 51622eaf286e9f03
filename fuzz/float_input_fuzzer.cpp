// libFuzzer target: the qvsv tool's float command on arbitrary values, given
// as arguments or read from standard input, with every option.
#include <algorithm>
#include <cstdio>

#include "fuzz/fuzz_support.hpp"
#include "tools/qvsv/command.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The formatted values are not the point here; keep them off the terminal.
  [[maybe_unused]] static const bool quiet = std::freopen("/dev/null", "w", stdout) != nullptr;
  static const qvsv::tool::Command* const command = *std::find_if(
      qvsv::tool::Commands().begin(), qvsv::tool::Commands().end(), [](const auto* c) { return c->name == "float"; });

  FuzzedDataProvider in(data, size);
  qvsv::tool::Args args;
  const std::uint8_t flags = in.ConsumeIntegral<std::uint8_t>();
  if ((flags & 1) != 0) args.push_back("--single");
  if ((flags & 2) != 0) args.push_back("--bits");
  if ((flags & 4) != 0) args.push_back("--target=" + std::to_string(in.ConsumeIntegralInRange<int>(-2, 16)));
  const bool fromStdin = (flags & 8) != 0;
  const std::string values = in.ConsumeRemainingBytesAsString();

  FILE* const savedStdin = stdin;
  if (fromStdin) {
    // fmemopen refuses an empty buffer.
    FILE* const input = values.empty() ? nullptr : fmemopen(const_cast<char*>(values.data()), values.size(), "r");
    if (input == nullptr) return 0;
    stdin = input;
  } else {
    std::size_t start = 0;
    for (std::size_t nl; (nl = values.find('\n', start)) != std::string::npos; start = nl + 1) {
      args.push_back(values.substr(start, nl - start));
    }
    args.push_back(values.substr(start));
  }
  qvsv::fuzz::Throws<qvsv::tool::InputError, qvsv::tool::UsageError>([&] { (void)command->run(args); });
  std::fflush(stdout);
  if (stdin != savedStdin) {
    std::fclose(stdin);
    stdin = savedStdin;
  }
  return 0;
}
