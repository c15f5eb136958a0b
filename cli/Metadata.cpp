#include "MetadataParts.h"

#include "PngChunks.h"

#include <cstdio>
#include <fstream>
#include <iterator>
#include <mutex>
#include <string_view>

namespace vindrel::cli {
namespace {

// Exiv2 reports to one function for the whole process. Errors, and parts that it gave up on as a whole, are kept for
// whoever asked for the reading; its many remarks on odd but harmless tags are not.
std::string *complaint = nullptr;

void onRemark(int level, const char *text) {
  std::string remark = text;
  const bool lost = level >= Exiv2::LogMsg::error || remark.find("Failed to decode") != std::string::npos;
  if (complaint == nullptr || !complaint->empty() || !lost) return;
  while (!remark.empty() && (remark.back() == '\n' || remark.back() == '.'))
    remark.pop_back();
  *complaint = remark;
}

// While one is alive, complaints are gathered in `text`.
class Complaints {
public:
  explicit Complaints(std::string &text) {
    static std::once_flag once;
    std::call_once(once, [] {
      Exiv2::LogMsg::setHandler(onRemark);
      Exiv2::XmpParser::initialize();
    });
    complaint = &text;
  }
  ~Complaints() { complaint = nullptr; }
  Complaints(const Complaints &) = delete;
  Complaints &operator=(const Complaints &) = delete;
};

std::optional<double> number(const Exiv2::ExifData &exif, Exiv2::ExifData::const_iterator found) {
  if (found == exif.end() || found->count() < 1) return std::nullopt;
  const Exiv2::Rational value = found->toRational();
  if (value.second == 0) return std::nullopt;
  return static_cast<double>(value.first) / value.second;
}

std::optional<double> positive(std::optional<double> value) {
  return value && *value > 0 ? value : std::nullopt;
}

std::optional<double> numberOf(const Exiv2::ExifData &exif, const char *first, const char *second) {
  const auto found = exif.findKey(Exiv2::ExifKey(first));
  return number(exif, found != exif.end() ? found : exif.findKey(Exiv2::ExifKey(second)));
}

std::string textOf(const Exiv2::ExifData &exif, const char *key) {
  const auto found = exif.findKey(Exiv2::ExifKey(key));
  return found == exif.end() ? std::string() : found->toString();
}

std::optional<std::string> dateOf(const Exiv2::ExifData &exif) {
  std::string text = textOf(exif, "Exif.Photo.DateTimeOriginal");
  std::string offset = textOf(exif, "Exif.Photo.OffsetTimeOriginal");
  if (text.empty()) text = textOf(exif, "Exif.Image.DateTimeOriginal");
  if (text.empty()) {
    text = textOf(exif, "Exif.Image.DateTime");
    offset = textOf(exif, "Exif.Photo.OffsetTime");
  }
  return isoDate(text, offset);
}

std::optional<std::string> colourSpaceOf(const Exiv2::ExifData &exif) {
  const std::string space = textOf(exif, "Exif.Photo.ColorSpace");
  if (space == "1") return "sRGB";
  constexpr const char *kAdobe = "R03"; // of Exif's interoperability index: the option file of DCF
  if (space == "2" || textOf(exif, "Exif.Iop.InteroperabilityIndex") == kAdobe) return "Adobe RGB";
  return std::nullopt;
}

// The whole of a JPEG with its Exif part under another name, by which readers pass it over: the reader ends at the
// first part that it can make nothing of, and Exif comes first. Empty for what is no JPEG with such a part.
std::string jpegWithoutExif(const std::filesystem::path &photo) {
  std::ifstream file(photo, std::ios::binary);
  char begin[2] = {};
  if (!file.read(begin, 2) || begin[0] != '\xff' || begin[1] != '\xd8') return {};
  file.seekg(0);
  std::string bytes{std::istreambuf_iterator<char>(file), {}};
  constexpr std::string_view kName("Exif\0\0", 6);
  const std::size_t found = bytes.find(kName);
  if (found == std::string::npos) return {};
  bytes.replace(found, 4, "None");
  return bytes;
}

} // namespace

std::optional<std::string> isoDate(const std::string &exifDate, const std::string &exifOffset) {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  if (std::sscanf(exifDate.c_str(), "%4d:%2d:%2d %2d:%2d:%2d", &year, &month, &day, &hour, &minute, &second) != 6 ||
      year < 1 || month < 1 || day < 1) {
    return std::nullopt;
  }
  char date[80];
  std::snprintf(date, sizeof date, "%04d-%02d-%02dT%02d:%02d:%02d", year, month, day, hour, minute, second);
  int offsetHours = 0, offsetMinutes = 0;
  char sign = 0;
  const bool hasOffset = std::sscanf(exifOffset.c_str(), "%c%2d:%2d", &sign, &offsetHours, &offsetMinutes) == 3 &&
                         (sign == '+' || sign == '-') && exifOffset.size() == 6;
  return date + (hasOffset ? exifOffset : std::string());
}

void Metadata::Parts::take(Exiv2::Image &image) {
  image.readMetadata();
  exif = image.exifData();
  iptc = image.iptcData();
  xmp = image.xmpData();
  if (image.mimeType() == "image/jpeg") comment = image.comment();
  readable = true;
}

Metadata::Metadata(std::unique_ptr<Parts> parts) : parts_(std::move(parts)) {}
Metadata::~Metadata() = default;

std::shared_ptr<const Metadata> Metadata::none() {
  return std::shared_ptr<const Metadata>(new Metadata(std::make_unique<Parts>()));
}

std::shared_ptr<const Metadata> Metadata::read(const std::filesystem::path &photo) {
  auto parts = std::make_unique<Parts>();
  std::string complaints;
  const Complaints gathering(complaints);
  try {
    parts->take(*Exiv2::ImageFactory::open(photo.string()));
  } catch (const std::bad_alloc &) {
    throw;
  } catch (const std::exception &error) {
    complaints = error.what();
  }
  if (!parts->readable) {
    try {
      const std::string bytes = jpegWithoutExif(photo);
      if (!bytes.empty()) {
        parts->take(*Exiv2::ImageFactory::open(reinterpret_cast<const Exiv2::byte *>(bytes.data()),
                                               static_cast<long>(bytes.size())));
      }
    } catch (const std::bad_alloc &) {
      throw;
    } catch (const std::exception &) {
      // The first complaint tells more.
    }
  }
  if (parts->readable) parts->pngChunks = readPngChunks(photo);
  if (!complaints.empty()) {
    parts->problem = (parts->readable ? "some of its metadata cannot be read (" : "its metadata cannot be read (") +
                     complaints + ")";
  }
  return std::shared_ptr<const Metadata>(new Metadata(std::move(parts)));
}

bool Metadata::readable() const {
  return parts_->readable;
}

const std::string &Metadata::problem() const {
  return parts_->problem;
}

int Metadata::orientation() const {
  const auto found = parts_->exif.findKey(Exiv2::ExifKey("Exif.Image.Orientation"));
  if (found == parts_->exif.end() || found->count() < 1) return 0;
  const long value = found->toLong();
  return value >= 1 && value <= 8 ? static_cast<int>(value) : 0;
}

int Metadata::resolutionUnit() const {
  const auto found = parts_->exif.findKey(Exiv2::ExifKey("Exif.Image.ResolutionUnit"));
  return found == parts_->exif.end() || found->count() < 1 ? 0 : static_cast<int>(found->toLong());
}

ShotFacts Metadata::facts() const {
  const Exiv2::ExifData &exif = parts_->exif;
  ShotFacts facts;
  facts.exposureTime = positive(numberOf(exif, "Exif.Photo.ExposureTime", "Exif.Image.ExposureTime"));
  facts.fNumber = positive(numberOf(exif, "Exif.Photo.FNumber", "Exif.Image.FNumber"));
  facts.iso = positive(number(exif, Exiv2::isoSpeed(exif)));
  facts.exposureBias = numberOf(exif, "Exif.Photo.ExposureBiasValue", "Exif.Image.ExposureBiasValue");
  facts.date = dateOf(exif);
  facts.colourSpace = colourSpaceOf(exif);
  facts.position = exif.findKey(Exiv2::ExifKey("Exif.GPSInfo.GPSLatitude")) != exif.end() ||
                   parts_->xmp.findKey(Exiv2::XmpKey("Xmp.exif.GPSLatitude")) != parts_->xmp.end();
  return facts;
}

} // namespace vindrel::cli
