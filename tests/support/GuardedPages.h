// Memory between two pages that must not be touched: what a call reads or writes right before or right after it ends
// the test. For inputs, which guard elements cannot watch.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <span>
#include <sys/mman.h>
#include <type_traits>
#include <unistd.h>

namespace vindrel::test {

enum class Against { Start, End }; // the side on which nothing lies between the contents and the forbidden page

template <class T>
class GuardedPages {
  static_assert(std::is_trivially_copyable_v<T>);

public:
  GuardedPages(std::span<const T> contents, Against side) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t used = (contents.size_bytes() + page - 1) / page * page;
    bytes_ = used + 2 * page;
    memory_ = mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory_ == MAP_FAILED) std::abort();
    auto *first = static_cast<std::byte *>(memory_) + page;
    if (mprotect(memory_, page, PROT_NONE) != 0 || mprotect(first + used, page, PROT_NONE) != 0) std::abort();
    data_ = reinterpret_cast<T *>(side == Against::Start ? first : first + used - contents.size_bytes());
    std::copy(contents.begin(), contents.end(), data_);
  }
  ~GuardedPages() { munmap(memory_, bytes_); }
  GuardedPages(const GuardedPages &) = delete;
  GuardedPages &operator=(const GuardedPages &) = delete;

  T *data() { return data_; }

private:
  void *memory_ = nullptr;
  std::size_t bytes_ = 0;
  T *data_ = nullptr;
};

} // namespace vindrel::test
