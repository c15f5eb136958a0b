// Estimating a stack by points: sources, references, policies, errors.
#include "vindrel/Stacks.h"

#include "support/FailingAllocation.h"
#include "support/FailingThreads.h"
#include "transform/Matrix33.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>

namespace vindrel::test {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

const StackBlock &fiveFrames() {
  static const StackBlock stack =
      makeStack({900, 700}, {.frames = 5, .evStep = 0.5, .motion = Motion::Affine, .seed = 3});
  return stack;
}

const StackOptions kPerspective = {.maxShiftX = 80, .maxShiftY = 80};
StackOptions affine() {
  StackOptions options = kPerspective;
  options.model = Model::Affine;
  options.polish = true;
  return options;
}

// Hands over copies and spoils every one but the last two.
class ForgetfulSource {
public:
  explicit ForgetfulSource(const StackBlock &stack) : stack_(stack) {}
  ~ForgetfulSource() = default;
  StackSource source() {
    return {.count = stack_.count(), .frame = [this](int index) -> Result<ImageView> { return hand(index); }};
  }
  int calls() const { return calls_; }

private:
  ImageView hand(int index) {
    std::vector<std::byte> &place = places_[calls_++ % 2];
    // The memory of the frame before last: first poisoned, then new, so that a stale view shows neither.
    std::fill(place.begin(), place.end(), std::byte{0xAA});
    std::vector<std::byte> fresh(stack_.frameBytes());
    std::memcpy(fresh.data(), stack_.frame(index).samples, fresh.size());
    place.swap(fresh);
    ImageView view = stack_.frame(index);
    view.samples = place.data();
    return view;
  }
  const StackBlock &stack_;
  std::vector<std::byte> places_[2];
  int calls_ = 0;
};

TEST(EstimateStack, NeedsNoMoreThanTheTwoFramesHandedOverLast) {
  for (const Model model : {Model::Affine, Model::Perspective, Model::Shift, Model::Auto}) {
    StackOptions options = kPerspective;
    options.model = model;
    ForgetfulSource forgetful(fiveFrames());
    const StackEstimate fromSource = estimateStack(forgetful.source(), options).value();
    EXPECT_TRUE(sameEstimate(fromSource, estimateStack(framesOf(fiveFrames()), options).value()));
    EXPECT_LE(forgetful.calls(), model == Model::Shift ? 20 : 10);
  }
}

TEST(EstimateStack, ReportsWhatASourceSaysAndWhatItThrows) {
  const StackBlock &stack = fiveFrames();
  for (int bad = 0; bad < 5; ++bad) {
    for (const Model model : {Model::Affine, Model::Shift}) {
      const StackSource failing{.count = 5, .frame = [&](int index) -> Result<ImageView> {
                                  if (index == bad) return Error{ErrorCode::FileSystem, "the card is out"};
                                  return stack.frame(index);
                                }};
      const auto failed = estimateStack(failing, {.model = model});
      ASSERT_FALSE(failed);
      EXPECT_EQ(failed.error().code, ErrorCode::SourceFailed);
      EXPECT_EQ(failed.error().message, "the card is out");
      const StackSource throwing{.count = 5, .frame = [&](int index) -> Result<ImageView> {
                                   if (index == bad) throw std::runtime_error("no such card");
                                   return stack.frame(index);
                                 }};
      const auto thrown = estimateStack(throwing, {.model = model});
      ASSERT_FALSE(thrown);
      EXPECT_EQ(thrown.error().code, ErrorCode::SourceFailed);
      EXPECT_THAT(thrown.error().message, HasSubstr("no such card"));
    }
  }
}

TEST(EstimateStack, RefusesAFrameThatDiffersFromTheFirst) {
  const StackBlock &stack = fiveFrames();
  const StackSource source{.count = 5, .frame = [&](int index) -> Result<ImageView> {
                             ImageView view = stack.frame(index);
                             if (index == 3) view.size.height -= 1;
                             return view;
                           }};
  const auto result = estimateStack(source, kPerspective);
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().code, ErrorCode::InvalidArgument);
  EXPECT_THAT(result.error().message, HasSubstr("frame 3: differs from frame 0"));
}

