// Zero-filled heap memory with one owner. A failed allocation is a state to test for, never an exception, so that the
// code of parallel regions and of thread bodies can report it.
#pragma once

#include <cstddef>
#include <cstdlib>
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
  T *data_ = nullptr;
  std::size_t size_ = 0;
};

} // namespace vindrel
