// vindrel simulate: makes a hand-held exposure bracket out of one photograph, with a truth.json that says where each
// frame lies. One frame is in memory at a time.
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
#include "TruthFile.h"
#include "WriteImage.h"
#include "simulate/Bracket.h"
#include "vindrel/version.hpp"

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>
#include <vector>

namespace vindrel::cli {
namespace {

constexpr const char *kHelpEnd = R"(
Writes frame_00, frame_01, ... (PNG for 8 bit, TIFF for 16 bit; a little smaller than the
photograph, so that no frame sees beyond its edge) and truth.json. The same options and seed give
the same frames.

Example:
  vindrel simulate wall.jpg -o bracket --frames 5 --ev 1
  vindrel align bracket/frame_*.png -o aligned --truth bracket/truth.json)";

struct SimulateArguments {
  std::string photo;
  std::string folder;
  BracketOptions bracket;
  std::string motion = "perspective";
  int depth = 8;
  int width = 0; // 0: the photograph's own
  CommonOptions common;
  bool json = false;
};

constexpr const char *kFormat = "vindrel-simulate";
constexpr int kVersion = 1;

std::string frameName(int index, SampleDepth depth) {
  char name[32];
  std::snprintf(name, sizeof name, "frame_%02d.%s", index, depth == SampleDepth::U8 ? "png" : "tif");
  return name;
}

BracketOptions bracketOptions(const SimulateArguments &arguments, const ImageHeader &header) {
  BracketOptions options = arguments.bracket;
  options.motion = arguments.motion == "shift"    ? Motion::Shift
                   : arguments.motion == "affine" ? Motion::Affine
                                                  : Motion::Perspective;
  options.depth = arguments.depth == 8 ? SampleDepth::U8 : SampleDepth::U16;
  if (arguments.width > header.size.width) {
    throw Failure(ExitCode::Usage, header.path.string() + ": is " + std::to_string(header.size.width) +
                                       " pixels wide; --width only reduces");
  }
  if (arguments.width > 0) {
    const double width = arguments.width;
    options.scenePixels = width * std::round(width * header.size.height / header.size.width);
  }
  return options;
}

TruthFile truthOf(const SimulateArguments &arguments, const BracketShoot &shoot) {
  TruthFile truth;
  truth.frameSize = shoot.frameSize();
  truth.photo = std::filesystem::path(arguments.photo).filename().string();
  truth.motion = arguments.motion;
  truth.seed = arguments.bracket.seed;
  truth.evStep = arguments.bracket.evStep;
  truth.depth = arguments.depth;
  for (const BracketShoot::Frame &frame : shoot.frames()) {
    const int index = static_cast<int>(truth.frames.size());
    truth.frames.push_back({frameName(index, shoot.depth()), frame.ev, frame.frameFromScene});
  }
  return truth;
}

std::vector<std::filesystem::path> targetsOf(const SimulateArguments &arguments) {
  const std::filesystem::path folder = arguments.folder;
  const SampleDepth depth = arguments.depth == 8 ? SampleDepth::U8 : SampleDepth::U16;
  std::vector<std::filesystem::path> targets;
  for (int i = 0; i < arguments.bracket.frames; ++i)
    targets.push_back(folder / frameName(i, depth));
  targets.push_back(folder / "truth.json");
  for (const std::filesystem::path &target : targets) {
    std::error_code error;
    if (std::filesystem::equivalent(target, arguments.photo, error) && !error) {
      throw Failure(ExitCode::Usage,
                    target.string() +
                        ": is the photograph itself, which is never replaced; give another folder with -o");
    }
  }
  for (const std::filesystem::path &target : targets)
    checkTarget(target, arguments.common.overwrite);
  return targets;
}

BracketShoot setUp(const SimulateArguments &arguments, const ImageHeader &header) {
  const BracketOptions options = bracketOptions(arguments, header);
  const Pixels photograph = readPixels(header);
  if (const std::string problem = bracketProblem(photograph.view(), options); !problem.empty()) {
    throw Failure(ExitCode::Usage, arguments.photo + ": " + problem);
  }
  return BracketShoot(photograph.view(), options);
}

void printReport(const TruthFile &truth, const std::vector<std::filesystem::path> &targets) {
  for (std::size_t i = 0; i < truth.frames.size(); ++i) {
    char exposure[32];
    std::snprintf(exposure, sizeof exposure, "%+.2f EV", truth.frames[i].ev);
    printLine(targets[i].string() + "  " + exposure);
  }
  printLine(targets.back().string());
}

void printJson(const SimulateArguments &arguments, const TruthFile &truth,
               const std::vector<std::filesystem::path> &targets) {
  nlohmann::ordered_json document = jsonHead(kFormat, kVersion, ExitCode::Done);
  document["library"] = version();
  document["file"] = arguments.photo;
  document["truth"] = targets.back().string();
  document["motion"] = truth.motion;
  document["seed"] = truth.seed;
  document["evStep"] = truth.evStep;
  document["depth"] = truth.depth;
  document["frameSize"] = jsonSize(truth.frameSize);
  document["frames"] = nlohmann::ordered_json::array();
  for (std::size_t i = 0; i < truth.frames.size(); ++i) {
    document["frames"].push_back({{"output", targets[i].string()},
                                  {"ev", truth.frames[i].ev},
                                  {"frameFromScene", jsonMatrix(truth.frames[i].frameFromScene)}});
  }
  cli::printJson(document);
}

ExitCode simulate(const SimulateArguments &arguments) {
  const ImageHeader header = readHeader(arguments.photo);
  const std::vector<std::filesystem::path> targets = targetsOf(arguments);
  OutputFolder folder(arguments.folder);

  ProgressBar bar(arguments.common.showsProgress());
  bar.show(0, "reading");
  const BracketShoot shoot = setUp(arguments, header);
  const TruthFile truth = truthOf(arguments, shoot);

  std::vector<OutputFile> files;
  files.reserve(targets.size());
  Pixels frame(shoot.frameSize(), 3, shoot.depth());
  const std::size_t frameCount = truth.frames.size();
  for (std::size_t i = 0; i < frameCount; ++i) {
    throwIfCancelled();
    bar.show(static_cast<double>(i + 1) / static_cast<double>(frameCount + 1), "taking frames");
    shoot.render(static_cast<int>(i), frame.mutableView());
    OutputFile &file = files.emplace_back(targets[i], arguments.common.overwrite);
    writeImage(file, frame.view(), shoot.depth() == SampleDepth::U8 ? "png" : "tiff");
    file.finish();
  }
  const std::string json = toJson(truth);
  OutputFile &truthFile = files.emplace_back(targets.back(), arguments.common.overwrite);
  truthFile.append(json.data(), json.size());
  truthFile.finish();

  throwIfCancelled();
  for (OutputFile &file : files)
    file.publish();
  folder.keep();
  bar.wipe();
  if (arguments.json) {
    printJson(arguments, truth, targets);
  } else if (!arguments.common.quiet) {
    printReport(truth, targets);
  }
  return ExitCode::Done;
}

ExitCode runSimulate(const SimulateArguments &arguments) {
  const auto run = [&] { return simulate(arguments); };
  return arguments.json ? runWithJson(kFormat, kVersion, run) : run();
}

} // namespace

