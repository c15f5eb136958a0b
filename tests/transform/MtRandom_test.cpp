#include "VindrelRegLib.h"
#include "reference/MtRandom.h"
#include "transform/MtRandom.h"

#include <gtest/gtest.h>

namespace {

TEST(MtRandom, StartsFromTheCountingStateWithAllWordsUsed) {
  MtState s;
  mt_init(&s);
  EXPECT_EQ(s.index, 2496);
  for (uint32_t i = 0; i < 624; ++i)
    ASSERT_EQ(s.mt[i], i);
}

TEST(MtRandom, HandsOutUntemperedWords) {
  MtState s;
  mt_init(&s);
  EXPECT_EQ(mt_random(&s), 0x9908B152u);
  EXPECT_EQ(s.index, 4);
}

TEST(MtRandom, FollowsTheRecurrenceOverManyRegenerations) {
  MtState s;
  mt_init(&s);
  vindrel::MtRandom inner;
  const auto expected = reference::untemperedTwister(5000);
  for (std::size_t i = 0; i < expected.size(); ++i) {
    ASSERT_EQ(mt_random(&s), expected[i]) << i;
    ASSERT_EQ(inner.next(), expected[i]) << i;
  }
}

TEST(MtRandom, RegeneratesAtThe625thDraw) {
  MtState s;
  mt_init(&s);
  for (int i = 0; i < 624; ++i)
    mt_random(&s);
  EXPECT_EQ(s.index, 2496);
  const uint32_t before = s.mt[0];
  mt_random(&s);
  EXPECT_EQ(s.index, 4);
  EXPECT_NE(s.mt[0], before);
}

TEST(MtRandom, TwoGeneratorsAgree) {
  MtState a, b;
  mt_init(&a);
  mt_init(&b);
  for (int i = 0; i < 2000; ++i)
    ASSERT_EQ(mt_random(&a), mt_random(&b));
}

} // namespace
