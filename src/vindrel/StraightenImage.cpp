#include "vindrel/StraightenImage.h"

#include "perspective/TightCrop.h"
#include "warp/ThreadedWarp.h"

#include <cmath>
#include <cstring>

namespace vindrel {

namespace {

constexpr int kMaxChannels = 4;
constexpr int kMaxThreads = 1024;
// Coordinates are single precision: beyond this, whole pixels are no longer told apart to a small part of a pixel.
constexpr int kMaxSide = 65536;

Straightening failed(Straightening::Outcome outcome, const std::string &message) {
  Straightening result;
  result.outcome = outcome;
  result.message = message;
  return result;
}

// False for what is no number, too.
bool within(double value, double limit) {
  return std::abs(value) <= limit;
}

std::string argumentError(Size size, const StraightenOptions &options) {
  if (size.width < 2 || size.height < 2) return "the picture must be at least 2 pixels wide and high";
  if (size.width > kMaxSide || size.height > kMaxSide) {
    return "the picture must be at most " + std::to_string(kMaxSide) + " pixels wide and high";
  }
  if (!within(options.vertical, StraightenOptions::kMaxFactor)) return "vertical: must be -0.3 to 0.3";
  if (!within(options.horizontal, StraightenOptions::kMaxFactor)) return "horizontal: must be -0.3 to 0.3";
  if (!within(options.degrees, StraightenOptions::kMaxDegrees)) return "degrees: must be -360 to 360";
  return {};
}

bool isWorkable(const ImageView &view) {
  return view.samples != nullptr && view.channels >= 1 && view.channels <= kMaxChannels &&
         view.rowStride >= static_cast<std::int64_t>(view.size.width) * view.channels;
}

} // namespace

Straightening prepareStraightening(Size frameSize, const StraightenOptions &options) {
  if (const std::string error = argumentError(frameSize, options); !error.empty()) {
    return failed(Straightening::Outcome::BadArgument, error);
  }
  const auto plan = planCleanCrop(frameSize, {.factorV = static_cast<float>(options.vertical),
                                              .factorH = static_cast<float>(options.horizontal),
                                              .angleDegrees = static_cast<float>(options.degrees),
                                              .crop = options.crop,
                                              .pinToEdge = options.pinToEdge});
  if (!plan) {
    return failed(Straightening::Outcome::NothingLeft,
                  "the corrections leave no part of the picture without fill; use smaller ones, or no crop");
  }
  Straightening result;
  result.frameSize = frameSize;
  result.outputSize = plan->size;
  result.offsetX = plan->offsetX;
  result.offsetY = plan->offsetY;
  result.sourceFromOutput = plan->sourceFromOutput;
  return result;
}

bool straightenFrame(const Straightening &straightening, const ImageView &frame, const MutableImageView &out,
                     int threads) {
  if (straightening.outcome != Straightening::Outcome::Done || threads < 1 || threads > kMaxThreads) return false;
  if (!isWorkable(frame) || frame.size != straightening.frameSize || out.samples == nullptr ||
      out.size != straightening.outputSize || out.channels != frame.channels || out.depth != frame.depth ||
      out.rowStride != static_cast<std::int64_t>(out.size.width) * out.channels) {
    return false;
  }
  if (frame.channels == 4) {
    // The warp marks a pixel without source by three of its samples; the fourth must be white before.
    std::memset(out.samples, 0xFF,
                static_cast<std::size_t>(packedSamples(out.size, out.channels)) * bytesPerSample(out.depth));
  }
  warpOnThreads({.source = frame,
                 .dstWidth = out.size.width,
                 .offsetX = straightening.offsetX,
                 .offsetY = straightening.offsetY,
                 .transform = {.perspective = true, .coefficients = straightening.sourceFromOutput.data()}},
                out.size.height, threads, out.samples);
  return true;
}

} // namespace vindrel
