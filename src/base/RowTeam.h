// Threads that share the rows of one image after another with the thread that asks them to. They start once and sleep
// in between: a team that waits actively, as OpenMP's does, takes the processor from its own members where other
// programs run as well.
//
// Rows are handed out a few at a time to whoever has finished the last ones. So a member that does not get to run holds
// nothing up, and one that could not be started is only missed: there is no failure to report. Which member takes which
// rows varies: what is made of them must not depend on it.
#pragma once

#include "base/Buffer.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <pthread.h>

namespace vindrel {

struct RowRange {
  int begin = 0;
  int end = 0; // one past the last row
};

class RowTeam {
public:
  // threads: the caller's included.
  explicit RowTeam(int threads) {
    if (threads < 2) return;
    helpers_ = Buffer<Helper>::zeroed(static_cast<std::size_t>(threads - 1));
    for (Helper &helper : helpers_) {
      helper = {.team = this, .member = started_ + 1, .thread = {}};
      if (pthread_create(&helper.thread, nullptr, runHelper, &helper) != 0) break;
      ++started_;
    }
  }
  ~RowTeam() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      over_ = true;
    }
    begun_.notify_all();
    for (int i = 0; i < started_; ++i)
      pthread_join(helpers_[static_cast<std::size_t>(i)].thread, nullptr);
  }
  RowTeam(const RowTeam &) = delete;
  RowTeam &operator=(const RowTeam &) = delete;

  int size() const { return 1 + started_; }

  // Calls work(member, rows) for ranges that together are rows 0 to count - 1, of at most `atATime` rows each, and
  // returns when all are done. member: 0 to size() - 1, whose calls follow one another. work must not throw. One caller
  // at a time.
  template <class Work>
  void share(int count, int atATime, const Work &work) {
    if (started_ == 0 || count <= atATime) return work(0, RowRange{0, count});
    const auto call = [](const void *state, int member, RowRange rows) {
      (*static_cast<const Work *>(state))(member, rows);
    };
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      job_ = {.work = call, .state = &work, .count = count, .atATime = atATime};
      next_ = 0;
      ++jobs_;
      open_ = true;
    }
    begun_.notify_all();
    take(0, job_);
    std::unique_lock<std::mutex> lock(mutex_);
    open_ = false; // who wakes only now is too late
    done_.wait(lock, [this] { return working_ == 0; });
  }

private:
  struct Helper {
    RowTeam *team;
    int member;
    pthread_t thread;
  };
  struct Job {
    void (*work)(const void *state, int member, RowRange rows) = nullptr;
    const void *state = nullptr;
    int count = 0, atATime = 0;
  };

  void take(int member, const Job &job) {
    for (;;) {
      const std::int64_t begin = next_.fetch_add(job.atATime, std::memory_order_relaxed);
      if (begin >= job.count) return;
      job.work(job.state, member,
               {static_cast<int>(begin), static_cast<int>(std::min<std::int64_t>(begin + job.atATime, job.count))});
    }
  }

  void help(int member) {
    std::unique_lock<std::mutex> lock(mutex_);
    for (std::uint64_t seen = 0;;) {
      begun_.wait(lock, [&] { return over_ || (open_ && jobs_ != seen); });
      if (over_) return;
      seen = jobs_;
      const Job job = job_;
      ++working_;
      lock.unlock();
      take(member, job);
      lock.lock();
      if (--working_ == 0) done_.notify_one();
    }
  }

  static void *runHelper(void *argument) {
    const Helper &helper = *static_cast<const Helper *>(argument);
    helper.team->help(helper.member);
    return nullptr;
  }

  Buffer<Helper> helpers_;
  int started_ = 0;

  std::mutex mutex_; // of all below but next_
  std::condition_variable begun_, done_;
  Job job_;
  std::uint64_t jobs_ = 0; // begun so far
  bool open_ = false;      // the last of them may be joined
  bool over_ = false;
  int working_ = 0; // helpers
  std::atomic<std::int64_t> next_ = 0;
};

// The same on the calling thread alone where there is no team.
template <class Work>
void shareRows(RowTeam *team, int count, int atATime, const Work &work) {
  if (team != nullptr) return team->share(count, atATime, work);
  work(0, RowRange{0, count});
}

// So many rows of an image that they are worth waking a thread for, which takes about a hundredth of a millisecond.
// pixels: that take ten times as long.
constexpr int rowsWorthSharing(std::int64_t pixels, int width) {
  return static_cast<int>(std::clamp<std::int64_t>(pixels / std::max(width, 1), 1, 1 << 30));
}

} // namespace vindrel
