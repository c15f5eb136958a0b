#include "simulate/Bracket.h"

#include "simulate/Camera.h"
#include "simulate/RandomBits.h"

#include <algorithm>
#include <cmath>

namespace vindrel {
namespace {

// Width and height below which a frame holds too little to tell one motion from another.
constexpr int kSmallestFrame = 32;

// Streams of the seed. Poses take the seed itself, frame by frame.
constexpr std::uint64_t kNoiseStream = 0x6e6f697365;

} // namespace

std::string bracketProblem(const ImageView &photograph, const BracketOptions &options) {
  if (photograph.samples == nullptr || photograph.channels < 1 || photograph.channels > 4)
    return "the photograph must have 1 to 4 channels";
  if (options.frames < 1 || options.frames > BracketOptions::kMaxFrames)
    return "the number of frames must be 1 to " + std::to_string(BracketOptions::kMaxFrames);
  // Written so that a value that is not a number fails.
  if (!(options.evStep >= 0 && options.evStep <= BracketOptions::kMaxEvStep))
    return "the exposure step must be 0 to 10 stops";
  if (!(options.sceneContrast == 0 ||
        (options.sceneContrast >= 1 && options.sceneContrast <= BracketOptions::kMaxContrastOption)))
    return "the scene contrast must be 0 (automatic) or 1 to 10";
  const Size frame = frameSizeWithin(reducedSize(photograph.size, options.scenePixels), options.motion);
  if (frame.width < kSmallestFrame || frame.height < kSmallestFrame)
    return "the photograph is too small: less than " + std::to_string(kSmallestFrame) +
           " pixels would be left inside the margin that the motion needs";
  return {};
}

std::vector<double> bracketExposures(int frames, double evStep) {
  std::vector<double> exposures;
  for (int i = 0; i < frames; ++i)
    exposures.push_back((i - (frames - 1) / 2.0) * evStep);
  std::stable_sort(exposures.begin(), exposures.end(), [](double a, double b) { return std::abs(a) < std::abs(b); });
  return exposures;
}

BracketShoot::BracketShoot(const ImageView &photograph, const BracketOptions &options)
    : scene_(linearScene(photograph, reducedSize(photograph.size, options.scenePixels))),
      frameSize_(frameSizeWithin(scene_.size, options.motion)), depth_(options.depth), seed_(options.seed) {
  const double span = (options.frames - 1) * options.evStep;
  contrast_ = options.sceneContrast > 0 ? options.sceneContrast : contrastForBracket(scene_, span);
  expandContrast(scene_, contrast_);
  for (const double ev : bracketExposures(options.frames, options.evStep)) {
    const int index = static_cast<int>(frames_.size());
    frames_.push_back({ev, handHeldPose(scene_.size, options.motion, seed_, index)});
  }
}

void BracketShoot::render(int index, const MutableImageView &out) const {
  const Frame &frame = frames_[static_cast<std::size_t>(index)];
  const std::uint64_t noise = streamKey(streamKey(seed_, kNoiseStream), static_cast<std::uint64_t>(index));
  exposeFrame(scene_, {frame.ev, noise, frame.frameFromScene}, out);
}

Bracket simulateBracket(const ImageView &photograph, const BracketOptions &options) {
  const BracketShoot shoot(photograph, options);
  Bracket bracket{shoot.frameSize(), shoot.depth(), {}};
  const std::int64_t rowSamples = static_cast<std::int64_t>(bracket.frameSize.width) * 3;
  const auto bytes = static_cast<std::size_t>(packedSamples(bracket.frameSize, 3) * bytesPerSample(bracket.depth));
  for (int i = 0; i < static_cast<int>(shoot.frames().size()); ++i) {
    const BracketShoot::Frame &planned = shoot.frames()[static_cast<std::size_t>(i)];
    SimFrame frame{std::vector<std::byte>(bytes), planned.ev, planned.frameFromScene};
    shoot.render(i, {frame.samples.data(), bracket.frameSize, 3, rowSamples, bracket.depth});
    bracket.frames.push_back(std::move(frame));
  }
  return bracket;
}

} // namespace vindrel