TEST(EstimateStack, SaysWhichArgumentIsWrongAndWhatToChange) {
  std::vector<ImageView> frames = framesOf(fiveFrames());
  const ImageView good = frames[1];
  const auto message = [&](const StackOptions &options) {
    const auto result = estimateStack(frames, options);
    EXPECT_FALSE(result);
    EXPECT_EQ(result.error().code, ErrorCode::InvalidArgument);
    return result.error().message;
  };
  const auto withFrame = [&](const auto &change) {
    frames[1] = good;
    change(frames[1]);
    return message({});
  };
  EXPECT_EQ(message({.threads = 0}), "threads: must be 1 to 1024");
  EXPECT_EQ(message({.threads = 1025}), "threads: must be 1 to 1024");
  EXPECT_THAT(message({.maxShiftX = -1}), HasSubstr("must not be negative"));
  EXPECT_THAT(message({.model = static_cast<Model>(9)}), HasSubstr("model"));
  EXPECT_THAT(message({.reference = static_cast<ReferenceChoice>(-1)}), HasSubstr("reference"));
  EXPECT_THAT(message({.onUnaligned = static_cast<OnUnaligned>(4)}), HasSubstr("onUnaligned"));
  for (const int index : {-1, 5})
    EXPECT_THAT(message({.reference = ReferenceChoice::Index, .referenceIndex = index}), HasSubstr("0 to 4"));
  EXPECT_THAT(withFrame([](ImageView &f) { f.channels = 5; }), HasSubstr("frame 1: must have 1 to 4 channels"));
  EXPECT_THAT(withFrame([](ImageView &f) { f.channels = 0; }), HasSubstr("frame 1: must have 1 to 4 channels"));
  EXPECT_THAT(withFrame([](ImageView &f) { f.rowStride = 3; }), HasSubstr("stride"));
  EXPECT_THAT(withFrame([](ImageView &f) { f.samples = nullptr; }), HasSubstr("frame 1: has no samples"));
  EXPECT_THAT(withFrame([](ImageView &f) { f.size = {0, 7}; }), HasSubstr("frame 1: is empty"));
  EXPECT_THAT(withFrame([](ImageView &f) { f.size.height = 70000; }), HasSubstr("too large"));
  EXPECT_THAT(withFrame([](ImageView &f) { f.depth = static_cast<SampleDepth>(12); }), HasSubstr("depth"));
  EXPECT_THAT(withFrame([](ImageView &f) { f.depth = SampleDepth::F32; }), HasSubstr("floating-point"));
  frames.clear();
  EXPECT_THAT(message({}), HasSubstr("frames: none given"));
  const auto noFunction = estimateStack(StackSource{.count = 2, .frame = nullptr});
  EXPECT_THAT(noFunction.error().message, HasSubstr("source"));
}

TEST(EstimateStack, HoldsTheVeryNumbersOfTheWarp) {
  for (const StackOptions &options : {kPerspective, affine()}) {
    const StackEstimate estimate = estimateStack(framesOf(fiveFrames()), options).value();
    for (const FrameEstimate &frame : estimate.frames) {
      const Trans8 warped = warpNumbers(frame.frameFromReference);
      EXPECT_EQ(transformToMatrix(warped), frame.frameFromReference.matrix);
    }
  }
}

TEST(EstimateStack, PlacesTheFramesOnAnyReference) {
  const StackBlock &stack = fiveFrames();
  for (const StackOptions &model : {kPerspective, affine()}) {
    const StackEstimate anchored = estimateStack(framesOf(stack), model).value();
    for (int index = 0; index < 5; ++index) {
      StackOptions options = model;
      options.reference = ReferenceChoice::Index;
      options.referenceIndex = index;
      const StackEstimate estimate = estimateStack(framesOf(stack), options).value();
      ASSERT_EQ(estimate.reference, index);
      EXPECT_EQ(estimate.frames[static_cast<std::size_t>(index)].verdict, Verdict::Reference);
      EXPECT_EQ(estimate.frames[static_cast<std::size_t>(index)].frameFromReference, Transform{});
      for (int i = 0; i < 5; ++i) {
        EXPECT_NE(estimate.frames[static_cast<std::size_t>(i)].verdict, Verdict::NotFound) << index << ' ' << i;
        EXPECT_LT(errorOf(stack, estimate, i), 1.0) << index << ' ' << i;
      }
      if (index == anchored.reference) {
        EXPECT_TRUE(sameEstimate(estimate, anchored));
      }
    }
  }
}

