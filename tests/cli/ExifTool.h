// exiftool as an outside witness: what it says of files that the program wrote, and files with metadata that the
// program had no hand in.
#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace vindrel::test {

// Runs it and returns what it prints. Throws when it fails or is not there (Debian's libimage-exiftool-perl).
std::string exifTool(const std::vector<std::string> &arguments);

// All tags as numbers where they are numbers, named Group:Tag, of each file in turn. Left out are those about the file
// in its folder, and those that exiftool derives from others.
std::vector<nlohmann::json> tagsOf(const std::vector<std::filesystem::path> &files);
nlohmann::json tagsOf(const std::filesystem::path &file);

// The bytes of a tag.
std::string bytesOf(const std::filesystem::path &file, const std::string &tag);

// Gives a JPEG, PNG or TIFF what a camera and an editor write: exposure, place, IPTC, XMP, comments, resolution, a
// thumbnail (not in PNG), a colour profile, sizes, and the orientation.
void describe(const std::filesystem::path &file, int orientation);

} // namespace vindrel::test
