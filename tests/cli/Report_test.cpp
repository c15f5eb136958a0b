// The lines that users and scripts read, character for character.
#include "Report.h"

#include <gtest/gtest.h>

namespace vindrel::test {
namespace {

using cli::frameLine;
using cli::FrameReport;

FrameEstimate estimate(Verdict verdict, int pairs = 0, int inliers = 0, double rms = 0, const char *reason = "") {
  FrameEstimate result;
  result.verdict = verdict;
  result.pairs = pairs;
  result.inliers = inliers;
  result.rms = rms;
  result.reason = reason;
  return result;
}

TEST(FrameLine, OfTheReferenceHasNoEvidence) {
  EXPECT_EQ(frameLine({"a.jpg", estimate(Verdict::Reference), {}}, 0), "a.jpg  reference");
}

TEST(FrameLine, OfAnAlignedFrameTellsPairsInliersAndRms) {
  const FrameEstimate found = estimate(Verdict::Found, 412, 377, 0.41249);
  EXPECT_EQ(frameLine({"b.jpg", found, {}}, 8), "b.jpg     aligned  412 pairs  377 inliers  RMS 0.412 px");
}

TEST(FrameLine, OfALostFrameSaysNotAlignedAndWhy) {
  const FrameEstimate lost = estimate(Verdict::NotFound, 7, 3, 1, "too few pairs");
  EXPECT_EQ(frameLine({"c.jpg", lost, {}}, 0), "c.jpg  NOT ALIGNED (too few pairs)  7 pairs  3 inliers  RMS 1.000 px");
}

TEST(FrameLine, OfAShiftedFrameTellsTheShiftInPlaceOfPairs) {
  FrameEstimate found = estimate(Verdict::Found);
  found.frameFromReference = {1, 0, 12, 0, 1, -3, 0, 0, 1};
  EXPECT_EQ(frameLine({"b.jpg", found, 0.5, Model::Shift}, 0),
            "b.jpg  aligned  shift +12 -3 px  corner error 0.500 px");
  FrameEstimate lost = estimate(Verdict::NotFound, 0, 0, 0, "why");
  EXPECT_EQ(frameLine({"c.jpg", lost, {}, Model::Shift}, 0), "c.jpg  NOT ALIGNED (why)  shift +0 +0 px");
  EXPECT_EQ(frameLine({"a.jpg", estimate(Verdict::Reference), {}, Model::Shift}, 0), "a.jpg  reference");
}

TEST(FrameLine, EndsWithTheCornerErrorWhereTheTruthIsKnown) {
  EXPECT_EQ(frameLine({"a.jpg", estimate(Verdict::Reference), 0.0}, 0), "a.jpg  reference  corner error 0.000 px");
}

TEST(Alignment, EndsWithTheWorstCornerErrorWhereTheTruthIsKnown) {
  const FrameReport frames[] = {{"a.jpg", estimate(Verdict::Reference), 0.0},
                                {"long.jpg", estimate(Verdict::Found, 9, 8), 0.75},
                                {"c.jpg", estimate(Verdict::Found, 9, 8), 0.5}};
  testing::internal::CaptureStdout();
  cli::printAlignment(frames);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "a.jpg     reference  corner error 0.000 px\n"
            "long.jpg  aligned  9 pairs  8 inliers  RMS 0.000 px  corner error 0.750 px\n"
            "c.jpg     aligned  9 pairs  8 inliers  RMS 0.000 px  corner error 0.500 px\n"
            "worst corner error 0.750 px (long.jpg)\n");
}

} // namespace
} // namespace vindrel::test
