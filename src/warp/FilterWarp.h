// Resampling through a projective transform with filters that keep more of a picture's sharpness than the bilinear
// kernel (WarpKernel.cpp), and for floating-point samples, which that kernel does not know.
//
// All filters are separable: n weights a direction, n x n samples. They interpolate: at a sample's own place they give
// that sample. Weights always sum to 1, so that a uniform area stays what it is.
#pragma once

#include "base/ImageView.h"
#include "transform/Transform.h"
#include "warp/Warp.h"

namespace vindrel {

enum class Resampling {
  Nearest,  // one sample
  Linear,   // 2 x 2
  Cubic,    // 4 x 4: the piecewise cubic with a = -1/2 (R. Keys, "Cubic convolution interpolation for digital image
            // processing", IEEE Transactions on Acoustics, Speech, and Signal Processing 29(6), 1981)
  Lanczos3, // 6 x 6: the sinc function in the middle lobe of one three times as wide (C. Duchon, "Lanczos filtering in
            // one and two dimensions", Journal of Applied Meteorology 18(8), 1979), divided by the weights' sum
};

struct FilterJob {
  ImageView source;
  MutableImageView out; // the source's channels and depth
  int originX = 0;      // where the output's pixel (0, 0) lies in the frame that the transform maps from
  int originY = 0;
  Mat33 sourceFromOutput;
  Resampling filter = Resampling::Cubic;
};

// Produces the rows of the band, and nothing else. A point (x, y) of a source of w x h samples is inside when
// -1 < x < w and -1 < y < h (nearest: when it is less than half a pixel from a sample, or halfway to the right or down
// of one); samples beyond the border are those of the border. Points outside, and points on or behind the transform's
// horizon, become white, all samples of the pixel.
//
// Coordinates and weights are double precision, weights are then narrowed; sums are single precision: along each row
// from left to right, then over the rows from top to bottom. Integer samples are rounded to the nearest, halves up.
void filterBand(const FilterJob &job, RowBand rows);

// The same on threads, all rows.
void filterOnThreads(const FilterJob &job, int threads);

} // namespace vindrel