TEST(EstimateStack, ChoosesTheReferenceByName) {
  const std::vector<ImageView> frames = framesOf(fiveFrames());
  StackOptions options = affine();
  const StackEstimate anchored = estimateStack(frames, options).value();
  const auto rankOfReference = [&](ReferenceChoice choice) {
    options.reference = choice;
    const StackEstimate estimate = estimateStack(frames, options).value();
    return estimate.frames[static_cast<std::size_t>(estimate.reference)].rank;
  };
  EXPECT_EQ(anchored.frames[static_cast<std::size_t>(anchored.reference)].rank, 0);
  EXPECT_EQ(rankOfReference(ReferenceChoice::Brightest), 0);
  EXPECT_EQ(rankOfReference(ReferenceChoice::Middle), 2);
  EXPECT_EQ(rankOfReference(ReferenceChoice::First), anchored.frames[0].rank);
  options.model = Model::Shift; // the second brightest is the anchor
  EXPECT_EQ(rankOfReference(ReferenceChoice::Anchor), 1);
  EXPECT_EQ(rankOfReference(ReferenceChoice::Brightest), 0);
}

// White is fill here: the frames are kept below it.
int filledPixels(const StackEstimate &estimate, StackBlock stack) {
  for (std::byte &sample : stack.bytes)
    sample = std::min(sample, std::byte{250});
  int filled = 0;
  Image<std::uint8_t> out(estimate.common.size(), 3);
  for (int i = 0; i < stack.count(); ++i) {
    if (estimate.frames[static_cast<std::size_t>(i)].dropped) continue;
    EXPECT_TRUE(warpFrame(estimate, i, stack.frame(i), out.view()));
    for (std::size_t s = 0; s < out.samples.size(); s += 3)
      filled += out.samples[s] == 255 ? 1 : 0;
  }
  return filled;
}

TEST(EstimateStack, LeavesNoFillInTheCommonRectangleOfAnotherReference) {
  for (const Motion motion : {Motion::Affine, Motion::Perspective}) {
    const StackBlock stack = makeStack({900, 700}, {.frames = 4, .evStep = 0.5, .motion = motion, .seed = 12});
    for (const Model model : {Model::Affine, Model::Perspective, Model::Shift}) {
      for (const ReferenceChoice reference : {ReferenceChoice::Middle, ReferenceChoice::First}) {
        StackOptions options = kPerspective;
        options.model = model;
        options.reference = reference;
        const StackEstimate estimate = estimateStack(framesOf(stack), options).value();
        EXPECT_EQ(filledPixels(estimate, stack), 0);
        EXPECT_GT(estimate.common.width, stack.size().width / 2);
      }
    }
  }
}

// Of five frames the one at a rank shows another scene.
StackBlock withStranger(int rank, int &stranger) {
  StackBlock stack = fiveFrames();
  const StackEstimate estimate = estimateStack(framesOf(stack), kPerspective).value();
  stranger = 0;
  while (estimate.frames[static_cast<std::size_t>(stranger)].rank != rank)
    ++stranger;
  const StackBlock other = makeStack({900, 700}, {.frames = 5, .evStep = 0.5, .motion = Motion::Affine, .seed = 3}, 99);
  std::copy_n(
      other.bytes.begin() + static_cast<std::ptrdiff_t>(static_cast<std::size_t>(stranger) * other.frameBytes()),
      other.frameBytes(),
      stack.bytes.begin() + static_cast<std::ptrdiff_t>(static_cast<std::size_t>(stranger) * stack.frameBytes()));
  return stack;
}

class Unaligned : public ::testing::Test {
protected:
  int stranger = 0;
  StackBlock stack = withStranger(2, stranger);
  StackEstimate estimate(OnUnaligned policy) {
    StackOptions options = kPerspective;
    options.onUnaligned = policy;
    return estimateStack(framesOf(stack), options).value();
  }
};

