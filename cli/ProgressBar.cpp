#include "ProgressBar.h"

#include <algorithm>
#include <cstdio>
#include <unistd.h>

namespace vindrel::cli {
namespace {

constexpr int kCells = 30; // with percentage and step it stays within the narrowest usual terminal, 60 columns

} // namespace

ProgressBar::ProgressBar(bool wanted) : enabled_(wanted && isatty(STDERR_FILENO) == 1) {}

void ProgressBar::show(double fraction, const char *step) noexcept {
  if (!enabled_) return;
  const std::unique_lock lock(drawing_, std::try_to_lock);
  if (!lock.owns_lock()) return;
  fraction = fraction >= 0 ? std::min(fraction, 1.0) : 0.0;
  const int filled = static_cast<int>(fraction * kCells);
  char line[kCells + 64];
  std::snprintf(line, sizeof line, "[%-*.*s] %3d %%  %.24s", kCells, filled, "##############################",
                static_cast<int>(fraction * 100), step);
  try {
    if (shown_ == line) return;
    std::string next = line;
    // Spaces rather than an escape sequence wipe the rest of a longer line: they work on every terminal.
    const std::size_t tail = shown_.size() > next.size() ? shown_.size() - next.size() : 0;
    std::fprintf(stderr, "\r%s%*s", next.c_str(), static_cast<int>(tail), "");
    std::fflush(stderr);
    shown_ = std::move(next);
  } catch (...) {
    // Out of memory for a line of text: the bar is the last thing to fail a run over.
  }
}

void ProgressBar::wipe() noexcept {
  const std::lock_guard lock(drawing_);
  if (shown_.empty()) return;
  std::fprintf(stderr, "\r%*s\r", static_cast<int>(shown_.size()), "");
  std::fflush(stderr);
  shown_.clear();
}

} // namespace vindrel::cli
