// The pictures of a run: each photograph resampled by its transform and written aside, one after the other, so that one
// output is in memory at a time. They get their names together, when all of them are complete.
#pragma once

#include "FrameReader.h"
#include "OutputFile.h"
#include "vindrel/apply.hpp"
#include "vindrel/stack.hpp"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vindrel::cli {

// "bilinear", "bicubic", "lanczos" or "nearest".
Filter filterNamed(const std::string &name);

// What becomes of a photograph.
struct Output {
  std::filesystem::path target;
  std::string format; // as writePixels() takes it
  int frame = 0;      // whose transform of the estimate applies
};

struct WarpSettings {
  std::optional<Rectangle> part = {}; // of the reference's frame; without it what all frames cover
  WarpOptions warp = {};
  bool overwrite = false;
};

class WarpedOutputs {
public:
  // Warps and writes photograph i of the reader for every `outputs[i]` that has a target; the others are passed over.
  // In memory are the pictures that the reader holds and one output; none while metadata is written, and none
  // afterwards. progress is told the fraction done.
  void write(FrameReader &reader, const StackEstimate &stack, const std::vector<Output> &outputs,
             const WarpSettings &settings, const std::function<void(double)> &progress);

  // A copy of the photograph's file, byte for byte.
  void copy(const ImageHeader &photo, const Output &output, bool overwrite);

  // A file of that text.
  void writeText(const std::filesystem::path &target, const std::string &text, bool overwrite);

  // Gives every file its name.
  void publish();

  // Metadata that could not be kept, in the words of writeMetadata().
  const std::vector<std::string> &losses() const { return losses_; }

private:
  // Writes the pixels of one photograph to a further file. out: of an earlier picture, used again where it fits.
  void writeWarped(FrameReader &reader, int index, const StackEstimate &stack, const Output &output,
                   const WarpSettings &settings, std::unique_ptr<Pixels> &out);

  std::vector<OutputFile> files_;
  std::vector<std::string> losses_;
};

} // namespace vindrel::cli
