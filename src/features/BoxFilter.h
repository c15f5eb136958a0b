// The box filters that stand for second derivatives of a Gaussian (Bay, Ess, Tuytelaars and Van Gool 2008, "Speeded-Up
// Robust Features (SURF)"), by the corners of their boxes in the integral image.
//
// The three lobes of Dxx stand side by side and share corners: with S(c) the sum of the filter's rows in all columns up
// to c, they are S(l1) - S(l0), S(l2) - S(l1) with weight -2, and S(l3) - S(l2). Dyy is the same on its side; the four
// squares of Dxy lie in the quadrants.
#pragma once

namespace vindrel {

// Columns (or rows) relative to the pixel. A box ends in the greater one and begins behind the smaller.
struct BoxFilter {
  int lobe[4];    // bounds of the lobes of Dxx and Dyy along their length
  int breadth[2]; // bounds of those lobes across it
  int square[4];  // bounds of the two squares of Dxy along either direction
  double weight;  // brings the response to the scale of the smallest filter
};

// The weights are 25/193 and 25/741 to sixteen and seventeen digits; the first is one unit in the last place off the
// nearest double, and stays so.
constexpr BoxFilter kSize9 = {{-5, -2, 1, 4}, {-3, 2}, {-4, -1, 0, 3}, 1.0};
constexpr BoxFilter kSize15 = {{-8, -3, 2, 7}, {-5, 4}, {-6, -1, 0, 5}, 0.1295336787564767};
constexpr BoxFilter kSize21 = {{-11, -4, 3, 10}, {-7, 6}, {-8, -1, 0, 7}, 0.033738191632928474};

// Corrects Dxy for the boxes being a coarse stand-in for Gaussian derivatives.
constexpr double kMixedWeight = 0.81;

// Responses are defined where the largest filter has this many pixels on every side.
constexpr int kResponseMargin = 20;

// Extrema are looked for one pixel further in, where there is a neighbour with a response on every side.
constexpr int kScanMargin = kResponseMargin + 1;

// Responses nearer to zero than this are noise.
constexpr float kLeastResponse = 10000.0f;

} // namespace vindrel
