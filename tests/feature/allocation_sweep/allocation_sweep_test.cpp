// Allocation sweep over every kind of allocation: each scenario runs once to
// count its allocation requests (operator new of any form and the host
// allocator alike), then once for every k failing the k-th request only,
// until a k that never comes. After every run nothing may be left behind:
// pooled diagnostics and items, host arrays, host-allocator blocks and
// operator-new blocks all count as before, and the process goes on.
//
// A failure may show in two ways: recorded in a diagnostic as the
// out-of-memory item, or as std::bad_alloc out of the scenario. Scenarios
// hold what they own in RAII holders, so a propagated bad_alloc leaks only
// what the library leaked. Under the sanitizers (QVSV_TEST_SCALE below 1) the
// sweep visits every 4th k only, with the offset changing per scenario so
// that together they still reach every residue.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <new>
#include <string>
#include <vector>

#include "qv_services/diagnostic_creation.hpp"
#include "qv_services/errors/diagnostic_state.hpp"
#include "qv_services/module.hpp"
#include "tessel/array.hpp"
#include "tessel/catalog.hpp"
#include "tessel/console.hpp"
#include "tessel/ut.hpp"
#include "tests/feature/allocation_sweep/counting_allocator.hpp"
#include "tests/feature/allocation_sweep/sweep_scenarios.hpp"
#include "tests/support/test_support.hpp"

namespace {

using qvsv::test::sweep::ArmedRun;
using qvsv::test::sweep::Scenario;

// Everything that a run could leak, counted, and the names of the counts.
using LiveCounts = std::array<std::size_t, 5>;
LiveCounts liveCounts() {
  return {qvsv::detail::LiveDiagnosticCount(), qvsv::detail::LiveItemCount(), tessel::LiveArrayCount(),
          tessel::LiveHostBlockCount(), qvsv::test::sweep::LiveHeapBlocks()};
}
constexpr const char* kCounted[] = {"diagnostics", "items", "host arrays", "host blocks", "heap blocks"};

// What went wrong in one run, empty when nothing did.
std::string leaks(const LiveCounts& before, const LiveCounts& after) {
  std::string out;
  for (std::size_t i = 0; i < before.size(); ++i) {
    if (before[i] == after[i]) continue;
    out += std::string(out.empty() ? "" : ", ") + kCounted[i] + " " + std::to_string(before[i]) + " -> " +
           std::to_string(after[i]);
  }
  return out;
}

// The sweep's stride: 1 in the release suite; under the sanitizers
// (QVSV_TEST_SCALE 0.05) every 4th k, a fifth of what the scale alone would
// give, since a full sanitized sweep takes only seconds.
std::size_t stride() {
  const std::size_t full = 1000;
  return std::max<std::size_t>(1, full / qvsv::test::Scaled(full) / 5);
}

class AllocationSweep : public ::testing::TestWithParam<Scenario> {
 protected:
  static void SetUpTestSuite() {
    // The shared static items and the test catalogue exist before any count.
    TLInitialize_qv_services();
    resource_core::AddCatalogFolder(QVSV_TEST_CATALOG_ROOT);
    // Adding a folder empties the catalogue's cache of opened bundles; the
    // library's own catalogue is opened again here, not first in a run that
    // fails (an out-of-memory diagnostic written in argument form and restored
    // reads it), where the cache would count as a leak.
    qvsvArgumentVector none;
    (void)MutableBaseMsgID::getMessageFromCatalog_NoThrow("QV_SERVICES:utils:MemoryAllocationError", none);
  }

  // One run failing request failAt (0: none). Returns the requests counted;
  // fired tells whether request failAt came.
  static std::size_t run(const Scenario& scenario, std::size_t failAt, bool& fired, std::string& problem) {
    const LiveCounts before = liveCounts();
    qvsv::test::sweep::Outcome outcome;
    std::size_t requests = 0;
    {
      tessel::ConsoleCapture console;  // reports and statistics print; keep the log readable
      ArmedRun armed(failAt);
      try {
        scenario.run(outcome);
      } catch (const std::bad_alloc&) {
        outcome.propagated = true;
      } catch (const std::exception& e) {
        problem = std::string("unexpected exception: ") + e.what();
      }
      armed.disarm();
      requests = armed.requests();
      fired = armed.failed();
    }
    // What the scenario keeps between runs (statistics, interned strings)
    // is let go here, outside the count.
    if (scenario.cleanUp) scenario.cleanUp();
    const std::string leaked = leaks(before, liveCounts());
    if (!leaked.empty()) problem += (problem.empty() ? "" : "; ") + ("leaked " + leaked);
    qvsvDiagnosticImpl* probe = qvsvCreateMemoryAllocationDiagnostic();
    const qvsvDiagnosticItem* shared = probe->firstItem();
    if (shared->numHandles != 0 || !shared->metadata.empty() || shared->cause != nullptr || shared->arguments != nullptr) {
      problem += (problem.empty() ? "" : "; ") + std::string("the shared out-of-memory item was changed");
    }
    qvsvDiscardDiagnostic(probe);
    if (!outcome.problem.empty()) problem += (problem.empty() ? "" : "; ") + outcome.problem;
    if (failAt == 0 && (outcome.propagated || outcome.outOfMemoryMarks != 0)) {
      problem += "a run without failures reported one";
    }
    return requests;
  }
};

TEST_P(AllocationSweep, LeaksNothingAndSurvivesEveryFailurePoint) {
  const Scenario& scenario = GetParam();
  bool fired = false;
  std::string problem;
  // A first run makes what is made once per process (caches, registries).
  run(scenario, 0, fired, problem);
  problem.clear();
  const std::size_t requests = run(scenario, 0, fired, problem);
  ASSERT_EQ(problem, "") << "without failures";
  ASSERT_GT(requests, 0u) << "the scenario allocates nothing";

  const std::size_t step = stride();
  const std::size_t first = 1 + scenario.index % step;
  std::size_t swept = 0;
  std::size_t broken = 0;
  std::vector<std::string> failures;
  for (std::size_t k = first;; k += step) {
    problem.clear();
    run(scenario, k, fired, problem);
    // Requests may vary a little from run to run (a cache filled once); every
    // k up to the counted number is tried, and the first k beyond that never
    // comes ends the sweep.
    if (!fired) {
      if (k > requests) break;
      continue;
    }
    ++swept;
    if (problem.empty()) continue;
    if (++broken <= 20) failures.push_back("k = " + std::to_string(k) + ": " + problem);
  }
  for (const std::string& failure : failures) ADD_FAILURE() << failure;
  std::printf("[  sweep   ] %s: %zu failure points swept (%zu requests, every %zu%s), %zu failed\n", scenario.name,
              swept, requests, step, step == 1 ? "" : " under the sanitizers", broken);
}

INSTANTIATE_TEST_SUITE_P(Library, AllocationSweep, ::testing::ValuesIn(qvsv::test::sweep::Scenarios()),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
