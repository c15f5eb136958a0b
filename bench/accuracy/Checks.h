// Whether a run makes sense: that the stacks have something to align, that a peer known to be good finds the truth that
// the simulator claims, and that the library does what it is for.
#pragma once

#include "RunCases.h"

#include <string>
#include <vector>

namespace vindrel::accuracy {

// What is wrong, one sentence each; empty when all is well. Methods that did not run are not asked about.
std::vector<std::string> failedChecks(const std::vector<Case> &cases, const std::vector<std::string> &methods,
                                      const Measurements &measured);

} // namespace vindrel::accuracy
