// Replaces malloc and its like in the whole test program, and so in the libraries that it loads. glibc has
// the functions themselves under other names, too.
#include "archive/MallocMeter.h"

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <new>

// Sanitizers bring a malloc of their own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define KR0_TEST_MALLOC_IS_TAKEN
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define KR0_TEST_MALLOC_IS_TAKEN
#endif
#endif

namespace kr::zero::test {

namespace {

std::atomic<std::ptrdiff_t> live{0};
std::atomic<std::ptrdiff_t> peak{0};
std::atomic<std::ptrdiff_t> atStart{0};
std::atomic<std::size_t> largest{0};

#if !defined(KR0_TEST_MALLOC_IS_TAKEN)
constexpr auto relaxed = std::memory_order_relaxed;

template <class T>
void raise(std::atomic<T>& maximum, T value) {
  T seen = maximum.load(relaxed);
  while (seen < value && !maximum.compare_exchange_weak(seen, value, relaxed)) {
  }
}

void* countBlock(void* block, std::size_t asked) {
  raise(largest, asked);
  if (block == nullptr) return nullptr;
  const auto size = static_cast<std::ptrdiff_t>(malloc_usable_size(block));
  raise(peak, live.fetch_add(size, relaxed) + size);
  return block;
}

void forget(void* block) {
  if (block != nullptr) live.fetch_sub(static_cast<std::ptrdiff_t>(malloc_usable_size(block)), relaxed);
}
#endif

}  // namespace

MallocMeter::MallocMeter() {
  atStart = live.load();
  peak = live.load();
  largest = 0;
}

std::size_t MallocMeter::getPeakBytes() const { return static_cast<std::size_t>(peak - atStart); }
std::size_t MallocMeter::getLargestRequest() const { return largest; }

bool MallocMeter::isWatching() {
  const std::ptrdiff_t before = live;
  void* volatile block = std::malloc(1);
  const bool isSeen = live != before;
  std::free(block);
  return isSeen;
}

}  // namespace kr::zero::test

#if !defined(KR0_TEST_MALLOC_IS_TAKEN)
namespace meter = kr::zero::test;

// The libraries find what is visible; some compilers hide these with all else.
#pragma GCC visibility push(default)
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);

void* malloc(std::size_t size) { return meter::countBlock(__libc_malloc(size), size); }
void* calloc(std::size_t count, std::size_t size) {
  return meter::countBlock(__libc_calloc(count, size), count * size);
}
void* realloc(void* block, std::size_t size) {
  meter::forget(block);
  return meter::countBlock(__libc_realloc(block, size), size);
}
void* memalign(std::size_t alignment, std::size_t size) {
  return meter::countBlock(__libc_memalign(alignment, size), size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) { return memalign(alignment, size); }
int posix_memalign(void** result, std::size_t alignment, std::size_t size) {
  *result = memalign(alignment, size);
  return *result == nullptr ? ENOMEM : 0;
}
void free(void* block) {
  meter::forget(block);
  __libc_free(block);
}

}  // extern "C"
#pragma GCC visibility pop
#else
// A sanitizer's operator new ends the program where a forged length asks for more than there is; its malloc
// does not.
void* operator new(std::size_t size) {
  if (void* const block = std::malloc(size)) return block;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return std::malloc(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return std::malloc(size); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
#endif
