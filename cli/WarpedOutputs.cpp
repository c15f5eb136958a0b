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

Size outputSize(const StackEstimate &stack, const WarpSettings &settings) {
  return settings.part.value_or(stack.common).size();
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
  const auto outputOf = [&](std::size_t i) -> const Output & { return outputs[static_cast<std::size_t>(order[i])]; };
  std::unique_ptr<Pixels> out;
  for (std::size_t finished = 0; finished < order.size();) {
    // The pixels of those at hand; of one photograph, once these are through.
    std::size_t warped = finished;
    do {
      throwIfCancelled();
      progress(static_cast<double>(warped) / static_cast<double>(order.size()));
      writeWarped(reader, order[warped], stack, outputOf(warped), settings, out);
    } while (++warped < order.size() && reader.holds(order[warped]));
    // Metadata is written by way of copies of the file, which need not come on top of pictures.
    out.reset();
    reader.release();
    for (; finished < warped; ++finished) {
      OutputFile &file = files_[files_.size() - (warped - finished)];
      losses[static_cast<std::size_t>(order[finished])] =
          writeMetadata(file, outputSize(stack, settings), reader.header(order[finished]), outputOf(finished).format);
      file.finish();
    }
  }
  for (const std::vector<std::string> &ofPhoto : losses)
    losses_.insert(losses_.end(), ofPhoto.begin(), ofPhoto.end());
}

void WarpedOutputs::writeWarped(FrameReader &reader, int index, const StackEstimate &stack, const Output &output,
                                const WarpSettings &settings, std::unique_ptr<Pixels> &out) {
  const ImageHeader &photo = reader.header(index);
  const ImageView picture = reader.frame(index).view();
  if (!out || out->view().channels != photo.channels || out->view().depth != photo.depth) {
    out.reset(); // before the next one comes
    out = std::make_unique<Pixels>(outputSize(stack, settings), photo.channels, photo.depth);
  }
  const MutableImageView place = out->mutableView();
  const Result<void> warped = settings.part
                                  ? warpFrame(stack, output.frame, picture, *settings.part, place, settings.warp)
                                  : warpFrame(stack, output.frame, picture, place, settings.warp);
  if (!warped) {
    throw Failure(ExitCode::Failed, photo.path.string() + ": could not be resampled: " + warped.error().message);
  }
  writePixels(files_.emplace_back(output.target, settings.overwrite), out->view(), photo, output.format);
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
