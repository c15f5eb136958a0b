#include "FileFacts.h"

#include <array>
#include <cctype>
#include <cmath>
#include <cstdio>

namespace vindrel::cli {
namespace {

constexpr std::array<const char *, 4> kChannelNames = {"grey", "grey+alpha", "RGB", "RGB+alpha"};

std::string formatted(const char *format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

std::optional<double> positiveOf(const OIIO::ImageSpec &spec, const char *name) {
  const double value = static_cast<double>(spec.get_float_attribute(name));
  return value > 0 && std::isfinite(value) ? std::optional(value) : std::nullopt;
}

// Of files whose metadata is not Exif (OpenEXR has attributes of its own), as OpenImageIO names it.
ShotFacts shotOf(const OIIO::ImageSpec &spec) {
  ShotFacts shot;
  shot.exposureTime = positiveOf(spec, "ExposureTime");
  shot.fNumber = positiveOf(spec, "FNumber");
  shot.iso = positiveOf(spec, "Exif:ISOSpeedRatings");
  if (spec.find_attribute("Exif:ExposureBiasValue") != nullptr) {
    shot.exposureBias = static_cast<double>(spec.get_float_attribute("Exif:ExposureBiasValue"));
  }
  shot.date = isoDate(spec.get_string_attribute("Exif:DateTimeOriginal", spec.get_string_attribute("DateTime")), "");
  shot.position = spec.find_attribute("GPS:Latitude") != nullptr;
  return shot;
}

std::string exposureText(double seconds) {
  constexpr double kLongestFraction = 0.3; // cameras show 1/3 s as 0.3"
  if (seconds >= kLongestFraction) return formatted("%.3g s", seconds);
  return formatted("1/%.0f s", 1 / seconds);
}

template <class Value>
nlohmann::ordered_json orNull(const std::optional<Value> &value) {
  return value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json(nullptr);
}

} // namespace

FileFacts factsOf(const std::string &file) {
  const ImageHeader header = readHeader(file, Accept::FloatToo);
  FileFacts facts;
  facts.file = file;
  facts.format = header.format;
  facts.size = header.size;
  facts.channels = header.channels;
  const int unpacked = static_cast<int>(header.spec.format.size() * 8);
  facts.bits = header.format == "raw" ? unpacked : header.spec.get_int_attribute("oiio:BitsPerSample", unpacked);
  facts.floating = header.depth == SampleDepth::F32;
  facts.orientation = header.orientation;
  facts.shot = header.metadata->readable() ? header.metadata->facts() : shotOf(header.spec);
  facts.profile = header.spec.get_string_attribute("ICCProfile:profile_description");
  if (header.format == "raw") facts.profile = "sRGB"; // developed to
  if (facts.profile.empty()) {
    const bool unnamed = header.spec.find_attribute("ICCProfile") != nullptr;
    facts.profile = unnamed ? "unnamed profile" : facts.shot.colourSpace.value_or("");
  }
  return facts;
}

std::vector<std::string> factHeads() {
  return {"FILE", "FORMAT", "SIZE", "CHANNELS", "SAMPLES", "TIME", "APERTURE",
          "ISO",  "BIAS",   "DATE", "STORED",   "COLOURS", "GPS"};
}

std::vector<std::string> factCells(const FileFacts &facts) {
  const ShotFacts &shot = facts.shot;
  return {facts.file,
          facts.format,
          std::to_string(facts.size.width) + " x " + std::to_string(facts.size.height),
          kChannelNames[static_cast<std::size_t>(facts.channels - 1)],
          std::to_string(facts.bits) + (facts.floating ? " bit float" : " bit"),
          shot.exposureTime ? exposureText(*shot.exposureTime) : "-",
          shot.fNumber ? formatted("f/%.3g", *shot.fNumber) : "-",
          shot.iso ? formatted("%.0f", *shot.iso) : "-",
          shot.exposureBias ? formatted("%+.3g EV", *shot.exposureBias) : "-",
          shot.date.value_or("-"),
          facts.orientation == kUpright ? "upright" : "turned (" + std::to_string(facts.orientation) + ")",
          facts.profile.empty() ? "-" : facts.profile,
          shot.position ? "yes" : "no"};
}

nlohmann::ordered_json toJson(const FileFacts &facts) {
  const ShotFacts &shot = facts.shot;
  nlohmann::ordered_json json;
  json["file"] = facts.file;
  json["format"] = facts.format;
  json["width"] = facts.size.width;
  json["height"] = facts.size.height;
  json["channels"] = facts.channels;
  json["alpha"] = facts.channels % 2 == 0;
  json["bits"] = facts.bits;
  json["float"] = facts.floating;
  json["exposureTime"] = orNull(shot.exposureTime);
  json["fNumber"] = orNull(shot.fNumber);
  json["iso"] = orNull(shot.iso);
  json["exposureBias"] = orNull(shot.exposureBias);
  json["date"] = orNull(shot.date);
  json["orientation"] = facts.orientation;
  json["colours"] = facts.profile.empty() ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(facts.profile);
  json["gps"] = shot.position;
  return json;
}

} // namespace vindrel::cli
