// Random diagnostic trees that use every field an item can hold, for the
// round trips of the diagnostic's forms.
#pragma once

#include <random>

#include "qv_services/diagnostic.hpp"

namespace qvsv::test {

// A diagnostic of one to three items with causes down to maxDepth levels;
// texts mix markup, non-BMP characters and (when illFormed) unpaired
// surrogates and bytes that are not UTF-8. The caller owns the result.
qvsvDiagnosticImpl* RandomDiagnostic(std::mt19937& rng, int maxDepth, bool illFormed = true);

}  // namespace qvsv::test
