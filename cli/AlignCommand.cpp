// vindrel align: reads a stack, estimates where each frame lies, and writes every frame resampled onto the reference.
// Held in memory are the photographs and one output frame.
#include "Cancel.h"
#include "Commands.h"
#include "CommonOptions.h"
#include "Failure.h"
#include "ImageFile.h"
#include "OutputFile.h"
#include "PhotoSet.h"
#include "ProgressBar.h"
#include "Report.h"
#include "TruthFile.h"
#include "WriteImage.h"
#include "simulate/Truth.h"
#include "vindrel/apply.hpp"
#include "vindrel/stack.hpp"

#include <CLI/CLI.hpp>
#include <charconv>
#include <fstream>
#include <memory>
#include <optional>
#include <vector>

namespace vindrel::cli {
namespace {

// Shares of the progress bar, roughly as the time goes.
constexpr double kReadShare = 0.1;
constexpr double kEstimateShare = 0.6;
constexpr double kWriteShare = 1 - kReadShare - kEstimateShare;

constexpr const char *kHelpEnd = R"(
Each photograph is written to DIR under its own name, in its own format and depth. Results are
printed one line a frame:
  FILE  reference
  FILE  aligned  N pairs  N inliers  RMS N px
  FILE  NOT ALIGNED (why)  N pairs  N inliers  RMS N px
and with --model shift, in place of pairs, inliers and RMS, how far the scene lies to the right
and down of where the reference shows it:
  FILE  aligned  shift X Y px
A frame that is not aligned is written all the same, and the exit code is 3. Nothing is written
when the run fails or is cancelled.

Example:
  vindrel align IMG_1.jpg IMG_2.jpg IMG_3.jpg -o aligned)";

struct MaxShift {
  int x = 0;
  int y = 0;
};

struct AlignArguments {
  std::vector<std::string> photos;
  std::string folder;
  std::string model = "perspective";
  std::string maxShift;
  int threads = 1;
  std::string crop = "common";
  std::string truth;
  CommonOptions common;
};

std::optional<int> positiveNumber(std::string_view text) {
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || value < 1) return std::nullopt;
  return value;
}

// "X" or "X,Y"; X alone holds for both directions.
std::optional<MaxShift> parseMaxShift(std::string_view text) {
  const std::size_t comma = text.find(',');
  const std::optional<int> x = positiveNumber(text.substr(0, comma));
  const std::optional<int> y = comma == std::string_view::npos ? x : positiveNumber(text.substr(comma + 1));
  if (!x || !y) return std::nullopt;
  return MaxShift{*x, *y};
}

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

Model modelNamed(std::string_view name) {
  if (name == "shift") return Model::Shift;
  return name == "affine" ? Model::Affine : Model::Perspective;
}

StackEstimate estimate(const std::vector<ImageView> &views, const AlignArguments &arguments, ProgressBar &bar) {
  StackOptions options;
  options.model = modelNamed(arguments.model);
  options.threads = arguments.threads;
  if (const std::optional<MaxShift> shift = parseMaxShift(arguments.maxShift)) {
    options.maxShiftX = shift->x;
    options.maxShiftY = shift->y;
  }
  options.polish = true; // closer to the scene than the flat call, whose bytes nobody expects of a file
  options.progress = [&bar](double fraction) {
    bar.show(kReadShare + kEstimateShare * fraction, "aligning");
    return !cancelRequested();
  };
  Result<StackEstimate> result = estimateStack(views, options);
  throwIfCancelled();
  if (result) return *std::move(result);
  if (result.error().code == ErrorCode::OutOfMemory) throw std::bad_alloc();
  throw Failure(result.error().code == ErrorCode::InvalidArgument ? ExitCode::Usage : ExitCode::Failed,
                result.error().message);
}

std::vector<std::string> writeAligned(OutputFile &file, const StackEstimate &stack, int index, const ImageView &frame,
                                      const ImageHeader &like, const Rectangle &part, Pixels &out, int threads) {
  if (const Result<void> warped = warpFrame(stack, index, frame, part, out.mutableView(), {.threads = threads});
      !warped) {
    throw Failure(ExitCode::Failed, like.path.string() + ": could not be resampled: " + warped.error().message);
  }
  std::vector<std::string> losses = writeImage(file, out.view(), like, outputFormat(like));
  file.finish();
  return losses;
}

// A single photograph has nothing to be aligned with: its very bytes are the result.
void copyFile(const ImageHeader &header, OutputFile &file) {
  std::ifstream source(header.path, std::ios::binary);
  std::vector<char> block(std::size_t{1} << 20);
  while (source.read(block.data(), static_cast<std::streamsize>(block.size())) || source.gcount() > 0) {
    file.append(block.data(), static_cast<std::size_t>(source.gcount()));
  }
  if (!source.eof()) throw Failure(ExitCode::Unreadable, header.path.string() + ": cannot be read to its end");
  file.finish();
}

std::vector<Pixels> readAll(const std::vector<ImageHeader> &headers, ProgressBar &bar) {
  std::vector<Pixels> frames;
  for (const ImageHeader &header : headers) {
    throwIfCancelled();
    bar.show(kReadShare * static_cast<double>(frames.size()) / static_cast<double>(headers.size()), "reading");
    frames.push_back(readPixels(header));
  }
  return frames;
}

