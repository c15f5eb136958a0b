// Transforms as formulas on standard error, for diagnosis.
#pragma once

namespace vindrel {

// n == 8: a perspective transform; any other n: an affine one, of which 6 values are read. Returns what the stream's
// print call returned: the characters written, or a negative value.
int printTransform(const float *t, int n);

// The same for n doubles, narrowed first. Of fewer than 6 the missing ones print as 0.
int printTransform(const double *t, int n);

} // namespace vindrel
