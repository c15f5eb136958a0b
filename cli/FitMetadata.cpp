// Metadata that describes pixels is brought in line with the new ones or dropped; what describes the photograph stays.
#include "MetadataParts.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace vindrel::cli {
namespace {

using Exiv2::ExifKey;
using Exiv2::XmpKey;

bool startsWith(std::string_view text, std::string_view beginning) {
  return text.substr(0, beginning.size()) == beginning;
}

// Tags of the first directory, beside those of storage, that are written anew where they belong or that hold a second
// copy of what another part holds: XMP, IPTC, image resources with their thumbnail, layers, the colour profile.
constexpr std::array<std::uint16_t, 5> kOtherParts = {0x02bc, 0x83bb, 0x8649, 0x935c, 0x8773};

// Tags by which readers take a file for a raw one, and which hold for its sensor's samples only: the mosaic's pattern,
// TIFF/EP's mark and everything that DNG adds, but for the camera's name, its serial number and the lens.
bool isRawTag(std::uint16_t tag) {
  constexpr std::uint16_t kFirstOfDng = 0xc612;
  constexpr std::uint16_t kLastOfDng = 0xcdff;
  constexpr std::array<std::uint16_t, 3> kOfTheCamera = {0xc614, 0xc62f, 0xc630};
  if (tag == 0x828d || tag == 0x828e || tag == 0x9216 || tag == 0x9217) return true;
  return tag >= kFirstOfDng && tag <= kLastOfDng &&
         std::find(kOfTheCamera.begin(), kOfTheCamera.end(), tag) == kOfTheCamera.end();
}

// Other pictures: thumbnails, previews, further directories, and those within maker notes.
bool isOtherPicture(const Exiv2::Exifdatum &datum) {
  const std::string group = datum.groupName();
  constexpr std::array<std::string_view, 4> kGroups = {"Thumbnail", "SubImage", "SubThumb", "NikonPreview"};
  for (const std::string_view start : kGroups) {
    if (startsWith(group, start)) return true;
  }
  if (group == "Image2" || group == "Image3" || group == "PanasonicRaw") return true;
  constexpr std::array<std::string_view, 6> kKeys = {"Exif.Nikon3.Preview",          "Exif.Olympus.ThumbnailImage",
                                                     "Exif.Olympus2.ThumbnailImage", "Exif.Minolta.Thumbnail",
                                                     "Exif.Sony1.PreviewImage",      "Exif.Sony2.PreviewImage"};
  return std::find(kKeys.begin(), kKeys.end(), datum.key()) != kKeys.end();
}

bool isDropped(const Exiv2::Exifdatum &datum, const NewPicture &picture) {
  if (isOtherPicture(datum) || isStorageTag(datum)) return true;
  const std::uint16_t tag = datum.tag();
  const std::string group = datum.groupName();
  if (group == "Image") {
    // How luminance and chroma were stored; the pixels of a TIFF are RGB.
    constexpr std::array<std::uint16_t, 3> kChroma = {0x0211, 0x0213, 0x0214};
    if (picture.format == "tiff" && std::find(kChroma.begin(), kChroma.end(), tag) != kChroma.end()) return true;
    return std::find(kOtherParts.begin(), kOtherParts.end(), tag) != kOtherParts.end() ||
           (picture.developed && isRawTag(tag));
  }
  constexpr std::uint16_t kSubjectArea = 0x9214; // pixels of the old frame, as is the next
  constexpr std::uint16_t kSubjectLocation = 0xa214;
  constexpr std::uint16_t kMosaicPattern = 0xa302;
  return group == "Photo" &&
         (tag == kSubjectArea || tag == kSubjectLocation || (picture.developed && tag == kMosaicPattern));
}

void set(Exiv2::ExifData &exif, const char *key, std::uint32_t value) {
  if (exif.findKey(ExifKey(key)) != exif.end()) exif[key] = value;
}

// Pixels an inch, or of the sensor, along the width and along the height change places with the sides.
void swapValues(Exiv2::ExifData &exif, const char *x, const char *y) {
  const auto alongX = exif.findKey(ExifKey(x));
  const auto alongY = exif.findKey(ExifKey(y));
  if (alongX == exif.end() || alongY == exif.end()) return;
  const auto value = alongX->getValue();
  alongX->setValue(alongY->getValue().get());
  alongY->setValue(value.get());
}

// The property itself and, of a structure or a list, everything in it.
void erase(Exiv2::XmpData &xmp, std::string_view key) {
  const auto belongs = [key](const Exiv2::Xmpdatum &datum) {
    const std::string name = datum.key();
    return startsWith(name, key) && (name.size() == key.size() || name[key.size()] == '[' || name[key.size()] == '/');
  };
  for (auto at = xmp.begin(); at != xmp.end();)
    at = belongs(*at) ? xmp.erase(at) : at + 1;
}

void set(Exiv2::XmpData &xmp, const char *key, const std::string &value) {
  const auto found = xmp.findKey(XmpKey(key));
  if (found != xmp.end()) found->setValue(value);
}

} // namespace

