// The standard report on a fit's progress, written to standard output.
#pragma once

#include "lmfit/LeastSquares.h"

namespace vindrel {

// What a report shows: bits of the print flags. With none set nothing is written.
enum PrintFlag : int {
  kPrintStage = 1,          // what the evaluation was made for
  kPrintParameters = 2,     // parameters and norm
  kPrintFinalResiduals = 4, // the residuals, at the end
  kPrintEveryResiduals = 8, // the residuals, after each evaluation
};

void printFit(const FitProgress &progress);

} // namespace vindrel
