// Preloaded into a program it lets one of the allocations fail that happen after main has begun, in whatever library:
// number VEXA_SHORTAGE_AT, from 0, and with VEXA_SHORTAGE_LASTS all after it. To the descriptor VEXA_SHORTAGE_FD it
// writes how many there were.

#include <dlfcn.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

#define EXPORT __attribute__((visibility("default")))

// The names are the C library's own.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace {

using Main = int (*)(int, char**, char**);

Main programMain;
std::atomic<bool> counting = false;
std::atomic<long> allocations = 0;
long failing = -1;
bool lasts = false;

/// The C library ends the process when it cannot note that a thread's object has a destructor: nobody's to catch.
thread_local bool notingDestructor = false;

bool Fails() {
  if (!counting || notingDestructor) return false;
  const long number = allocations++;
  const bool fails = number == failing || (lasts && failing >= 0 && number > failing);
  if (fails) errno = ENOMEM;
  return fails;
}

long FromEnvironment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? std::atol(value) : -1;
}

int CountedMain(int argc, char** argv, char** environment) {
  failing = FromEnvironment("VEXA_SHORTAGE_AT");
  lasts = FromEnvironment("VEXA_SHORTAGE_LASTS") > 0;
  counting = true;
  const int code = programMain(argc, argv, environment);
  counting = false;
  dprintf(static_cast<int>(FromEnvironment("VEXA_SHORTAGE_FD")), "%ld\n", allocations.load());
  return code;
}

}  // namespace

extern "C" {

EXPORT void* malloc(std::size_t size) noexcept { return Fails() ? nullptr : __libc_malloc(size); }
EXPORT void* calloc(std::size_t count, std::size_t size) noexcept {
  return Fails() ? nullptr : __libc_calloc(count, size);
}
EXPORT void* realloc(void* memory, std::size_t size) noexcept {
  return Fails() ? nullptr : __libc_realloc(memory, size);
}
EXPORT void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  return Fails() ? nullptr : __libc_memalign(alignment, size);
}
EXPORT int posix_memalign(void** memory, std::size_t alignment, std::size_t size) noexcept {
  *memory = Fails() ? nullptr : __libc_memalign(alignment, size);
  return *memory != nullptr ? 0 : ENOMEM;
}

EXPORT int __cxa_thread_atexit_impl(void (*destroy)(void*), void* object, void* library) {
  static const auto note =
      reinterpret_cast<decltype(&__cxa_thread_atexit_impl)>(dlsym(RTLD_NEXT, "__cxa_thread_atexit_impl"));
  notingDestructor = true;
  const int error = note(destroy, object, library);
  notingDestructor = false;
  return error;
}

EXPORT int __libc_start_main(Main main, int argc, char** argv, void (*init)(), void (*fini)(),
                             void (*loaderFini)(), void* stackEnd) {
  programMain = main;
  const auto start = reinterpret_cast<decltype(&__libc_start_main)>(dlsym(RTLD_NEXT, "__libc_start_main"));
  return start(CountedMain, argc, argv, init, fini, loaderFini, stackEnd);
}
}
// NOLINTEND(bugprone-reserved-identifier)
