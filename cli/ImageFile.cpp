#include "ImageFile.h"

#include "Cancel.h"
#include "Failure.h"
#include "OneLine.h"
#include "PictureKind.h"

#include <OpenImageIO/filesystem.h>
#include <algorithm>
#include <system_error>
#include <vector>

namespace vindrel::cli {
namespace fs = std::filesystem;
namespace {

// What is read at once of a picture: enough for several threads to decompress side by side.
constexpr std::int64_t kBytesAtOnce = std::int64_t{8} << 20;
constexpr int kLeastRowsAtOnce = 64;

[[noreturn]] void failToRead(const fs::path &path, const std::string &why) {
  throw Failure(ExitCode::Unreadable, path.string() + ": " + why);
}

void checkIsFile(const fs::path &path) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (status.type() == fs::file_type::not_found) failToRead(path, "no such file");
  if (error) failToRead(path, "cannot be read: " + error.message());
  if (fs::is_directory(status)) {
    failToRead(path, "is a folder; name the photographs in it, for example " + (path / "*.jpg").string());
  }
  if (!fs::is_regular_file(status)) failToRead(path, "is not a file of photographs but a device or a pipe");
  if (fs::file_size(path, error) == 0 && !error) failToRead(path, "is empty (0 bytes); was the copy complete?");
}

std::unique_ptr<OIIO::ImageInput> openInput(const fs::path &path) {
  OIIO::ImageSpec wishes;
  // Alpha that is not premultiplied stays so; the reader would otherwise darken the colours by it, and round them.
  wishes.attribute("oiio:UnassociatedAlpha", 1);
  // Raw files are developed alike whatever is in them, or the frames of a bracket would not go together: the camera's
  // white balance, no stretching to the brightest sample.
  wishes.attribute("raw:ColorSpace", "sRGB");
  wishes.attribute("raw:use_camera_wb", 1);
  wishes.attribute("raw:auto_bright", 0);
  wishes.attribute("raw:adjust_maximum_thr", 0.0f);
  std::unique_ptr<OIIO::ImageInput> input = OIIO::ImageInput::open(path.string(), &wishes);
  if (!input) failToRead(path, "cannot be read as a photograph: " + oneLine(OIIO::geterror()));
  return input;
}

OIIO::TypeDesc sampleType(SampleDepth depth) {
  return depth == SampleDepth::U8    ? OIIO::TypeDesc::UINT8
         : depth == SampleDepth::U16 ? OIIO::TypeDesc::UINT16
                                     : OIIO::TypeDesc::FLOAT;
}

// The Exif note counts, as every viewer reads it. OpenImageIO lets a note in the XMP part override it, and knows none
// of a PNG; it is asked where there is no Exif part to be read.
int orientationOf(const ImageHeader &header) {
  if (header.format == "raw") return kUpright; // turned while it is developed
  const int noted = header.metadata->readable() ? header.metadata->orientation()
                                                : header.spec.get_int_attribute("Orientation", kUpright);
  return noted >= 1 && noted <= 8 ? noted : kUpright;
}

// Rows that are read together, whole strips or tiles where the file has them, unless those are larger than what is
// worth a buffer.
int rowsAtOnce(const OIIO::ImageSpec &spec, SampleDepth depth) {
  const std::int64_t rowBytes = std::int64_t{spec.width} * spec.nchannels * bytesPerSample(depth);
  std::int64_t rows = std::max<std::int64_t>(kBytesAtOnce / std::max<std::int64_t>(rowBytes, 1), kLeastRowsAtOnce);
  const int unit = spec.tile_height > 0 ? spec.tile_height : spec.get_int_attribute("tiff:RowsPerStrip", 1);
  if (unit > 0 && (unit <= rows || spec.tile_height > 0)) rows = std::max<std::int64_t>(rows / unit, 1) * unit;
  return static_cast<int>(std::min<std::int64_t>(rows, spec.height));
}

// Pictures that end early are called a success: a JPEG is grey and a TIFF as it happens to be where samples are
// missing, and what the decoder remarks is all there is. The JPEG decoder remarks on much that costs no pixel.
bool isDamage(const std::string &format, const std::string &complaint) {
  if (format != "jpeg") return !complaint.empty();
  return complaint.find("remature end") != std::string::npos;
}

bool readRows(OIIO::ImageInput &input, const OIIO::ImageSpec &spec, int yBegin, int yEnd, SampleDepth depth,
              std::byte *rows) {
  if (spec.tile_height > 0) {
    return input.read_tiles(0, 0, spec.x, spec.x + spec.width, spec.y + yBegin, spec.y + yEnd, 0, 1, 0, spec.nchannels,
                            sampleType(depth), rows);
  }
  return input.read_scanlines(0, 0, spec.y + yBegin, spec.y + yEnd, 0, 0, spec.nchannels, sampleType(depth), rows);
}

} // namespace

