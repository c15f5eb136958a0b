#include "PictureKind.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace vindrel::cli {
namespace {

constexpr int kMaxChannels = 4;

std::string formatProblem(std::string_view format) {
  constexpr std::array<std::string_view, 5> kFormats = {"jpeg", "png", "tiff", "openexr", "raw"};
  if (std::find(kFormats.begin(), kFormats.end(), format) != kFormats.end()) return {};
  return "is a " + std::string(format) + " file; JPEG, PNG and TIFF are read, OpenEXR and cameras' raw files";
}

std::string sampleProblem(const OIIO::TypeDesc &type) {
  if (type == OIIO::TypeDesc::UINT8 || type == OIIO::TypeDesc::UINT16 || type == OIIO::TypeDesc::HALF ||
      type == OIIO::TypeDesc::FLOAT) {
    return {};
  }
  return std::string("holds samples of type ") + type.c_str() +
         "; convert it to 8 or 16 bits a sample, or to 32-bit float";
}

// The decoders turn other models into RGB on their own terms, beside which the file's colour profile would be wrong.
std::string colourProblem(const OIIO::ImageSpec &spec) {
  std::string model = spec.get_string_attribute("jpeg:ColorSpace", spec.get_string_attribute("tiff:ColorSpace"));
  if (model == "YCbCrK") model = "CMYK";
  constexpr int kTiffLab[] = {8, 9, 10}; // CIE, ICC and ITU L*a*b*, as TIFF numbers its photometric interpretations
  const int photometric = spec.get_int_attribute("tiff:PhotometricInterpretation", -1);
  if (std::find(std::begin(kTiffLab), std::end(kTiffLab), photometric) != std::end(kTiffLab)) model = "Lab";
  if (model != "CMYK" && model != "Lab" && model != "multichannel" && model != "color separated") return {};
  return "holds " + model + " colours; convert it to RGB or grey";
}

std::string channelProblem(const OIIO::ImageSpec &spec, std::string_view format) {
  if (spec.nchannels < 1 || spec.nchannels > kMaxChannels) {
    return "holds " + std::to_string(spec.nchannels) +
           " channels; convert it to grey or RGB, with or "
           "without alpha";
  }
  if (format != "openexr") return {};
  // OpenEXR names its channels, and they may be anything: depth, masks, luminance beside coarser chroma.
  std::string names;
  for (const std::string &name : spec.channelnames)
    names += (names.empty() ? "" : ", ") + name;
  constexpr std::array<std::string_view, 4> kKnown = {"Y", "Y, A", "R, G, B", "R, G, B, A"};
  if (std::find(kKnown.begin(), kKnown.end(), names) != kKnown.end()) return {};
  return "holds the channels " + names + "; convert it to R, G, B or Y, with or without A";
}

// Reduced copies for viewers (TIFF's subfile type 1) and transparency masks (4) go with the first picture.
int countPictures(OIIO::ImageInput &input) {
  constexpr int kReducedOrMask = 1 | 4;
  int count = 0;
  for (int i = 0; input.seek_subimage(i, 0); ++i) {
    if (i == 0 || (input.spec().get_int_attribute("tiff:subfiletype") & kReducedOrMask) == 0) ++count;
  }
  input.seek_subimage(0, 0);
  (void)input.geterror(); // that there is no further picture
  return count;
}

} // namespace

std::string whyNotPhotograph(OIIO::ImageInput &input) {
  const OIIO::ImageSpec &spec = input.spec();
  const std::string_view format = input.format_name();
  if (std::string problem = formatProblem(format); !problem.empty()) return problem;
  if (spec.depth > 1 || spec.deep) return "holds a volume, not a photograph";
  if (std::string problem = sampleProblem(spec.format); !problem.empty()) return problem;
  if (std::string problem = channelProblem(spec, format); !problem.empty()) return problem;
  if (std::string problem = colourProblem(spec); !problem.empty()) return problem;
  if (format != "tiff" && format != "openexr") return {};
  if (const int pictures = countPictures(input); pictures > 1) {
    return "holds " + std::to_string(pictures) + " pictures; split it into files of one picture each";
  }
  return {};
}

} // namespace vindrel::cli
