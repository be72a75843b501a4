#include "support/scarcity.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

thread_local int allocationsLeft = -1;
thread_local bool allocationFailed = false;
thread_local std::size_t allocations = 0;
std::atomic<int> threadsLeft = -1;

void* Allocate(std::size_t size, std::size_t alignment) {
  ++allocations;
  if (allocationsLeft >= 0 && allocationsLeft-- == 0) {
    allocationFailed = true;
    throw std::bad_alloc();
  }
  // A whole number of alignments, and never none of them.
  if (void* memory = std::aligned_alloc(alignment, (size / alignment + 1) * alignment)) return memory;
  throw std::bad_alloc();
}

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

std::size_t Allocations() { return allocations; }

void* operator new(std::size_t size) { return Allocate(size, alignof(std::max_align_t)); }
void* operator new(std::size_t size, std::align_val_t alignment) {
  return Allocate(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }
void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
  std::free(memory);
}

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
