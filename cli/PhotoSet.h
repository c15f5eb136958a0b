// The photographs of one run, as a set: whether they fit together, and where their outputs go. Everything here is
// decided from names and headers, before any long work.
#pragma once

#include "ImageFile.h"

#include <filesystem>
#include <string>
#include <vector>

namespace vindrel::cli {

// The header of every photograph. Throws Unreadable for the first that cannot be read, and Usage, listing every file
// with its properties, when they differ in size, channels or depth.
std::vector<ImageHeader> readHeaders(const std::vector<std::string> &photos);

// folder/NAME for each photograph. Throws Usage when two photographs would share an output or an output would replace a
// photograph of the set, and WouldOverwrite when an output exists and `overwrite` is false.
std::vector<std::filesystem::path> outputTargets(const std::vector<std::string> &photos,
                                                 const std::filesystem::path &folder, bool overwrite);

} // namespace vindrel::cli
