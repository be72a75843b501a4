#include "support/scarcity.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <new>

namespace {

std::atomic<int> allocationsLeft = -1;
std::atomic<bool> allocationFailed = false;
thread_local std::size_t allocations = 0;
std::atomic<std::ptrdiff_t> liveAllocations = 0;
std::atomic<int> threadsLeft = -1;

void* Allocate(std::size_t size, std::size_t alignment) {
  ++allocations;
  if (allocationsLeft >= 0 && allocationsLeft-- == 0) {
    allocationFailed = true;
    throw std::bad_alloc();
  }
  // A whole number of alignments, and never none of them.
  void* memory = std::aligned_alloc(alignment, (size / alignment + 1) * alignment);
  if (memory == nullptr) throw std::bad_alloc();
  ++liveAllocations;
  return memory;
}

void Free(void* memory) {
  if (memory != nullptr) --liveAllocations;
  std::free(memory);
}

struct Report : Planted {
  ~Report() {
    if (allocations + faults == 0) return;
    std::printf("planted: %d allocations failed, %d of them survived; %d other faults\n", allocations,
                survived, faults);
  }
} planted;

}  // namespace

void FailAllocation(int countdown) {
  allocationFailed = false;
  allocationsLeft = countdown;
}

bool AllocationFailed() {
  allocationsLeft = -1;
  planted.allocations += allocationFailed;
  return allocationFailed;
}

Planted& PlantedFaults() { return planted; }

void LimitThreads(int count) { threadsLeft = count; }

std::size_t Allocations() { return allocations; }
std::ptrdiff_t LiveAllocations() { return liveAllocations; }

void* operator new(std::size_t size) { return Allocate(size, alignof(std::max_align_t)); }
void* operator new(std::size_t size, std::align_val_t alignment) {
  return Allocate(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* memory) noexcept { Free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { Free(memory); }
void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept { Free(memory); }
void operator delete(void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
  Free(memory);
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
