#include "ImageFile.h"

#include "Cancel.h"
#include "Failure.h"

#include <OpenImageIO/filesystem.h>
#include <algorithm>
#include <string_view>
#include <system_error>
#include <utility>

namespace vindrel::cli {
namespace fs = std::filesystem;
namespace {

constexpr int kJpegQuality = 95; // of 100: an aligned photograph is a working copy, merged or edited next

// Above this many bytes of pixels a TIFF needs 64-bit offsets. Below 4 GiB by what headers and incompressible data add.
constexpr std::int64_t kClassicTiffBytes = std::int64_t{4000} << 20;

[[noreturn]] void failToRead(const fs::path &path, const std::string &why) {
  throw Failure(ExitCode::Unreadable, path.string() + ": " + why);
}

// The reader's own words, on one line.
std::string oneLine(std::string text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == ' '))
    text.pop_back();
  for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2)
    text.replace(at, 1, "; ");
  return text.empty() ? "no reason given" : text;
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
  // Alpha that is not premultiplied stays so; the reader would otherwise darken the colours by it, and round them.
  OIIO::ImageSpec wishes;
  wishes.attribute("oiio:UnassociatedAlpha", 1);
  std::unique_ptr<OIIO::ImageInput> input = OIIO::ImageInput::open(path.string(), &wishes);
  if (!input) failToRead(path, "cannot be read as JPEG, PNG or TIFF: " + oneLine(OIIO::geterror()));
  return input;
}

