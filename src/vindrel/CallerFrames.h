// The caller's source of frames as the estimates ask for it: each frame is checked as it is handed over, and the first
// failure is kept.
#pragma once

#include "base/FrameSource.h"
#include "base/RowTeam.h"
#include "vindrel/Thumbnail.h"
#include "vindrel/stack.hpp"

#include <optional>
#include <vector>

namespace vindrel {

class CallerFrames final : public FrameSource {
public:
  CallerFrames(const StackSource &source, int threads) : source_(source), threads_(threads) {}

  // Takes the stack's format from the first frame, and starts as many of the threads as its rows are worth. False: see
  // error().
  bool open();
  // Shares the rows of the frames and of their small copies. Only once opened.
  RowTeam &team() { return *team_; }

  int count() const override { return source_.count; }
  FrameFormat format() const override { return format_; }
  std::optional<ImageView> frame(int index) override;
  const Error &error() const { return error_; }
  // Small copies of the frames that were handed over, by index.
  const std::vector<Thumbnail> &thumbnails() const { return thumbnails_; }

private:
  Result<ImageView> ask(int index) const;
  void take(int index, const ImageView &frame);

  const StackSource &source_;
  int threads_;
  std::optional<RowTeam> team_;
  FrameFormat format_;
  Error error_;
  // The frame handed over last. Asked for again at once, as the first one is, it needs no second call; an older one
  // would be lost with the next.
  int lastIndex_ = -1;
  ImageView last_;
  std::vector<Thumbnail> thumbnails_;
};

} // namespace vindrel
