/// @file
/// Internal: memory of one model, given back all at once.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <vector>

#include "kr/zero/Cells.h"

namespace kr::zero::internal {

/// Hands out memory aligned to 8 bytes. Blocks that are outgrown can be recycled: sizes are rounded up
/// to a class, and each class keeps a list of what came back.
class Arena {
 public:
  void* allocate(std::size_t bytes) {
    bytes = cells::FreeMemory::roundUp(bytes);
    if (!free_.has(bytes)) return allocateSlow(bytes);
    return free_.take(bytes);
  }

  /// What is left of the current chunk, so many bytes at least; good until the next call of anything here.
  cells::FreeMemory& getFree(std::size_t bytes) {
    if (!free_.has(bytes)) startChunk(cells::FreeMemory::roundUp(bytes));
    return free_;
  }

  /// Memory for an array that will be recycled when it is outgrown.
  /// @param[in,out] bytes is rounded up to what the block really holds.
  void* allocateRecyclable(std::size_t& bytes) {
    const std::size_t sizeClass = classOf(bytes);
    bytes = sizeOfClass(sizeClass);
    if (FreeBlock* block = recycled_[sizeClass]; block != nullptr) {
      recycled_[sizeClass] = block->next;
      return block;
    }
    return allocate(bytes);
  }

  /// Takes back a block of allocateRecyclable.
  void recycle(void* memory, std::size_t bytes) noexcept {
    auto* block = static_cast<FreeBlock*>(memory);
    const std::size_t sizeClass = classOf(bytes);
    block->next = recycled_[sizeClass];
    recycled_[sizeClass] = block;
  }

  /// What follows a block can be read for so many bytes, to no purpose: copies may go in blocks.
  static constexpr std::size_t kReadable = 16;

  std::size_t getReserved() const noexcept { return reserved_; }

 private:
  struct FreeBlock {
    FreeBlock* next;
  };

  // Up to kFine every multiple of 8 is a class, beyond there are four per power of two, so that rounding up
  // wastes a fifth at most. Class 0 is 8 bytes.
  static std::size_t classOf(std::size_t bytes) noexcept {
    if (bytes <= kFine) return bytes == 0 ? 0 : (bytes - 1) / 8;
    const std::size_t last = bytes - 1;
    const auto log = static_cast<std::size_t>(std::bit_width(last)) - 1;  // last in [2^log, 2^(log+1))
    return kFineClasses + (log - kFineLog) * 4 + ((last >> (log - 2)) & 3);
  }
  static std::size_t sizeOfClass(std::size_t sizeClass) noexcept {
    if (sizeClass < kFineClasses) return (sizeClass + 1) * 8;
    const std::size_t log = kFineLog + (sizeClass - kFineClasses) / 4;
    return (std::size_t{1} << log) + ((sizeClass - kFineClasses) % 4 + 1) * (std::size_t{1} << (log - 2));
  }
  static constexpr std::size_t kFineLog = 8;
  static constexpr std::size_t kFine = std::size_t{1} << kFineLog;
  static constexpr std::size_t kFineClasses = kFine / 8;
  static constexpr std::size_t kClasses = kFineClasses + (64 - kFineLog) * 4;

  void* allocateSlow(std::size_t bytes) {
    if (bytes > nextChunkSize() / 4) return newChunk(bytes);  // leaves the current chunk in use
    startChunk(bytes);
    return free_.take(bytes);
  }
  void startChunk(std::size_t least) {
    const std::size_t size = std::max(nextChunkSize(), least + kReadable);
    std::byte* const chunk = newChunk(size - kReadable);
    free_ = {chunk, chunk + size - kReadable};
  }
  /// A sixteenth of what there is, so that the unused end of the last chunk is little, or a large page.
  std::size_t nextChunkSize() const noexcept {
    return reserved_ >= kLarge ? kHugePage : std::max(std::bit_floor(reserved_ / 16), kSmallest);
  }
  std::byte* newChunk(std::size_t bytes);

  static constexpr std::size_t kSmallest = 1024;
  // A chunk of this size is one page of memory where the system can do that. Then a page fault clears 2 MiB
  // instead of 4 KiB; faults were a quarter of the time of reading a model of 100,000 elements.
  static constexpr std::size_t kHugePage = std::size_t{1} << 21;
  static constexpr std::size_t kLarge = 2 * kHugePage;
  struct Free {
    void operator()(std::byte* chunk) const noexcept { std::free(chunk); }
  };
  cells::FreeMemory free_;
  std::size_t reserved_ = 0;
  std::vector<std::unique_ptr<std::byte[], Free>> chunks_;
  std::array<FreeBlock*, kClasses> recycled_{};
};

}  // namespace kr::zero::internal
