// Memory for an output under test, with guard elements before and after it and a known filling: what a call writes
// outside its output, or leaves as it was inside, can be told.
#pragma once

#include <algorithm>
#include <cstddef>
#include <span>
#include <vector>

namespace vindrel::test {

template <class T>
class GuardedBuffer {
public:
  static constexpr std::size_t kGuard = 64; // elements on each side

  // size elements, each holding filling; the guards hold a value of their own.
  explicit GuardedBuffer(std::size_t size, T filling = T{}, T guard = static_cast<T>(0x5A))
      : size_(size), guard_(guard), memory_(size + 2 * kGuard, guard) {
    std::fill_n(data(), size, filling);
  }

  T *data() { return memory_.data() + kGuard; }
  const T *data() const { return memory_.data() + kGuard; }
  std::size_t size() const { return size_; }
  T &operator[](std::size_t i) { return data()[i]; }
  const T &operator[](std::size_t i) const { return data()[i]; }
  std::span<const T> contents() const { return {data(), size_}; }
  std::vector<T> copy() const { return {data(), data() + size_}; }

  bool guardsIntact() const {
    const auto intact = [this](T value) { return value == guard_; };
    return std::all_of(memory_.begin(), memory_.begin() + kGuard, intact) &&
           std::all_of(memory_.end() - kGuard, memory_.end(), intact);
  }

private:
  std::size_t size_;
  T guard_;
  std::vector<T> memory_;
};

} // namespace vindrel::test
