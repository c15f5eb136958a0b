#include "vindrel/CallerFrames.h"

#include "base/StaticShare.h"
#include "vindrel/Arguments.h"
#include "vindrel/Guard.h"

#include <exception>

namespace vindrel {
namespace {

constexpr int kThumbnailSide = 480; // pixels
// Takes about a tenth of a millisecond, several times as long as a thread's start.
constexpr std::int64_t kPixelsWorthAThread = 1 << 18;

std::string frameError(const ImageView &frame, int index) {
  const std::string name = "frame " + std::to_string(index);
  if (std::string error = imageError(frame, name); !error.empty()) return error;
  if (frame.depth == SampleDepth::F32) {
    return name + ": has floating-point samples; estimate from a copy of 8 or 16 bits in display gamma, and warp these";
  }
  return {};
}

} // namespace

Result<ImageView> CallerFrames::ask(int index) const {
  try {
    Result<ImageView> frame = source_.frame(index);
    if (!frame) return Error{ErrorCode::SourceFailed, frame.error().message};
    if (std::string error = frameError(*frame, index); !error.empty()) return invalidArgument(std::move(error));
    return frame;
  } catch (const std::bad_alloc &) {
    return outOfMemory();
  } catch (const std::exception &thrown) {
    return Error{ErrorCode::SourceFailed, "frame " + std::to_string(index) + ": the source threw: " + thrown.what()};
  } catch (...) {
    return Error{ErrorCode::SourceFailed, "frame " + std::to_string(index) + ": the source threw"};
  }
}

void CallerFrames::take(int index, const ImageView &frame) {
  lastIndex_ = index;
  last_ = frame;
  Thumbnail &thumbnail = thumbnails_[static_cast<std::size_t>(index)];
  if (thumbnail.grey.empty()) thumbnail = makeThumbnail(frame, kThumbnailSide, &*team_);
}

bool CallerFrames::open() {
  const Result<ImageView> first = ask(0);
  if (!first) {
    error_ = first.error();
    return false;
  }
  format_ = {.size = first->size, .channels = first->channels, .depth = first->depth};
  const std::int64_t enough = packedSamples(format_.size, 1) / kPixelsWorthAThread;
  team_.emplace(usefulThreads(static_cast<int>(enough), threads_));
  thumbnails_.resize(static_cast<std::size_t>(source_.count));
  take(0, *first);
  return true;
}

std::optional<ImageView> CallerFrames::frame(int index) {
  if (index == lastIndex_) return last_;
  const Result<ImageView> frame = ask(index);
  if (!frame) {
    error_ = frame.error();
    return std::nullopt;
  }
  if (frame->size != format_.size || frame->channels != format_.channels || frame->depth != format_.depth) {
    error_ = invalidArgument("frame " + std::to_string(index) +
                             ": differs from frame 0 in size, channels or depth; frames of a stack are alike");
    return std::nullopt;
  }
  take(index, *frame);
  return last_;
}

} // namespace vindrel