Run declareSimulate(CLI::App &options) {
  const auto arguments = std::make_shared<SimulateArguments>();
  BracketOptions &bracket = arguments->bracket;
  options.add_option("PHOTO", arguments->photo, "The photograph that serves as the scene: JPEG, PNG or TIFF")
      ->required()
      ->type_name("");
  options.add_option("-o,--output", arguments->folder, "Folder to write to; made if it is missing")
      ->required()
      ->type_name("DIR");
  options.add_option("--frames", bracket.frames, "Frames in the bracket, 1 to 99")
      ->required()
      ->check(CLI::Range(1, BracketOptions::kMaxFrames).description(""))
      ->type_name("N");
  options.add_option("--ev", bracket.evStep, "Stops between frames next to each other in exposure, 0 to 10")
      ->check(NumberRange(0, BracketOptions::kMaxEvStep))
      ->type_name("STEP")
      ->capture_default_str();
  options.add_option("--motion", arguments->motion, "How the camera moves in between: shift, affine or perspective")
      ->check(CLI::IsMember({"shift", "affine", "perspective"}).description(""))
      ->type_name("MOTION")
      ->capture_default_str();
  options.add_option("--seed", bracket.seed, "Seed of the motion and of the noise")
      ->check([](const std::string &text) {
        return text.starts_with('-') ? "takes a whole number from 0 up, not " + text : std::string();
      })
      ->type_name("S")
      ->capture_default_str();
  options.add_option("--depth", arguments->depth, "Bits a sample, 8 or 16")
      ->check(CLI::IsMember({8, 16}).description(""))
      ->type_name("BITS")
      ->capture_default_str();
  options.add_option("--width", arguments->width, "Reduce the photograph to this width first, in pixels")
      ->check(CLI::Range(1, 1 << 20).description(""))
      ->type_name("W");
  addCommonOptions(options, arguments->common, "outputs that exist already");
  addJson(options, arguments->json);
  options.footer(kHelpEnd);
  return [arguments] { return runSimulate(*arguments); };
}

} // namespace vindrel::cli
