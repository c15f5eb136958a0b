// Where the frames of a stack lie on each other: by which transform each of them is placed on the reference, how sure
// that is, and which rectangle all of them cover. Frames stay the caller's and are only read; apply.hpp resamples them.
//
// Affine and perspective transforms come from points that the frames share. Frames are ranked by brightness, each is
// matched with the one a rank brighter, and the links are chained. Shifts by whole pixels, for frames from a tripod,
// come from bitmaps that are compared in the same order; nothing has to be resampled then.
//
// A frame is called found only when its points agree on one transform, exactly enough and not by chance, and when the
// pictures themselves, brought into register by it, do not contest it: a facade that repeats itself, or a subject that
// moved before a background that did not, agrees at another place as well. What cannot be told: a subject that leaves
// no more than a rim of the background is taken for the scene.
//
// All functions may be called from several threads at once, for several stacks: nothing is shared between calls.
#pragma once

#include "vindrel/api.hpp"
#include "vindrel/image.hpp"
#include "vindrel/result.hpp"
#include "vindrel/transform.hpp"

#include <functional>
#include <span>
#include <string>
#include <vector>

namespace vindrel {

/// How the frames may differ.
enum class Model {
  Shift,       ///< by whole pixels in x and y
  Affine,      ///< by six parameters
  Perspective, ///< by eight
  /// The smallest of the three that explains the points which the frames share, by Torr's geometric robust information
  /// criterion (GRIC): what the pairs are off, each limited, and a price for every parameter. A shift is then the whole
  /// pixels that most pairs agree on, not one that is found by bitmaps, and everything is chosen on the same pairs.
  /// Affine transforms are polished.
  Auto,
};

/// The frame that the others are placed on, and that keeps its pixels. Frames are compared with their neighbours in
/// brightness only: one that shows something else than the rest parts the stack, and none of the frames beyond it is
/// found. When it is the reference itself, being the brightest by chance, no frame is found at all.
/// FrameEstimate::reason says then on which side a reference would find a frame.
enum class ReferenceChoice {
  /// The one that the search starts from: the brightest frame; for shifts the second brightest, since the brightest is
  /// often clipped too much for the others to depend on it. Nothing is re-based then.
  Anchor,
  Brightest, ///< of several alike, the one handed over first
  Middle,    ///< in brightness; the brighter of two
  First,     ///< of those handed over
  Index,     ///< StackOptions::referenceIndex
};

/// What becomes of frames that were not found.
enum class OnUnaligned {
  /// They lie where the search left them, which may be right or wrong: what rt_align() and tr_align() do.
  Guess,
  Keep, ///< in place, unchanged
  /// They are marked, and the common rectangle is made without them. A frame that hangs on the others by a dropped one
  /// only is not found either.
  Drop,
  Fail, ///< the whole estimate is an error that names them
};

/// Receives the fraction done, 0 to 1, and returns false to cancel. Called from one thread at a time, which may be one
/// that the library started; the others wait for it. May throw, which cancels with ErrorCode::CallbackFailed.
using ProgressFunction = std::function<bool(double fraction)>;

/// How a stack is estimated. As they stand, and with Model::Affine, the options give the transforms of rt_align() for
/// the same range and threads; with Model::Shift, those of tr_align() for the same levels.
struct StackOptions {
  Model model = Model::Perspective;                    ///< see there
  ReferenceChoice reference = ReferenceChoice::Anchor; ///< see there
  int referenceIndex = 0;                              ///< with ReferenceChoice::Index: of a frame, from 0
  OnUnaligned onUnaligned = OnUnaligned::Guess;        ///< see there
  int threads = 1; ///< 1 to 1024. The perspective search draws by thread: its results are repeatable for a number of
                   ///< threads, all others are the same for any
  /// Farthest that frames next to each other in brightness may lie apart, in pixels; 0: a tenth of the width and of the
  /// height. Shifts are searched equally far both ways: beyond the larger of the two and up to about twice as far, as
  /// the search doubles its reach.
  int maxShiftX = 0;
  int maxShiftY = 0;   ///< see maxShiftX
  bool polish = false; ///< affine: fit all agreeing pairs after the search; false gives the bytes of rt_align()
  ProgressFunction progress = {}; ///< may be empty
};

/// What a model costs by the criterion of Model::Auto, summed over the links of the stack; the least is taken.
struct ModelScore {
  Model model = Model::Perspective; ///< never Auto
  double criterion = 0;             ///< the less the better; means nothing across stacks
};

/// What a frame's transform may be called.
enum class Verdict {
  Reference, ///< the frame the others are placed on
  Found,     ///< aligned: the evidence supports the transform over the whole frame
  NotFound,  ///< no transform that the evidence supports
};

/// What is known of one frame. Shifts that come from bitmaps rest on no points: pairs, inliers, rms and coverage are 0.
struct FrameEstimate {
  Verdict verdict = Verdict::NotFound; ///< see there
  /// Empty when Found or Reference; otherwise why not, in a few words, and what finds the frame if that is another
  /// reference: "a brighter frame was not aligned; choose a darker reference".
  std::string reason = {};
  bool dropped = false; ///< with OnUnaligned::Drop: not found, and not part of the common rectangle
  int rank = 0;         ///< position by brightness, 0 the brightest

