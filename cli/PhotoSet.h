// The photographs of one run, as a set: whether they fit together, and where their outputs go. Everything here is
// decided from names and headers, before any long work.
#pragma once

#include "ImageFile.h"
#include "NameTemplate.h"
#include "WarpedOutputs.h"

#include <filesystem>
#include <string>
#include <vector>

namespace vindrel::cli {

// The header of every photograph, whether they fit together or not. Throws Unreadable for the first that cannot be
// read.
std::vector<ImageHeader> readHeaders(const std::vector<std::string> &photos, Accept accept = Accept::WholeNumbers);

// Throws Usage, listing every file with its properties, when they differ in size, channels or depth.
void checkAlike(const std::vector<ImageHeader> &headers);

struct OutputPlan {
  std::filesystem::path folder;
  NameTemplate name = {};
  std::filesystem::path transforms = {};               // a further output; empty: none
  std::vector<std::filesystem::path> otherInputs = {}; // never replaced, like the photographs
  bool overwrite = false;
};

// Where each photograph's output goes, and in which format: the photograph's own unless its name in the plan ends in
// another. Throws Usage when two outputs would share a name, when one would replace an input, and when its format
// cannot hold the picture; and WouldOverwrite when one exists and may not be replaced. With an empty folder all targets
// are empty.
std::vector<Output> planOutputs(const std::vector<ImageHeader> &photos, const OutputPlan &plan);

} // namespace vindrel::cli
