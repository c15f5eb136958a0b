// From links to frames: which frame the others are placed on, who may be called aligned, and what they all cover.
//
// A frame has to be spoken for by every link between it and the reference: errors add up along them, and behind a link
// that is not to be trusted nobody knows where a frame lies.
#include "driver/CleanRectangle.h"
#include "transform/Matrix33.h"
#include "vindrel/Guard.h"
#include "vindrel/RankedStack.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>

namespace vindrel {
namespace {

constexpr const char *kInexact = "the agreeing points leave it inexact";
constexpr const char *kLittleOverlap = "the frames share too little";
constexpr const char *kImplausible = "its transform is no camera's";

// What a hand can do between two photographs of one scene, and more.
constexpr double kLargestCornerDeviation = 10; // degrees
constexpr double kLeastScale = 0.5, kLargestScale = 2;

std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}

int referenceRank(const RankedStack &stack, const StackOptions &options) {
  int index = 0;
  switch (options.reference) {
  case ReferenceChoice::Anchor:
    return stack.anchor;
  case ReferenceChoice::Brightest:
    return 0;
  case ReferenceChoice::Middle:
    return (static_cast<int>(stack.order.size()) - 1) / 2;
  case ReferenceChoice::First:
    break;
  case ReferenceChoice::Index:
    index = options.referenceIndex;
    break;
  }
  return static_cast<int>(std::find(stack.order.begin(), stack.order.end(), index) - stack.order.begin());
}

bool isTrusted(const RankedStack &stack, const RankedLink &link) {
  return link.doubt.empty() && std::sqrt(link.variance) <= stack.largestExpectedError;
}

// The frames on one side of the reference, from the nearest on. step: 1 towards the darker ones, -1 the brighter.
void judgeSide(const RankedStack &stack, int reference, int step, StackEstimate &result) {
  double variance = 0;
  bool broken = false;
  for (int rank = reference + step; rank >= 0 && rank < static_cast<int>(stack.order.size()); rank += step) {
    const RankedLink &link = stack.links[at(step > 0 ? rank : rank + 1)];
    FrameEstimate &frame = result.frames[at(stack.order[at(rank)])];
    variance += link.variance;
    frame.expectedError = std::sqrt(variance);
    frame.pairs = link.pairs;
    frame.inliers = link.inliers;
    frame.rms = link.rms;
    frame.coverage = link.coverage;
    if (stack.littleOverlap) {
      frame.reason = kLittleOverlap;
    } else if (broken) {
      frame.reason = step > 0 ? "a brighter frame was not aligned" : "a darker frame was not aligned";
    } else if (!link.doubt.empty()) {
      frame.reason = link.doubt;
    } else if (!(frame.expectedError <= stack.largestExpectedError)) {
      frame.reason = kInexact;
    }
    broken = !frame.reason.empty();
    frame.verdict = broken ? Verdict::NotFound : Verdict::Found;
    if (!broken || stack.littleOverlap) continue;
    // It has a place on either of its neighbours: only the way to this reference is not to be trusted.
    const int next = rank + step;
    const bool hasNext = next >= 0 && next < static_cast<int>(stack.order.size());
    if (isTrusted(stack, link) || (hasNext && isTrusted(stack, stack.links[at(step > 0 ? next : rank)])))
      frame.reason += step > 0 ? "; choose a darker reference" : "; choose a brighter reference";
  }
}

// The numbers that the warp will use. Not to be inlined: GCC 12 leaves out the narrowing where it sees the numbers
// widened again.
[[gnu::noinline]] Trans8 narrowed(const Transform &transform) {
  return matrixToTrans8(transform.matrix);
}

Result<void> rebaseFrames(const RankedStack &stack, StackEstimate &result) {
  const Transform &reference = stack.fromAnchor[at(result.reference)];
  for (std::size_t i = 0; i < result.frames.size(); ++i) {
    Result<Transform> rebased = rebase(stack.fromAnchor[i], reference);
    if (!rebased) return Error{ErrorCode::Internal, "the reference's transform cannot be inverted"};
    result.frames[i].frameFromReference = {transformToMatrix(narrowed(*rebased))};
  }
  result.frames[at(result.reference)].frameFromReference = {};
  return {};
}

// Degrees between two directions that a corner's edges take.
double angleBetween(Point2 corner, Point2 first, Point2 second) {
  const double ax = first.x - corner.x, ay = first.y - corner.y, bx = second.x - corner.x, by = second.y - corner.y;
  return std::abs(std::atan2(ax * by - ay * bx, ax * bx + ay * by)) * 180 / std::numbers::pi;
}

void measureShape(Size size, FrameEstimate &frame) {
  const double w = size.width, h = size.height;
  const Transform &t = frame.frameFromReference;
  const Point2 corners[] = {t.map({0, 0}), t.map({w, 0}), t.map({w, h}), t.map({0, h})};
  frame.cornerDeviation = 0;
  double doubledArea = 0;
  for (int i = 0; i < 4; ++i) {
    const Point2 &corner = corners[i], &next = corners[(i + 1) % 4], &previous = corners[(i + 3) % 4];
    frame.cornerDeviation = std::max(frame.cornerDeviation, std::abs(angleBetween(corner, next, previous) - 90));
    doubledArea += corner.x * next.y - next.x * corner.y;
  }
  const double share = doubledArea / (2 * w * h);
  frame.scale = share > 0 && std::isfinite(share) ? std::sqrt(share) : 0;
}

bool isPlausible(const FrameEstimate &frame) {
  return frame.cornerDeviation <= kLargestCornerDeviation && frame.scale >= kLeastScale && frame.scale <= kLargestScale;
}

std::string listOfUnaligned(const StackEstimate &result) {
  std::string list;
  for (std::size_t i = 0; i < result.frames.size(); ++i) {
    if (result.frames[i].verdict != Verdict::NotFound) continue;
    list += (list.empty() ? "frame " : "; frame ") + std::to_string(i) + ": " + result.frames[i].reason;
  }
  return list;
}

Rectangle commonOf(const StackEstimate &result) {
  std::vector<const Transform *> covered;
  for (const FrameEstimate &frame : result.frames)
    if (!frame.dropped) covered.push_back(&frame.frameFromReference);
  if (result.model == Model::Shift) return commonOfShifts(result.frameSize, covered);
  std::vector<Trans8> chains;
  for (const Transform *transform : covered)
    chains.push_back(narrowed(*transform));
  const CropWindow window = cleanWindow(result.frameSize, chains);
  return {-window.offsetX, -window.offsetY, window.size.width, window.size.height};
}

void abandon(StackEstimate &result) {
  for (FrameEstimate &frame : result.frames) {
    frame.frameFromReference = {};
    frame.dropped = false;
    measureShape(result.frameSize, frame);
    if (frame.verdict == Verdict::Reference) continue;
    frame.verdict = Verdict::NotFound;
    frame.reason = kLittleOverlap;
  }
  result.common = {0, 0, result.frameSize.width, result.frameSize.height};
}

} // namespace

