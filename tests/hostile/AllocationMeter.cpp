// Replaces the global operator new of the whole test program, and so lies beside the tests that need it
// and not in the support library, which every test program links.
#include "support/AllocationMeter.h"

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>

namespace kr::zero::test {

namespace {

std::atomic<std::ptrdiff_t> live{0};
std::atomic<std::ptrdiff_t> peak{0};
std::atomic<std::ptrdiff_t> atStart{0};
std::atomic<std::size_t> largest{0};
std::atomic<std::uint64_t> requests{0};
std::atomic<bool> isFailing{false};
std::atomic<std::uint64_t> failFirst{0};
std::atomic<std::uint64_t> failCount{0};
std::atomic<std::uint64_t> failRequests{0};
std::atomic<std::uint64_t> failureCount{0};

constexpr auto relaxed = std::memory_order_relaxed;

template <class T>
void raise(std::atomic<T>& maximum, T value) {
  T seen = maximum.load(relaxed);
  while (seen < value && !maximum.compare_exchange_weak(seen, value, relaxed)) {
  }
}

bool mustFail() {
  if (!isFailing.load(relaxed)) return false;
  const std::uint64_t number = failRequests.fetch_add(1, relaxed);
  const std::uint64_t first = failFirst.load(relaxed);
  if (number < first || number - first >= failCount.load(relaxed)) return false;
  failureCount.fetch_add(1, relaxed);
  return true;
}

// Counts a request before it is served, so that one for more than there is shows too.
void countRequest(std::size_t size) {
  requests.fetch_add(1, relaxed);
  raise(largest, size);
}

void* countBlock(void* block) {
  const auto size = static_cast<std::ptrdiff_t>(malloc_usable_size(block));
  raise(peak, live.fetch_add(size, relaxed) + size);
  return block;
}

void* allocate(std::size_t size, std::size_t alignment) {
  countRequest(size);
  if (mustFail()) return nullptr;
  size = std::max<std::size_t>(size, 1);
  void* block = nullptr;
  if (alignment <= __STDCPP_DEFAULT_NEW_ALIGNMENT__)
    block = std::malloc(size);
  else if (posix_memalign(&block, alignment, size) != 0)
    block = nullptr;
  return block == nullptr ? nullptr : countBlock(block);
}

void* allocateOrThrow(std::size_t size, std::size_t alignment) {
  void* block = allocate(size, alignment);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void release(void* block) {
  if (block == nullptr) return;
  live.fetch_sub(static_cast<std::ptrdiff_t>(malloc_usable_size(block)), relaxed);
  std::free(block);
}

}  // namespace

AllocationMeter::AllocationMeter() {
  atStart = live.load();
  peak = live.load();
  largest = 0;
  requests = 0;
}

std::ptrdiff_t AllocationMeter::getLiveBytes() const { return live - atStart; }
std::size_t AllocationMeter::getPeakBytes() const { return static_cast<std::size_t>(peak - atStart); }
std::size_t AllocationMeter::getLargestRequest() const { return largest; }
std::uint64_t AllocationMeter::getRequests() const { return requests; }

bool AllocationMeter::isWatching() {
  const std::uint64_t before = requests;
  // A call that the compiler may not leave out, unlike a new-expression.
  ::operator delete(::operator new(1));
  return requests != before;
}

FailingAllocations::FailingAllocations(std::uint64_t first, std::uint64_t count) {
  failFirst = first;
  failCount = count;
  failRequests = 0;
  failureCount = 0;
  isFailing = true;
}

FailingAllocations::~FailingAllocations() { isFailing = false; }

std::uint64_t FailingAllocations::getFailures() const { return failureCount; }

}  // namespace kr::zero::test

namespace meter = kr::zero::test;
constexpr std::size_t plain = __STDCPP_DEFAULT_NEW_ALIGNMENT__;

void* operator new(std::size_t size) { return meter::allocateOrThrow(size, plain); }
void* operator new[](std::size_t size) { return meter::allocateOrThrow(size, plain); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return meter::allocate(size, plain); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return meter::allocate(size, plain);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  return meter::allocateOrThrow(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
  return meter::allocateOrThrow(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* block) noexcept { meter::release(block); }
void operator delete[](void* block) noexcept { meter::release(block); }
void operator delete(void* block, std::size_t) noexcept { meter::release(block); }
void operator delete[](void* block, std::size_t) noexcept { meter::release(block); }
void operator delete(void* block, std::align_val_t) noexcept { meter::release(block); }
void operator delete[](void* block, std::align_val_t) noexcept { meter::release(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { meter::release(block); }
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept { meter::release(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { meter::release(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { meter::release(block); }
