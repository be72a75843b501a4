#include "support/scarcity.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>

namespace {

thread_local int allocationsLeft = -1;
thread_local bool allocationFailed = false;
std::atomic<int> threadsLeft = -1;

}  // namespace

void FailAllocation(int countdown) {
  allocationsLeft = countdown;
  allocationFailed = false;
}

bool AllocationFailed() {
  allocationsLeft = -1;
  return allocationFailed;
}

void LimitThreads(int count) { threadsLeft = count; }

void* operator new(std::size_t size) {
  if (allocationsLeft >= 0 && allocationsLeft-- == 0) {
    allocationFailed = true;
    throw std::bad_alloc();
  }
  if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

// The standard library's threads start through this one instead of the system's.
extern "C" __attribute__((visibility("default"))) int pthread_create(pthread_t* thread,
                                                                     const pthread_attr_t* attributes,
                                                                     void* (*start)(void*),
                                                                     void* argument) noexcept {
  if (threadsLeft >= 0 && threadsLeft-- == 0) {
    threadsLeft = 0;
    return EAGAIN;
  }
  static const auto create = reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
  return create(thread, attributes, start, argument);
}
