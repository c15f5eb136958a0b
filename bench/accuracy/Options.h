// The bench's command line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vindrel::accuracy {

struct Options {
  std::string photographFolder = "/usr/share/backgrounds"; // where lomiri-wallpapers-16.04 puts them
  std::vector<std::string> photographs;                    // instead of the chosen ones of the folder
  double megapixels = 2.5;                                 // photographs are reduced to at most this; 0: full size
  int jobs = 2;                                            // stacks at a time, one thread each
  std::uint64_t seed = 1;
  bool quick = false;
  bool bothDepths = false;
  bool fullEcc = false; // ECC on all levels of its pyramid
  bool check = false;   // fail unless the results are sane
  std::string jsonFile; // none when empty
  // Empty: all.
  std::vector<std::string> onlyPhotograph; // part of the name
  std::vector<std::string> onlyMotion, onlyFrames, onlyEv, onlyDepth;
  std::vector<std::string> onlyMethod; // part of the name
};

// Prints what is wrong, or the help text, and returns nothing when the program should end with *exitCode.
std::optional<Options> parseOptions(int argc, char **argv, int *exitCode);

} // namespace vindrel::accuracy
