// Do the pictures themselves bear out a transform between two frames? Matched points cannot tell all of it: the best
// ones may all lie on a subject that moved, and on a facade that repeats itself they may agree on the wrong window.
//
// The frames, small and freed of their slow changes, are brought into register by the transform and compared cell by
// cell, at the transform's place and at every place around it. What counts is the normalised correlation, which does
// not ask for exposure. Cells that agree at the transform's place speak for it. Cells that agree as well or better at
// another place, many at the same one, speak for that: the transform is then one of two.
#pragma once

#include "base/RowTeam.h"
#include "vindrel/Relief.h"
#include "vindrel/transform.hpp"

namespace vindrel {

constexpr int kPictureCells = 8; // along each side of the frame

struct PictureVotes {
  int here = 0;      // cells that agree at the transform's place
  int elsewhere = 0; // cells that agree on the one other place that most of them agree on
};

// Reliefs of one size, at most 3840 pixels wide, and reduction. bFromA: between the frames, not the reliefs. reach: how
// far around, in pixels of the reliefs. team: null stands for the calling thread; the votes are the same.
PictureVotes comparePictures(const Relief &a, const Relief &b, const Transform &bFromA, int reach,
                             RowTeam *team = nullptr);

// Whether another place has so many votes that the transform is in doubt.
bool isContested(const PictureVotes &votes);

} // namespace vindrel
