// The scenarios of the allocation sweep: each one drives a subsystem the way
// the product does, holding what it owns in RAII holders, and reports how a
// failure showed.
#pragma once

#include <cstddef>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "qv_services/diagnostic.hpp"

namespace qvsv::test::sweep {

struct Outcome {
  int outOfMemoryMarks = 0;  // out-of-memory items seen in results
  bool propagated = false;   // std::bad_alloc came out
  std::string problem;       // a result that is wrong, not merely short
};

struct Scenario {
  const char* name;
  std::size_t index;
  std::function<void(Outcome&)> run;
  // Lets go of what the subsystem keeps between runs, outside the count.
  std::function<void()> cleanUp;
};

inline void PrintTo(const Scenario& scenario, std::ostream* out) { *out << scenario.name; }

const std::vector<Scenario>& Scenarios();

// A diagnostic owned by the scenario: discarded when the holder goes.
class Held {
 public:
  explicit Held(qvsvDiagnosticImpl* diag = nullptr) : diag_(diag) {}
  ~Held() { qvsvDiscardDiagnostic(diag_); }
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;
  qvsvDiagnosticImpl*& ref() { return diag_; }
  qvsvDiagnosticImpl* get() const { return diag_; }

 private:
  qvsvDiagnosticImpl* diag_;
};

}  // namespace qvsv::test::sweep