Pixels::Pixels(Size size, int channels, SampleDepth depth)
    : size_(size), channels_(channels), depth_(depth),
      bytes_(std::make_unique_for_overwrite<std::byte[]>(byteCount())) {}

std::size_t Pixels::byteCount() const {
  return static_cast<std::size_t>(packedSamples(size_, channels_)) * static_cast<std::size_t>(bytesPerSample(depth_));
}

ImageView Pixels::view() const {
  return {bytes_.get(), size_, channels_, static_cast<std::int64_t>(size_.width) * channels_, depth_};
}

MutableImageView Pixels::mutableView() {
  return {bytes_.get(), size_, channels_, static_cast<std::int64_t>(size_.width) * channels_, depth_};
}

ImageHeader readHeader(const fs::path &path, Accept accept) {
  checkIsFile(path);
  const std::unique_ptr<OIIO::ImageInput> input = openInput(path);
  if (const std::string why = whyNotPhotograph(*input); !why.empty()) failToRead(path, why);

  ImageHeader header;
  header.path = path;
  header.format = input->format_name();
  header.spec = input->spec();
  header.channels = header.spec.nchannels;
  if (header.spec.format == OIIO::TypeDesc::UINT8) {
    header.depth = SampleDepth::U8;
  } else if (header.spec.format == OIIO::TypeDesc::UINT16) {
    header.depth = SampleDepth::U16;
  } else if (accept == Accept::FloatToo) {
    header.depth = SampleDepth::F32;
  } else {
    failToRead(path, std::string("holds samples of type ") + header.spec.format.c_str() +
                         "; convert it to 8 or 16 bits a sample");
  }
  header.metadata = header.format == "openexr" ? Metadata::none() : Metadata::read(path);
  header.orientation = orientationOf(header);
  header.size = uprightPlaces(header.orientation, {header.spec.width, header.spec.height}).upright;
  return header;
}

Pixels readPixels(const ImageHeader &header) {
  const std::unique_ptr<OIIO::ImageInput> input = openInput(header.path);
  const OIIO::ImageSpec spec = input->spec();
  if (spec.width != header.spec.width || spec.height != header.spec.height || spec.nchannels != header.channels ||
      spec.format != header.spec.format) {
    failToRead(header.path, "changed while it was being read; run again");
  }
  const UprightPlaces places = uprightPlaces(header.orientation, {spec.width, spec.height});
  const bool inPlace = header.orientation == kUpright;
  const auto pixelBytes = static_cast<std::size_t>(header.channels * bytesPerSample(header.depth));
  const std::size_t rowBytes = static_cast<std::size_t>(spec.width) * pixelBytes;
  const int step = rowsAtOnce(spec, header.depth);
  Pixels pixels(header.size, header.channels, header.depth);
  std::vector<std::byte> strip(inPlace ? 0 : static_cast<std::size_t>(step) * rowBytes);

  bool read = true;
  for (int y = 0; y < spec.height && read; y += step) {
    throwIfCancelled();
    const int end = std::min(y + step, spec.height);
    std::byte *rows = inPlace ? pixels.data() + static_cast<std::size_t>(y) * rowBytes : strip.data();
    read = readRows(*input, spec, y, end, header.depth, rows);
    if (read && !inPlace) placeRows(places, rows, y, end, pixelBytes, pixels.data());
  }
  throwIfCancelled();
  const std::string complaint = input->geterror();
  if (!read || isDamage(header.format, complaint)) {
    failToRead(header.path, "is damaged or cut short: " + oneLine(complaint) + "; copy it again from its source");
  }
  return pixels;
}

} // namespace vindrel::cli
