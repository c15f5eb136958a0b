// The measurements as JSON for programs, down to the single frame.
#pragma once

#include "Options.h"
#include "RunCases.h"

#include <string>
#include <vector>

namespace vindrel::accuracy {

// Written aside and renamed. False when that failed.
bool writeJson(const Options &options, const std::vector<Case> &cases, const std::vector<std::string> &methods,
               const Measurements &measured);

} // namespace vindrel::accuracy
