// Photographs as they are looked at. A camera held upright stores its picture lying, with a note of how to turn it;
// "vertical" means what the viewer sees.
#pragma once

#include "ImageFile.h"

namespace vindrel::cli {

// The pixels turned and mirrored as the header's orientation (1 to 8; anything else counts as 1) asks, and the header
// with the new size and nothing left to turn.
Pixels readUpright(ImageHeader &header);

} // namespace vindrel::cli
