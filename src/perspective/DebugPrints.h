// Text output of matrices and points, for whoever debugs a straightening.
#pragma once

#include <cstdio>

namespace vindrel {

// Three lines of three values (m: 9, row-major). Returns what the last character's output returned: the newline, or
// EOF.
int printMatrix(std::FILE *out, const double *m);

// Appends to the named file the two strokes of a diagonal cross of half size d round (x, y), each stroke as two lines
// "x y z" and an empty one. Returns the result of closing the file; EOF when it cannot be opened.
int appendCross(const char *fileName, int d, double x, double y, float z);

} // namespace vindrel