Rectangle commonOfShifts(Size frame, const std::vector<const Transform *> &frames) {
  int left = 0, top = 0, right = frame.width, bottom = frame.height;
  for (const Transform *transform : frames) {
    const int x = static_cast<int>(transform->matrix[2]), y = static_cast<int>(transform->matrix[5]);
    left = std::max(left, -x);
    top = std::max(top, -y);
    right = std::min(right, frame.width - x);
    bottom = std::min(bottom, frame.height - y);
  }
  return {left, top, right - left, bottom - top};
}

Result<StackEstimate> placeOnReference(const RankedStack &stack, Size frame, const StackOptions &options) {
  const int reference = referenceRank(stack, options);
  StackEstimate result;
  result.model = stack.model;
  result.modelScores = stack.scores;
  result.frameSize = frame;
  result.reference = stack.order[at(reference)];
  result.frames.resize(stack.order.size());
  for (std::size_t rank = 0; rank < stack.order.size(); ++rank)
    result.frames[at(stack.order[rank])].rank = static_cast<int>(rank);
  result.frames[at(result.reference)].verdict = Verdict::Reference;
  judgeSide(stack, reference, 1, result);
  judgeSide(stack, reference, -1, result);

  // Until here all is as the flat calls have it, and their rectangle holds as long as no transform changes.
  bool changed = reference != stack.anchor;
  if (changed) {
    if (Result<void> rebased = rebaseFrames(stack, result); !rebased) return rebased.error();
  } else {
    for (std::size_t i = 0; i < result.frames.size(); ++i)
      result.frames[i].frameFromReference = stack.fromAnchor[i];
  }
  for (FrameEstimate &estimate : result.frames) {
    measureShape(frame, estimate);
    if (estimate.verdict == Verdict::Found && !isPlausible(estimate)) {
      estimate.verdict = Verdict::NotFound;
      estimate.reason = kImplausible;
    }
  }
  for (FrameEstimate &estimate : result.frames) {
    if (estimate.verdict != Verdict::NotFound) continue;
    if (options.onUnaligned == OnUnaligned::Fail) return Error{ErrorCode::NotAligned, listOfUnaligned(result)};
    estimate.dropped = options.onUnaligned == OnUnaligned::Drop;
    if (options.onUnaligned == OnUnaligned::Keep) {
      estimate.frameFromReference = {};
      measureShape(frame, estimate);
    }
    changed = changed || options.onUnaligned != OnUnaligned::Guess;
  }
  result.common = changed ? commonOf(result) : stack.common;
  if (result.common.width < 1 || result.common.height < 1) abandon(result);
  return result;
}

} // namespace vindrel
