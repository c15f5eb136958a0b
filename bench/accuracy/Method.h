// What every method under test does: from the frames of a bracket alone, where each lies on the reference.
#pragma once

#include "simulate/Bracket.h"

#include <functional>
#include <span>
#include <string>
#include <vector>

namespace vindrel::accuracy {

struct FrameResult {
  bool found = false;
  std::string reason; // why not found, where the method says so
  PlaneMap frameFromReference = kPlaneIdentity;
  int pairs = 0; // matches that the model was sought in, 0 where there are none
  int inliers = 0;
  double rms = 0;           // of the inliers, pixels; 0 where the method gives none
  double expectedError = 0; // the method's own prediction, pixels; 0 where it gives none
};

struct StackResult {
  std::string method;
  int reference = 0;               // index of the frame that the others are placed on
  std::vector<FrameResult> frames; // in the bracket's order; the reference's own entry is ignored
  double seconds = 0;              // processor time of the calling thread
};

// One or more methods that share work. Runs on the calling thread alone; called from several threads at once.
struct MethodGroup {
  std::vector<std::string> names; // of the results, in order
  std::string note;               // what a reader of the table must know of them
  std::function<std::vector<StackResult>(const Bracket &)> run;
};

MethodGroup ourMethods();
MethodGroup siftPeers();
MethodGroup orbPeers();
MethodGroup medianThresholdPeer();
MethodGroup correlationPeer(bool fullResolution); // true: several times slower and more exact

// Processor time of the calling thread, seconds: on a busy machine the wall clock would measure the others.
double threadSeconds();

} // namespace vindrel::accuracy
