// Photographs on disk: JPEG, PNG and TIFF with 8 or 16 bits a sample, grey or colour, with or without alpha. A file is
// looked at in two steps, header and pixels, so that a set that does not fit together is refused before any pixel is
// read. Pixels are written as they are: no colour conversion, no alpha premultiplication.
#pragma once

#include "OutputFile.h"
#include "vindrel/image.hpp"

#include <OpenImageIO/imageio.h>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>

namespace vindrel::cli {

struct ImageHeader {
  std::filesystem::path path;
  std::string format; // "jpeg", "png" or "tiff", by content whatever the file's name says
  Size size;
  int channels = 0; // 1 grey, 2 grey and alpha, 3 RGB, 4 RGB and alpha
  SampleDepth depth = SampleDepth::U8;
  OIIO::ImageSpec spec; // all that the file says about itself: what is written in its place takes it over
};

// Packed rows, native byte order.
class Pixels {
public:
  // Not initialised. Throws std::bad_alloc.
  Pixels(Size size, int channels, SampleDepth depth);

  std::byte *data() { return bytes_.get(); }
  std::size_t byteCount() const;
  ImageView view() const;
  MutableImageView mutableView();

private:
  Size size_;
  int channels_;
  SampleDepth depth_;
  std::unique_ptr<std::byte[]> bytes_;
};

// Both throw Unreadable, naming the file, for anything that is not a whole photograph of the kinds above.
ImageHeader readHeader(const std::filesystem::path &path);
Pixels readPixels(const ImageHeader &header);

// Writes into `file` (and does not finish it) in the format of `like` and with its metadata: profile, Exif, text and
// orientation. JPEG in quality 95 without chroma subsampling, the others without loss.
void writeImage(OutputFile &file, const ImageView &image, const ImageHeader &like);

// The same for an image that no file stands behind. format: "png" or "tiff".
void writeImage(OutputFile &file, const ImageView &image, const std::string &format);

} // namespace vindrel::cli
