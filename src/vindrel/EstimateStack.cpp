// The public calls: arguments are checked, callbacks are wrapped so that nothing they throw passes through the library.
#include "driver/TilePass.h"
#include "vindrel/Arguments.h"
#include "vindrel/CallerFrames.h"
#include "vindrel/Guard.h"
#include "vindrel/RankedStack.h"

#include <algorithm>

namespace vindrel {
namespace {

constexpr int kDefaultShiftDivisor = 10; // without a range, partners may lie a tenth of the frame apart

std::string optionsError(const StackOptions &options, int frames) {
  if (std::string error = threadsError(options.threads); !error.empty()) return error;
  if (options.maxShiftX < 0 || options.maxShiftY < 0) {
    return "maxShiftX, maxShiftY: must not be negative; 0 stands for a tenth of the frame";
  }
  if (options.model < Model::Shift || options.model > Model::Auto) return "model: must be one of Model's";
  if (options.reference < ReferenceChoice::Anchor || options.reference > ReferenceChoice::Index) {
    return "reference: must be one of ReferenceChoice's";
  }
  if (options.onUnaligned < OnUnaligned::Guess || options.onUnaligned > OnUnaligned::Fail) {
    return "onUnaligned: must be one of OnUnaligned's";
  }
  if (options.reference != ReferenceChoice::Index) return {};
  return indexError(options.referenceIndex, static_cast<std::size_t>(frames), "referenceIndex");
}

// The caller's function behind the library's plain one. A function that throws cancels.
class CallerProgress {
public:
  explicit CallerProgress(const ProgressFunction &function) : function_(function) {}
  Progress progress() { return function_ ? Progress{.function = report, .state = this} : Progress{}; }
  bool threw() const { return threw_; }

private:
  static bool report(void *self, double fraction) {
    auto *caller = static_cast<CallerProgress *>(self);
    try {
      return caller->function_(std::min(fraction / kFeatureShare, 1.0));
    } catch (...) {
      caller->threw_ = true;
      return false;
    }
  }
  const ProgressFunction &function_;
  bool threw_ = false;
};

Error failure(Status status, const CallerFrames &frames, const CallerProgress &progress) {
  switch (status) {
  case Status::OutOfMemory:
    return outOfMemory();
  case Status::FrameMissing:
    return frames.error();
  case Status::Cancelled:
    if (progress.threw()) return {ErrorCode::CallbackFailed, "the progress function threw"};
    return {ErrorCode::Cancelled, "cancelled"};
  case Status::Ok:
    break;
  }
  return {ErrorCode::Internal, "internal error"};
}

Result<StackEstimate> estimate(const StackSource &source, const StackOptions &options) {
  if (source.count < 1) return invalidArgument("frames: none given; hand over at least one");
  if (!source.frame) return invalidArgument("source: has no function that hands over frames");
  if (std::string error = optionsError(options, source.count); !error.empty()) return invalidArgument(std::move(error));
  CallerFrames frames(source, options.threads);
  CallerProgress progress(options.progress);
  if (!frames.open()) return frames.error();
  const Size size = frames.format().size;
  StackOptions complete = options;
  if (complete.maxShiftX == 0) complete.maxShiftX = size.width / kDefaultShiftDivisor;
  if (complete.maxShiftY == 0) complete.maxShiftY = size.height / kDefaultShiftDivisor;
  RankedStack stack = options.model == Model::Shift ? estimateByShifts(frames, complete, progress.progress())
                                                    : estimateByFeatures(frames, complete, progress.progress());
  if (stack.status != Status::Ok) return failure(stack.status, frames, progress);
  checkPictures(frames.thumbnails(), stack, frames.team());
  return placeOnReference(stack, size, options);
}

} // namespace

Result<StackEstimate> estimateStack(const StackSource &source, const StackOptions &options) {
  return guarded([&] { return estimate(source, options); });
}

Result<StackEstimate> estimateStack(std::span<const ImageView> frames, const StackOptions &options) {
  return guarded([&]() -> Result<StackEstimate> {
    if (frames.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
      return invalidArgument("frames: too many");
    }
    return estimate({.count = static_cast<int>(frames.size()),
                     .frame = [frames](int index) { return frames[static_cast<std::size_t>(index)]; }},
                    options);
  });
}

} // namespace vindrel
