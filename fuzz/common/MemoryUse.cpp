#include "common/MemoryUse.h"

#include <sanitizer/allocator_interface.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <string>

#include "common/Fuzzing.h"
#include "resources/SecurityPage.h"

namespace kr::zero::fuzz {

namespace {

constexpr auto kRelaxed = std::memory_order_relaxed;
std::atomic<std::ptrdiff_t> live{0};
std::atomic<std::ptrdiff_t> peak{0};
std::atomic<std::ptrdiff_t> atStart{0};
std::atomic<std::size_t> largest{0};

// Only one thread takes memory while something is measured: no loops are needed.
void hearTaken(const volatile void*, std::size_t size) {
  const std::ptrdiff_t now =
      live.fetch_add(static_cast<std::ptrdiff_t>(size), kRelaxed) + static_cast<std::ptrdiff_t>(size);
  peak.store(std::max(peak.load(kRelaxed), now), kRelaxed);
  largest.store(std::max(largest.load(kRelaxed), size), kRelaxed);
}

void hearGiven(const volatile void* block) {
  const std::size_t size = __sanitizer_get_allocated_size(block);
  live.fetch_sub(static_cast<std::ptrdiff_t>(size), kRelaxed);
}

[[maybe_unused]] const int installed = __sanitizer_install_malloc_and_free_hooks(hearTaken, hearGiven);

}  // namespace

MemoryBound promisedFor(const std::string& reader) {
  const test::PromisedBounds& row = test::promisedBounds(reader);
  return {.floor = row.memoryBeside,
          .perByte = row.memoryPerByte,
          .largest = row.requestFloor,
          .largestPerByte = row.requestPerByte};
}

MemoryUse::MemoryUse() {
  require(installed != 0, "the meter of memory is in place");
  atStart.store(live.load(kRelaxed), kRelaxed);
  peak.store(live.load(kRelaxed), kRelaxed);
  largest.store(0, kRelaxed);
}

std::size_t MemoryUse::getPeakBytes() const {
  return static_cast<std::size_t>(peak.load(kRelaxed) - atStart.load(kRelaxed));
}

std::size_t MemoryUse::getLargestRequest() const {
  return std::max(largest.load(kRelaxed), requests_.getLargestRequest());
}

void MemoryUse::requireBounded(std::size_t inputBytes, const MemoryBound& bound) const {
  const std::size_t livingBytes = getPeakBytes();
  const std::size_t largestRequest = getLargestRequest();
  const std::size_t living = bound.floor + bound.perByte * inputBytes + bound.reserved;
  const std::size_t request = std::max(bound.largest, bound.largestPerByte * inputBytes) + bound.reserved;
  if (livingBytes > living)
    require(false, "memory is bounded by the input",
            (std::to_string(livingBytes) + " bytes live for " + std::to_string(inputBytes)).c_str());
  if (largestRequest > request)
    require(false, "a single request is bounded by the input",
            (std::to_string(largestRequest) + " bytes asked for at once for " + std::to_string(inputBytes))
                .c_str());
}

}  // namespace kr::zero::fuzz
