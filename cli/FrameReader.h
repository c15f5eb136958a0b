// The photographs of a stack as they are asked for: a stack may be larger than memory, so each is read anew when it is
// needed again, and two are held at most.
#pragma once

#include "ImageFile.h"

#include <array>
#include <optional>
#include <vector>

namespace vindrel::cli {

class FrameReader {
public:
  enum class Look {
    Samples, // as the photograph has them: what is resampled
    Search,  // what the search is to look at; of whole numbers the very samples, of scene-linear ones their proxy
  };

  // The headers must outlive the reader.
  explicit FrameReader(const std::vector<ImageHeader> &headers) : headers_(headers) {}

  int count() const { return static_cast<int>(headers_.size()); }
  const ImageHeader &header(int index) const { return headers_[static_cast<std::size_t>(index)]; }

  // The picture, which stays in place until the next but one call, or until release(). Throws what readPixels() throws.
  const Pixels &frame(int index, Look look = Look::Samples);

  // True when frame() has it at hand.
  bool holds(int index, Look look = Look::Samples) const;

  // Gives up the pictures at hand.
  void release() { held_ = {}; }

  // Spent on reading so far.
  double seconds() const { return seconds_; }

private:
  struct Held {
    int index = -1;
    bool proxy = false;
    std::optional<Pixels> pixels;
  };
  bool isProxy(int index, Look look) const { return look == Look::Search && header(index).depth == SampleDepth::F32; }
  bool is(const Held &held, int index, Look look) const {
    return held.index == index && held.proxy == isProxy(index, look);
  }

  const std::vector<ImageHeader> &headers_;
  std::array<Held, 2> held_; // the one handed over last comes first
  double seconds_ = 0;
};

} // namespace vindrel::cli
