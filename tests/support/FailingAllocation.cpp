#include "support/FailingAllocation.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>

// The linker option --wrap=NAME sends calls of NAME to __wrap_NAME and calls of __real_NAME to the original.
extern "C" {
void *__real_malloc(std::size_t size);
void *__real_calloc(std::size_t count, std::size_t size);
void *__real_realloc(void *block, std::size_t size);
void *__real_aligned_alloc(std::size_t alignment, std::size_t size);
int __real_posix_memalign(void **block, std::size_t alignment, std::size_t size);
void __real_free(void *block);

void *__wrap_malloc(std::size_t size);
void *__wrap_calloc(std::size_t count, std::size_t size);
void *__wrap_realloc(void *block, std::size_t size);
void *__wrap_aligned_alloc(std::size_t alignment, std::size_t size);
int __wrap_posix_memalign(void **block, std::size_t alignment, std::size_t size);
void __wrap_free(void *block);
}

namespace vindrel::test {
namespace {

FailureCounter allocations;
std::atomic<long> liveBlocks{0};

bool mustFail() {
  const bool fail = allocations.mustFail();
  if (fail) errno = ENOMEM;
  return fail;
}

void *obtained(void *block) {
  if (block != nullptr && allocations.watching()) ++liveBlocks;
  return block;
}

void released(void *block) {
  if (block != nullptr && allocations.watching()) --liveBlocks;
}

} // namespace

FailingAllocation::FailingAllocation(long nth, Failing failing) {
  liveBlocks = 0;
  allocations.begin(nth, failing);
}
FailingAllocation::~FailingAllocation() {
  allocations.end();
}

bool FailingAllocation::reached() const {
  return allocations.reached();
}
long FailingAllocation::calls() const {
  return allocations.calls();
}
long FailingAllocation::live() const {
  return liveBlocks;
}

} // namespace vindrel::test

using vindrel::test::mustFail;
using vindrel::test::obtained;

void *__wrap_malloc(std::size_t size) {
  return mustFail() ? nullptr : obtained(__real_malloc(size));
}

void *__wrap_calloc(std::size_t count, std::size_t size) {
  return mustFail() ? nullptr : obtained(__real_calloc(count, size));
}

void *__wrap_realloc(void *block, std::size_t size) {
  if (mustFail()) return nullptr;
  // A resized block stays one block.
  return block == nullptr ? obtained(__real_realloc(block, size)) : __real_realloc(block, size);
}

void *__wrap_aligned_alloc(std::size_t alignment, std::size_t size) {
  return mustFail() ? nullptr : obtained(__real_aligned_alloc(alignment, size));
}

int __wrap_posix_memalign(void **block, std::size_t alignment, std::size_t size) {
  if (mustFail()) return ENOMEM;
  const int error = __real_posix_memalign(block, alignment, size);
  if (error == 0) obtained(*block);
  return error;
}

void __wrap_free(void *block) {
  vindrel::test::released(block);
  __real_free(block);
}
