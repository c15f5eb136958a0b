// vindrel straighten: corrects the tilt and the rotation of one photograph and writes the result to one file.
#include "Cancel.h"
#include "Commands.h"
#include "CommonOptions.h"
#include "Failure.h"
#include "ImageFile.h"
#include "JsonReport.h"
#include "NumberRange.h"
#include "OutputFile.h"
#include "ProgressBar.h"
#include "Report.h"
#include "WriteImage.h"
#include "vindrel/straighten.hpp"
#include "vindrel/version.hpp"

#include <CLI/CLI.hpp>
#include <memory>
#include <vector>

namespace vindrel::cli {
namespace {

namespace fs = std::filesystem;

constexpr const char *kHelpEnd = R"(
The name of FILE says its format: .jpg, .png or .tif. The photograph is taken as it is looked at:
one that was stored lying is turned first. The factors hold for pictures of any size; buildings
need some hundredths. The crop has the photograph's proportions and shows nothing but picture.

Example (verticals that meet above the picture, and a horizon that rises to the right by 1 degree):
  vindrel straighten tower.jpg -o straight.jpg --vertical -0.04 --rotate -1)";

struct StraightenArguments {
  std::string photo;
  std::string output;
  StraightenOptions options;
  std::string crop = "optimal";
  int threads = 1;
  CommonOptions common;
  bool json = false;
};

constexpr const char *kFormat = "vindrel-straighten";
constexpr int kVersion = 1;

// "jpeg", "png" or "tiff" by the file's name.
std::string formatOf(const fs::path &file) {
  const std::string format = formatByName(file);
  if (!format.empty() && format != "openexr") return format;
  throw Failure(ExitCode::Usage, file.string() + ": its name does not say what to write; end it in .jpg, .png or .tif");
}

void checkOutput(const StraightenArguments &arguments, const ImageHeader &photo, const std::string &format) {
  if (const std::string why = whyNotFormat(photo, format); !why.empty()) {
    throw Failure(ExitCode::Usage, arguments.output + ": " + why);
  }
  std::error_code error;
  if (fs::equivalent(arguments.output, arguments.photo, error) && !error) {
    throw Failure(ExitCode::Usage,
                  arguments.output + ": is the photograph itself, which is never replaced; give another file with -o");
  }
  checkTarget(arguments.output, arguments.common.overwrite);
}

Straightening prepare(const StraightenArguments &arguments, Size size) {
  StraightenOptions options = arguments.options;
  options.crop = arguments.crop == "optimal";
  const Result<Straightening> result = prepareStraightening(size, options);
  if (!result) throw Failure(ExitCode::Usage, arguments.photo + ": " + result.error().message);
  return *result;
}

// Writes the pixels into the file. The pictures are gone with the return: metadata, which is written by way of copies
// of the file, need not come on top of them.
Straightening writeStraightened(const StraightenArguments &arguments, const ImageHeader &header, OutputFile &file,
                                const std::string &format, ProgressBar &bar) {
  bar.show(0, "reading");
  const Pixels photo = readPixels(header);
  throwIfCancelled();

  bar.show(0.3, "straightening");
  const Straightening straightening = prepare(arguments, header.size);
  Pixels out(straightening.output.size(), header.channels, header.depth);
  if (const Result<void> done =
          straightenFrame(straightening, photo.view(), out.mutableView(), {.threads = arguments.threads});
      !done) {
    throw Failure(ExitCode::Failed, arguments.photo + ": could not be resampled: " + done.error().message);
  }
  throwIfCancelled();

  bar.show(0.7, "writing");
  writePixels(file, out.view(), header, format);
  return straightening;
}

std::string sizeText(Size size) {
  return std::to_string(size.width) + " x " + std::to_string(size.height);
}

void printJson(const StraightenArguments &arguments, const Straightening &straightening,
               const std::vector<std::string> &losses) {
  nlohmann::ordered_json document = jsonHead(kFormat, kVersion, ExitCode::Done);
  document["library"] = version();
  document["threads"] = arguments.threads;
  document["file"] = arguments.photo;
  document["output"] = arguments.output;
  document["vertical"] = arguments.options.vertical;
  document["horizontal"] = arguments.options.horizontal;
  document["rotate"] = arguments.options.degrees;
  document["frameSize"] = jsonSize(straightening.frameSize);
  document["crop"] = jsonRectangle(straightening.output);
  document["sourceFromOutput"] = jsonMatrix(straightening.sourceFromOutput.matrix);
  document["warnings"] = losses;
  cli::printJson(document);
}

ExitCode straighten(const StraightenArguments &arguments) {
  OIIO::attribute("threads", arguments.threads);
  const std::string format = formatOf(arguments.output);
  const ImageHeader header = readHeader(arguments.photo);
  checkOutput(arguments, header, format);
  const fs::path parent = fs::path(arguments.output).parent_path();
  OutputFolder folder(parent.empty() ? fs::path(".") : parent);

  ProgressBar bar(arguments.common.showsProgress());
  OutputFile file(arguments.output, arguments.common.overwrite);
  const Straightening straightening = writeStraightened(arguments, header, file, format, bar);
  const std::vector<std::string> losses = writeMetadata(file, straightening.output.size(), header, format);
  file.finish();
  throwIfCancelled();
  file.publish();
  folder.keep();
  bar.wipe();
  if (arguments.json) {
    printJson(arguments, straightening, losses);
  } else if (!arguments.common.quiet) {
    printLine(arguments.output + "  " + sizeText(straightening.output.size()) + " of " + sizeText(header.size));
  }
  for (const std::string &loss : losses)
    message(loss);
  return ExitCode::Done;
}

ExitCode runStraighten(const StraightenArguments &arguments) {
  const auto run = [&] { return straighten(arguments); };
  return arguments.json ? runWithJson(kFormat, kVersion, run) : run();
}

} // namespace

