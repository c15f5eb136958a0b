// Is a shift better than chance?
//
// The count of differing bits alone cannot tell. Bitmaps of unrelated photographs are large areas (a bright sky over
// dark land), neighbouring bits are not independent, and the best of many shifts always overlaps such areas well: best
// differences from 20 % to 80 % of the bits occur between strangers. What strangers do not share is the outlines of
// those areas. So only the edges of the bitmaps are compared: places where a pixel differs from its left (or upper)
// neighbour in both bitmaps. In an unrelated pair the two bitmaps step the same way there as often as opposite ways; in
// frames of one scene, brought into register, nearly all step the same way, whatever the exposures.
//
// With `same` and `opposite` such places, chance makes same - opposite 0 with a variance of same + opposite; since
// edges run on from row to row, somewhat more. Over the 105 pairs among 15 unrelated photographs, at widths from 160 to
// 1280 pixels and several reaches, (same - opposite) / sqrt(same + opposite) had a root mean square of 1.1 to 1.4 and
// never passed 5; the lesser of its values in x and y never passed 3.5. Frames of one scene, correctly aligned, reach
// 15 to 190 with ordinary noise. A shift therefore counts as better than chance from 6 on, in x and in y: outlines that
// run along one axis only (a horizon) leave the shift along it undetermined. Right shifts of very noisy frames full of
// small detail can come down to 5; those are doubted as well.
//
// Level 0 sees edges that meet to the pixel. Frames that are turned a little, or noisy, may have too few of those; the
// same at half the size, level 1, is accepted as well. Coarser levels are not: there, as in G. Ward's pyramid (Journal
// of Graphics Tools 8(2), 2003), a shift that is wrong by several pixels still looks right.
//
// A shift that is off by a few pixels is better than chance as well, outlines being smooth. Two things tell: a
// neighbouring shift may leave fewer differing bits, and too many of the edges that meet at level 0 step opposite ways.
// Of 112 pairs in simulated brackets of fifteen photographs, 1 and 2 EV apart, 1000 to 1600 pixels wide and shifted by
// fractions of pixels, the search left 17 off by 0.9 pixels or more: all of them are doubted, and one of the other 95.
#pragma once

#include "translate/BitmapPyramid.h"
#include "translate/EdgeAgreementKernel.h"

namespace vindrel {

enum class ShiftDoubt {
  None,
  NotSearched,        // nothing was compared: the shift is an assumption
  AtReachEdge,        // the true shift may lie beyond the reach of the search
  NoBetterThanChance, // unrelated frames, too little texture, or a search gone astray
  Inexact,            // frames of one scene, but the search may have ended some pixels beside the right shift
};

constexpr int kEvidenceLevels = 2;
constexpr double kBetterThanChance = 6;  // standard deviations of independent edges
constexpr double kLeastSameShare = 0.65; // of the edges that meet

struct ShiftEvidence {
  double chanceShare = 0; // p (1 - q) + q (1 - p): differing bits expected of independent bitmaps, shares p and q set
  EdgeAgreement across[kEvidenceLevels]; // edges between left and right neighbours, by level
  EdgeAgreement down[kEvidenceLevels];   // edges between upper and lower neighbours
};

// How far the edges' agreement lies above chance, in standard deviations; 0 where no edges meet.
double deviationsAboveChance(const EdgeAgreement &edges);

bool isBetterThanChance(const ShiftEvidence &evidence);

// Whether nearly all edges that meet at level 0 step the same way, in x and in y.
bool edgesAgree(const ShiftEvidence &evidence);

// At a shift of (x, y) pixels of level 0; levels: those that the pyramids have. team may be null.
ShiftEvidence gatherEvidence(const PyramidView &reference, const PyramidView &moving, int levels, int x, int y,
                             RowTeam *team = nullptr);

} // namespace vindrel
