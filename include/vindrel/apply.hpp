// Resampling images by transforms: any image by any transform into any rectangle, and the frames of a stack by its
// estimate.
//
// Pixels of the output that no pixel of the source covers are white: all samples at their largest value, 1 for floats.
// So are those on and behind the transform's horizon, the line that it sends to infinity.
#pragma once

#include "vindrel/api.hpp"
#include "vindrel/image.hpp"
#include "vindrel/result.hpp"
#include "vindrel/stack.hpp"
#include "vindrel/transform.hpp"

namespace vindrel {

/// How a sample between others is made. A source of w x h pixels covers, in its own coordinates:
enum class Filter {
  /// Between the four nearest samples; covers -1 < x < w - 1, -1 < y < h - 1 of 8 and 16 bits, and 16 bits are rounded
  /// down: the bytes of align_with_transf(). Floats cover what the two sharper filters cover.
  Bilinear,
  /// Over 4 x 4 samples (R. Keys, 1981, a = -1/2), sharper; covers -1 < x < w, -1 < y < h, with the border's samples
  /// continued outward. Rounded to the nearest; floats are not limited.
  Bicubic,
  Lanczos3, ///< over 6 x 6 samples (C. Duchon, 1979), sharpest, with slight ringing at hard edges; the same cover
  Nearest,  ///< the nearest sample, for masks and for shifts by whole pixels; covers -1/2 <= x < w - 1/2, y alike
};

/// How to resample.
struct WarpOptions {
  Filter filter = Filter::Bilinear; ///< see there
  /// 1 to 1024, the caller's included; the bytes are the same for any number. Threads that cannot be started are done
  /// without.
  int threads = 1;
};

/// Resamples `source` into `out`: pixel (x, y) of out shows the source where the transform takes the point
/// (rectangle.x + x, rectangle.y + y). Source and out have 1 to 4 channels, the same number and depth; out has the
/// rectangle's size; rows of both may lie any distance apart that holds a row, in either order; they must not overlap.
/// Bilinear, of 8 and 16 bits, takes the matrix in single precision. The rectangle begins at most 16777216 pixels from
/// the origin; the transform's elements are finite, and its last is not 0. ErrorCode::InvalidArgument, and out
/// unchanged, when anything does not fit.
VINDREL_API Result<void> warpImage(const Transform &sourceFromOutput, const ImageView &source,
                                   const Rectangle &rectangle, const MutableImageView &out,
                                   const WarpOptions &options = {});

/// Resamples frame `index` of a stack, or another image of its size (a further channel, a mask, the unclipped
/// original), into the common rectangle: warpImage() by FrameEstimate::frameFromReference into StackEstimate::common.
/// Of shifts, samples are copied when the filter is Bilinear. The estimate may be one that was loaded from a file.
VINDREL_API Result<void> warpFrame(const StackEstimate &estimate, int index, const ImageView &image,
                                   const MutableImageView &out, const WarpOptions &options = {});

/// The same into another rectangle of the reference's frame, such as the whole of it. A frame that lies whole pixels
/// off, as the reference itself does, is copied, whatever the filter: its last column and row are shown as well, which
/// Bilinear leaves white in the common rectangle, where the bytes are those of rt_align().
VINDREL_API Result<void> warpFrame(const StackEstimate &estimate, int index, const ImageView &image,
                                   const Rectangle &rectangle, const MutableImageView &out,
                                   const WarpOptions &options = {});

} // namespace vindrel