Run declareStraighten(CLI::App &options) {
  const auto arguments = std::make_shared<StraightenArguments>();
  const NumberRange factorRange(-StraightenOptions::kMaxFactor, StraightenOptions::kMaxFactor);
  options.add_option("PHOTO", arguments->photo, "The photograph: JPEG, PNG or TIFF")->required()->type_name("");
  options.add_option("-o,--output", arguments->output, "File to write; its folder is made if it is missing")
      ->required()
      ->type_name("FILE");
  options
      .add_option("--vertical", arguments->options.vertical,
                  "Tilt that makes verticals parallel, -0.3 to 0.3\n"
                  "negative: they meet above")
      ->check(factorRange)
      ->type_name("V")
      ->capture_default_str();
  options
      .add_option("--horizontal", arguments->options.horizontal,
                  "Tilt that makes horizontals parallel, -0.3 to 0.3\n"
                  "positive: they meet on the left")
      ->check(factorRange)
      ->type_name("H")
      ->capture_default_str();
  options
      .add_option("--rotate", arguments->options.degrees,
                  "Degrees to turn the picture, -360 to 360; positive: anticlockwise")
      ->check(NumberRange(-StraightenOptions::kMaxDegrees, StraightenOptions::kMaxDegrees))
      ->type_name("DEG")
      ->capture_default_str();
  options
      .add_option("--crop", arguments->crop,
                  "optimal: cut to the photograph's proportions, without empty corners\n"
                  "none: keep the size, with white corners")
      ->check(CLI::IsMember({"optimal", "none"}).description(""))
      ->type_name("CROP")
      ->capture_default_str();
  options.add_flag("--pin-to-edge", arguments->options.pinToEdge,
                   "Look for the crop round the middle of the frame instead of\n"
                   "the middle of what the picture covers of it");
  addThreads(options, arguments->threads);
  addCommonOptions(options, arguments->common, "an output that exists already");
  addJson(options, arguments->json);
  options.footer(kHelpEnd);
  return [arguments] { return runStraighten(*arguments); };
}

} // namespace vindrel::cli
