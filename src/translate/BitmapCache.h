// The bitmaps of a stack's frames. Which threshold a frame is compared at depends on its partner, but mostly it is the
// median: so every frame's bitmaps are made at once when it is first looked at, and only where a pair asks for another
// threshold is a frame looked at again.
#pragma once

#include "base/Buffer.h"
#include "base/FrameSource.h"
#include "translate/BitmapPyramid.h"

#include <cstdint>
#include <optional>

namespace vindrel {

// What bitmaps are of.
struct Thresholded {
  int frame = 0;
  int threshold = 0;
  friend bool operator==(const Thresholded &, const Thresholded &) = default;
};

class BitmapCache {
public:
  // False when an allocation failed. What is kept, with the grey image that bitmaps are made from, takes no more than
  // one frame does, but always as much as two pyramids. team: that bitmaps are made by, null: by the calling thread.
  bool allocate(const FrameFormat &format, int frames, int levels, RowTeam *team = nullptr);

  // The frame's histogram.
  void count(const ImageView &view, std::uint32_t *histogram);
  // Keeps bitmaps of the frame that was counted last, if there is room.
  void keep(const Thresholded &counted);
  // The room of a frame's bitmaps may be used for others.
  void release(int frame);

  // The bitmaps of two frames, each at its threshold, made now where they are not kept. Nothing when a frame cannot be
  // had. Valid until the next call.
  struct Pair {
    const std::uint64_t *reference, *moving;
  };
  std::optional<Pair> pair(FrameSource &frames, const Thresholded &reference, const Thresholded &moving);

  const PyramidLayout &layout() const { return layout_; }

private:
  static constexpr int kNoFrame = -1; // of a free place

  Thresholded *find(const Thresholded &wanted);
  Thresholded *make(FrameSource &frames, const Thresholded &wanted, const Thresholded *other);
  Thresholded *placeFor(int frame, const Thresholded *other);
  void fill(Thresholded &place, const Thresholded &by);
  std::uint64_t *wordsOf(const Thresholded &place);

  PyramidLayout layout_;
  Buffer<Thresholded> places_; // what each place of words_ holds
  Buffer<std::uint64_t> words_;
  Buffer<std::uint8_t> grey_;
  RowTeam *team_ = nullptr;   // null as well where it has one member
  Buffer<std::uint8_t> half_; // for a team
};

} // namespace vindrel
