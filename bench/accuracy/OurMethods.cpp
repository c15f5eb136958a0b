// The library itself, with both of its models.
#include "Method.h"
#include "vindrel/stack.hpp"

#include <stdexcept>

namespace vindrel::accuracy {
namespace {

StackResult runOurs(const Bracket &bracket, Model model, bool polish, const std::string &name) {
  std::vector<ImageView> views;
  for (int i = 0; i < static_cast<int>(bracket.frames.size()); ++i)
    views.push_back(bracket.view(i));
  const double start = threadSeconds();
  StackOptions options;
  options.model = model;
  options.polish = polish;
  options.threads = 1;
  const Result<StackEstimate> estimate = estimateStack(views, options);
  StackResult result;
  result.method = name;
  result.seconds = threadSeconds() - start;
  if (!estimate) throw std::runtime_error(name + " did not run: " + estimate.error().message);
  result.reference = estimate->reference;
  for (const FrameEstimate &frame : estimate->frames)
    result.frames.push_back({frame.verdict != Verdict::NotFound, frame.reason, frame.frameFromReference.matrix,
                             frame.pairs, frame.inliers, frame.rms, frame.expectedError});
  return result;
}

} // namespace

MethodGroup ourMethods() {
  const std::vector<std::string> names = {"vindrel perspective", "vindrel affine", "vindrel affine, unpolished"};
  return {names,
          "vindrel: with one thread; otherwise as the program sets it. Unpolished: the transforms of rt_align().",
          [names](const Bracket &bracket) {
            return std::vector<StackResult>{runOurs(bracket, Model::Perspective, true, names[0]),
                                            runOurs(bracket, Model::Affine, true, names[1]),
                                            runOurs(bracket, Model::Affine, false, names[2])};
          }};
}

} // namespace vindrel::accuracy
