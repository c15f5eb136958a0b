// The random source of the perspective search: the recurrence of the Mersenne Twister MT19937 (Matsumoto, Nishimura:
// Mersenne Twister, ACM TOMACS 8(1), 1998), with two differences that searches rest on: the state starts as the words
// 0, 1, ..., 623 without a seed, and words are handed out untempered. Every source therefore draws the same sequence,
// and a search repeats from run to run.
#pragma once

#include <cstdint>

namespace vindrel {

constexpr int kMtWords = 624;

// The state may live in another structure: index is the byte offset in words of the word to hand out next, 4 * 624
// when all are used. A generator is for one thread.
void mtInit(std::int32_t &index, std::uint32_t *words);
std::uint32_t mtNext(std::int32_t &index, std::uint32_t *words);

class MtRandom {
public:
  MtRandom() { mtInit(index_, words_); }
  std::uint32_t next() { return mtNext(index_, words_); }

private:
  std::int32_t index_;
  std::uint32_t words_[kMtWords];
};

} // namespace vindrel
