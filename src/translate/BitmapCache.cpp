#include "translate/BitmapCache.h"

#include "translate/Percentile.h"

#include <algorithm>

namespace vindrel {

bool BitmapCache::allocate(const FrameFormat &format, int frames, int levels, RowTeam *team) {
  layout_ = PyramidLayout(format.size, levels);
  team_ = team != nullptr && team->size() > 1 ? team : nullptr;
  const std::int64_t greyBytes = packedSamples(format.size, 1);
  const std::int64_t halfBytes = team_ != nullptr ? packedSamples(halved(format.size), 1) : 0;
  const std::int64_t spare =
      packedSamples(format.size, format.channels) * bytesPerSample(format.depth) - greyBytes - halfBytes;
  const auto pyramidBytes = static_cast<std::int64_t>(layout_.words() * sizeof(std::uint64_t));
  // Two more than there are frames: the pairs of a stack seldom ask for more than one other threshold of a frame.
  const std::int64_t places = std::clamp<std::int64_t>(spare / pyramidBytes, 2, std::int64_t{frames} + 2);
  places_ = Buffer<Thresholded>::unfilled(static_cast<std::size_t>(places));
  words_ = Buffer<std::uint64_t>::unfilled(static_cast<std::size_t>(places) * layout_.words());
  grey_ = Buffer<std::uint8_t>::unfilled(static_cast<std::size_t>(greyBytes));
  if (!places_ || !words_ || !grey_) return false;
  if (team_ != nullptr) {
    half_ = Buffer<std::uint8_t>::unfilled(static_cast<std::size_t>(halfBytes));
    if (!half_) return false;
  }
  std::fill(places_.begin(), places_.end(), Thresholded{kNoFrame, 0});
  return true;
}

void BitmapCache::count(const ImageView &view, std::uint32_t *histogram) {
  convertAndCount(view, histogram, grey_.data(), team_);
}

void BitmapCache::keep(const Thresholded &counted) {
  Thresholded *free = std::find_if(places_.begin(), places_.end(), [](const auto &p) { return p.frame == kNoFrame; });
  if (free != places_.end()) fill(*free, counted);
}

void BitmapCache::release(int frame) {
  for (Thresholded &place : places_)
    if (place.frame == frame) place.frame = kNoFrame;
}

std::optional<BitmapCache::Pair> BitmapCache::pair(FrameSource &frames, const Thresholded &reference,
                                                   const Thresholded &moving) {
  Thresholded *first = find(reference);
  Thresholded *second = find(moving);
  if (first == nullptr) first = make(frames, reference, second);
  if (first == nullptr) return std::nullopt;
  if (second == nullptr) second = make(frames, moving, first);
  if (second == nullptr) return std::nullopt;
  return Pair{wordsOf(*first), wordsOf(*second)};
}

Thresholded *BitmapCache::find(const Thresholded &wanted) {
  Thresholded *place = std::find(places_.begin(), places_.end(), wanted);
  return place != places_.end() ? place : nullptr;
}

// Makes bitmaps in a place other than `other`, which may be null. Null when the frame cannot be had.
Thresholded *BitmapCache::make(FrameSource &frames, const Thresholded &wanted, const Thresholded *other) {
  const std::optional<ImageView> view = frames.frame(wanted.frame);
  if (!view) return nullptr;
  std::uint32_t histogram[kGreyLevels];
  count(*view, histogram);
  Thresholded *place = placeFor(wanted.frame, other);
  fill(*place, wanted);
  return place;
}

// A free place, or else one of the frame itself, or else any.
Thresholded *BitmapCache::placeFor(int frame, const Thresholded *other) {
  const auto first = [&](auto wanted) {
    return std::find_if(places_.begin(), places_.end(),
                        [&](const Thresholded &p) { return &p != other && wanted(p.frame); });
  };
  if (Thresholded *free = first([](int held) { return held == kNoFrame; }); free != places_.end()) return free;
  if (Thresholded *own = first([=](int held) { return held == frame; }); own != places_.end()) return own;
  return first([](int) { return true; });
}

void BitmapCache::fill(Thresholded &place, const Thresholded &by) {
  place = by;
  if (team_ != nullptr)
    layout_.fillByTeam(*team_, grey_.data(), half_.data(), by.threshold, wordsOf(place));
  else
    layout_.fill(grey_.data(), by.threshold, wordsOf(place));
}

std::uint64_t *BitmapCache::wordsOf(const Thresholded &place) {
  return words_.data() + static_cast<std::size_t>(&place - places_.data()) * layout_.words();
}

} // namespace vindrel
