#include "vindrel/TransformsCheck.h"

#include "vindrel/Arguments.h"

#include <cmath>

namespace vindrel {
namespace {

constexpr int kFarthest = 1 << 24; // as far as the warp goes

std::string matrixError(const Transform &transform, Model model) {
  if (std::string error = transformError(transform); !error.empty()) return "must be finite numbers";
  const auto &m = transform.matrix;
  if (m[8] == 0 || !transform.inverse()) return "must be invertible, with a last element other than 0";
  if (model == Model::Shift && !transform.isWholePixelShift()) return "must shift by whole pixels, as the model says";
  if (model == Model::Affine && (m[6] != 0 || m[7] != 0)) return "must have a last row of 0, 0 and 1 with this model";
  return {};
}

// Not negative and a number.
bool isAmount(double value) {
  return std::isfinite(value) && value >= 0;
}

std::string frameError(const FrameEstimate &frame, Model model, bool isReference) {
  if (std::string error = matrixError(frame.frameFromReference, model); !error.empty()) return "matrix: " + error;
  if ((frame.verdict == Verdict::Reference) != isReference) {
    return isReference ? "verdict: must be reference, as this frame is it" : "verdict: is reference, but another is it";
  }
  if (isReference && frame.frameFromReference != Transform{}) return "matrix: must be the identity of the reference";
  if (frame.dropped && frame.verdict != Verdict::NotFound) return "dropped: only a frame that is not found can be";
  if (frame.pairs < 0) return "pairs: must not be negative";
  if (frame.inliers < 0 || frame.inliers > frame.pairs) return "inliers: must be 0 to the number of pairs";
  if (!isAmount(frame.rms)) return "rms: must be a number that is not negative";
  if (!(frame.coverage >= 0 && frame.coverage <= 1)) return "coverage: must be 0 to 1";
  if (!(frame.expectedError >= 0)) return "expectedError: must not be negative";
  if (!isAmount(frame.cornerDeviation)) return "cornerDeviation: must be a number that is not negative";
  if (!isAmount(frame.scale)) return "scale: must be a number that is not negative";
  return {};
}

} // namespace

std::string transformsError(const TransformsFile &transforms) {
  const StackEstimate &estimate = transforms.estimate;
  const Size size = estimate.frameSize;
  if (estimate.model < Model::Shift || estimate.model > Model::Perspective) {
    return "model: must be shift, affine or perspective";
  }
  if (estimate.frames.empty()) return "frames: there must be at least one";
  if (transforms.names.size() != estimate.frames.size()) return "names: there must be one a frame";
  if (size.width < 1 || size.height < 1 || size.width > kMaxSide || size.height > kMaxSide) {
    return "frameSize: width and height must be 1 to " + std::to_string(kMaxSide);
  }
  if (std::string error = threadsError(transforms.threads); !error.empty()) return error;
  if (estimate.reference < 0 || static_cast<std::size_t>(estimate.reference) >= estimate.frames.size()) {
    return "reference: must be the index of a frame";
  }
  const Rectangle &crop = estimate.common;
  if (crop.width < 1 || crop.height < 1 || crop.width > size.width || crop.height > size.height) {
    return "crop: width and height must be 1 to the frame's";
  }
  if (std::abs(std::int64_t{crop.x}) > kFarthest || std::abs(std::int64_t{crop.y}) > kFarthest) {
    return "crop: x and y must be at most 16777216 pixels from the origin";
  }
  for (const ModelScore &score : estimate.modelScores) {
    if (score.model < Model::Shift || score.model > Model::Perspective || !std::isfinite(score.criterion)) {
      return "modelScores: must be numbers for shift, affine and perspective";
    }
  }
  for (std::size_t i = 0; i < estimate.frames.size(); ++i) {
    const bool isReference = i == static_cast<std::size_t>(estimate.reference);
    const std::string error = frameError(estimate.frames[i], estimate.model, isReference);
    if (!error.empty()) return "frames[" + std::to_string(i) + "]." + error;
    const int rank = estimate.frames[i].rank;
    if (rank < 0 || static_cast<std::size_t>(rank) >= estimate.frames.size()) {
      return "frames[" + std::to_string(i) + "].rank: must be 0 to one less than the number of frames";
    }
  }
  return {};
}

} // namespace vindrel
