#include "driver/Estimate.h"

#include "driver/ProfileLog.h"
#include "driver/Ranking.h"
#include "driver/TileGrid.h"
#include "driver/TilePass.h"
#include "transform/Matrix33.h"

#include <algorithm>

namespace vindrel {
namespace {

constexpr int kLeastPairBudget = 20;
constexpr int kPairBudgetShift = 4; // a pair for every 16 pixels of width and height

Status rankFrames(FrameSource &frames, const EstimateSettings &settings, std::uint32_t *rankOrder) {
  const auto count = static_cast<std::size_t>(frames.count());
  const FrameFormat format = frames.format();
  const std::int64_t frameSamples = packedSamples(format.size, format.channels);
  Buffer<RankEntry> entries = Buffer<RankEntry>::zeroed(count);
  if (!entries) return Status::OutOfMemory;
  for (std::size_t i = 0; i < count; ++i) {
    const ImageView frame = frames.frame(static_cast<int>(i));
    const std::int64_t own =
        (frame.size.height - 1) * frame.rowStride + static_cast<std::int64_t>(frame.size.width) * frame.channels;
    const std::int64_t readable =
        settings.readableSamples > 0 ? settings.readableSamples - static_cast<std::int64_t>(i) * frameSamples : own;
    entries[i] = {.index = static_cast<std::int64_t>(i), .sum = sumBrightness(frame, settings.brightness, readable)};
  }
  rankByBrightness(entries.data(), frames.count(), rankOrder);
  return Status::Ok;
}

Status findLinks(FrameSource &frames, const EstimateSettings &settings, int pairBudget, const std::uint32_t *rankOrder,
                 Links &links) {
  const int count = frames.count();
  if (count < 2) return Status::Ok;
  const TileGrid grid = makeTileGrid(frames.format().size, pairBudget);
  TilePass pass(grid, {.threads = settings.threads,
                       .window = {.rangeX = settings.maxShiftX, .rangeY = settings.maxShiftY},
                       .progress = settings.progress,
                       .passes = count - 1});
  if (!pass.allocate()) return Status::OutOfMemory;
  const double start = elapsedSeconds();
  for (int rank = 1; rank < count; ++rank) {
    const ImageView brighter = frames.frame(static_cast<int>(rankOrder[rank - 1]));
    const ImageView darker = frames.frame(static_cast<int>(rankOrder[rank]));
    if (const Status status = pass.run(rank, brighter, darker); status != Status::Ok) return status;
    if (const Status status = pass.retryWithNeighbours(); status != Status::Ok) return status;
    profileLog(0, "Time taken after feature matching for %d processors is %f\n", settings.threads,
               elapsedSeconds() - start);
    if (const Status status = links.find(rank, pass.collectPairs()); status != Status::Ok) return status;
  }
  const Status status = links.secondChances();
  profileLog(0, "Time taken after feature matching and finding transform for %d processors is %f\n", settings.threads,
             elapsedSeconds() - start);
  return status;
}

// The chain of links as matrices in double precision: what a caller is told of each frame.
void chainMatrices(const Links &links, int frames, std::array<double, 9> *matrices) {
  matrices[0] = transformToMatrix(kIdentity8);
  for (int rank = 1; rank < frames; ++rank) {
    Trans8 link = kIdentity8;
    if (links.found(rank)) std::copy_n(links.transform(rank), link.size(), link.begin());
    Mat33 product = multiply(transformToMatrix(link), matrices[rank - 1]);
    for (double &value : product)
      value /= product[8] != 0 ? product[8] : 1;
    matrices[rank] = product;
  }
}

} // namespace

int pairBudgetFor(Size frame) {
  return std::max(kLeastPairBudget,
                  static_cast<int>((static_cast<std::int64_t>(frame.width) + frame.height) >> kPairBudgetShift));
}

Estimate estimateTransforms(FrameSource &frames, const EstimateSettings &settings) {
  Estimate estimate;
  const int count = frames.count();
  const Size frame = frames.format().size;
  const int pairBudget = pairBudgetFor(frame);
  const auto room = static_cast<std::size_t>(std::max(count, 1));
  estimate.frame = frame;
  estimate.model = settings.model;
  estimate.rankOrder = Buffer<std::uint32_t>::zeroed(room);
  estimate.evidence = Buffer<LinkEvidence>::zeroed(room);
  estimate.consensus = Buffer<bool>::zeroed(room);
  estimate.frameFromReference = Buffer<std::array<double, 9>>::zeroed(room);
  estimate.transforms = TransformTable(settings.model, static_cast<int>(room));
  Links links(count, {.model = settings.model,
                      .frame = frame,
                      .pairBudget = pairBudget,
                      .threads = settings.threads,
                      .random = settings.random,
                      .polish = settings.polish});
  const auto fail = [&](Status status) {
    estimate.status = status;
    return std::move(estimate);
  };
  if (!estimate.rankOrder || !estimate.evidence || !estimate.consensus || !estimate.frameFromReference ||
      !estimate.transforms.allocate() || !links.allocate()) {
    return fail(Status::OutOfMemory);
  }
  const std::uint32_t *rankOrder = estimate.rankOrder.data();
  if (const Status status = rankFrames(frames, settings, estimate.rankOrder.data()); status != Status::Ok) {
    return fail(status);
  }
  if (const Status status = findLinks(frames, settings, pairBudget, rankOrder, links); status != Status::Ok) {
    return fail(status);
  }
  for (int rank = 1; rank < count; ++rank) {
    estimate.evidence[static_cast<std::size_t>(rank)] = links.evidence(rank);
    estimate.consensus[static_cast<std::size_t>(rank)] = links.consensus(rank);
  }
  chainMatrices(links, count, estimate.frameFromReference.data());

  TransformTable &table = estimate.transforms;
  fillTable(links, settings.model, rankOrder, count, table);
  CropWindow window = windowFromCorners(frame, rankOrder, count, settings.model, table);
  if (settings.model == LinkModel::Perspective && window.size.width > 0 && window.size.height > 0) {
    const RefinedWindow refined = refineWindow(frame, rankOrder, count, table, window);
    if (refined.status != Status::Ok) return fail(refined.status);
    window = refined.window;
  }
  if (worthKeeping(window, frame)) {
    if (settings.model == LinkModel::Perspective) {
      const PointD topLeft{static_cast<double>(-window.offsetX), static_cast<double>(-window.offsetY)};
      rebuildAsChains(rankOrder, count, topLeft, {topLeft.x + window.size.width, topLeft.y + window.size.height},
                      table);
    }
    window = tightenWindow(frame, rankOrder, count, settings.model, table, window);
  }
  if (!worthKeeping(window, frame)) {
    estimate.abandoned = true;
    for (int rank = 1; rank < count; ++rank)
      table.setIdentity(rankOrder[rank]);
    std::fill(estimate.frameFromReference.begin(), estimate.frameFromReference.end(), transformToMatrix(kIdentity8));
    window = {.size = frame};
  }
  if (settings.keepFrameSize) window.size = frame;
  estimate.window = window;
  estimate.cropped = (frame.width - window.size.width) + (frame.height - window.size.height);
  return estimate;
}

} // namespace vindrel
