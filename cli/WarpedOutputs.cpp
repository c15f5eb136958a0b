#include "WarpedOutputs.h"

#include "Cancel.h"
#include "Failure.h"
#include "WriteImage.h"

#include <algorithm>
#include <fstream>
#include <memory>

namespace vindrel::cli {
namespace {

// Photographs with an output: those at hand first, which saves reading them again.
std::vector<int> writingOrder(const FrameReader &reader, const std::vector<Output> &outputs) {
  std::vector<int> order;
  for (int i = 0; i < reader.count(); ++i)
    if (!outputs[static_cast<std::size_t>(i)].target.empty()) order.push_back(i);
  std::stable_partition(order.begin(), order.end(), [&](int index) { return reader.holds(index); });
  return order;
}

} // namespace

Filter filterNamed(const std::string &name) {
  if (name == "nearest") return Filter::Nearest;
  if (name == "bicubic") return Filter::Bicubic;
  return name == "lanczos" ? Filter::Lanczos3 : Filter::Bilinear;
}

void WarpedOutputs::write(FrameReader &reader, const StackEstimate &stack, const std::vector<Output> &outputs,
                          const WarpSettings &settings, const std::function<void(double)> &progress) {
  const std::vector<int> order = writingOrder(reader, outputs);
  std::vector<std::vector<std::string>> losses(outputs.size());
  std::unique_ptr<Pixels> out;
  for (std::size_t done = 0; done < order.size(); ++done) {
    throwIfCancelled();
    progress(static_cast<double>(done) / static_cast<double>(order.size()));
    const auto index = static_cast<std::size_t>(order[done]);
    const Output &output = outputs[index];
    const ImageHeader &photo = reader.header(order[done]);
    const ImageView picture = reader.frame(order[done]).view();
    if (!out || out->view().channels != photo.channels || out->view().depth != photo.depth) {
      out.reset(); // before the next one comes
      out = std::make_unique<Pixels>(settings.part.size(), photo.channels, photo.depth);
    }
    if (const Result<void> warped =
            warpFrame(stack, output.frame, picture, settings.part, out->mutableView(), settings.warp);
        !warped) {
      throw Failure(ExitCode::Failed, photo.path.string() + ": could not be resampled: " + warped.error().message);
    }
    OutputFile &file = files_.emplace_back(output.target, settings.overwrite);
    losses[index] = writeImage(file, out->view(), photo, output.format);
    file.finish();
  }
  for (const std::vector<std::string> &ofPhoto : losses)
    losses_.insert(losses_.end(), ofPhoto.begin(), ofPhoto.end());
}

void WarpedOutputs::copy(const ImageHeader &photo, const Output &output, bool overwrite) {
  OutputFile &file = files_.emplace_back(output.target, overwrite);
  std::ifstream source(photo.path, std::ios::binary);
  std::vector<char> block(std::size_t{1} << 20);
  while (source.read(block.data(), static_cast<std::streamsize>(block.size())) || source.gcount() > 0) {
    file.append(block.data(), static_cast<std::size_t>(source.gcount()));
  }
  if (!source.eof()) throw Failure(ExitCode::Unreadable, photo.path.string() + ": cannot be read to its end");
  file.finish();
}

void WarpedOutputs::writeText(const std::filesystem::path &target, const std::string &text, bool overwrite) {
  OutputFile &file = files_.emplace_back(target, overwrite);
  file.append(text.data(), text.size());
  file.finish();
}

void WarpedOutputs::publish() {
  throwIfCancelled();
  for (OutputFile &file : files_)
    file.publish();
}

} // namespace vindrel::cli
