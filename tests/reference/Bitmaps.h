// Threshold bitmaps by their definitions, pixel by pixel.
#pragma once

#include <cstdint>
#include <vector>

namespace reference {

// The first three samples of a pixel, the last one repeated where there are fewer; the high byte of 16-bit samples.
template <class Sample>
int greyOfPixel(const Sample *pixel, int channels) {
  int s[3];
  for (int i = 0; i < 3; ++i)
    s[i] = pixel[i < channels ? i : channels - 1] >> (8 * (sizeof(Sample) - 1));
  return (54 * s[0] + 183 * s[1] + 19 * s[2]) >> 8;
}

struct Plane { // one value a pixel: grey values, or bits
  int width = 0, height = 0;
  std::vector<int> values;

  int at(int x, int y) const { return values[static_cast<std::size_t>(y) * width + x]; }
};

template <class Sample>
Plane greyPlane(const Sample *pixels, int channels, int width, int height) {
  Plane plane{width, height, {}};
  for (long long i = 0; i < static_cast<long long>(width) * height; ++i)
    plane.values.push_back(greyOfPixel(pixels + i * channels, channels));
  return plane;
}

inline Plane bitsAbove(const Plane &grey, int threshold) {
  Plane bits{grey.width, grey.height, {}};
  for (int value : grey.values)
    bits.values.push_back(value > threshold);
  return bits;
}

// Weights of one axis round the centre: 1 2 1 in the interior, the last of them dropped at the end. Two-dimensional
// weights are products of these, in integer fractions of the sum for the three shapes there are.
inline Plane reduced(const Plane &in) {
  const int interior[3][3] = {{1, 2, 1}, {2, 4, 2}, {1, 2, 1}};
  const int noRight[3][3] = {{21, 43, 0}, {43, 85, 0}, {21, 43, 0}};
  const int noLower[3][3] = {{21, 43, 21}, {43, 85, 43}, {0, 0, 0}};
  const int corner[3][3] = {{28, 57, 0}, {57, 114, 0}, {0, 0, 0}};
  Plane out{in.width / 2, in.height / 2, {}};
  for (int r = 0; r < out.height; ++r)
    for (int c = 0; c < out.width; ++c) {
      const bool lastColumn = c == out.width - 1, lastRow = r == out.height - 1;
      const auto &kernel = lastColumn ? (lastRow ? corner : noRight) : (lastRow ? noLower : interior);
      int sum = 0;
      for (int dy = 0; dy < 3; ++dy)
        for (int dx = 0; dx < 3; ++dx)
          if (kernel[dy][dx] != 0) sum += kernel[dy][dx] * in.at(2 * c + dx, 2 * r + dy);
      out.values.push_back(sum >> (lastColumn || lastRow ? 8 : 4));
    }
  return out;
}

// moving(x, y) where 1 <= x < width and 1 <= y < height, else 0.
inline int movingBit(const Plane &moving, long long x, long long y) {
  return x >= 1 && x < moving.width && y >= 1 && y < moving.height ? moving.at(static_cast<int>(x), static_cast<int>(y))
                                                                   : 0;
}

inline long long differingBits(const Plane &bits, const Plane &moving, int shiftX, int shiftY) {
  long long count = 0;
  for (int y = 0; y < bits.height; ++y)
    for (int x = 0; x < bits.width; ++x)
      count += bits.at(x, y) != movingBit(moving, 0LL + x + shiftX, 0LL + y + shiftY);
  return count;
}

struct Edges {
  long long reference = 0, moving = 0, same = 0, opposite = 0;
};

// Steps from pixel (x - stepX, y - stepY) to (x, y), wherever both bitmaps have both pixels, column 0 of the moving one
// and row 0 (where the step is within the row) aside.
inline Edges meetingEdges(const Plane &bits, const Plane &moving, int shiftX, int shiftY, int stepX, int stepY) {
  Edges edges;
  for (int y = 1; y < bits.height; ++y)
    for (int x = 1; x < bits.width; ++x) {
      const long long mx = 0LL + x + shiftX, my = 0LL + y + shiftY;
      if (mx < 2 || mx >= moving.width || my < 2 || my >= moving.height) continue;
      const int a = bits.at(x, y) - bits.at(x - stepX, y - stepY);
      const int b = moving.at(static_cast<int>(mx), static_cast<int>(my)) -
                    moving.at(static_cast<int>(mx) - stepX, static_cast<int>(my) - stepY);
      edges.reference += a != 0;
      edges.moving += b != 0;
      edges.same += a * b > 0;
      edges.opposite += a * b < 0;
    }
  return edges;
}

} // namespace reference
