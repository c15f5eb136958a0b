// Transforms on disk, as the commands use them: what an earlier run found, for another stack or another picture.
#pragma once

#include "ImageFile.h"
#include "vindrel/transforms_file.hpp"

#include <filesystem>
#include <string>
#include <vector>

namespace vindrel::cli {

// Throws Unreadable, naming the file.
TransformsFile readTransforms(const std::filesystem::path &file);

// Throws Usage when an image does not have the size that the transforms are for.
void checkSizes(const TransformsFile &transforms, const std::string &file, const std::vector<ImageHeader> &images);

// Throws Usage when images cannot belong to the frames one by one, in order: another number, or one that has the name
// of another frame.
void checkOrder(const TransformsFile &transforms, const std::string &file, const std::vector<ImageHeader> &images);

// The text of a file for the stack of these photographs.
std::string transformsText(const StackEstimate &stack, const std::vector<std::string> &photos, int threads);

} // namespace vindrel::cli
