// The consecutive share of a list of jobs that one thread of a team takes: count / threads jobs each, and one more for
// each of the first count mod threads. Fixed in advance, so that which thread does which job never varies.
#pragma once

namespace vindrel {

struct StaticShare {
  int begin = 0;
  int end = 0; // one past the last job
};

constexpr StaticShare staticShare(int count, int thread, int threads) {
  const int each = count / threads;
  const int extra = count % threads;
  const int begin = thread * each + (thread < extra ? thread : extra);
  return {begin, begin + each + (thread < extra ? 1 : 0)};
}

// Threads worth starting: one without a job would only cost its start and its working memory. The shares of the others
// stay what they are.
constexpr int usefulThreads(int count, int threads) {
  return threads < 1 || count < 1 ? 1 : threads < count ? threads : count;
}

} // namespace vindrel
