// Photographs on disk, as they are looked at. Read are JPEG, PNG and TIFF with 8 or 16 bits a sample, raw files of
// cameras, which are developed to 16 bits, and scene-linear float samples in TIFF and OpenEXR; grey or colour, with or
// without alpha. A file is looked at in two steps, header and pixels, so that a set that does not fit together is
// refused before any pixel is read. Samples stay as they are: no colour conversion, no alpha premultiplication.
#pragma once

#include "Metadata.h"
#include "Upright.h"
#include "vindrel/image.hpp"

#include <OpenImageIO/imageio.h>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>

namespace vindrel::cli {

struct ImageHeader {
  std::filesystem::path path;
  std::string format; // "jpeg", "png", "tiff", "openexr" or "raw", by content whatever the file's name says
  Size size;          // as the picture is looked at
  int channels = 0;   // 1 grey, 2 grey and alpha, 3 RGB, 4 RGB and alpha
  SampleDepth depth = SampleDepth::U8; // F32: scene-linear, any value a float has
  int orientation = kUpright;          // how the file stores the picture, 1 to 8; readPixels() turns it upright
  OIIO::ImageSpec spec;                // the file's own account of its pixels, as stored
  std::shared_ptr<const Metadata> metadata;

  bool hasAlpha() const { return channels == 2 || channels == 4; }
};

// Packed rows, native byte order.
class Pixels {
public:
  // Not initialised. Throws std::bad_alloc.
  Pixels(Size size, int channels, SampleDepth depth);

  std::byte *data() { return bytes_.get(); }
  const std::byte *data() const { return bytes_.get(); }
  std::size_t byteCount() const;
  ImageView view() const;
  MutableImageView mutableView();

private:
  Size size_;
  int channels_;
  SampleDepth depth_;
  std::unique_ptr<std::byte[]> bytes_;
};

enum class Accept {
  WholeNumbers, // 8 and 16 bits
  FloatToo,
};

// Both throw Unreadable, naming the file, for anything that is not one whole photograph of the kinds above.
ImageHeader readHeader(const std::filesystem::path &path, Accept accept = Accept::WholeNumbers);

// The picture turned upright. Held meanwhile are the picture and some rows (8 MiB or 64 rows); the decoders of
// interlaced PNG, progressive JPEG and raw files hold more of their own.
Pixels readPixels(const ImageHeader &header);

} // namespace vindrel::cli
