// What the program sees in a file, for people and for other programs.
#pragma once

#include "ImageFile.h"

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace vindrel::cli {

struct FileFacts {
  std::string file; // as given on the command line
  std::string format;
  Size size;
  int channels = 0;
  int bits = 0; // of a sample in the file
  bool floating = false;
  int orientation = kUpright;
  std::string profile; // the colour profile's name, or the colour space that Exif names; empty: unknown
  ShotFacts shot;
};

// Throws what readHeader() throws.
FileFacts factsOf(const std::string &file);

// The columns' heads.
std::vector<std::string> factHeads();

// A row, a text for each head; "-" where the file does not tell.
std::vector<std::string> factCells(const FileFacts &facts);

// The entry of one file in the JSON document; null where the file does not tell.
nlohmann::ordered_json toJson(const FileFacts &facts);

} // namespace vindrel::cli
