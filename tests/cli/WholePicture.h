// A picture with its metadata, where a test looks at neither by itself.
#pragma once

#include "WriteImage.h"

#include <string>
#include <vector>

namespace vindrel::test {

// Returns what could not be kept.
[[nodiscard]] inline std::vector<std::string> writeWhole(cli::OutputFile &file, const ImageView &picture,
                                                         const cli::ImageHeader &photo, const std::string &format) {
  cli::writePixels(file, picture, photo, format);
  return cli::writeMetadata(file, picture.size, photo, format);
}

} // namespace vindrel::test
