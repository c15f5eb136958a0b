#include "SavedTransforms.h"

#include "Failure.h"

#include <algorithm>

namespace vindrel::cli {
namespace {

std::string sizeText(Size size) {
  return std::to_string(size.width) + " x " + std::to_string(size.height);
}

} // namespace

TransformsFile readTransforms(const std::filesystem::path &file) {
  Result<TransformsFile> transforms = loadTransforms(file);
  if (transforms) return *std::move(transforms);
  if (transforms.error().code == ErrorCode::OutOfMemory) throw std::bad_alloc();
  throw Failure(ExitCode::Unreadable, transforms.error().message);
}

void checkSizes(const TransformsFile &transforms, const std::string &file, const std::vector<ImageHeader> &images) {
  for (const ImageHeader &image : images) {
    if (image.size == transforms.estimate.frameSize) continue;
    throw Failure(ExitCode::Usage, image.path.string() + ": has " + sizeText(image.size) + " pixels, but " + file +
                                       " holds for images of " + sizeText(transforms.estimate.frameSize) +
                                       "; resize the image, or estimate transforms for its size");
  }
}

void checkOrder(const TransformsFile &transforms, const std::string &file, const std::vector<ImageHeader> &images) {
  const std::size_t frames = transforms.estimate.frames.size();
  if (images.size() != frames) {
    throw Failure(ExitCode::Usage,
                  file + ": is about " + std::to_string(frames) + (frames == 1 ? " frame, but " : " frames, but ") +
                      std::to_string(images.size()) + (images.size() == 1 ? " image is given" : " images are given") +
                      "; give one for each frame");
  }
  for (std::size_t i = 0; i < images.size(); ++i) {
    const std::string name = images[i].path.filename().string();
    if (i < transforms.names.size() && transforms.names[i] == name) continue;
    const auto other = std::find(transforms.names.begin(), transforms.names.end(), name);
    if (other == transforms.names.end()) continue;
    throw Failure(ExitCode::Usage, file + ": has " + name + " as frame " +
                                       std::to_string(other - transforms.names.begin() + 1) + ", but it is given as " +
                                       std::to_string(i + 1) + "; give the images in the order of the frames");
  }
}

std::string transformsText(const StackEstimate &stack, const std::vector<std::string> &photos, int threads) {
  TransformsFile transforms{.estimate = stack, .threads = threads};
  for (const std::string &photo : photos)
    transforms.names.push_back(std::filesystem::path(photo).filename().string());
  Result<std::string> text = toJson(transforms);
  if (text) return *std::move(text);
  if (text.error().code == ErrorCode::OutOfMemory) throw std::bad_alloc();
  throw Failure(ExitCode::Failed, "the transforms cannot be written: " + text.error().message);
}

} // namespace vindrel::cli