// What the output says about itself: everything the input said, but for what described the input's own storage.
OIIO::ImageSpec outputSpec(const OIIO::ImageSpec &input, Size size, const std::string &format) {
  OIIO::ImageSpec spec = input;
  spec.x = spec.y = spec.z = 0;
  spec.width = size.width;
  spec.height = size.height;
  spec.full_x = spec.full_y = spec.full_z = 0;
  spec.full_width = size.width;
  spec.full_height = size.height;
  spec.depth = spec.full_depth = 1;
  spec.tile_width = spec.tile_height = spec.tile_depth = 0;
  spec.channelformats.clear();

  if (spec.get_int_attribute("Exif:PixelXDimension") > 0) spec.attribute("Exif:PixelXDimension", size.width);
  if (spec.get_int_attribute("Exif:PixelYDimension") > 0) spec.attribute("Exif:PixelYDimension", size.height);

  // Two- or sixteen-level files: resampling makes values in between, which their few bits cannot hold.
  const int bits = spec.get_int_attribute("oiio:BitsPerSample");
  if (bits > 0 && bits < 8) spec.erase_attribute("oiio:BitsPerSample");

  if (format == "jpeg") {
    spec.attribute("compression", "jpeg:" + std::to_string(kJpegQuality));
    spec.attribute("jpeg:subsampling", "4:4:4");
  } else if (format == "tiff") {
    const std::string compression = spec.get_string_attribute("compression");
    if (compression != "none" && compression != "lzw" && compression != "packbits") {
      // The remaining ones lose detail or know two levels only.
      spec.attribute("compression", "zip");
    }
    spec.erase_attribute("tiff:Compression");
    spec.erase_attribute("tiff:PhotometricInterpretation"); // the pixels handed over are plain grey or RGB
    spec.attribute("tiff:bigtiff", static_cast<std::int64_t>(spec.image_bytes()) > kClassicTiffBytes ? 1 : 0);
  }
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

OIIO::TypeDesc sampleType(SampleDepth depth) {
  return depth == SampleDepth::U8 ? OIIO::TypeDesc::UINT8 : OIIO::TypeDesc::UINT16;
}

[[noreturn]] void failToWrite(const OutputFile &file, const std::string &why) {
  throw Failure(ExitCode::Failed, file.target().string() + ": cannot be written: " + oneLine(why));
}

// The TIFF writer leaves the last word, the directory, to its closing, and tells nobody how that went.
void checkTiff(const OutputFile &file, const OIIO::ImageSpec &spec) {
  const std::unique_ptr<OIIO::ImageInput> input = OIIO::ImageInput::create("tiff");
  OIIO::ImageSpec written;
  if (!input || !input->open(file.aside().string(), written)) failToWrite(file, "the file on disk is incomplete");
  if (written.width != spec.width || written.height != spec.height || written.nchannels != spec.nchannels) {
    failToWrite(file, "the file on disk is incomplete");
  }
}

void encode(OutputFile &file, const ImageView &image, const std::string &format, const OIIO::ImageSpec &spec) {
  OutputFileProxy proxy(file);
  // The TIFF writer reads back what it wrote when it adds the Exif part, which it does not do through a proxy.
  const bool byName = format == "tiff";
  const std::unique_ptr<OIIO::ImageOutput> output = OIIO::ImageOutput::create(format, byName ? nullptr : &proxy);
  if (!output) failToWrite(file, OIIO::geterror());
  if (!output->open((byName ? file.aside() : file.target()).string(), spec)) failToWrite(file, output->geterror());
  const auto rowBytes = static_cast<OIIO::stride_t>(image.rowStride * bytesPerSample(image.depth));
  const bool written = output->write_image(sampleType(image.depth), image.samples, OIIO::AutoStride, rowBytes,
                                           OIIO::AutoStride, stopOnCancel);
  throwIfCancelled();
  const bool closed = output->close();
  if (!written || !closed) failToWrite(file, output->geterror());
  if (byName) checkTiff(file, spec);
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

ImageHeader readHeader(const fs::path &path) {
  checkIsFile(path);
  const std::unique_ptr<OIIO::ImageInput> input = openInput(path);
  ImageHeader header;
  header.path = path;
  header.format = input->format_name();
  header.spec = input->spec();
  const OIIO::ImageSpec &spec = header.spec;

  if (header.format != "jpeg" && header.format != "png" && header.format != "tiff") {
    failToRead(path, "is a " + header.format + " file; JPEG, PNG and TIFF are read");
  }
  if (spec.format == OIIO::TypeDesc::UINT8) {
    header.depth = SampleDepth::U8;
  } else if (spec.format == OIIO::TypeDesc::UINT16) {
    header.depth = SampleDepth::U16;
  } else {
    failToRead(path,
               std::string("holds samples of type ") + spec.format.c_str() + "; convert it to 8 or 16 bits a sample");
  }
  if (spec.nchannels < 1 || spec.nchannels > 4) {
    failToRead(path, "holds " + std::to_string(spec.nchannels) +
                         " channels; convert it to grey or RGB, with or "
                         "without alpha");
  }
  if (spec.depth > 1 || spec.deep) failToRead(path, "holds a volume, not a photograph");
  header.size = {spec.width, spec.height};
  header.channels = spec.nchannels;
  return header;
}

Pixels readPixels(const ImageHeader &header) {
  const std::unique_ptr<OIIO::ImageInput> input = openInput(header.path);
  const OIIO::ImageSpec &spec = input->spec();
  if (spec.width != header.size.width || spec.height != header.size.height || spec.nchannels != header.channels ||
      spec.format != header.spec.format) {
    failToRead(header.path, "changed while it was being read; run again");
  }
  Pixels pixels(header.size, header.channels, header.depth);
  const bool read = input->read_image(0, 0, 0, header.channels, sampleType(header.depth), pixels.data(),
                                      OIIO::AutoStride, OIIO::AutoStride, OIIO::AutoStride, stopOnCancel);
  throwIfCancelled();
  // A JPEG that ends early is decoded with grey for what is missing and called a success; the warning is all there is.
  const std::string warning = input->geterror();
  if (!read || warning.find("Premature end") != std::string::npos) {
    failToRead(header.path, "is damaged or cut short: " + oneLine(warning) + "; copy it again from its source");
  }
  return pixels;
}

void writeImage(OutputFile &file, const ImageView &image, const ImageHeader &like) {
  encode(file, image, like.format, outputSpec(like.spec, image.size, like.format));
}

void writeImage(OutputFile &file, const ImageView &image, const std::string &format) {
  OIIO::ImageSpec spec(image.size.width, image.size.height, image.channels, sampleType(image.depth));
  spec.attribute("oiio:ColorSpace", "sRGB");
  encode(file, image, format, outputSpec(spec, image.size, format));
}

} // namespace vindrel::cli
