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
std::atomic<std::ptrdiff_t> blocks{0};
std::atomic<std::ptrdiff_t> blocksAtStart{0};
std::atomic<std::ptrdiff_t> highest{0};
std::atomic<std::ptrdiff_t> atStart{0};
std::atomic<std::size_t> largest{0};
std::atomic<bool> failing{false};
std::atomic<std::uint64_t> failFirst{0};
std::atomic<std::uint64_t> failCount{0};
std::atomic<std::uint64_t> failRequests{0};
std::atomic<std::uint64_t> failures{0};

constexpr auto relaxed = std::memory_order_relaxed;

bool mustFail() {
  if (!failing.load(relaxed)) return false;
  const std::uint64_t number = failRequests.fetch_add(1, relaxed);
  const std::uint64_t first = failFirst.load(relaxed);
  if (number < first || number - first >= failCount.load(relaxed)) return false;
  failures.fetch_add(1, relaxed);
  return true;
}

#if !defined(KR0_TEST_MALLOC_IS_TAKEN)

template <class T>
void raise(std::atomic<T>& maximum, T value) {
  T seen = maximum.load(relaxed);
  while (seen < value && !maximum.compare_exchange_weak(seen, value, relaxed)) {
  }
}

void* countBlock(void* block) {
  if (block == nullptr) return nullptr;
  const auto size = static_cast<std::ptrdiff_t>(malloc_usable_size(block));
  blocks.fetch_add(1, relaxed);
  raise(highest, live.fetch_add(size, relaxed) + size);
  return block;
}

/// Counts a request before it is served, so that one for more than there is shows too.
template <class Serve>
void* request(std::size_t size, Serve serve) {
  raise(largest, size);
  if (!mustFail()) return countBlock(serve());
  errno = ENOMEM;
  return nullptr;
}

void forget(std::size_t bytes) {
  blocks.fetch_sub(1, relaxed);
  live.fetch_sub(static_cast<std::ptrdiff_t>(bytes), relaxed);
}
#endif

}  // namespace

MallocMeter::MallocMeter() {
  atStart = live.load();
  blocksAtStart = blocks.load();
  highest = live.load();
  largest = 0;
}

std::ptrdiff_t MallocMeter::getLiveBlocks() const { return blocks - blocksAtStart; }
std::size_t MallocMeter::getPeakBytes() const { return static_cast<std::size_t>(highest - atStart); }
std::size_t MallocMeter::getLargestRequest() const { return largest; }

bool MallocMeter::isWatching() {
  const std::ptrdiff_t before = live;
  void* volatile block = std::malloc(1);
  const bool isSeen = live != before;
  std::free(block);
  return isSeen;
}

FailingMalloc::FailingMalloc(std::uint64_t first, std::uint64_t count) {
  failFirst = first;
  failCount = count;
  failRequests = 0;
  failures = 0;
  failing = true;
}

FailingMalloc::~FailingMalloc() { failing = false; }

std::uint64_t FailingMalloc::getFailures() const { return failures; }

bool FailingMalloc::isWorking() {
  const FailingMalloc faults(0, 1);
  // Calls that the compiler may not leave out, unlike a new-expression.
  ::operator delete(::operator new(1, std::nothrow));
  return faults.getFailures() != 0;
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

void* malloc(std::size_t size) {
  return meter::request(size, [=] { return __libc_malloc(size); });
}
void* calloc(std::size_t count, std::size_t size) {
  return meter::request(count * size, [=] { return __libc_calloc(count, size); });
}
void* realloc(void* block, std::size_t size) {
  return meter::request(size, [=] {
    const std::size_t before = malloc_usable_size(block);
    void* const moved = __libc_realloc(block, size);
    if (block != nullptr && (moved != nullptr || size == 0)) meter::forget(before);
    return moved;
  });
}
void* memalign(std::size_t alignment, std::size_t size) {
  return meter::request(size, [=] { return __libc_memalign(alignment, size); });
}
void* aligned_alloc(std::size_t alignment, std::size_t size) { return memalign(alignment, size); }
int posix_memalign(void** result, std::size_t alignment, std::size_t size) {
  *result = memalign(alignment, size);
  return *result == nullptr ? ENOMEM : 0;
}
void free(void* block) {
  if (block != nullptr) meter::forget(malloc_usable_size(block));
  __libc_free(block);
}

}  // extern "C"
#pragma GCC visibility pop
#else
// A sanitizer's operator new ends the program where a forged length asks for more than there is; its malloc
// does not.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return kr::zero::test::mustFail() ? nullptr : std::malloc(size);
}
void* operator new(std::size_t size) {
  if (void* const block = operator new(size, std::nothrow)) return block;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new[](std::size_t size, const std::nothrow_t& none) noexcept {
  return operator new(size, none);
}
// Inlined beside operator new, compilers take them for no pair.
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete[](void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
#endif