bool isStorageTag(const Exiv2::Exifdatum &datum) {
  if (datum.groupName() != "Image") return false;
  const std::uint16_t tag = datum.tag();
  // Sizes, compression, strips and tiles with their offsets, photometric meaning, byte tables, further directories; not
  // the texts, the orientation and the resolution in between.
  constexpr std::uint16_t kTags[] = {0x00fe, 0x00ff, 0x0100, 0x0101, 0x0102, 0x0103, 0x0106, 0x0107, 0x0108, 0x0109,
                                     0x010a, 0x0111, 0x0115, 0x0116, 0x0117, 0x0118, 0x0119, 0x011c, 0x0120, 0x0121,
                                     0x0122, 0x0123, 0x0124, 0x0125, 0x013d, 0x0140, 0x0141, 0x0142, 0x0143, 0x0144,
                                     0x0145, 0x014a, 0x014c, 0x014e, 0x0150, 0x0152, 0x0153, 0x0154, 0x0155, 0x015b,
                                     0x0200, 0x0201, 0x0202, 0x0203, 0x0205, 0x0206, 0x0207, 0x0208, 0x0209, 0x0212};
  return std::find(std::begin(kTags), std::end(kTags), tag) != std::end(kTags);
}

void fitExif(Exiv2::ExifData &exif, const NewPicture &picture) {
  for (auto at = exif.begin(); at != exif.end();)
    at = isDropped(*at, picture) ? exif.erase(at) : std::next(at);

  if (exif.findKey(ExifKey("Exif.Image.Orientation")) != exif.end()) {
    exif["Exif.Image.Orientation"] = std::uint16_t{1};
  }
  const auto width = static_cast<std::uint32_t>(picture.width);
  const auto height = static_cast<std::uint32_t>(picture.height);
  set(exif, "Exif.Photo.PixelXDimension", width);
  set(exif, "Exif.Photo.PixelYDimension", height);
  set(exif, "Exif.Iop.RelatedImageWidth", width);
  set(exif, "Exif.Iop.RelatedImageLength", height);
  if (picture.turnedOnItsSide) {
    swapValues(exif, "Exif.Image.XResolution", "Exif.Image.YResolution");
    swapValues(exif, "Exif.Photo.FocalPlaneXResolution", "Exif.Photo.FocalPlaneYResolution");
  }
  constexpr std::uint16_t kSrgb = 1;
  if (picture.developed) exif["Exif.Photo.ColorSpace"] = kSrgb;
}

void fitXmp(Exiv2::XmpData &xmp, const NewPicture &picture) {
  // The second packet that a JPEG may have is left behind: it holds other pictures, depths and the like.
  erase(xmp, "Xmp.xmpNote.HasExtendedXMP");
  for (const char *key : {"Xmp.xmp.Thumbnails", "Xmp.exif.SubjectArea", "Xmp.exif.SubjectLocation",
                          "Xmp.tiff.BitsPerSample", "Xmp.tiff.Compression", "Xmp.tiff.PhotometricInterpretation",
                          "Xmp.tiff.SamplesPerPixel", "Xmp.tiff.PlanarConfiguration", "Xmp.tiff.YCbCrSubSampling"}) {
    erase(xmp, key);
  }
  set(xmp, "Xmp.tiff.Orientation", "1");
  set(xmp, "Xmp.tiff.ImageWidth", std::to_string(picture.width));
  set(xmp, "Xmp.tiff.ImageLength", std::to_string(picture.height));
  set(xmp, "Xmp.exif.PixelXDimension", std::to_string(picture.width));
  set(xmp, "Xmp.exif.PixelYDimension", std::to_string(picture.height));
  set(xmp, "Xmp.dc.format", "image/" + picture.format);
  if (!picture.developed) return;
  set(xmp, "Xmp.exif.ColorSpace", "1");
  // How a raw file is to be developed; it would be done a second time.
  for (auto at = xmp.begin(); at != xmp.end();)
    at = at->groupName() == "crs" ? xmp.erase(at) : at + 1;
}

void fitIptc(Exiv2::IptcData &iptc) {
  for (const char *key :
       {"Iptc.Application2.PreviewFormat", "Iptc.Application2.PreviewVersion", "Iptc.Application2.Preview"}) {
    for (auto found = iptc.findKey(Exiv2::IptcKey(key)); found != iptc.end();
         found = iptc.findKey(Exiv2::IptcKey(key))) {
      iptc.erase(found);
    }
  }
}

} // namespace vindrel::cli
