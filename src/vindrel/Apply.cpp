#include "vindrel/apply.hpp"

#include "transform/Matrix33.h"
#include "translate/ShiftCrop.h"
#include "vindrel/Arguments.h"
#include "vindrel/Guard.h"
#include "warp/FilterWarp.h"
#include "warp/RowThreads.h"
#include "warp/Warp.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vindrel {
namespace {

constexpr int kFarthest = 1 << 24; // single precision tells whole pixels apart up to here

std::string rectangleError(const Rectangle &rectangle, const MutableImageView &out) {
  if (rectangle.size() != out.size) {
    return "out: is " + std::to_string(out.size.width) + " x " + std::to_string(out.size.height) +
           " pixels, but the rectangle is " + std::to_string(rectangle.width) + " x " +
           std::to_string(rectangle.height) + "; make them the same";
  }
  if (std::abs(std::int64_t{rectangle.x}) > kFarthest || std::abs(std::int64_t{rectangle.y}) > kFarthest) {
    return "rectangle: lies too far out; at most 16777216 pixels from the origin";
  }
  return {};
}

std::string formatError(const ImageView &source, const MutableImageView &out) {
  if (std::string error = imageError(source, "source"); !error.empty()) return error;
  if (std::string error = imageError(out, "out"); !error.empty()) return error;
  if (out.channels != source.channels || out.depth != source.depth) {
    return "out: must have the source's channels and depth";
  }
  if (overlap(source, out)) return "out: overlaps the source; give it memory of its own";
  return {};
}

std::string optionsError(const WarpOptions &options) {
  if (options.filter < Filter::Bilinear || options.filter > Filter::Nearest) return "filter: must be one of Filter's";
  return threadsError(options.threads);
}

// The transform with a last element of 1, or why it cannot be used.
Result<Mat33> usable(const Transform &transform) {
  if (std::string error = transformError(transform); !error.empty()) return invalidArgument(std::move(error));
  Mat33 m = transform.matrix;
  if (m[8] == 0) return invalidArgument("transform: takes the origin to infinity; its last element must not be 0");
  for (double &element : m)
    element /= transform.matrix[8];
  for (const float element : narrow(matrixToTrans8D(m)))
    if (!std::isfinite(element)) return invalidArgument("transform: its elements are beyond single precision");
  return m;
}

// The kernel does not look which side of the horizon a point is on: what lies behind it would show mirrored.
bool liesBeforeHorizon(const Mat33 &m, const Rectangle &rectangle) {
  for (const double x : {0.0 + rectangle.x, rectangle.x + rectangle.width - 1.0})
    for (const double y : {0.0 + rectangle.y, rectangle.y + rectangle.height - 1.0})
      if (!(m[6] * x + m[7] * y + m[8] > 0)) return false;
  return true;
}

Resampling resamplingOf(Filter filter) {
  switch (filter) {
  case Filter::Bilinear:
    return Resampling::Linear;
  case Filter::Bicubic:
    return Resampling::Cubic;
  case Filter::Lanczos3:
    return Resampling::Lanczos3;
  case Filter::Nearest:
    break;
  }
  return Resampling::Nearest;
}

// The bilinear kernel writes packed rows; with rows apart it is given one at a time.
struct KernelJob {
  WarpJob warp;
  MutableImageView out;
};

std::byte *rowOf(const MutableImageView &out, int y) {
  return static_cast<std::byte *>(out.samples) + y * out.rowStride * bytesPerSample(out.depth);
}

void runKernel(const void *state, RowBand rows) {
  const auto &job = *static_cast<const KernelJob *>(state);
  const std::int64_t rowSamples = std::int64_t{job.out.size.width} * job.out.channels;
  const bool packed = job.out.rowStride == rowSamples;
  for (int y = rows.begin; y < rows.end; ++y) {
    // Of four samples the kernel marks three white where there is no source: the fourth has to be white before.
    if (job.out.channels == 4)
      std::memset(rowOf(job.out, y), 0xFF, static_cast<std::size_t>(rowSamples * bytesPerSample(job.out.depth)));
    if (!packed) warpBand(job.warp, {y, y + 1}, rowOf(job.out, y));
  }
  if (packed && rows.begin < rows.end) warpBand(job.warp, rows, rowOf(job.out, rows.begin));
}

void warpBilinear(const Mat33 &sourceFromOutput, const ImageView &source, const Rectangle &rectangle,
                  const MutableImageView &out, int threads) {
  const Trans8 coefficients = matrixToTrans8(sourceFromOutput);
  // An affine transform gives the same bits either way, and faster its own.
  const bool perspective = coefficients[6] != 0 || coefficients[7] != 0;
  const KernelJob job{{.source = source,
                       .dstWidth = out.size.width,
                       .offsetX = -rectangle.x,
                       .offsetY = -rectangle.y,
                       .transform = {.perspective = perspective, .coefficients = coefficients.data()}},
                      out};
  forEachStrip(out.size.height, threads, runKernel, &job);
}

// What the bilinear kernel makes of a frame that lies whole pixels off: its samples are the frame's, but for the last
// column and row, which it leaves white for want of neighbours on their other side.
enum class WholePixels { AsTheKernel, Copied };

Result<void> warp(const Transform &transform, const ImageView &source, const Rectangle &rectangle,
                  const MutableImageView &out, const WarpOptions &options, WholePixels wholePixels) {
  for (std::string error : {optionsError(options), formatError(source, out), rectangleError(rectangle, out)})
    if (!error.empty()) return invalidArgument(std::move(error));
  const Result<Mat33> sourceFromOutput = usable(transform);
  if (!sourceFromOutput) return sourceFromOutput.error();
  const Transform plain{*sourceFromOutput};
  const bool isInteger = source.depth != SampleDepth::F32;
  const bool isCopy = plain.isWholePixelShift() && std::abs(plain.matrix[2]) <= kFarthest &&
                      std::abs(plain.matrix[5]) <= kFarthest &&
                      (options.filter != Filter::Bilinear || !isInteger || wholePixels == WholePixels::Copied);
  if (isCopy && isInteger) {
    FrameShift shift;
    shift.x = static_cast<int>(plain.matrix[2]);
    shift.y = static_cast<int>(plain.matrix[5]);
    copyShifted(source, shift, {.outputSize = out.size, .minX = -rectangle.x, .minY = -rectangle.y}, out);
    return {};
  }
  if (options.filter == Filter::Bilinear && isInteger && liesBeforeHorizon(*sourceFromOutput, rectangle)) {
    warpBilinear(*sourceFromOutput, source, rectangle, out, options.threads);
    return {};
  }
  // Infinite samples times a neighbour's weight of 0 would be no number.
  const Resampling filter = isCopy ? Resampling::Nearest : resamplingOf(options.filter);
  filterOnThreads({.source = source,
                   .out = out,
                   .originX = rectangle.x,
                   .originY = rectangle.y,
                   .sourceFromOutput = *sourceFromOutput,
                   .filter = filter},
                  options.threads);
  return {};
}

Result<void> warpOfStack(const StackEstimate &estimate, int index, const ImageView &image, const Rectangle &rectangle,
                         const MutableImageView &out, const WarpOptions &options, WholePixels wholePixels) {
  if (std::string error = indexError(index, estimate.frames.size(), "index"); !error.empty()) {
    return invalidArgument(std::move(error));
  }
  if (image.size != estimate.frameSize) {
    return invalidArgument("image: must be of the size that the estimate was made of, " +
                           std::to_string(estimate.frameSize.width) + " x " +
                           std::to_string(estimate.frameSize.height) + " pixels");
  }
  WarpOptions suited = options;
  if (estimate.model == Model::Shift && suited.filter == Filter::Bilinear) suited.filter = Filter::Nearest;
  return warp(estimate.frames[static_cast<std::size_t>(index)].frameFromReference, image, rectangle, out, suited,
              wholePixels);
}

} // namespace

Result<void> warpImage(const Transform &sourceFromOutput, const ImageView &source, const Rectangle &rectangle,
                       const MutableImageView &out, const WarpOptions &options) {
  return guarded([&] { return warp(sourceFromOutput, source, rectangle, out, options, WholePixels::AsTheKernel); });
}

Result<void> warpFrame(const StackEstimate &estimate, int index, const ImageView &image, const Rectangle &rectangle,
                       const MutableImageView &out, const WarpOptions &options) {
  return guarded([&] { return warpOfStack(estimate, index, image, rectangle, out, options, WholePixels::Copied); });
}

Result<void> warpFrame(const StackEstimate &estimate, int index, const ImageView &image, const MutableImageView &out,
                       const WarpOptions &options) {
  return guarded(
      [&] { return warpOfStack(estimate, index, image, estimate.common, out, options, WholePixels::AsTheKernel); });
}

} // namespace vindrel
