// vindrel align: estimates where each frame of a stack lies, and writes every frame resampled onto the reference. Held
// in memory are two photographs and one output frame at most, however many there are.
#include "AlignOptions.h"
#include "AlignReport.h"
#include "Cancel.h"
#include "Commands.h"
#include "Failure.h"
#include "FrameReader.h"
#include "JsonReport.h"
#include "OutputFile.h"
#include "PhotoSet.h"
#include "ProgressBar.h"
#include "SavedTransforms.h"
#include "Stopwatch.h"
#include "TruthFile.h"
#include "WarpedOutputs.h"
#include "simulate/Truth.h"
#include "vindrel/stack.hpp"

#include <CLI/CLI.hpp>
#include <exception>
#include <memory>
#include <optional>
#include <vector>

namespace vindrel::cli {
namespace {

// Shares of the progress bar, roughly as the time goes.
constexpr double kEstimateShare = 0.65;
constexpr double kWriteShare = 1 - kEstimateShare;

// The truth of each photograph, in their order; empty without --truth.
std::vector<TruthFrame> truthOf(const AlignArguments &arguments, Size frameSize) {
  std::vector<TruthFrame> frames;
  if (arguments.truth.empty()) return frames;
  const TruthFile truth = readTruth(arguments.truth);
  for (const std::string &photo : arguments.photos) {
    const TruthFrame *frame = truth.find(photo);
    if (frame == nullptr) {
      throw Failure(ExitCode::Usage, arguments.truth + ": knows no frame of the name of " + photo +
                                         "; give the truth.json that was made with these frames");
    }
    frames.push_back(*frame);
  }
  if (truth.frameSize != frameSize) {
    throw Failure(ExitCode::Usage, arguments.truth + ": is about frames of " + std::to_string(truth.frameSize.width) +
                                       " x " + std::to_string(truth.frameSize.height) + " pixels, but " +
                                       arguments.photos.front() + " has " + std::to_string(frameSize.width) + " x " +
                                       std::to_string(frameSize.height));
  }
  return frames;
}

double cornerError(const StackEstimate &stack, std::size_t index, const std::vector<TruthFrame> &truth) {
  const PlaneMap &reference = truth[static_cast<std::size_t>(stack.reference)].frameFromScene;
  const PlaneMap should = frameFromReference(truth[index].frameFromScene, reference);
  return placementError(stack.frames[index].frameFromReference.matrix, should, stack.frameSize).cornerMax;
}

StackEstimate estimate(FrameReader &reader, StackOptions options, ProgressBar &bar) {
  double shown = 0;
  // What the reader throws must not pass through the library, which would tell less than it does.
  std::exception_ptr unreadable;
  const StackSource source{.count = reader.count(), .frame = [&](int index) -> Result<ImageView> {
                             try {
                               throwIfCancelled();
                               constexpr auto kSearch = FrameReader::Look::Search;
                               if (!reader.holds(index, kSearch)) bar.show(shown, "reading");
                               return reader.frame(index, kSearch).view();
                             } catch (...) {
                               unreadable = std::current_exception();
                               return Error{ErrorCode::SourceFailed, "unreadable"};
                             }
                           }};
  options.progress = [&](double fraction) {
    shown = kEstimateShare * fraction;
    bar.show(shown, "aligning");
    return !cancelRequested();
  };
  Result<StackEstimate> result = estimateStack(source, options);
  throwIfCancelled();
  if (unreadable) std::rethrow_exception(unreadable);
  if (result) return *std::move(result);
  if (result.error().code == ErrorCode::OutOfMemory) throw std::bad_alloc();
  throw Failure(result.error().code == ErrorCode::InvalidArgument ? ExitCode::Usage : ExitCode::Failed,
                result.error().message);
}

// What an earlier run has found, with this run's policy for frames that were not.
StackEstimate saved(const AlignArguments &arguments, const std::vector<ImageHeader> &headers) {
  TransformsFile file = readTransforms(arguments.transforms);
  checkSizes(file, arguments.transforms, headers);
  checkOrder(file, arguments.transforms, headers);
  for (FrameEstimate &frame : file.estimate.frames) {
    if (arguments.onUnaligned == "keep" && frame.verdict == Verdict::NotFound) frame.frameFromReference = {};
  }
  return std::move(file.estimate);
}

std::vector<std::filesystem::path> otherInputs(const AlignArguments &arguments) {
  std::vector<std::filesystem::path> files;
  for (const std::string &file : {arguments.transforms, arguments.truth})
    if (!file.empty()) files.emplace_back(file);
  return files;
}

std::filesystem::path parentOf(const std::filesystem::path &file) {
  return file.has_parent_path() ? file.parent_path() : ".";
}

class AlignRun {
public:
  explicit AlignRun(const AlignArguments &arguments)
      : arguments_(arguments), headers_(readHeaders(arguments.photos, Accept::FloatToo)), reader_(headers_),
        bar_(arguments.common.showsProgress()) {}

  ExitCode run();

private:
  bool writes() const;
  bool isAlone() const { return headers_.size() == 1 && arguments_.transforms.empty(); }
  bool isOnlyCopied() const;
  void judge(const std::vector<TruthFrame> &truth);
  void write();
  void conclude();

