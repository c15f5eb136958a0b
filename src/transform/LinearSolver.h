// Dense linear systems in double precision.
#pragma once

namespace vindrel {

// Solves A x = b by Gaussian elimination with row exchanges and back substitution. A (n x n, row-major) and b are
// destroyed. False when a pivot other than the last is zero or not a number; x is then not written. The last pivot is
// not tested: a zero there yields an infinite or undefined x and true. With n < 1 nothing is done and the result is
// true.
//
// The pivot search is not the usual partial pivoting: a candidate that replaces the diagonal's magnitude is remembered
// by its signed value, so after a negative one any next row wins. Results downstream, which systems count as singular
// included, rest on this rule.
bool gaussEliminate(int n, double *A, double *b, double *x);

} // namespace vindrel
