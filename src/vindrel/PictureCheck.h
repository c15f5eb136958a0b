// Do the pictures themselves bear out a transform between two frames? Matched points cannot tell all of it: the best
// ones may all lie on a subject that moved, and on a facade that repeats itself they may agree on the wrong window.
//
// The frames, small and freed of their slow changes, are brought into register by the transform and compared cell by
// cell, at the transform's place and at every place around it. What counts is the normalised correlation, which does
// not ask for exposure. Cells that agree at the transform's place speak for it. Cells that agree as well or better at
// another place, many at the same one, speak for that: the transform is then one of two.
#pragma once

#include "vindrel/Thumbnail.h"
#include "vindrel/transform.hpp"

namespace vindrel {

constexpr int kPictureCells = 8; // along each side of the frame

struct PictureVotes {
  int here = 0;      // cells that agree at the transform's place
  int elsewhere = 0; // cells that agree on the one other place that most of them agree on
};

// Thumbnails of one size and reduction. bFromA: between the frames, not the thumbnails. reach: how far around, in
// pixels of the thumbnails.
PictureVotes comparePictures(const Thumbnail &a, const Thumbnail &b, const Transform &bFromA, int reach);

// Whether another place has so many votes that the transform is in doubt.
bool isContested(const PictureVotes &votes);

} // namespace vindrel
