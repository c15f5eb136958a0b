// Aligning a stack in two steps. estimateStack() looks at the frames and says, for each, by which transform it lies on
// the reference and how sure that is; warpFrame() resamples any frame by such an estimate. Frames stay the caller's
// and are only read.
//
// Affine and perspective transforms come from points that the frames share, and the reference is the brightest frame.
// Whole-pixel shifts, for frames from a tripod, come from threshold bitmaps, and nothing is resampled: the samples are
// copied. There the reference is the second brightest frame (of a single one, itself): it is the one that the search
// places all others on, since the brightest is often clipped too much for others to depend on it.
#pragma once

#include "base/ImageView.h"
#include "base/Progress.h"

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vindrel {

enum class Model {
  Affine,
  Perspective,
  Shift, // whole pixels in x and y
};

struct StackOptions {
  Model model = Model::Perspective;
  int threads = 1; // 1 to 1024; shifts are searched and copied on the caller's thread
  // Pixels between neighbours in brightness; 0: a tenth of the width and of the height. Shifts are searched equally far
  // both ways: beyond the larger of the two and up to about twice as far, as the search doubles its reach.
  int maxShiftX = 0;
  int maxShiftY = 0;
  bool polish = false;      // affine: fit all agreeing pairs; false gives the bytes of rt_align()
  bool cropToCommon = true; // false: the output keeps the frames' size
  Progress progress = {};   // fractions 0 to 0.9
};

enum class Verdict {
  Reference, // the frame the others are placed on
  Found,     // aligned: the evidence below supports the transform over the whole frame
  NotFound,  // no transform that the evidence supports: the frame is left where it was, follows its neighbours blindly,
             // or (shifts) lies where it differs least
};

// What is known about one frame, in the order the frames were given. Shifts rest on no points: pairs, inliers and rms
// stay 0.
struct FrameEstimate {
  Verdict verdict = Verdict::NotFound;
  std::string reason; // empty when Found or Reference; otherwise why not, in a few words
  int rank = 0;       // position by brightness, 0 the brightest
  int pairs = 0;      // matched points against the neighbour one rank brighter
  int inliers = 0;    // pairs that the transform explains within 2 pixels
  double rms = 0;     // root mean square distance of the inliers, pixels
  // Predicted placement error of the whole chain, root mean square over the frame, pixels. Of shifts, what rounding to
  // whole pixels costs, given that the frame is Found: up to half a pixel each way and 0.41 in the root mean square for
  // each comparison between the frame and the reference.
  double expectedError = 0;
  // Maps reference-frame coordinates onto this frame's, row-major 3x3, last element 1.
  std::array<double, 9> frameFromReference = {1, 0, 0, 0, 1, 0, 0, 0, 1};
};

struct PixelShift {
  int x = 0;
  int y = 0;
};

struct StackEstimate {
  enum class Outcome { Done, Cancelled, OutOfMemory, BadArgument };
  Outcome outcome = Outcome::Done;
  std::string message; // for BadArgument: which argument and what to do

  Model model = Model::Perspective;
  Size frameSize;
  int reference = 0; // index of the reference frame
  std::vector<FrameEstimate> frames;

  // The output frame: pixel (x, y) of the output lies at (x - offsetX, y - offsetY) of the reference frame.
  int offsetX = 0;
  int offsetY = 0;
  Size outputSize;

  // The very single-precision coefficients that the warp uses, frame by frame (6 of 8 used by the affine model). Empty
  // for shifts.
  std::vector<std::array<float, 8>> warpTransforms;
  // For shifts only, what the copy uses: pixel (x, y) of the reference is pixel (x, y) + shift of the frame.
  std::vector<PixelShift> pixelShifts;
};

// Frames: at least one, all of one size, channel count (1 to 4) and depth. Never throws but std::bad_alloc.
StackEstimate estimateStack(std::span<const ImageView> frames, const StackOptions &options);

// Resamples frame `index` into out, which must have the estimate's outputSize and the frame's channels and depth, rows
// packed. Output pixels that no source pixel covers are white. Returns false when out or the frame does not fit the
// estimate (nothing is written).
bool warpFrame(const StackEstimate &estimate, int index, const ImageView &frame, const MutableImageView &out,
               int threads);

} // namespace vindrel
