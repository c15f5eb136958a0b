#include "Checks.h"

#include "Statistics.h"

#include <algorithm>
#include <cmath>

namespace vindrel::accuracy {
namespace {

// Shares of frames that must be aligned, of the easier stacks of the quick run. They are floors under which something
// is broken, not what the methods are capable of: a peer without doubts of its own has few to lose, the library leaves
// out what it is not sure of.
constexpr double kPeerShare = 0.9;
constexpr double kOurShare = 0.75;
// Median distance of frames from the reference before alignment, pixels: below, leaving frames alone would pass.
constexpr double kLeastMotion = 2.0;

constexpr const char *kGoodPeer = "SIFT + MAGSAC homography";
constexpr const char *kOurPerspective = "vindrel perspective";
constexpr const char *kOurAffine = "vindrel affine";

bool has(const std::vector<std::string> &methods, const std::string &method) {
  return std::find(methods.begin(), methods.end(), method) != methods.end();
}

// motionLimit: the most general motion that the method's model holds.
void checkAlignment(const std::vector<Case> &cases, const std::string &method, Motion motionLimit,
                    const Measurements &measured, bool ours, std::vector<std::string> *failures) {
  const Statistics s = statisticsOf(measured.rows, [&](const Row &row) {
    return row.method == method && cases[row.caseIndex].bracket.motion <= motionLimit;
  });
  if (s.aligned < (ours ? kOurShare : kPeerShare) * s.frames)
    failures->push_back(method + " aligns only " + std::to_string(s.aligned) + " of " + std::to_string(s.frames) +
                        " frames");
  if (ours && s.wrong > 0)
    failures->push_back(method + " calls " + std::to_string(s.wrong) + " frames found that it misplaces");
}

} // namespace

std::vector<std::string> failedChecks(const std::vector<Case> &cases, const std::vector<std::string> &methods,
                                      const Measurements &measured) {
  std::vector<std::string> failures;
  std::size_t framesToPlace = 0;
  for (const Case &c : cases)
    framesToPlace += static_cast<std::size_t>(c.bracket.frames - 1);
  if (measured.rows.size() != framesToPlace * methods.size())
    failures.push_back("there are " + std::to_string(measured.rows.size()) + " results instead of " +
                       std::to_string(framesToPlace * methods.size()));

  std::vector<double> unaligned;
  bool finite = true;
  for (const Row &row : measured.rows) {
    unaligned.push_back(row.unaligned);
    finite = finite && std::isfinite(row.unaligned) && (!row.found || std::isfinite(row.error));
  }
  if (!finite) failures.push_back("an error is not a finite number");
  if (!(quantile(unaligned, 0.5) > kLeastMotion)) failures.push_back("the frames hardly differ in position");

  if (has(methods, kGoodPeer)) checkAlignment(cases, kGoodPeer, Motion::Perspective, measured, false, &failures);
  if (has(methods, kOurPerspective))
    checkAlignment(cases, kOurPerspective, Motion::Perspective, measured, true, &failures);
  if (has(methods, kOurAffine)) checkAlignment(cases, kOurAffine, Motion::Affine, measured, true, &failures);
  return failures;
}

} // namespace vindrel::accuracy