TEST_F(Unaligned, FramesAndThoseBehindThemAreNamedWithTheirReasons) {
  const StackEstimate result = estimate(OnUnaligned::Guess);
  for (const FrameEstimate &frame : result.frames) {
    if (frame.rank < 2) {
      EXPECT_NE(frame.verdict, Verdict::NotFound);
      EXPECT_EQ(frame.reason, "");
    } else {
      EXPECT_EQ(frame.verdict, Verdict::NotFound);
      if (frame.rank > 2) {
        EXPECT_EQ(frame.reason, "a brighter frame was not aligned; choose a darker reference");
      } else {
        EXPECT_NE(frame.reason, "");
        EXPECT_THAT(frame.reason, Not(HasSubstr("reference"))); // none finds it
      }
    }
    EXPECT_FALSE(frame.dropped);
  }
}

TEST_F(Unaligned, FramesStayInPlaceWhenKept) {
  const StackEstimate result = estimate(OnUnaligned::Keep);
  for (const FrameEstimate &frame : result.frames) {
    EXPECT_EQ(frame.frameFromReference == Transform{}, frame.rank != 1);
    EXPECT_FALSE(frame.dropped);
  }
  EXPECT_EQ(filledPixels(result, stack), 0);
}

TEST_F(Unaligned, FramesThatAreDroppedDoNotNarrowTheCommonRectangle) {
  const StackEstimate result = estimate(OnUnaligned::Drop);
  for (const FrameEstimate &frame : result.frames)
    EXPECT_EQ(frame.dropped, frame.rank >= 2) << frame.rank;
  EXPECT_EQ(filledPixels(result, stack), 0);
  const StackEstimate guessed = estimate(OnUnaligned::Guess);
  EXPECT_GE(result.common.width, guessed.common.width - 1);
}

TEST_F(Unaligned, FramesMakeTheCallFailWhenItIsToFail) {
  StackOptions options = kPerspective;
  options.onUnaligned = OnUnaligned::Fail;
  const auto result = estimateStack(framesOf(stack), options);
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().code, ErrorCode::NotAligned);
  EXPECT_THAT(result.error().message, HasSubstr("frame " + std::to_string(stranger) + ": "));
  EXPECT_TRUE(estimateStack(framesOf(fiveFrames()), options));
}

TEST_F(Unaligned, FramesOnTheBrighterSideOfAReferenceAreNamedToo) {
  StackOptions options = kPerspective;
  options.reference = ReferenceChoice::Index;
  const StackEstimate anchored = estimate(OnUnaligned::Guess);
  for (int i = 0; i < 5; ++i)
    if (anchored.frames[static_cast<std::size_t>(i)].rank == 4) options.referenceIndex = i;
  const StackEstimate result = estimateStack(framesOf(stack), options).value();
  for (const FrameEstimate &frame : result.frames) {
    if (frame.rank >= 3) {
      EXPECT_NE(frame.verdict, Verdict::NotFound) << frame.rank;
    } else if (frame.rank <= 1) {
      EXPECT_EQ(frame.reason, "a darker frame was not aligned; choose a brighter reference") << frame.rank;
    }
  }
}

TEST(EstimateStack, SaysWhatFindsTheFramesWhenTheReferenceIsTheStranger) {
  int stranger = 0;
  const StackBlock stack = withStranger(0, stranger);
  const StackEstimate lost = estimateStack(framesOf(stack), kPerspective).value();
  ASSERT_EQ(lost.reference, stranger);
  for (int i = 0; i < 5; ++i) {
    const FrameEstimate &frame = lost.frames[static_cast<std::size_t>(i)];
    if (i == stranger) continue;
    EXPECT_EQ(frame.verdict, Verdict::NotFound);
    EXPECT_THAT(frame.reason, EndsWith("; choose a darker reference"));
    StackOptions options = kPerspective;
    options.reference = ReferenceChoice::Index;
    options.referenceIndex = i;
    const StackEstimate found = estimateStack(framesOf(stack), options).value();
    for (int j = 0; j < 5; ++j)
      EXPECT_EQ(found.frames[static_cast<std::size_t>(j)].verdict == Verdict::NotFound, j == stranger) << i << ' ' << j;
    EXPECT_THAT(found.frames[static_cast<std::size_t>(stranger)].reason, Not(HasSubstr("reference")));
  }
}

