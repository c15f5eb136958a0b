#include "driver/TileGrid.h"

#include <algorithm>

namespace vindrel {
namespace {

struct Division {
  int whole;  // tiles that fit
  int total;  // with one more for a wide remainder
  int length; // of each, pixels
};

Division divide(int length) {
  if (length < kTileSide) return {1, 1, length};
  const int whole = length / kTileSide;
  return {whole, whole + (length % kTileSide > kExtraTileRemainder ? 1 : 0), kTileSide};
}

} // namespace

TileGrid makeTileGrid(Size frame, int pairBudget) {
  const Division across = divide(frame.width);
  const Division down = divide(frame.height);
  TileGrid grid;
  grid.frame = frame;
  grid.columns = across.total;
  grid.rows = down.total;
  grid.tileWidth = across.length;
  grid.tileHeight = down.length;
  // Shared among the whole tiles only: an extra, overlapping tile brings pairs of its own.
  grid.pairCap = pairBudget / (across.whole * down.whole);
  // Centred across, but pushed down by the whole slack: the top strip, mostly sky, has the least to offer.
  const int slackX = frame.width - across.total * across.length;
  const int slackY = frame.height - down.total * down.length;
  grid.shiftX = slackX > kCentringThreshold ? slackX / 2 : 0;
  grid.shiftY = slackY > 0 ? slackY : 0;
  return grid;
}

Area TileGrid::tile(int index) const {
  return {index % columns * tileWidth + shiftX, index / columns * tileHeight + shiftY, tileWidth, tileHeight};
}

Area TileGrid::detectionArea(int index) const {
  const Area own = tile(index);
  int left = own.x;
  int top = own.y;
  int right = std::min(own.x + own.width, frame.width);
  int bottom = std::min(own.y + own.height, frame.height);
  if (left > kTileOverlap) left -= kTileOverlap;
  if (top > kTileOverlap) top -= kTileOverlap;
  if (right < frame.width - kTileOverlap) right += kTileOverlap;
  if (bottom < frame.height - kTileOverlap) bottom += kTileOverlap;
  return {left, top, right - left, bottom - top};
}

} // namespace vindrel
