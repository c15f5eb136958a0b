#include "WriteImage.h"

#include "Cancel.h"
#include "Failure.h"
#include "OneLine.h"
#include "PngChunks.h"

#include <OpenImageIO/filesystem.h>
#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>
#include <utility>

namespace vindrel::cli {
namespace fs = std::filesystem;
namespace {

constexpr int kJpegQuality = 95; // of 100: an aligned photograph is a working copy, merged or edited next

// Above this many bytes of pixels a TIFF needs 64-bit offsets. Below 4 GiB by what headers and incompressible data add.
constexpr std::int64_t kClassicTiffBytes = std::int64_t{4000} << 20;

[[noreturn]] void failToWrite(const OutputFile &file, const std::string &why) {
  throw Failure(ExitCode::Failed, file.target().string() + ": cannot be written: " + oneLine(why));
}

// What the pixels need to be understood, and how they are packed. All else is metadata, which OpenImageIO keeps a part
// of and writes, into PNG, as texts of its own invention.
bool concernsPixels(std::string_view name) {
  constexpr std::array<std::string_view, 10> kNames = {"ICCProfile",
                                                       "XResolution",
                                                       "YResolution",
                                                       "ResolutionUnit",
                                                       "PixelAspectRatio",
                                                       "oiio:BitsPerSample",
                                                       "oiio:UnassociatedAlpha",
                                                       "compression",
                                                       "planarconfig",
                                                       "tiff:zipquality"};
  return std::find(kNames.begin(), kNames.end(), name) != kNames.end();
}

void keepPixelAttributes(OIIO::ImageSpec &spec) {
  OIIO::ParamValueList kept;
  for (const OIIO::ParamValue &value : spec.extra_attribs) {
    if (concernsPixels(value.name().string())) kept.push_back(value);
  }
  spec.extra_attribs = std::move(kept);
}

void setStorage(OIIO::ImageSpec &spec, const ImageView &picture, OIIO::TypeDesc sampleType) {
  spec.x = spec.y = spec.z = 0;
  spec.width = picture.size.width;
  spec.height = picture.size.height;
  spec.full_x = spec.full_y = spec.full_z = 0;
  spec.full_width = picture.size.width;
  spec.full_height = picture.size.height;
  spec.depth = spec.full_depth = 1;
  spec.tile_width = spec.tile_height = spec.tile_depth = 0;
  spec.format = sampleType;
  spec.channelformats.clear();
}

void setCompression(OIIO::ImageSpec &spec, const std::string &format) {
  const std::string compression = spec.get_string_attribute("compression");
  if (format == "jpeg") {
    spec.attribute("compression", "jpeg:" + std::to_string(kJpegQuality));
    spec.attribute("jpeg:subsampling", "4:4:4");
  } else if (format == "tiff") {
    if (compression != "none" && compression != "lzw" && compression != "packbits") {
      // The remaining ones lose detail or know two levels only.
      spec.attribute("compression", "zip");
    }
    spec.attribute("tiff:bigtiff", static_cast<std::int64_t>(spec.image_bytes()) > kClassicTiffBytes ? 1 : 0);
  } else if (format == "openexr") {
    constexpr std::array<std::string_view, 5> kLossless = {"none", "rle", "zip", "zips", "piz"};
    if (std::find(kLossless.begin(), kLossless.end(), compression) == kLossless.end()) {
      spec.attribute("compression", "zip");
    }
  } else {
    spec.erase_attribute("compression");
  }
  if (format != "tiff") spec.erase_attribute("planarconfig");
}

// What the file says about its pixels. Where the metadata is not written afterwards (OpenEXR, which has attributes
// instead, and photographs whose metadata cannot be read as such), what OpenImageIO knows of it goes along.
OIIO::ImageSpec specOf(const ImageView &picture, const ImageHeader &photo, const std::string &format) {
  OIIO::ImageSpec spec = photo.spec;
  const OIIO::TypeDesc half = OIIO::TypeDesc::HALF;
  const bool narrow = picture.depth == SampleDepth::F32 && photo.spec.format == half && format == "openexr";
  setStorage(spec, picture,
             narrow                              ? half
             : picture.depth == SampleDepth::U8  ? OIIO::TypeDesc::UINT8
             : picture.depth == SampleDepth::U16 ? OIIO::TypeDesc::UINT16
                                                 : OIIO::TypeDesc::FLOAT);
  if (format != photo.format) spec.erase_attribute("compression"); // of the other format
  if (photo.metadata->readable()) {
    keepPixelAttributes(spec);
    constexpr int kInch = 2;
    constexpr int kCentimetre = 3;
    const int unit = photo.metadata->resolutionUnit();
    if (unit == kInch || unit == kCentimetre) spec.attribute("ResolutionUnit", unit == kInch ? "in" : "cm");
  } else {
    spec.erase_attribute("^(raw|tiff|jpeg|png|openexr):.*", OIIO::TypeDesc::UNKNOWN);
    spec.erase_attribute("thumbnail_.*", OIIO::TypeDesc::UNKNOWN);
    if (format == "png") spec.erase_attribute("oiio:ColorSpace"); // would become a text
    if (spec.find_attribute("Orientation") != nullptr) spec.attribute("Orientation", kUpright);
    if (spec.get_int_attribute("Exif:PixelXDimension") > 0) {
      spec.attribute("Exif:PixelXDimension", picture.size.width);
      spec.attribute("Exif:PixelYDimension", picture.size.height);
    }
  }
  if (swapsSides(photo.orientation)) {
    const float alongX = spec.get_float_attribute("XResolution");
    const float alongY = spec.get_float_attribute("YResolution");
    if (alongX > 0 && alongY > 0) {
      spec.attribute("XResolution", alongY);
      spec.attribute("YResolution", alongX);
      // The TIFF writer derives one of them from the other by this; the JPEG writer would take it the other way round.
      if (format == "jpeg") {
        spec.erase_attribute("PixelAspectRatio");
      } else {
        spec.attribute("PixelAspectRatio", alongX / alongY);
      }
    }
  }
  // Two- or sixteen-level files: resampling makes values in between, which their few bits cannot hold.
  const int bits = spec.get_int_attribute("oiio:BitsPerSample");
  const int whole = picture.depth == SampleDepth::U16 ? 16 : 8;
  if (bits > 0 && (bits < 8 || bits > whole || format != photo.format)) spec.erase_attribute("oiio:BitsPerSample");
  setCompression(spec, format);
  return spec;
}

// The encoder writes into the file that is already open aside, so that a full disk is noticed however it takes it.
class OutputFileProxy final : public OIIO::Filesystem::IOProxy {
public:
  explicit OutputFileProxy(OutputFile &file) : IOProxy("", Write), file_(file) {}
  const char *proxytype() const override { return "vindrel-output"; }
  void close() override { m_mode = Closed; }
  std::size_t read(void *bytes, std::size_t count) override {
    const std::size_t done = file_.readAt(bytes, count, m_pos);
    m_pos += static_cast<std::int64_t>(done);
    return done;
  }
  std::size_t write(const void *bytes, std::size_t count) override {
    const std::size_t done = file_.writeAt(bytes, count, m_pos);
    m_pos += static_cast<std::int64_t>(done);
    return done;
  }
  std::size_t pread(void *bytes, std::size_t count, std::int64_t offset) override {
    return file_.readAt(bytes, count, offset);
  }
  std::size_t pwrite(const void *bytes, std::size_t count, std::int64_t offset) override {
    return file_.writeAt(bytes, count, offset);
  }
  std::size_t size() const override { return static_cast<std::size_t>(file_.size()); }

private:
  OutputFile &file_;
};

bool stopOnCancel(void *, float) {
  return cancelRequested();
}

OIIO::TypeDesc memoryType(SampleDepth depth) {
  return depth == SampleDepth::U8    ? OIIO::TypeDesc::UINT8
         : depth == SampleDepth::U16 ? OIIO::TypeDesc::UINT16
                                     : OIIO::TypeDesc::FLOAT;
}

// The TIFF writer leaves the last word, the directory, to its closing, and tells nobody how that went.
void checkWritten(const OutputFile &file, const OIIO::ImageSpec &spec, const std::string &format) {
  const std::unique_ptr<OIIO::ImageInput> input = OIIO::ImageInput::create(format);
  OIIO::ImageSpec written;
  if (!input || !input->open(file.aside().string(), written)) failToWrite(file, "the file on disk is incomplete");
  if (written.width != spec.width || written.height != spec.height || written.nchannels != spec.nchannels) {
    failToWrite(file, "the file on disk is incomplete");
  }
}

void encode(OutputFile &file, const ImageView &picture, const std::string &format, const OIIO::ImageSpec &spec) {
  OutputFileProxy proxy(file);
  // The TIFF writer reads back what it wrote when it adds the Exif part, which it does not do through a proxy.
  const bool byName = format == "tiff";
  const std::unique_ptr<OIIO::ImageOutput> output = OIIO::ImageOutput::create(format, byName ? nullptr : &proxy);
  if (!output) failToWrite(file, OIIO::geterror());
  if (!output->open((byName ? file.aside() : file.target()).string(), spec)) failToWrite(file, output->geterror());
  const auto rowBytes = static_cast<OIIO::stride_t>(picture.rowStride * bytesPerSample(picture.depth));
  const bool written = output->write_image(memoryType(picture.depth), picture.samples, OIIO::AutoStride, rowBytes,
                                           OIIO::AutoStride, stopOnCancel);
  throwIfCancelled();
  const bool closed = output->close();
  if (!written || !closed) failToWrite(file, output->geterror());
  if (byName) checkWritten(file, spec, format);
}

} // namespace

std::string outputFormat(const ImageHeader &photo) {
  return photo.format == "raw" ? "tiff" : photo.format;
}

std::string formatByName(const fs::path &file) {
  std::string extension = file.extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (extension == ".jpg" || extension == ".jpeg") return "jpeg";
  if (extension == ".png") return "png";
  if (extension == ".tif" || extension == ".tiff") return "tiff";
  return extension == ".exr" ? "openexr" : "";
}

std::string extensionOf(const std::string &format) {
  return format == "jpeg" ? ".jpg" : format == "png" ? ".png" : format == "openexr" ? ".exr" : ".tif";
}

std::string whyNotFormat(const ImageHeader &photo, const std::string &format) {
  const bool linear = photo.depth == SampleDepth::F32;
  if (format == "jpeg" && (photo.depth != SampleDepth::U8 || photo.hasAlpha())) {
    return "JPEG holds 8 bits a sample and no alpha, but " + photo.path.string() + " has more; end the name in " +
           (linear ? ".exr or .tif" : ".png or .tif");
  }
  if (format == "png" && linear) {
    return "PNG holds no float samples, but " + photo.path.string() + " has them; end the name in .exr or .tif";
  }
  if (format == "openexr" && !linear) {
    return "OpenEXR holds scene-linear float samples, and those of " + photo.path.string() +
           " are not; end the name in .png or .tif";
  }
  return {};
}

void writePixels(OutputFile &file, const ImageView &picture, const ImageHeader &photo, const std::string &format) {
  encode(file, picture, format, specOf(picture, photo, format));
}

std::vector<std::string> writeMetadata(OutputFile &file, Size size, const ImageHeader &photo,
                                       const std::string &format) {
  if (format == "openexr") return {}; // went along with the pixels
  std::vector<std::string> losses =
      photo.metadata->writeInto(file, {.format = format,
                                       .width = size.width,
                                       .height = size.height,
                                       .turnedOnItsSide = swapsSides(photo.orientation),
                                       .developed = photo.format == "raw",
                                       .hasProfile = photo.spec.find_attribute("ICCProfile") != nullptr});
  for (std::string &loss : losses)
    loss.insert(0, photo.path.string() + ": ");
  return losses;
}

void writeImage(OutputFile &file, const ImageView &image, const std::string &format) {
  OIIO::ImageSpec spec(image.size.width, image.size.height, image.channels, memoryType(image.depth));
  setCompression(spec, format);
  encode(file, image, format, spec);
  if (format == "png" && !insertPngChunks(file, pngChunk("sRGB", kSrgbAsItLooks))) {
    failToWrite(file, "the file on disk is incomplete");
  }
}

} // namespace vindrel::cli
