// vindrel apply: resamples images by transforms that an earlier run has saved: another bracket of the same camera
// motion, another channel, a mask.
#include "Cancel.h"
#include "Commands.h"
#include "CommonOptions.h"
#include "Failure.h"
#include "FrameReader.h"
#include "JsonReport.h"
#include "OutputFile.h"
#include "PhotoSet.h"
#include "ProgressBar.h"
#include "Report.h"
#include "SavedTransforms.h"
#include "WarpedOutputs.h"
#include "vindrel/version.hpp"

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <vector>

namespace vindrel::cli {
namespace {

constexpr const char *kHelpEnd = R"(
The images belong to the frames of FILE in the order given, one for each; with --frame, all of them
to that frame. They must have the size of the frames, and may differ in depth and channels. The
exit code is 3 when a frame of FILE that is used could not be aligned.

Examples:
  vindrel align day_*.tif -o aligned --transforms-out moves.json
  vindrel apply --transforms moves.json infrared_*.tif -o aligned
  vindrel apply --transforms moves.json --frame 2 mask.png -o aligned --filter nearest)";

struct ApplyArguments {
  std::vector<std::string> images;
  std::string folder;
  std::string transforms;
  std::string name;
  int frame = 0; // from 1; 0: image by image
  std::string crop = "common";
  std::string filter = "bilinear";
  int threads = 1;
  CommonOptions common;
  bool json = false;
};

constexpr const char *kFormat = "vindrel-apply";
constexpr int kVersion = 1;

struct ApplyReport {
  StackEstimate stack;
  std::vector<Output> outputs = {}; // image by image
  Rectangle crop = {};              // what the outputs show
  std::vector<std::string> warnings = {};
  ExitCode exitCode = ExitCode::Done;