std::vector<FrameReport> reportOf(const AlignArguments &arguments, const StackEstimate &stack,
                                  const std::vector<TruthFrame> &truth) {
  std::vector<FrameReport> reports;
  for (std::size_t i = 0; i < arguments.photos.size(); ++i) {
    FrameReport report{arguments.photos[i], stack.frames[i], std::nullopt, stack.model};
    if (!truth.empty()) {
      const PlaneMap &reference = truth[static_cast<std::size_t>(stack.reference)].frameFromScene;
      const PlaneMap should = frameFromReference(truth[i].frameFromScene, reference);
      report.cornerError = placementError(stack.frames[i].frameFromReference.matrix, should, stack.frameSize).cornerMax;
    }
    reports.push_back(std::move(report));
  }
  return reports;
}

ExitCode conclude(const std::vector<FrameReport> &reports, const std::vector<std::filesystem::path> &targets,
                  bool quiet) {
  if (!quiet) printAlignment(reports);
  ExitCode code = ExitCode::Done;
  for (std::size_t i = 0; i < reports.size(); ++i) {
    if (reports[i].estimate.verdict != Verdict::NotFound) continue;
    message(reports[i].photo + ": could not be aligned: " + reports[i].estimate.reason + "; " + targets[i].string() +
            " may not lie on the others");
    code = ExitCode::NotAligned;
  }
  return code;
}

ExitCode runAlign(const AlignArguments &arguments) {
  OIIO::attribute("threads", arguments.threads);
  const std::vector<ImageHeader> headers = readHeaders(arguments.photos);
  const std::vector<std::filesystem::path> targets =
      outputTargets(arguments.photos, arguments.folder, arguments.common.overwrite);
  const std::vector<TruthFrame> truth = truthOf(arguments, headers.front().size);
  OutputFolder folder(arguments.folder);

  ProgressBar bar(arguments.common.showsProgress());
  const std::vector<Pixels> frames = readAll(headers, bar);
  std::vector<ImageView> views;
  for (const Pixels &frame : frames)
    views.push_back(frame.view());

  bar.show(kReadShare, "aligning");
  const StackEstimate stack = estimate(views, arguments, bar);
  const Rectangle whole{0, 0, stack.frameSize.width, stack.frameSize.height};
  const Rectangle part = arguments.crop == "common" ? stack.common : whole;

  std::vector<OutputFile> files;
  std::vector<std::string> losses;
  files.reserve(targets.size());
  Pixels out(part.size(), headers.front().channels, headers.front().depth);
  for (std::size_t i = 0; i < targets.size(); ++i) {
    throwIfCancelled();
    bar.show(kReadShare + kEstimateShare + kWriteShare * static_cast<double>(i) / static_cast<double>(targets.size()),
             "writing");
    OutputFile &file = files.emplace_back(targets[i], arguments.common.overwrite);
    if (headers.size() == 1) {
      copyFile(headers[i], file);
    } else {
      const std::vector<std::string> ofFrame =
          writeAligned(file, stack, static_cast<int>(i), views[i], headers[i], part, out, arguments.threads);
      losses.insert(losses.end(), ofFrame.begin(), ofFrame.end());
    }
  }
  throwIfCancelled();
  for (OutputFile &file : files)
    file.publish();
  folder.keep();
  bar.wipe();
  for (const std::string &loss : losses)
    message(loss);
  if (headers.size() == 1 && !arguments.common.quiet) {
    message(arguments.photos.front() + ": is the only photograph; copied as it is");
  }
  return conclude(reportOf(arguments, stack, truth), targets, arguments.common.quiet);
}

} // namespace

Run declareAlign(CLI::App &options) {
  const auto arguments = std::make_shared<AlignArguments>();
  options.add_option("PHOTO", arguments->photos, "The photographs: JPEG, PNG or TIFF, all of one size and depth")
      ->required()
      ->type_name("");
  options.add_option("-o,--output", arguments->folder, "Folder to write to; made if it is missing")
      ->required()
      ->type_name("DIR");
  options
      .add_option("--model", arguments->model,
                  "How frames may differ: shift, affine or perspective\n"
                  "shift: by whole pixels, as from a tripod; nothing is resampled")
      ->check(CLI::IsMember({"shift", "affine", "perspective"}).description(""))
      ->type_name("MODEL")
      ->capture_default_str();
  options
      .add_option("--max-shift", arguments->maxShift,
                  "Farthest that frames next to each other in brightness may lie\n"
                  "apart, in pixels; X alone: both ways\n"
                  "With --model shift, the larger number holds both ways\n"
                  "[a tenth of the frame]")
      ->check([](const std::string &text) {
        return parseMaxShift(text) ? std::string() : "takes pixels as X or X,Y, each at least 1, not " + text;
      })
      ->type_name("X[,Y]");
  addThreads(options, arguments->threads);
  options
      .add_option("--crop", arguments->crop,
                  "common: cut to the rectangle that all frames cover\n"
                  "none: keep the reference's frame; white where others lack")
      ->check(CLI::IsMember({"common", "none"}).description(""))
      ->type_name("CROP")
      ->capture_default_str();
  options
      .add_option("--truth", arguments->truth,
                  "truth.json of a simulated bracket: also print how far each frame\n"
                  "is off at its worst corner")
      ->type_name("FILE");
  addCommonOptions(options, arguments->common, "outputs that exist already");
  options.footer(kHelpEnd);
  return [arguments] { return runAlign(*arguments); };
}

} // namespace vindrel::cli
