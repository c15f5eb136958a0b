#include "support/FailingThreads.h"

#include <cerrno>
#include <pthread.h>

// The linker option --wrap=NAME sends calls of NAME to __wrap_NAME and calls of __real_NAME to the original.
extern "C" {
int __real_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*body)(void *), void *argument);
int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*body)(void *), void *argument);
}

namespace vindrel::test {
namespace {

FailureCounter starts;

} // namespace

FailingThreads::FailingThreads(long nth, Failing failing) {
  starts.begin(nth, failing);
}
FailingThreads::~FailingThreads() {
  starts.end();
}

bool FailingThreads::reached() const {
  return starts.reached();
}
long FailingThreads::calls() const {
  return starts.calls();
}

} // namespace vindrel::test

int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*body)(void *), void *argument) {
  return vindrel::test::starts.mustFail() ? EAGAIN : __real_pthread_create(thread, attributes, body, argument);
}