TEST(EstimateStack, AddsUpTheExpectedErrorFromTheReferenceOnBothSides) {
  StackOptions options = affine();
  options.reference = ReferenceChoice::Middle;
  const StackEstimate estimate = estimateStack(framesOf(fiveFrames()), options).value();
  double byRank[5] = {};
  for (const FrameEstimate &frame : estimate.frames)
    byRank[frame.rank] = frame.expectedError;
  EXPECT_EQ(byRank[2], 0);
  EXPECT_GT(byRank[1], 0);
  EXPECT_GT(byRank[3], 0);
  EXPECT_GT(byRank[0], byRank[1]);
  EXPECT_GT(byRank[4], byRank[3]);
}

TEST(EstimateStack, ReportsProgressThatRisesFromOneThreadAtATime) {
  for (const Model model : {Model::Perspective, Model::Shift}) {
    StackOptions options = kPerspective;
    options.model = model;
    options.threads = 3;
    double last = 0;
    bool inside = false;
    options.progress = [&](double fraction) {
      EXPECT_FALSE(inside);
      inside = true;
      EXPECT_GE(fraction, last);
      EXPECT_LE(fraction, 1.0);
      last = fraction;
      inside = false;
      return true;
    };
    EXPECT_TRUE(estimateStack(framesOf(fiveFrames()), options));
    EXPECT_DOUBLE_EQ(last, 1.0);
  }
}

TEST(EstimateStack, IsCancelledByItsProgressFunctionAndByOneThatThrows) {
  StackOptions options = kPerspective;
  options.progress = [](double) { return false; };
  EXPECT_EQ(estimateStack(framesOf(fiveFrames()), options).error().code, ErrorCode::Cancelled);
  options.progress = [](double) -> bool { throw 7; };
  EXPECT_EQ(estimateStack(framesOf(fiveFrames()), options).error().code, ErrorCode::CallbackFailed);
}

TEST(EstimateStack, ReportsEveryFailedAllocation) {
  const StackBlock stack = makeStack({330, 260}, {.frames = 3, .evStep = 0.5, .motion = Motion::Affine, .seed = 3});
  for (const Model model : {Model::Auto, Model::Affine}) {
    const StackOptions options{.model = model, .maxShiftX = 30, .maxShiftY = 30};
    ASSERT_TRUE(estimateStack(framesOf(stack), options)); // warms up what threads keep
    const long failures = forEachFailingAllocation([&](const FailingAllocation &failing) {
      const auto result = estimateStack(framesOf(stack), options);
      EXPECT_EQ(static_cast<bool>(result), !failing.reached());
      if (failing.reached()) {
        EXPECT_EQ(result.error().code, ErrorCode::OutOfMemory);
      }
      EXPECT_EQ(failing.live(), 0);
    });
    EXPECT_GT(failures, 20);
  }
}

TEST(EstimateStack, GivesTheSameShiftsOnAnyNumberOfThreadsAndWithoutThoseThatCannotBeStarted) {
  const StackBlock stack = makeStack({1400, 1100}, {.frames = 3, .evStep = 0.5, .motion = Motion::Shift, .seed = 5});
  ASSERT_GT(packedSamples(stack.size(), 1), 1 << 20); // rows enough for four threads
  StackOptions options = kPerspective;
  options.model = Model::Shift;
  const StackEstimate alone = estimateStack(framesOf(stack), options).value();
  for (const int threads : {2, 4}) {
    options.threads = threads;
    FailingThreads counting(FailingThreads::kNever);
    EXPECT_TRUE(sameEstimate(estimateStack(framesOf(stack), options).value(), alone));
    EXPECT_EQ(counting.calls(), threads - 1);
  }
  for (int nth = 1; nth < 4; ++nth) {
    FailingThreads failing(nth, Failing::Onwards);
    EXPECT_TRUE(sameEstimate(estimateStack(framesOf(stack), options).value(), alone));
    EXPECT_TRUE(failing.reached());
  }
}

} // namespace
} // namespace vindrel::test
