// The untempered MT19937 as its recurrence over the whole sequence: x(k+624) from x(k), x(k+1) and x(k+397).
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace reference {

inline std::vector<std::uint32_t> untemperedTwister(std::size_t draws) {
  std::vector<std::uint32_t> x(624 + draws);
  for (std::uint32_t i = 0; i < 624; ++i)
    x[i] = i;
  for (std::size_t k = 0; k < draws; ++k) {
    const std::uint32_t joined = (x[k] & 0x80000000u) + (x[k + 1] & 0x7FFFFFFFu);
    x[k + 624] = x[k + 397] ^ (joined / 2) ^ (joined % 2 * 0x9908B0DFu);
  }
  return {x.begin() + 624, x.end()};
}

} // namespace reference
