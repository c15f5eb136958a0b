// Resampling a frame through a transform. Each output pixel is carried into the source, and its samples are
// interpolated there between the four nearest source pixels (bilinear interpolation, backward mapping).
//
// Pixel (x, y) of the output frame lies at (x - offsetX, y - offsetY) of the frame that the transform maps from. A
// pixel without four source neighbours is outside and is marked white, see WarpKernel.cpp.
#pragma once

#include "base/ImageView.h"

namespace vindrel {

// Rows begin to end - 1 of an output frame; empty when end <= begin.
struct RowBand {
  int begin = 0;
  int end = 0;
};

// Maps output coordinates, less the offsets, onto source coordinates. The coefficients stay the owner's.
struct WarpTransform {
  bool perspective = false;
  const float *coefficients = nullptr; // as Trans8 when perspective, otherwise as Trans6
};

struct WarpJob {
  ImageView source; // channels and depth hold for the output too
  int dstWidth = 0; // pixels; columns 0 to dstWidth - 1 are produced
  int offsetX = 0;  // pixels
  int offsetY = 0;
  WarpTransform transform;
};

// Produces the rows of the band. dst addresses the first sample of row rows.begin; rows are packed, dstWidth * channels
// samples each, and nothing else is written. Bands of one frame may be produced on several threads at once.
void warpBand(const WarpJob &job, RowBand rows, void *dst);

// dst advanced by so many rows of the job's output.
void *outputRow(const WarpJob &job, void *dst, std::int64_t row);

} // namespace vindrel
