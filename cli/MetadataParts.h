// The parts of a photograph's metadata as Exiv2 holds them: shared by what reads, fits and writes them.
#pragma once

#include "Metadata.h"

#include <exiv2/exiv2.hpp>

namespace vindrel::cli {

struct Metadata::Parts {
  // Reads all of an image's metadata. Throws what Exiv2 throws.
  void take(Exiv2::Image &image);

  bool readable = false;
  std::string problem;
  Exiv2::ExifData exif;
  Exiv2::IptcData iptc;
  Exiv2::XmpData xmp;
  std::string comment;   // a JPEG's; a PNG's are among its chunks
  std::string pngChunks; // as readPngChunks() gives them
};

// True of tags that describe how the file stores its picture, and nothing about the photograph.
bool isStorageTag(const Exiv2::Exifdatum &datum);

// Brings the parts in line with the new picture, as writeInto() promises.
void fitExif(Exiv2::ExifData &exif, const NewPicture &picture);
void fitXmp(Exiv2::XmpData &xmp, const NewPicture &picture);
void fitIptc(Exiv2::IptcData &iptc);

} // namespace vindrel::cli
