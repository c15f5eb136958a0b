// By how many whole pixels the frames of a stack are shifted against each other.
//
// Frames are compared as threshold bitmaps, in pairs of neighbours in brightness, coarse to fine: each level of the
// pyramid tries the nine shifts by at most one of its pixels, starting from twice the shift of the level above, and
// keeps the one with the fewest differing bits (G. Ward, "Fast, robust image registration for compositing high dynamic
// range photographs from hand-held exposures", Journal of Graphics Tools 8(2), 2003). The shifts of the pairs are then
// chained along the order.
#pragma once

#include "base/Buffer.h"
#include "base/FrameSource.h"
#include "base/ImageView.h"
#include "base/Progress.h"
#include "base/Status.h"
#include "translate/ShiftEvidence.h"

#include <cstdint>
#include <span>

namespace vindrel {

// Where a frame lies, and what the comparison with its partner says about that.
struct FrameShift {
  int x = 0; // pixel (x, y) of this frame shows what pixel (0, 0) of the anchor frame, order[1], shows
  int y = 0;

  // The frame it was compared with: order[1] for the brightest frame, for the others the next brighter one. The
  // placement of a frame is only as good as every comparison on the way to the anchor. -1 for the anchor.
  int partner = -1;
  int pairX = 0; // shift against the partner
  int pairY = 0;
  std::int64_t bestDifference = 0; // differing bits at that shift, over the whole frame
  std::int64_t comparedBits = 0;   // pixels of a frame
  double meanDifference = 0;       // differing bits to be expected of unrelated bitmaps with as many set bits
  bool searched = false;           // false for the anchor, and for every frame when there was nothing to search
  bool atReachEdge = false;        // shifted by the whole reach in x or y: the true shift may lie beyond
  ShiftEvidence evidence;
  ShiftDoubt doubt = ShiftDoubt::NotSearched;
  bool trustworthy = false; // doubt is None; always so for the anchor
};

struct ShiftEstimate {
  Status status = Status::Ok; // anything else: nothing below is valid
  int count = 0;              // frames
  Buffer<FrameShift> shifts;  // in the order the frames were given
  Buffer<int> order;          // frame indices by brightness, the brightest first
  int minX = 0, maxX = 0;     // least and greatest of 0 and all shifts
  int minY = 0, maxY = 0;
  int lastError = 0; // the least difference found at the last level searched; 0 when nothing was
  int levels = 0;    // searched; the reach is 2^levels - 1 pixels each way
};

// Pyramid levels for a search over about searchFraction of the width: trunc(log2(width * searchFraction / 2)), the
// product in single precision. 0, no search, for fractions of 0 or less and for a NaN. Never more than there are levels
// with pixels: coarser ones would compare nothing and change no shift.
int searchLevels(Size size, float searchFraction);

// A fraction for which searchLevels() gives as few levels as reach beyond `shift` pixels each way, so that a shift of
// that size does not lie at the edge of the reach: 2^levels - 1 > shift. The reach grows by doubling, so it may be up
// to twice as far; where the frames are too small for so many levels, it is as far as they have pixels. 0, no search,
// for shifts of 0 or less.
float fractionForShift(Size size, int shift);

// Whether the shifts are judged as well (evidence, meanDifference, doubt and trustworthy), which takes as long as a
// tenth of the search.
enum class ShiftVerdicts { Reached, LeftOut };

struct ShiftSettings {
  float searchFraction = 0; // as of searchLevels()
  ShiftVerdicts verdicts = ShiftVerdicts::Reached;
  RowTeam *team = nullptr; // shares the rows of each frame and of each pair; null: the calling thread alone
  Progress progress = {};
};

// Frames: of one size, channel count and depth, asked for one at a time. First every frame is looked at, in storage
// order, and its bitmaps are kept; pairs then ask again for those frames only whose bitmaps they need at another
// threshold. Progress is reported, on the calling thread, and cancellation noticed, after each frame that was looked at
// and each pair that was compared.
ShiftEstimate estimateShifts(FrameSource &frames, const ShiftSettings &settings);

// The same of frames that all are in memory.
ShiftEstimate estimateShifts(std::span<const ImageView> frames, float searchFraction);

} // namespace vindrel