  const FrameEstimate &frameOf(const Output &output) const {
    return stack.frames[static_cast<std::size_t>(output.frame)];
  }
};

void checkFrame(const TransformsFile &transforms, const ApplyArguments &arguments) {
  const std::size_t frames = transforms.estimate.frames.size();
  if (static_cast<std::size_t>(arguments.frame) <= frames) return;
  const std::string count = std::to_string(frames);
  throw Failure(ExitCode::Usage,
                "--frame " + std::to_string(arguments.frame) + ": " + arguments.transforms +
                    (frames == 1 ? " is about one frame only"
                                 : " is about " + count + " frames; give a number from 1 to " + count));
}

void warnOfUnaligned(const ApplyArguments &arguments, ApplyReport &report) {
  for (const Output &output : report.outputs) {
    const FrameEstimate &frame = report.frameOf(output);
    if (frame.verdict != Verdict::NotFound) continue;
    report.warnings.push_back(arguments.transforms + ": frame " + std::to_string(output.frame + 1) +
                              " could not be aligned: " + frame.reason + "; " + output.target.string() +
                              " may not lie on the others");
    report.exitCode = ExitCode::NotAligned;
  }
}

void printReport(const ApplyReport &report) {
  for (const Output &output : report.outputs) {
    printLine(output.target.string() + "  " + std::to_string(report.crop.width) + " x " +
              std::to_string(report.crop.height) + "  by frame " + std::to_string(output.frame + 1));
  }
}

void printJson(const ApplyArguments &arguments, const ApplyReport &report) {
  nlohmann::ordered_json document = jsonHead(kFormat, kVersion, report.exitCode);
  document["library"] = version();
  document["threads"] = arguments.threads;
  document["transforms"] = arguments.transforms;
  document["model"] = modelName(report.stack.model);
  document["filter"] = arguments.filter;
  document["frameSize"] = jsonSize(report.stack.frameSize);
  document["crop"] = jsonRectangle(report.crop);
  document["images"] = nlohmann::ordered_json::array();
  for (std::size_t i = 0; i < report.outputs.size(); ++i) {
    const Output &output = report.outputs[i];
    const FrameEstimate &frame = report.frameOf(output);
    document["images"].push_back({{"file", arguments.images[i]},
                                  {"output", output.target.string()},
                                  {"frame", output.frame},
                                  {"verdict", verdictName(frame.verdict)},
                                  {"reason", jsonText(frame.reason)}});
  }
  document["warnings"] = report.warnings;
  cli::printJson(document);
}

ExitCode applyTransforms(const ApplyArguments &arguments) {
  OIIO::attribute("threads", arguments.threads);
  const TransformsFile transforms = readTransforms(arguments.transforms);
  checkFrame(transforms, arguments);
  const std::vector<ImageHeader> headers = readHeaders(arguments.images, Accept::FloatToo);
  checkSizes(transforms, arguments.transforms, headers);
  if (arguments.frame == 0) checkOrder(transforms, arguments.transforms, headers);
  ApplyReport report{.stack = transforms.estimate};
  report.outputs = planOutputs(headers, {.folder = arguments.folder,
                                         .name = arguments.name.empty() ? NameTemplate() : NameTemplate(arguments.name),
                                         .otherInputs = {arguments.transforms},
                                         .overwrite = arguments.common.overwrite});
  for (std::size_t i = 0; i < report.outputs.size(); ++i)
    report.outputs[i].frame = arguments.frame == 0 ? static_cast<int>(i) : arguments.frame - 1;
  OutputFolder folder(arguments.folder);

  const Size frameSize = report.stack.frameSize;
  std::optional<Rectangle> part;
  if (arguments.crop == "none") part = {0, 0, frameSize.width, frameSize.height};
  report.crop = part.value_or(report.stack.common);
  ProgressBar bar(arguments.common.showsProgress());
  FrameReader reader(headers);
  WarpedOutputs pictures;
  pictures.write(reader, report.stack, report.outputs,
                 {.part = part,
                  .warp = {.filter = filterNamed(arguments.filter), .threads = arguments.threads},
                  .overwrite = arguments.common.overwrite},
                 [&](double fraction) { bar.show(fraction, "writing"); });
  pictures.publish();
  folder.keep();
  bar.wipe();

  report.warnings = pictures.losses();
  warnOfUnaligned(arguments, report);
  if (arguments.json) {
    printJson(arguments, report);
  } else if (!arguments.common.quiet) {
    printReport(report);
  }
  for (const std::string &warning : report.warnings)
    message(warning);
  return report.exitCode;
}

ExitCode runApply(const ApplyArguments &arguments) {
  const auto run = [&] { return applyTransforms(arguments); };
  return arguments.json ? runWithJson(kFormat, kVersion, run) : run();
}

} // namespace

Run declareApply(CLI::App &options) {
  const auto arguments = std::make_shared<ApplyArguments>();
  options.add_option("IMAGE", arguments->images, "The images, of the size of the frames that were aligned")
      ->required()
      ->type_name("");
  options.add_option("--transforms", arguments->transforms, "What `vindrel align --transforms-out` has saved")
      ->required()
      ->type_name("FILE");
  options.add_option("-o,--output", arguments->folder, "Folder to write to; made if it is missing")
      ->required()
      ->type_name("DIR");
  addName(options, arguments->name);
  options
      .add_option("--frame", arguments->frame,
                  "Number of the frame, from 1, by whose transform all images are\n"
                  "moved [each image by that of the frame in its place]")
      ->check(CLI::Range(1, 1 << 20).description(""))
      ->type_name("N");
  addChoice(options, "--crop", arguments->crop, "CROP", {"common", "none"},
            "common: cut to the rectangle that all frames cover\n"
            "none: keep the frame; white where the image lacks");
  addChoice(options, "--filter", arguments->filter, "FILTER", {"bilinear", "bicubic", "lanczos", "nearest"},
            "How samples are made of those between which they lie: bilinear,\n"
            "bicubic (sharper), lanczos (sharpest), or nearest, which makes\n"
            "no new values, for masks");
  addThreads(options, arguments->threads);
  addCommonOptions(options, arguments->common, "outputs that exist already");
  addJson(options, arguments->json);
  options.footer(kHelpEnd);
  return [arguments] { return runApply(*arguments); };
}

} // namespace vindrel::cli
