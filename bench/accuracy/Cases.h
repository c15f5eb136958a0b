// The stacks that are measured: every photograph with every kind of bracket.
#pragma once

#include "Options.h"
#include "simulate/Bracket.h"

#include <string>
#include <vector>

namespace vindrel::accuracy {

struct Case {
  std::string photograph; // file
  std::string name;       // the file's name without folder and extension
  BracketOptions bracket;
};

// The cases that the options ask for, those of one photograph together. Photographs of the chosen ones that are not
// installed are left out.
std::vector<Case> plannedCases(const Options &options);

std::string motionName(Motion motion);

} // namespace vindrel::accuracy
