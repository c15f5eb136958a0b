#include "driver/Estimate.h"

#include "driver/ProfileLog.h"

#include <algorithm>

namespace vindrel {
namespace {

Status findLinks(const StackPairs &pairs, int threads, Links &links) {
  if (pairs.count < 2) return Status::Ok;
  const double start = elapsedSeconds();
  for (int rank = 1; rank < pairs.count; ++rank) {
    if (const Status status = links.find(rank, pairs.pairs(rank)); status != Status::Ok) return status;
  }
  const Status status = links.secondChances();
  profileLog(0, "Time taken after feature matching and finding transform for %d processors is %f\n", threads,
             pairs.seconds + elapsedSeconds() - start);
  return status;
}

} // namespace

Estimate linkStack(const StackPairs &pairs, const LinkStackSettings &settings) {
  Estimate estimate;
  const int count = pairs.count;
  const Size frame = pairs.frame;
  const auto room = static_cast<std::size_t>(std::max(count, 1));
  estimate.status = pairs.status;
  estimate.frame = frame;
  estimate.model = settings.model;
  if (pairs.status != Status::Ok) return estimate;
  estimate.rankOrder = Buffer<std::uint32_t>::zeroed(room);
  estimate.evidence = Buffer<LinkEvidence>::zeroed(room);
  estimate.consensus = Buffer<bool>::zeroed(room);
  estimate.links = Buffer<Trans8>::zeroed(room);
  estimate.transforms = TransformTable(settings.model, static_cast<int>(room));
  Links links(count, {.model = settings.model,
                      .frame = frame,
                      .pairBudget = pairBudgetFor(frame),
                      .threads = settings.threads,
                      .window = pairs.window,
                      .random = settings.random,
                      .polish = settings.polish});
  const auto fail = [&](Status status) {
    estimate.status = status;
    return std::move(estimate);
  };
  if (!estimate.rankOrder || !estimate.evidence || !estimate.consensus || !estimate.links ||
      !estimate.transforms.allocate() || !links.allocate()) {
    return fail(Status::OutOfMemory);
  }
  std::copy(pairs.rankOrder.begin(), pairs.rankOrder.end(), estimate.rankOrder.begin());
  const std::uint32_t *rankOrder = estimate.rankOrder.data();
  if (const Status status = findLinks(pairs, settings.threads, links); status != Status::Ok) return fail(status);
  for (int rank = 1; rank < count; ++rank) {
    estimate.evidence[static_cast<std::size_t>(rank)] = links.evidence(rank);
    estimate.consensus[static_cast<std::size_t>(rank)] = links.consensus(rank);
    Trans8 &link = estimate.links[static_cast<std::size_t>(rank)];
    link = kIdentity8;
    if (links.found(rank)) std::copy_n(links.transform(rank), link.size(), link.begin());
  }

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
    window = {.size = frame};
  }
  if (settings.keepFrameSize) window.size = frame;
  estimate.window = window;
  estimate.cropped = (frame.width - window.size.width) + (frame.height - window.size.height);
  return estimate;
}

Estimate estimateTransforms(FrameSource &frames, const PairSettings &pairs, const LinkStackSettings &links) {
  return linkStack(collectStackPairs(frames, pairs), links);
}

} // namespace vindrel
