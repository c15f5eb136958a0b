// Heap memory with one owner, zero-filled unless asked for otherwise. A failed allocation is a state to test for, never
// an exception, so that the code of parallel regions and of thread bodies can report it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sys/mman.h>
#include <type_traits>
#include <utility>

namespace vindrel {

template <class T>
class Buffer {
  static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);

public:
  Buffer() = default;

  // count zeroed elements. A count of 0 yields a valid buffer of no elements.
  static Buffer zeroed(std::size_t count) {
    Buffer buffer;
    buffer.data_ = static_cast<T *>(std::calloc(count == 0 ? 1 : count, sizeof(T)));
    buffer.size_ = buffer.data_ != nullptr ? count : 0;
    return buffer;
  }

  // count elements that hold anything: for what is written before it is read. Large blocks ask the system for large
  // pages, because to touch fresh memory takes longer by small pages than to fill it several times.
  static Buffer unfilled(std::size_t count) {
    Buffer buffer;
    if (count > (SIZE_MAX - kLargePage) / sizeof(T)) return buffer;
    const std::size_t bytes = count * sizeof(T);
    if (bytes < kLargePage) {
      buffer.data_ = static_cast<T *>(std::malloc(bytes == 0 ? 1 : bytes));
    } else {
      const std::size_t whole = (bytes + kLargePage - 1) / kLargePage * kLargePage;
      buffer.data_ = static_cast<T *>(std::aligned_alloc(kLargePage, whole));
      // Small pages serve as well: whether the advice was taken is not asked.
      if (buffer.data_ != nullptr) static_cast<void>(madvise(buffer.data_, whole, MADV_HUGEPAGE));
    }
    buffer.size_ = buffer.data_ != nullptr ? count : 0;
    return buffer;
  }

  Buffer(Buffer &&other) noexcept : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)) {}
  Buffer &operator=(Buffer &&other) noexcept {
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    return *this;
  }
  Buffer(const Buffer &) = delete;
  Buffer &operator=(const Buffer &) = delete;
  ~Buffer() { std::free(data_); }

  // False when the allocation failed or none was made.
  explicit operator bool() const { return data_ != nullptr; }

  T *data() { return data_; }
  const T *data() const { return data_; }
  std::size_t size() const { return size_; }
  T &operator[](std::size_t i) { return data_[i]; }
  const T &operator[](std::size_t i) const { return data_[i]; }
  T *begin() { return data_; }
  T *end() { return data_ + size_; }
  const T *begin() const { return data_; }
  const T *end() const { return data_ + size_; }

private:
  static constexpr std::size_t kLargePage = std::size_t{1} << 21; // bytes, of x86-64

  T *data_ = nullptr;
  std::size_t size_ = 0;
};

} // namespace vindrel