  const AlignArguments &arguments_;
  const std::vector<ImageHeader> headers_;
  FrameReader reader_;
  ProgressBar bar_;
  std::vector<Output> outputs_;
  std::optional<OutputFolder> folder_;
  std::optional<OutputFolder> transformsFolder_;
  AlignReport report_;
};

bool AlignRun::writes() const {
  return !arguments_.dryRun && (arguments_.onUnaligned != "fail" || report_.exitCode() == ExitCode::Done);
}

// Fills in the report, but for what writing adds; and leaves outputs only to photographs that are to be written.
void AlignRun::judge(const std::vector<TruthFrame> &truth) {
  const StackEstimate &stack = report_.stack;
  report_.crop =
      arguments_.crop == "common" ? stack.common : Rectangle{0, 0, stack.frameSize.width, stack.frameSize.height};
  report_.onUnaligned = arguments_.onUnaligned;
  report_.threads = arguments_.threads;
  report_.written = writes();
  for (std::size_t i = 0; i < headers_.size(); ++i) {
    const bool dropped = arguments_.onUnaligned == "drop" && stack.frames[i].verdict == Verdict::NotFound;
    if (!report_.written || dropped) outputs_[i].target.clear();
    AlignedFrame frame{arguments_.photos[i], outputs_[i].target, std::nullopt};
    if (!truth.empty()) frame.cornerError = cornerError(stack, i, truth);
    report_.frames.push_back(std::move(frame));
  }
  warnOfUnaligned(report_);
  if (arguments_.transforms.empty()) adviseOnReference(report_);
}

// A single photograph has nothing to be aligned with. Its very bytes are the result, unless it has to be turned upright
// or written in another format.
bool AlignRun::isOnlyCopied() const {
  const ImageHeader &photo = headers_.front();
  return isAlone() && photo.orientation == kUpright && outputs_.front().format == photo.format;
}

void AlignRun::write() {
  WarpedOutputs pictures;
  const bool withPicture = !outputs_.front().target.empty();
  if (isOnlyCopied() && withPicture) {
    pictures.copy(headers_.front(), outputs_.front(), arguments_.common.overwrite);
  } else {
    std::optional<Rectangle> part;
    if (arguments_.crop == "none" || isAlone()) part = report_.crop;
    pictures.write(reader_, report_.stack, outputs_,
                   {.part = part,
                    .warp = {.filter = filterNamed(arguments_.filter), .threads = arguments_.threads},
                    .overwrite = arguments_.common.overwrite},
                   [&](double fraction) { bar_.show(kEstimateShare + kWriteShare * fraction, "writing"); });
  }
  if (isAlone() && withPicture && !arguments_.common.quiet) {
    report_.warnings.push_back(arguments_.photos.front() + ": is the only photograph; " +
                               (isOnlyCopied()                             ? "copied as it is"
                                : headers_.front().orientation != kUpright ? "only turned upright"
                                                                           : "only written in another format"));
  }
  if (!arguments_.transformsOut.empty()) {
    pictures.writeText(arguments_.transformsOut, transformsText(report_.stack, arguments_.photos, arguments_.threads),
                       arguments_.common.overwrite);
  }
  pictures.publish();
  for (std::optional<OutputFolder> *folder : {&folder_, &transformsFolder_})
    if (*folder) (*folder)->keep();
  report_.warnings.insert(report_.warnings.begin(), pictures.losses().begin(), pictures.losses().end());
}

void AlignRun::conclude() {
  bar_.wipe();
  if (arguments_.report.json) {
    printJson(report_);
  } else if (!arguments_.common.quiet) {
    printReport(report_, arguments_.report.verbose);
  }
  for (const std::string &warning : report_.warnings)
    message(warning);
}

ExitCode AlignRun::run() {
  const StackOptions options = arguments_.stackOptions();
  checkAlike(headers_);
  outputs_ = planOutputs(headers_, {.folder = arguments_.folder,
                                    .name = arguments_.name.empty() ? NameTemplate() : NameTemplate(arguments_.name),
                                    .transforms = arguments_.transformsOut,
                                    .otherInputs = otherInputs(arguments_),
                                    .overwrite = arguments_.common.overwrite});
  const std::vector<TruthFrame> truth = truthOf(arguments_, headers_.front().size);
  if (!arguments_.dryRun && !arguments_.folder.empty()) folder_.emplace(arguments_.folder);
  if (!arguments_.dryRun && !arguments_.transformsOut.empty()) {
    transformsFolder_.emplace(parentOf(arguments_.transformsOut));
  }

  const Stopwatch whole;
  report_.stack = arguments_.transforms.empty() ? estimate(reader_, options, bar_) : saved(arguments_, headers_);
  report_.seconds.estimating = whole.seconds() - reader_.seconds();
  judge(truth);
  if (report_.written) write();
  report_.seconds.reading = reader_.seconds();
  report_.seconds.writing = whole.seconds() - report_.seconds.estimating - report_.seconds.reading;
  conclude();
  return report_.exitCode();
}

ExitCode runAlign(const AlignArguments &arguments) {
  OIIO::attribute("threads", arguments.threads);
  const auto run = [&] { return AlignRun(arguments).run(); };
  return arguments.report.json ? runWithJson(kAlignFormat, kAlignVersion, run) : run();
}

} // namespace

Run declareAlign(CLI::App &options) {
  const auto arguments = std::make_shared<AlignArguments>();
  addAlignOptions(options, *arguments);
  return [arguments] { return runAlign(*arguments); };
}

} // namespace vindrel::cli
