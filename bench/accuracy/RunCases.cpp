#include "RunCases.h"

#include "simulate/Truth.h"

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <exception>
#include <mutex>
#include <omp.h>
#include <stdexcept>
#include <thread>

namespace vindrel::accuracy {
namespace {

using Clock = std::chrono::steady_clock;

struct CaseOutput {
  std::vector<Row> rows;
  std::vector<Timing> timings;
  Size frameSize;
};

Bracket bracketOf(const Case &c) {
  const int flags = cv::IMREAD_COLOR | cv::IMREAD_ANYDEPTH | cv::IMREAD_IGNORE_ORIENTATION;
  cv::Mat photograph = cv::imread(c.photograph, flags);
  if (photograph.empty() || (photograph.depth() != CV_8U && photograph.depth() != CV_16U))
    throw std::runtime_error("cannot read the photograph " + c.photograph);
  cv::cvtColor(photograph, photograph, cv::COLOR_BGR2RGB);
  const ImageView view = {photograph.data,
                          {photograph.cols, photograph.rows},
                          3,
                          static_cast<std::int64_t>(photograph.step1()),
                          photograph.depth() == CV_8U ? SampleDepth::U8 : SampleDepth::U16};
  const std::string problem = bracketProblem(view, c.bracket);
  if (!problem.empty()) throw std::runtime_error(c.photograph + ": " + problem);
  return simulateBracket(view, c.bracket);
}

void addRows(const Bracket &bracket, std::size_t caseIndex, const StackResult &result, std::vector<Row> *rows) {
  const PlaneMap &referenceFromScene = bracket.frames[static_cast<std::size_t>(result.reference)].frameFromScene;
  for (std::size_t i = 0; i < bracket.frames.size(); ++i) {
    if (static_cast<int>(i) == result.reference) continue;
    const FrameResult &frame = result.frames[i];
    const PlaneMap truth = frameFromReference(bracket.frames[i].frameFromScene, referenceFromScene);
    const PlacementError error = placementError(frame.frameFromReference, truth, bracket.frameSize);
    rows->push_back({.caseIndex = caseIndex,
                     .method = result.method,
                     .frame = static_cast<int>(i),
                     .ev = bracket.frames[i].ev,
                     .found = frame.found,
                     .reason = frame.reason,
                     .error = error.gridMean,
                     .cornerError = error.cornerMax,
                     .unaligned = placementError(kPlaneIdentity, truth, bracket.frameSize).gridMean,
                     .pairs = frame.pairs,
                     .inliers = frame.inliers,
                     .rms = frame.rms,
                     .expectedError = frame.expectedError});
  }
}

CaseOutput runCase(const Case &c, std::size_t caseIndex, const std::vector<MethodGroup> &groups) {
  const Bracket bracket = bracketOf(c);
  CaseOutput output;
  output.frameSize = bracket.frameSize;
  for (const MethodGroup &group : groups)
    for (const StackResult &result : group.run(bracket)) {
      addRows(bracket, caseIndex, result, &output.rows);
      output.timings.push_back({caseIndex, result.method, result.seconds});
    }
  return output;
}

} // namespace

double threadSeconds() {
  timespec time = {};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

Measurements runCases(const std::vector<Case> &cases, const std::vector<MethodGroup> &groups, int jobs) {
  cv::setNumThreads(1); // process-wide
  std::vector<CaseOutput> outputs(cases.size());
  std::atomic<std::size_t> next = 0;
  std::mutex mutex; // of the three below and of standard error
  std::size_t done = 0;
  std::exception_ptr failure;
  const Clock::time_point start = Clock::now();

  const auto work = [&] {
    omp_set_num_threads(1); // for parallel regions that this thread enters
    for (std::size_t i = next++; i < cases.size(); i = next++) {
      try {
        outputs[i] = runCase(cases[i], i, groups);
      } catch (...) {
        const std::lock_guard lock(mutex);
        failure = std::current_exception();
        next = cases.size();
        return;
      }
      const std::lock_guard lock(mutex);
      const Case &c = cases[i];
      std::fprintf(stderr, "[%zu/%zu, %.0f s] %s, %d frames, %g EV, %s, %d bits\n", ++done, cases.size(),
                   std::chrono::duration<double>(Clock::now() - start).count(), c.name.c_str(), c.bracket.frames,
                   c.bracket.evStep, motionName(c.bracket.motion).c_str(), static_cast<int>(c.bracket.depth));
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < jobs; ++i)
    threads.emplace_back(work);
  for (std::thread &thread : threads)
    thread.join();
  if (failure) std::rethrow_exception(failure);

  Measurements all;
  for (CaseOutput &output : outputs) {
    all.rows.insert(all.rows.end(), output.rows.begin(), output.rows.end());
    all.timings.insert(all.timings.end(), output.timings.begin(), output.timings.end());
    all.frameSizes.push_back(output.frameSize);
  }
  return all;
}

} // namespace vindrel::accuracy
