#include "AlignOptions.h"

#include "Failure.h"

#include <CLI/CLI.hpp>
#include <charconv>

namespace vindrel::cli {
namespace {

constexpr const char *kHelpEnd = R"(
Each photograph is written to DIR under its own name, in its own format and depth, unless --name
says otherwise. Results are printed one line a frame:
  FILE  reference
  FILE  aligned  N pairs  N inliers  RMS N px
  FILE  NOT ALIGNED (why)  N pairs  N inliers  RMS N px
and with --model shift, in place of pairs, inliers and RMS, how far the scene lies to the right
and down of where the reference shows it:
  FILE  aligned  shift X Y px
When a frame is not aligned, the exit code is 3. Nothing is written when the run fails or is
cancelled.

Examples:
  vindrel align IMG_1.jpg IMG_2.jpg IMG_3.jpg -o aligned
  vindrel align *.tif -o aligned --name '{stem}_aligned.{ext}' --on-unaligned drop)";

std::optional<int> positiveNumber(std::string_view text) {
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || value < 1) return std::nullopt;
  return value;
}

Model modelNamed(std::string_view name) {
  if (name == "auto") return Model::Auto;
  if (name == "shift") return Model::Shift;
  return name == "affine" ? Model::Affine : Model::Perspective;
}

OnUnaligned policyNamed(std::string_view name) {
  if (name == "keep") return OnUnaligned::Keep;
  // To fail is left to the program, which reports every frame before it does.
  return name == "drop" ? OnUnaligned::Drop : OnUnaligned::Guess;
}

void addOutputs(CLI::App &options, AlignArguments &arguments) {
  options
      .add_option("-o,--output", arguments.folder,
                  "Folder to write to; made if it is missing\n"
                  "Required, unless --dry-run or --transforms-out is given")
      ->type_name("DIR");
  addName(options, arguments.name);
  addChoice(options, "--crop", arguments.crop, "CROP", {"common", "none"},
            "common: cut to the rectangle that all frames cover\n"
            "none: keep the reference's frame; white where others lack");
  addChoice(options, "--filter", arguments.filter, "FILTER", {"bilinear", "bicubic", "lanczos"},
            "How samples are made of those between which they lie: bilinear,\n"
            "bicubic (sharper) or lanczos (sharpest)");
  addChoice(options, "--on-unaligned", arguments.onUnaligned, "POLICY", {"guess", "keep", "drop", "fail"},
            "What becomes of frames that cannot be aligned\n"
            "guess: written where the search left them, right or wrong\n"
            "keep: written where they were\n"
            "drop: not written; the others are cropped without them\n"
            "fail: nothing is written");
  options
      .add_option("--transforms-out", arguments.transformsOut, "Save the transforms to FILE, for apply or --transforms")
      ->type_name("FILE");
}

void addSearch(CLI::App &options, AlignArguments &arguments) {
  addChoice(options, "--model", arguments.model, "MODEL", {"auto", "shift", "affine", "perspective"},
            "How frames may differ: shift, affine or perspective\n"
            "shift: by whole pixels, as from a tripod; nothing is resampled\n"
            "auto: by the least of the three that explains the frames");
  options
      .add_option("--reference", arguments.reference,
                  "What the others are placed on: brightest, middle (in brightness),\n"
                  "first, or the number of a photograph, counted from 1\n"
                  "[brightest; with --model shift the second brightest]")
      ->check([](const std::string &text) {
        return parseReference(text) ? std::string() : "takes brightest, middle, first or a number from 1, not " + text;
      })
      ->type_name("WHICH");
  options
      .add_option("--max-shift", arguments.maxShift,
                  "Farthest that frames next to each other in brightness may lie\n"
                  "apart, in pixels; X alone: both ways\n"
                  "With --model shift, the larger number holds both ways\n"
                  "[a tenth of the frame]")
      ->check([](const std::string &text) {
        return parseMaxShift(text) ? std::string() : "takes pixels as X or X,Y, each at least 1, not " + text;
      })
      ->type_name("X[,Y]");
  options
      .add_option("--transforms", arguments.transforms,
                  "Estimate nothing, and use the transforms that were saved in FILE\n"
                  "for as many frames of this size, in this order")
      ->type_name("FILE");
  addThreads(options, arguments.threads);
  options
      .add_option("--truth", arguments.truth,
                  "truth.json of a simulated bracket: also print how far each frame\n"
                  "is off at its worst corner")
      ->type_name("FILE");
}

} // namespace

std::optional<MaxShift> parseMaxShift(std::string_view text) {
  const std::size_t comma = text.find(',');
  const std::optional<int> x = positiveNumber(text.substr(0, comma));
  const std::optional<int> y = comma == std::string_view::npos ? x : positiveNumber(text.substr(comma + 1));
  if (!x || !y) return std::nullopt;
  return MaxShift{*x, *y};
}

std::optional<Reference> parseReference(std::string_view text) {
  if (text == "brightest") return Reference{ReferenceChoice::Brightest, 0};
  if (text == "middle") return Reference{ReferenceChoice::Middle, 0};
  if (text == "first") return Reference{ReferenceChoice::First, 0};
  const std::optional<int> number = positiveNumber(text);
  if (!number) return std::nullopt;
  return Reference{ReferenceChoice::Index, *number - 1};
}

StackOptions AlignArguments::stackOptions() const {
  StackOptions options;
  options.model = modelNamed(model);
  options.onUnaligned = policyNamed(onUnaligned);
  options.threads = threads;
  if (const std::optional<Reference> wanted = parseReference(reference)) {
    if (wanted->choice == ReferenceChoice::Index && static_cast<std::size_t>(wanted->index) >= photos.size()) {
      const std::string count = std::to_string(photos.size());
      throw Failure(ExitCode::Usage,
                    "--reference " + reference +
                        (photos.size() == 1
                             ? ": there is one photograph only"
                             : ": there are " + count + " photographs only; give a number from 1 to " + count));
    }
    options.reference = wanted->choice;
    options.referenceIndex = wanted->index;
  }
  if (const std::optional<MaxShift> shift = parseMaxShift(maxShift)) {
    options.maxShiftX = shift->x;
    options.maxShiftY = shift->y;
  }
  options.polish = true; // closer to the scene than the flat call, whose bytes nobody expects of a file
  return options;
}

void addAlignOptions(CLI::App &options, AlignArguments &arguments) {
  options
      .add_option("PHOTO", arguments.photos,
                  "The photographs: JPEG, PNG, TIFF, OpenEXR or raw, all of one size\n"
                  "and depth")
      ->required()
      ->type_name("");
  addOutputs(options, arguments);
  addSearch(options, arguments);
  options.add_flag("-n,--dry-run", arguments.dryRun, "Estimate and report, and write nothing");
  addCommonOptions(options, arguments.common, "outputs that exist already");
  addReportOptions(options, arguments.report, "how exact each frame is, the crop and the time");
  options.footer(kHelpEnd);
  options.callback([&arguments, &options] {
    if (arguments.folder.empty() && arguments.transformsOut.empty() && !arguments.dryRun) {
      throw CLI::RequiredError("--output");
    }
    for (const char *name : {"--model", "--reference", "--max-shift"}) {
      if (!arguments.transforms.empty() && options.count(name) > 0) throw CLI::ExcludesError("--transforms", name);
    }
    checkReportOptions(arguments.common, arguments.report);
  });
}

} // namespace vindrel::cli
