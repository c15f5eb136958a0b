// The frames of a stack, as estimations ask for them: all of one format, handed over one at a time, so that a stack
// need neither lie in one block nor stay in memory whole.
#pragma once

#include "base/ImageView.h"

#include <cstdint>
#include <optional>
#include <span>

namespace vindrel {

struct FrameFormat {
  Size size;
  int channels = 0;
  SampleDepth depth = SampleDepth::U8;
};

class FrameSource {
public:
  virtual ~FrameSource() = default;
  virtual int count() const = 0;
  virtual FrameFormat format() const = 0;
  // The pixels of the frame at a storage index, nothing when they cannot be had. Asked for on the calling thread only;
  // at most the two views asked for last are in use.
  virtual std::optional<ImageView> frame(int index) = 0;
};

// Frames that stand back to back in one block, rows packed: the flat interface's stack.
class BlockFrames final : public FrameSource {
public:
  BlockFrames(const void *block, int count, FrameFormat format) : block_(block), count_(count), format_(format) {}
  int count() const override { return count_; }
  FrameFormat format() const override { return format_; }
  std::optional<ImageView> frame(int index) override { return view(index); }
  ImageView view(int index) const {
    const std::int64_t offset = index * packedSamples(format_.size, format_.channels) * bytesPerSample(format_.depth);
    return {static_cast<const std::uint8_t *>(block_) + offset, format_.size, format_.channels,
            static_cast<std::int64_t>(format_.size.width) * format_.channels, format_.depth};
  }

private:
  const void *block_;
  int count_;
  FrameFormat format_;
};

// Frames that all are in memory, each wherever it is.
class ViewFrames final : public FrameSource {
public:
  explicit ViewFrames(std::span<const ImageView> frames) : frames_(frames) {}
  int count() const override { return static_cast<int>(frames_.size()); }
  FrameFormat format() const override {
    if (frames_.empty()) return {};
    return {.size = frames_[0].size, .channels = frames_[0].channels, .depth = frames_[0].depth};
  }
  std::optional<ImageView> frame(int index) override { return frames_[static_cast<std::size_t>(index)]; }

private:
  std::span<const ImageView> frames_;
};

} // namespace vindrel
