// Could so many pairs agree on a transform by chance? Pairs of unrelated points lie anywhere in the search window, and
// of many a few lie within the tolerance of some transform that a few others determine. How many is answered by the
// number of false alarms of L. Moisan and B. Stival ("A probabilistic criterion to detect rigid point matches between
// two images and estimate the fundamental matrix", International Journal of Computer Vision 57(3), 2004): the expected
// number of transforms, among all that samples of the pairs determine, that as many unrelated pairs would agree on.
#pragma once

#include "features/PairMatcher.h"

namespace vindrel {

// The decimal logarithm of that number. pairs: matched; inliers: of them, within `tolerance` pixels of the transform,
// the `sample` that determine it included; window: within which partners were looked for. A narrow window makes
// agreement cheap: at its smallest any pair is near any other. Plus infinity when there are no more inliers than the
// sample.
double logFalseAlarms(int pairs, int inliers, int sample, double tolerance, MatchWindow window);

} // namespace vindrel
