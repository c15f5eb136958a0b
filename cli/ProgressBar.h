// One line on standard error that shows how far the run is. Drawn only on a terminal; wiped when it ends, so that what
// remains on the screen is the result.
#pragma once

#include <mutex>
#include <string>

namespace vindrel::cli {

class ProgressBar {
public:
  // A bar that was not wanted, or whose standard error is no terminal, draws nothing.
  explicit ProgressBar(bool wanted);
  ~ProgressBar() { wipe(); }
  ProgressBar(const ProgressBar &) = delete;
  ProgressBar &operator=(const ProgressBar &) = delete;

  // fraction: 0 to 1. May be called from any thread; a call that finds another one drawing returns at once.
  void show(double fraction, const char *step) noexcept;

  void wipe() noexcept;

private:
  const bool enabled_;
  std::mutex drawing_;
  std::string shown_; // the line on the screen, empty when there is none
};

} // namespace vindrel::cli
