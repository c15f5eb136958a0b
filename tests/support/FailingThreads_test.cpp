#include "support/FailingThreads.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <pthread.h>

namespace vindrel::test {
namespace {

void *setToOne(void *number) {
  *static_cast<int *>(number) = 1;
  return nullptr;
}

TEST(FailingThreads, FailsTheStartAskedForAndLetsTheOthersRun) {
  FailingThreads failing(2);
  int ran[3] = {0, 0, 0};
  pthread_t threads[3];
  EXPECT_EQ(pthread_create(&threads[0], nullptr, setToOne, &ran[0]), 0);
  EXPECT_FALSE(failing.reached());
  EXPECT_EQ(pthread_create(&threads[1], nullptr, setToOne, &ran[1]), EAGAIN);
  EXPECT_TRUE(failing.reached());
  EXPECT_EQ(pthread_create(&threads[2], nullptr, setToOne, &ran[2]), 0);
  pthread_join(threads[0], nullptr);
  pthread_join(threads[2], nullptr);
  EXPECT_EQ(ran[0], 1);
  EXPECT_EQ(ran[1], 0);
  EXPECT_EQ(ran[2], 1);
  EXPECT_EQ(failing.calls(), 3);
}

} // namespace
} // namespace vindrel::test
