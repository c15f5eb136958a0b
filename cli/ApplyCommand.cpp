// vindrel apply: resamples images by transforms that an earlier run has saved: another bracket of the same camera
// motion, another channel, a mask.
#include "Cancel.h"
#include "Commands.h"
#include "CommonOptions.h"
#include "Failure.h"
#include "FrameReader.h"
#include "OutputFile.h"
#include "PhotoSet.h"
#include "ProgressBar.h"
#include "Report.h"
#include "SavedTransforms.h"
#include "WarpedOutputs.h"

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
};

int frameOf(const TransformsFile &transforms, const ApplyArguments &arguments, std::size_t image) {
  const int frames = static_cast<int>(transforms.estimate.frames.size());
  if (arguments.frame == 0) return static_cast<int>(image);
  if (arguments.frame > frames) {
    throw Failure(ExitCode::Usage, "--frame " + std::to_string(arguments.frame) + ": " + arguments.transforms +
                                       " is about " + std::to_string(frames) + "; give a number from 1 to " +
                                       std::to_string(frames));
  }
  return arguments.frame - 1;
}

ExitCode report(const ApplyArguments &arguments, const StackEstimate &stack, const std::vector<Output> &outputs,
                Size size) {
  ExitCode code = ExitCode::Done;
  for (const Output &output : outputs) {
    const FrameEstimate &frame = stack.frames[static_cast<std::size_t>(output.frame)];
    if (!arguments.common.quiet) {
      printLine(output.target.string() + "  " + std::to_string(size.width) + " x " + std::to_string(size.height) +
                "  by frame " + std::to_string(output.frame + 1));
    }
    if (frame.verdict != Verdict::NotFound) continue;
    message(arguments.transforms + ": frame " + std::to_string(output.frame + 1) +
            " could not be aligned: " + frame.reason + "; " + output.target.string() + " may not lie on the others");
    code = ExitCode::NotAligned;
  }
  return code;
}

ExitCode runApply(const ApplyArguments &arguments) {
  OIIO::attribute("threads", arguments.threads);
  const TransformsFile transforms = readTransforms(arguments.transforms);
  const std::vector<ImageHeader> headers = readHeaders(arguments.images, Accept::FloatToo);
  checkSizes(transforms, arguments.transforms, headers);
  if (arguments.frame == 0) checkOrder(transforms, arguments.transforms, headers);
  std::vector<Output> outputs =
      planOutputs(headers, {.folder = arguments.folder,
                            .name = arguments.name.empty() ? NameTemplate() : NameTemplate(arguments.name),
                            .otherInputs = {arguments.transforms},
                            .overwrite = arguments.common.overwrite});
  for (std::size_t i = 0; i < outputs.size(); ++i)
    outputs[i].frame = frameOf(transforms, arguments, i);
  OutputFolder folder(arguments.folder);

  const StackEstimate &stack = transforms.estimate;
  std::optional<Rectangle> part;
  if (arguments.crop == "none") part = {0, 0, stack.frameSize.width, stack.frameSize.height};
  ProgressBar bar(arguments.common.showsProgress());
  FrameReader reader(headers);
  WarpedOutputs pictures;
  pictures.write(reader, stack, outputs,
                 {.part = part,
                  .warp = {.filter = filterNamed(arguments.filter), .threads = arguments.threads},
                  .overwrite = arguments.common.overwrite},
                 [&](double fraction) { bar.show(fraction, "writing"); });
  pictures.publish();
  folder.keep();
  bar.wipe();
  for (const std::string &loss : pictures.losses())
    message(loss);
  return report(arguments, stack, outputs, part.value_or(stack.common).size());
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
  options.footer(kHelpEnd);
  return [arguments] { return runApply(*arguments); };
}

} // namespace vindrel::cli
