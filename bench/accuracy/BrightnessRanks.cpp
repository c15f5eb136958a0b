#include "BrightnessRanks.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <numeric>

namespace vindrel::accuracy {
namespace {

cv::Mat greyFrame(const ImageView &frame) {
  const bool bytes = frame.depth == SampleDepth::U8;
  // OpenCV has no matrix over constant memory; nothing writes to this one.
  const cv::Mat colour(
      frame.size.height, frame.size.width, bytes ? CV_8UC3 : CV_16UC3, const_cast<void *>(frame.samples),
      static_cast<std::size_t>(frame.rowStride) * static_cast<std::size_t>(bytesPerSample(frame.depth)));
  cv::Mat grey;
  cv::cvtColor(colour, grey, cv::COLOR_RGB2GRAY);
  if (!bytes) grey.convertTo(grey, CV_8U, 1.0 / 257);
  return grey;
}

} // namespace

GreyStack greyStack(const Bracket &bracket) {
  GreyStack stack;
  std::vector<double> brightness;
  for (int i = 0; i < static_cast<int>(bracket.frames.size()); ++i) {
    stack.frames.push_back(greyFrame(bracket.view(i)));
    brightness.push_back(cv::mean(stack.frames.back())[0]);
  }
  stack.byRank.resize(bracket.frames.size());
  std::iota(stack.byRank.begin(), stack.byRank.end(), 0);
  std::stable_sort(stack.byRank.begin(), stack.byRank.end(), [&](int a, int b) {
    return brightness[static_cast<std::size_t>(a)] > brightness[static_cast<std::size_t>(b)];
  });
  return stack;
}

} // namespace vindrel::accuracy
