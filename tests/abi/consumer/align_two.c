/* Aligns two frames of a made-up scene, the second darker and seen 12 pixels further to the right and 7 further down,
 * and checks that afterwards they show the same thing at the same place. Exits 0 when they do. */
#include <VindrelRegLib.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { kWidth = 640, kHeight = 480, kShiftX = 12, kShiftY = 7, kBlob = 11 };

/* Brightness in 0..255 of the scene's grid point, the same on every machine. */
static unsigned gridValue(unsigned x, unsigned y) {
  unsigned hash = x * 73856093u ^ y * 19349663u;
  hash = (hash ^ hash >> 13) * 1274126177u;
  return (hash ^ hash >> 16) & 255u;
}

/* Soft blobs about kBlob pixels wide: grid values, interpolated. */
static unsigned sceneValue(unsigned x, unsigned y) {
  const unsigned column = x / kBlob, row = y / kBlob, fx = x % kBlob, fy = y % kBlob;
  const unsigned above = gridValue(column, row) * (kBlob - fx) + gridValue(column + 1, row) * fx;
  const unsigned below = gridValue(column, row + 1) * (kBlob - fx) + gridValue(column + 1, row + 1) * fx;
  return (above * (kBlob - fy) + below * fy) / (kBlob * kBlob);
}

static void drawFrame(uint8_t *frame, unsigned left, unsigned top, unsigned percent) {
  for (unsigned y = 0; y < kHeight; ++y)
    for (unsigned x = 0; x < kWidth; ++x)
      memset(frame + 3 * (y * (size_t)kWidth + x), (int)(sceneValue(x + left, y + top) * percent / 100), 3);
}

/* Mean difference in brightness between the first frame, dimmed as the second is, and the second. */
static double meanDifference(const uint8_t *images, int width, int height) {
  const uint8_t *first = images, *second = images + 3 * (size_t)width * (size_t)height;
  double sum = 0;
  for (size_t i = 0; i < 3 * (size_t)width * (size_t)height; ++i)
    sum += abs(first[i] * 70 / 100 - second[i]);
  return sum / (3.0 * width * height);
}

int main(void) {
  uint8_t *images = malloc(2 * 3 * (size_t)kWidth * kHeight);
  if (!images) return 1;
  drawFrame(images, 0, 0, 100);
  drawFrame(images + 3 * (size_t)kWidth * kHeight, kShiftX, kShiftY, 70);
  const double before = meanDifference(images, kWidth, kHeight);

  int size[2] = {0, 0};
  const int result = rt_align(2, 64, 48, 0, 2, kWidth, kHeight, 3, 8, size, images, NULL);
  if (result < 0 || size[0] <= kWidth / 2 || size[1] <= kHeight / 2) {
    printf("rt_align returned %d, size %d x %d\n", result, size[0], size[1]);
    return 1;
  }
  const double after = meanDifference(images, size[0], size[1]);
  printf("rt_align returned %d, size %d x %d, mean difference %.2f before and %.2f after\n", result, size[0], size[1],
         before, after);
  free(images);
  const int cropped = abs(size[0] - (kWidth - kShiftX)) <= 2 && abs(size[1] - (kHeight - kShiftY)) <= 2;
  return cropped && after < before / 8 ? 0 : 1;
}
