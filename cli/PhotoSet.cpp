#include "PhotoSet.h"

#include "Failure.h"
#include "OutputFile.h"
#include "WriteImage.h"

#include <system_error>

namespace vindrel::cli {
namespace fs = std::filesystem;
namespace {

constexpr std::size_t kLongestName = 255; // bytes; what most file systems take

const char *channelNames(int channels) {
  constexpr const char *kNames[] = {"grey", "grey and alpha", "RGB", "RGB and alpha"};
  return kNames[channels - 1];
}

std::string describe(const ImageHeader &header) {
  return header.path.string() + ": " + std::to_string(header.size.width) + " x " + std::to_string(header.size.height) +
         ", " + channelNames(header.channels) + ", " + std::to_string(static_cast<int>(header.depth)) + " bit";
}

// What the photographs differ in, empty when they fit together.
std::string difference(const std::vector<ImageHeader> &headers) {
  bool size = false;
  bool channels = false;
  bool depth = false;
  for (const ImageHeader &header : headers) {
    size = size || header.size != headers.front().size;
    channels = channels || header.channels != headers.front().channels;
    depth = depth || header.depth != headers.front().depth;
  }
  if (size) return "size";
  if (channels) return "kind of channels";
  return depth ? "bit depth" : "";
}

// True when both names lead to one existing file, through whatever links.
bool sameFile(const fs::path &a, const fs::path &b) {
  std::error_code error;
  return fs::equivalent(a, b, error) && !error;
}

// "{ext}" stands for the format that the output would have, if nobody asked for another.
NameFields fieldsOf(const ImageHeader &photo, std::size_t index, std::size_t count) {
  const bool keepsFormat = outputFormat(photo) == photo.format;
  std::string ext = keepsFormat ? photo.path.extension().string() : extensionOf(outputFormat(photo));
  if (!ext.empty()) ext.erase(0, 1);
  return {photo.path.stem().string(), ext, static_cast<int>(index), static_cast<int>(count)};
}

Output outputOf(const ImageHeader &photo, const NameFields &fields, const OutputPlan &plan) {
  const std::string name = plan.name.nameOf(fields);
  if (name.size() > kLongestName) {
    throw Failure(ExitCode::Usage, name + ": is longer than names of files can be; give a shorter --name");
  }
  Output output{plan.folder / name, outputFormat(photo), fields.index};
  const std::string ext = output.target.extension().string();
  if (ext == (fields.ext.empty() ? "" : "." + fields.ext)) return output;
  // A photograph's own extension stands for its own format, whatever it says; another one has to be kept.
  output.format = formatByName(output.target);
  if (output.format.empty()) {
    throw Failure(ExitCode::Usage, output.target.string() +
                                       ": its name does not say what to write; end --name in .{ext}, or in .jpg, .png, "
                                       ".tif or .exr");
  }
  if (const std::string why = whyNotFormat(photo, output.format); !why.empty()) {
    throw Failure(ExitCode::Usage, output.target.string() + ": " + why);
  }
  return output;
}

[[noreturn]] void refuseSharedName(const std::string &first, const std::string &second, const fs::path &target) {
  throw Failure(ExitCode::Usage, first == second
                                     ? first + " is given twice; name it once"
                                     : first + " and " + second + " would both be written to " + target.string() +
                                           "; rename one of them, or tell them apart by "
                                           "{index} in --name");
}

// "there/name" with the folder's true path, so that two ways of writing it are told to be one.
fs::path truePath(const fs::path &file) {
  std::error_code error;
  const fs::path folder = fs::weakly_canonical(fs::absolute(file, error).parent_path(), error);
  return error ? file.lexically_normal() : folder / file.filename();
}

void checkNothingIsReplaced(const fs::path &target, const std::vector<ImageHeader> &photos, const OutputPlan &plan) {
  const bool isPicture = &target != &plan.transforms;
  for (const ImageHeader &photo : photos) {
    if (!sameFile(target, photo.path)) continue;
    throw Failure(ExitCode::Usage, target.string() + ": is one of the photographs, which are never replaced; give " +
                                       (isPicture ? "another folder with -o, or other names with --name"
                                                  : "another name with --transforms-out"));
  }
  for (const fs::path &input : plan.otherInputs) {
    if (!sameFile(target, input)) continue;
    throw Failure(ExitCode::Usage, target.string() + ": is read by this run and not replaced; give another place");
  }
  checkTarget(target, plan.overwrite, isPicture ? "-o" : "--transforms-out");
}

} // namespace

std::vector<ImageHeader> readHeaders(const std::vector<std::string> &photos, Accept accept) {
  std::vector<ImageHeader> headers;
  for (const std::string &photo : photos)
    headers.push_back(readHeader(photo, accept));
  return headers;
}

void checkAlike(const std::vector<ImageHeader> &headers) {
  const std::string what = difference(headers);
  if (what.empty()) return;
  std::string text = "the photographs differ in " + what + "; bring them to one " + what + " first";
  for (const ImageHeader &header : headers)
    text += "\n  " + describe(header);
  throw Failure(ExitCode::Usage, text);
}

std::vector<Output> planOutputs(const std::vector<ImageHeader> &photos, const OutputPlan &plan) {
  std::vector<Output> outputs(photos.size());
  if (!plan.folder.empty()) {
    for (std::size_t i = 0; i < photos.size(); ++i) {
      outputs[i] = outputOf(photos[i], fieldsOf(photos[i], i, photos.size()), plan);
      for (std::size_t j = 0; j < i; ++j) {
        if (outputs[i].target != outputs[j].target) continue;
        refuseSharedName(photos[j].path.string(), photos[i].path.string(), outputs[i].target);
      }
    }
    for (const Output &output : outputs)
      checkNothingIsReplaced(output.target, photos, plan);
  }
  if (plan.transforms.empty()) return outputs;
  for (const Output &output : outputs) {
    if (output.target.empty() || truePath(output.target) != truePath(plan.transforms)) continue;
    throw Failure(ExitCode::Usage, plan.transforms.string() + ": would hold both a picture and the transforms; give "
                                                              "another name with --transforms-out");
  }
  checkNothingIsReplaced(plan.transforms, photos, plan);
  return outputs;
}

} // namespace vindrel::cli
