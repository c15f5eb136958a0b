// Hugin's align_image_stack, which is a program: it is run on files.
#pragma once

#include "StackScene.h"

#include <optional>

namespace vindrel::bench {

// Its processor time on the frames, aligned and remapped, less what reading and writing the files takes: as much as it
// takes to read every frame's TIFF file and to write one of the same size, which is measured here through the same
// library (libtiff). Nothing when the program is missing or fails.
std::optional<double> huginSeconds(StackScene &scene);

} // namespace vindrel::bench
