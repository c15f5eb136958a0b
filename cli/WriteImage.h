// Pictures to disk. Pixels first, as they are; then what the photograph that they were made of says about itself.
#pragma once

#include "ImageFile.h"
#include "OutputFile.h"

#include <string>
#include <vector>

namespace vindrel::cli {

// The format in which the outputs of a photograph are written unless another one is asked for: its own, and TIFF for a
// raw file, whose format only cameras write.
std::string outputFormat(const ImageHeader &photo);

// "jpeg", "png", "tiff" or "openexr" by the file's name; empty when the name says none of them.
std::string formatByName(const std::filesystem::path &file);

// The name's extension for a format, with the dot: ".jpg", ".png", ".tif" or ".exr".
std::string extensionOf(const std::string &format);

// Why pictures of this kind cannot be written in that format; empty when they can. The reason ends a sentence that
// begins with the output's name.
std::string whyNotFormat(const ImageHeader &photo, const std::string &format);

// Writes into `file` (and does not finish it) the picture made of `photo`, with its colour profile, in that format.
// JPEG in quality 95 without chroma subsampling; the others without loss, OpenEXR samples as wide as the photograph's.
void writePixels(OutputFile &file, const ImageView &picture, const ImageHeader &photo, const std::string &format);

// Then everything else that the photograph says about itself. The file is held in memory once meanwhile, and a TIFF is
// mapped besides: who has little memory gives up the pictures first. Returns what could not be kept, to be told to the
// user: each text names the photograph.
[[nodiscard]] std::vector<std::string> writeMetadata(OutputFile &file, Size size, const ImageHeader &photo,
                                                     const std::string &format);

// Writes into `file` an image that no photograph stands behind: sRGB of whole numbers, "png" or "tiff".
void writeImage(OutputFile &file, const ImageView &image, const std::string &format);

} // namespace vindrel::cli
