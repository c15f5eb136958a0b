#include "PhotoSet.h"

#include "Failure.h"
#include "OutputFile.h"

#include <system_error>

namespace vindrel::cli {
namespace fs = std::filesystem;
namespace {

const char *channelNames(int channels) {
  constexpr const char *kNames[] = {"grey", "grey and alpha", "RGB", "RGB and alpha"};
  return kNames[channels - 1];
}

std::string describe(const ImageHeader &header) {
  return header.path.string() + ": " + std::to_string(header.size.width) + " x " + std::to_string(header.size.height) +
         ", " + channelNames(header.channels) + ", " + std::to_string(static_cast<int>(header.depth)) + " bit";
}

// What the photographs differ in, empty when they fit together.
std::string difference(const std::vector<ImageHeader> &headers) {
  bool size = false;
  bool channels = false;
  bool depth = false;
  for (const ImageHeader &header : headers) {
    size = size || header.size != headers.front().size;
    channels = channels || header.channels != headers.front().channels;
    depth = depth || header.depth != headers.front().depth;
  }
  if (size) return "size";
  if (channels) return "kind of channels";
  return depth ? "bit depth" : "";
}

// True when both names lead to one existing file, through whatever links.
bool sameFile(const fs::path &a, const fs::path &b) {
  std::error_code error;
  return fs::equivalent(a, b, error) && !error;
}

} // namespace

std::vector<ImageHeader> readHeaders(const std::vector<std::string> &photos) {
  std::vector<ImageHeader> headers;
  for (const std::string &photo : photos)
    headers.push_back(readHeader(photo));
  if (const std::string what = difference(headers); !what.empty()) {
    std::string text = "the photographs differ in " + what + "; bring them to one " + what + " first";
    for (const ImageHeader &header : headers)
      text += "\n  " + describe(header);
    throw Failure(ExitCode::Usage, text);
  }
  return headers;
}

std::vector<fs::path> outputTargets(const std::vector<std::string> &photos, const fs::path &folder, bool overwrite) {
  std::vector<fs::path> targets;
  for (const std::string &photo : photos)
    targets.push_back(folder / fs::path(photo).filename());

  for (std::size_t i = 0; i < photos.size(); ++i) {
    for (std::size_t j = 0; j < photos.size(); ++j) {
      if (j < i && targets[i] == targets[j]) {
        const std::string what = photos[i] == photos[j]
                                     ? photos[i] + " is given twice; name it once"
                                     : photos[j] + " and " + photos[i] + " would both be written to " +
                                           targets[i].string() + "; rename one of them";
        throw Failure(ExitCode::Usage, what);
      }
      if (sameFile(targets[i], photos[j])) {
        throw Failure(ExitCode::Usage, targets[i].string() + ": is one of the photographs to align, which are never "
                                                             "replaced; give another folder with -o");
      }
    }
  }
  for (const fs::path &target : targets)
    checkTarget(target, overwrite);
  return targets;
}

} // namespace vindrel::cli
