// The grid of tiles in which a frame's features are found, so that detection, matching and their buffers stay bounded
// however large the frame is.
#pragma once

#include "base/ImageView.h"

namespace vindrel {

constexpr int kTileSide = 1024;          // pixels
constexpr int kExtraTileRemainder = 256; // an uncovered strip wider than this gets a column or row of its own, pixels
constexpr int kCentringThreshold = 15;   // horizontal slack up to this is left where it is, pixels
constexpr int kTileOverlap = 20;         // how far a tile's detection area reaches into its neighbours, pixels

struct Area {
  int x = 0, y = 0;          // top-left pixel
  int width = 0, height = 0; // pixels
};

struct TileGrid {
  Size frame;
  int columns = 1, rows = 1;
  int tileWidth = 0, tileHeight = 0;
  int shiftX = 0, shiftY = 0; // how far the whole grid was moved from the frame's corner, pixels
  int pairCap = 0;            // pairs kept per tile

  int count() const { return columns * rows; }
  // The tile's own area; may reach past the frame's right and bottom edges.
  Area tile(int index) const;
  // The tile clipped to the frame and extended over its neighbours, so that features near a border are found by both.
  Area detectionArea(int index) const;
};

// pairBudget: pairs wanted of the whole frame.
TileGrid makeTileGrid(Size frame, int pairBudget);

} // namespace vindrel
