#include "lmfit/PrintFit.h"

#include <cstdio>

namespace vindrel {

namespace {

void printStage(const FitProgress &progress) {
  switch (progress.stage) {
  case FitStage::Start:
    std::printf("fit: start");
    break;
  case FitStage::Gradient:
    std::printf("fit: gradient of iteration %d", progress.iteration);
    break;
  case FitStage::Step:
    std::printf("fit: step of iteration %d", progress.iteration);
    break;
  case FitStage::Terminated:
    std::printf("fit: end after %d evaluations", progress.evaluations);
    break;
  }
}

void printParameters(const FitProgress &progress) {
  std::printf(" parameters:");
  for (int i = 0; i < progress.parameterCount; ++i) {
    std::printf(" %.11g", progress.parameters[i]);
  }
  std::printf(" norm: %.11g", euclideanNorm(progress.residualCount, progress.residuals));
}

void printResiduals(const FitProgress &progress) {
  for (int i = 0; i < progress.residualCount; ++i) {
    std::printf("  residual %d: %.6g\n", i, progress.residuals[i]);
  }
}

} // namespace

void printFit(const FitProgress &progress) {
  const int flags = progress.printFlags;
  if ((flags & kPrintStage) != 0) printStage(progress);
  if ((flags & kPrintParameters) != 0) printParameters(progress);
  if ((flags & (kPrintStage | kPrintParameters)) != 0) std::printf("\n");
  const bool atEnd = progress.stage == FitStage::Terminated;
  if ((flags & kPrintEveryResiduals) != 0 || ((flags & kPrintFinalResiduals) != 0 && atEnd)) printResiduals(progress);
}

} // namespace vindrel
