// What a photograph says about itself beside its pixels: Exif with its maker notes and place, IPTC, XMP, comments and a
// PNG's texts. It is read once, from the photograph, and written into whatever is made of the photograph, brought in
// line with the new pixels there. The colour profile goes with the pixels and is not handled here.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vindrel::cli {

class OutputFile;

// How a picture was taken, as far as it says.
struct ShotFacts {
  std::optional<double> exposureTime; // seconds
  std::optional<double> fNumber;
  std::optional<double> iso;
  std::optional<double> exposureBias;     // stops
  std::optional<std::string> date;        // 2024-05-01T12:30:00, with the offset from UTC behind it where it is noted
  std::optional<std::string> colourSpace; // named in the Exif part: "sRGB" or "Adobe RGB"
  bool position = false;                  // the place on earth is noted
};

// A date as Exif has it, 2024:05:01 12:30:00, with an offset as Exif has it, +02:00, or none. Empty for anything else.
std::optional<std::string> isoDate(const std::string &exifDate, const std::string &exifOffset);

// What was made of the photograph.
struct NewPicture {
  std::string format; // "jpeg", "png" or "tiff"
  int width = 0;
  int height = 0;
  bool turnedOnItsSide = false; // its width lies along the stored photograph's height
  bool developed = false;       // from a raw file, to sRGB
  bool hasProfile = false;      // a colour profile is in the file
};

class Metadata {
public:
  // Never fails: a photograph is worth having with none of it. problem() tells what could not be read.
  static std::shared_ptr<const Metadata> read(const std::filesystem::path &photo);

  // For files that hold nothing of the kind.
  static std::shared_ptr<const Metadata> none();

  ~Metadata();
  Metadata(const Metadata &) = delete;
  Metadata &operator=(const Metadata &) = delete;

  // False when nothing could be read, or there was nothing to be read from.
  bool readable() const;

  // Why some or all of it could not be read; empty when there is nothing amiss.
  const std::string &problem() const;

  // As the Exif part has it, 1 to 8; 0 when it has none.
  int orientation() const;

  // What the resolution counts pixels by: 2 the inch, 3 the centimetre, anything else unknown.
  int resolutionUnit() const;

  ShotFacts facts() const;

  // Writes all of it into `file`, which holds the complete new picture and is not finished yet. Marks the picture as
  // upright, states its size, and leaves out what describes the photograph's own storage or shows the old picture:
  // thumbnails, previews, where in the frame the subject is. Returns what could not be kept and why, one text for each
  // loss; the picture is whole in any case. Throws a Failure only when the disk takes no more.
  std::vector<std::string> writeInto(OutputFile &file, const NewPicture &picture) const;

private:
  struct Parts;
  explicit Metadata(std::unique_ptr<Parts> parts);
  std::unique_ptr<Parts> parts_;
};

} // namespace vindrel::cli
