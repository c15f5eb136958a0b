// The measurements as text for people.
#pragma once

#include "RunCases.h"

#include <string>
#include <vector>

namespace vindrel::accuracy {

// One line a method, then the methods by kind of motion, then our own by every property of the stacks, then each frame
// that ours lost or misplaced.
void printTables(const std::vector<Case> &cases, const std::vector<std::string> &methods, const Measurements &measured);

} // namespace vindrel::accuracy
