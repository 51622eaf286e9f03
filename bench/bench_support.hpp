// Runs the registered benchmarks and then prints, for every declared pair, the
// ratio of the measured time to its baseline's (same run, same machine).
#pragma once

#include <string>

namespace qvsv::bench {

// Declares that benchmark `name` is to be compared with `baseline`; `limit`
// (0 = none) is the largest acceptable ratio, printed as the target.
struct Ratio {
  Ratio(std::string name, std::string baseline, double limit = 0.0);
};

// main() of every benchmark program.
int Main(int argc, char** argv);

}  // namespace qvsv::bench

#define QVSV_BENCH_MAIN() \
  int main(int argc, char** argv) { return qvsv::bench::Main(argc, argv); }
