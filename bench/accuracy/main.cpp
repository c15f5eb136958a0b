// The accuracy bench: simulated brackets of photographs, placed by the library and by OpenCV, against the known truth.
#include "Cases.h"
#include "Checks.h"
#include "JsonReport.h"
#include "Method.h"
#include "Options.h"
#include "RunCases.h"
#include "Statistics.h"
#include "Tables.h"

#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>

namespace vindrel::accuracy {
namespace {

constexpr int kNothingToMeasure = 77; // what CTest takes for skipped

// Groups with a method that is asked for; the others of such a group come along.
std::vector<MethodGroup> chosenGroups(const Options &options) {
  std::vector<MethodGroup> groups = {ourMethods(), siftPeers(), orbPeers(), correlationPeer(options.fullEcc),
                                     medianThresholdPeer()};
  const auto asked = [&](const std::string &name) {
    return options.onlyMethod.empty() ||
           std::any_of(options.onlyMethod.begin(), options.onlyMethod.end(),
                       [&](const std::string &part) { return name.find(part) != std::string::npos; });
  };
  std::erase_if(groups,
                [&](const MethodGroup &group) { return std::none_of(group.names.begin(), group.names.end(), asked); });
  return groups;
}

int run(const Options &options) {
  const std::vector<Case> cases = plannedCases(options);
  const std::vector<MethodGroup> groups = chosenGroups(options);
  if (cases.empty() || groups.empty()) {
    std::fprintf(stderr,
                 "bench_accuracy: nothing to measure: no photograph in %s (package lomiri-wallpapers-16.04) or method "
                 "is left\n",
                 options.photographFolder.c_str());
    return kNothingToMeasure;
  }
  std::vector<std::string> methods;
  for (const MethodGroup &group : groups)
    methods.insert(methods.end(), group.names.begin(), group.names.end());

  const Measurements measured = runCases(cases, groups, options.jobs);

  std::printf("%zu stacks, %s, seed %llu, OpenCV %s. Errors in pixels, mean over 9 x 7 points of the frame.\n",
              cases.size(),
              options.megapixels > 0 ? (std::to_string(options.megapixels).substr(0, 4) + " megapixels at most").c_str()
                                     : "photographs at full size",
              static_cast<unsigned long long>(options.seed), CV_VERSION);
  printTables(cases, methods, measured);
  std::printf("\n");
  for (const MethodGroup &group : groups)
    std::printf("%s\n", group.note.c_str());
  if (!options.jsonFile.empty() && !writeJson(options, cases, methods, measured)) {
    std::fprintf(stderr, "bench_accuracy: cannot write %s\n", options.jsonFile.c_str());
    return 1;
  }
  if (!options.check) return 0;
  const std::vector<std::string> failures = failedChecks(cases, methods, measured);
  for (const std::string &failure : failures)
    std::fprintf(stderr, "bench_accuracy: %s\n", failure.c_str());
  return failures.empty() ? 0 : 1;
}

} // namespace
} // namespace vindrel::accuracy

int main(int argc, char **argv) {
  using namespace vindrel::accuracy;
  int exitCode = 0;
  const std::optional<Options> options = parseOptions(argc, argv, &exitCode);
  if (!options) return exitCode;
  try {
    return run(*options);
  } catch (const std::exception &error) {
    std::fprintf(stderr, "bench_accuracy: %s\n", error.what());
    return 1;
  }
}
