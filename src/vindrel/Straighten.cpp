#include "vindrel/straighten.hpp"

#include "perspective/TightCrop.h"
#include "transform/Matrix33.h"
#include "vindrel/Arguments.h"
#include "vindrel/Guard.h"

#include <cmath>

namespace vindrel {
namespace {

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

} // namespace

Result<Straightening> prepareStraightening(Size frameSize, const StraightenOptions &options) {
  return guarded([&]() -> Result<Straightening> {
    if (std::string error = argumentError(frameSize, options); !error.empty()) return invalidArgument(std::move(error));
    const auto plan = planCleanCrop(frameSize, {.factorV = static_cast<float>(options.vertical),
                                                .factorH = static_cast<float>(options.horizontal),
                                                .angleDegrees = static_cast<float>(options.degrees),
                                                .crop = options.crop,
                                                .pinToEdge = options.pinToEdge});
    if (!plan) {
      return Error{ErrorCode::NothingLeft,
                   "the corrections leave no part of the picture without fill; use smaller ones, or no crop"};
    }
    return Straightening{.frameSize = frameSize,
                         .output = {-plan->offsetX, -plan->offsetY, plan->size.width, plan->size.height},
                         .sourceFromOutput = {transformToMatrix(plan->sourceFromOutput)}};
  });
}

Result<void> straightenFrame(const Straightening &straightening, const ImageView &frame, const MutableImageView &out,
                             const WarpOptions &options) {
  return guarded([&]() -> Result<void> {
    if (frame.size != straightening.frameSize) {
      return invalidArgument("frame: must be of the size that the straightening was prepared for");
    }
    return warpImage(straightening.sourceFromOutput, frame, straightening.output, out, options);
  });
}

} // namespace vindrel
