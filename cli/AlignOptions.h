// What `vindrel align` is asked for.
#pragma once

#include "CommonOptions.h"
#include "vindrel/stack.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vindrel::cli {

struct MaxShift {
  int x = 0; // pixels
  int y = 0;
};

// "X" or "X,Y"; X alone holds for both directions.
std::optional<MaxShift> parseMaxShift(std::string_view text);

struct Reference {
  ReferenceChoice choice = ReferenceChoice::Anchor;
  int index = 0; // from 0, with ReferenceChoice::Index
};

// "brightest", "middle", "first" or a number from 1.
std::optional<Reference> parseReference(std::string_view text);

struct AlignArguments {
  std::vector<std::string> photos;
  std::string folder; // empty: no pictures are written
  std::string name;   // empty: the photographs' own
  std::string model = "perspective";
  std::string reference;
  std::string maxShift;
  int threads = 1;
  std::string crop = "common";
  std::string filter = "bilinear";
  std::string onUnaligned = "guess";
  std::string transforms;    // saved ones to use; empty: they are estimated
  std::string transformsOut; // where to save them; empty: nowhere
  std::string truth;
  bool dryRun = false;
  CommonOptions common;
  ReportOptions report;

  // Throws Usage when the reference is none of the photographs.
  StackOptions stackOptions() const;
};

// The arguments must outlive the options.
void addAlignOptions(CLI::App &options, AlignArguments &arguments);

} // namespace vindrel::cli