  /// Maps points of the reference frame, which is the output's frame before any crop, onto this one. Its elements are
  /// the very numbers of the warp: single precision, the last two of the third row after division by 100000.
  Transform frameFromReference = {};

  // Of the link to the neighbour one rank nearer to the reference:
  int pairs = 0;       ///< matched points
  int inliers = 0;     ///< pairs that the transform explains within 2 pixels
  double rms = 0;      ///< root mean square distance of the inliers, pixels
  double coverage = 0; ///< share of an 8 x 8 grid over the frame whose cells hold an inlier, 0 to 1

  /// Predicted placement error of the whole way to the reference, root mean square over the frame, pixels; infinite
  /// when nothing can be said. Of shifts from bitmaps, what rounding to whole pixels costs, given that the frame is
  /// Found: 0.41 for each comparison on the way.
  double expectedError = 0;

  /// What the transform makes of the frame: by how much its corners differ from right angles at most, degrees.
  /// Photographs taken by hand are far from 10: beyond, a frame is not found, whatever else speaks for it.
  double cornerDeviation = 0;
  /// And the square root of its area against the frame's; 0 when the transform turns it inside out. Found are frames
  /// from one half to two.
  double scale = 1;
};

/// What was found of a stack. Holds no pixels.
struct StackEstimate {
  Model model = Model::Perspective;         ///< of the transforms; never Auto
  std::vector<ModelScore> modelScores = {}; ///< with Model::Auto: of each model, the smallest model first; all 0 when
                                            ///< no link is supported by any, and the model is Perspective then
  Size frameSize = {};                      ///< of every frame
  int reference = 0;                        ///< index of the reference
  std::vector<FrameEstimate> frames = {};   ///< in the order they were handed over

  /// What all frames cover (but those dropped), in pixels of the reference: the output's frame, cropped. The whole
  /// frame when they share less than 30 % of its width or height; nothing is aligned then, and every frame says so.
  Rectangle common = {};
};

/// Estimates from frames in memory: at least one, all of one size, channel count (1 to 4) and depth (8 or 16 bits).
/// They are read only, by the threads of this call, and are not needed afterwards.
///
/// ErrorCode::InvalidArgument names the frame or the option that does not fit and what to change; Cancelled and
/// CallbackFailed come from the progress function; NotAligned, with the frames and their reasons, only with
/// OnUnaligned::Fail; OutOfMemory. Frames that are not found are no error otherwise.
VINDREL_API Result<StackEstimate> estimateStack(std::span<const ImageView> frames, const StackOptions &options = {});

/// Frames handed over one at a time, for stacks larger than memory.
struct StackSource {
  int count = 0; ///< frames
  /// Frame `index`, 0 to count - 1, or why it cannot be had, which ends the estimate. Called on the caller's thread,
  /// for every frame about twice (for shifts up to four times). Its pixels must stay where they are until the next but
  /// one call, or the end of the estimate: two frames are in use at most. May throw, which ends the estimate with
  /// ErrorCode::SourceFailed.
  std::function<Result<ImageView>(int index)> frame = {};
};

/// The same of frames that a source hands over. Beside two of them, memory is needed for the points of two frames or,
/// to search shifts, for grey values and bitmaps as large as one or two frames; and for a small copy of each, below a
/// megabyte. ErrorCode::SourceFailed as well, with the source's message.
VINDREL_API Result<StackEstimate> estimateStack(const StackSource &source, const StackOptions &options = {});

} // namespace vindrel
