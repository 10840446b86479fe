/// @file
/// Internal: memory of one model, given back all at once.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <utility>
#include <vector>

namespace kr::zero::internal {

/// Hands out memory aligned to 8 bytes. Blocks that are outgrown can be recycled: sizes are rounded up
/// to a class, and each class keeps a list of what came back.
class Arena {
 public:
  void* allocate(std::size_t bytes) {
    bytes = roundUp(bytes);
    if (bytes > static_cast<std::size_t>(end_ - next_)) return allocateSlow(bytes);
    std::byte* result = next_;
    next_ += bytes;
    return result;
  }

  /// Memory for an array that will be recycled when it is outgrown.
  /// @param[in,out] bytes is rounded up to what the block really holds.
  void* allocateRecyclable(std::size_t& bytes) {
    const std::size_t sizeClass = classOf(bytes);
    bytes = sizeOfClass(sizeClass);
    if (FreeBlock* block = free_[sizeClass]; block != nullptr) {
      free_[sizeClass] = block->next;
      return block;
    }
    return allocate(bytes);
  }

  /// Takes back a block of allocateRecyclable.
  void recycle(void* memory, std::size_t bytes) noexcept {
    auto* block = static_cast<FreeBlock*>(memory);
    const std::size_t sizeClass = classOf(bytes);
    block->next = free_[sizeClass];
    free_[sizeClass] = block;
  }

  /// What follows a block can be read for so many bytes, to no purpose: copies may go in blocks.
  static constexpr std::size_t kReadable = 16;

  std::size_t getReserved() const noexcept { return reserved_; }

 private:
  struct FreeBlock {
    FreeBlock* next;
  };

  static constexpr std::size_t roundUp(std::size_t bytes) { return (bytes + 7) & ~std::size_t{7}; }

  // Four classes per power of two, so that rounding up wastes a fifth at most. Class 0 is 8 bytes;
  // up to 64 bytes every multiple of 8 is a class.
  static std::size_t classOf(std::size_t bytes) noexcept {
    if (bytes <= 64) return bytes == 0 ? 0 : (bytes - 1) / 8;
    const std::size_t last = bytes - 1;
    const auto log = static_cast<std::size_t>(std::bit_width(last)) - 1;  // last in [2^log, 2^(log+1))
    return 8 + (log - 6) * 4 + ((last >> (log - 2)) & 3);
  }
  static std::size_t sizeOfClass(std::size_t sizeClass) noexcept {
    if (sizeClass < 8) return (sizeClass + 1) * 8;
    const std::size_t log = 6 + (sizeClass - 8) / 4;
    return (std::size_t{1} << log) + ((sizeClass - 8) % 4 + 1) * (std::size_t{1} << (log - 2));
  }

  void* allocateSlow(std::size_t bytes) {
    if (bytes > nextChunkSize() / 4) return newChunk(bytes);  // leaves the current chunk in use
    startChunk(bytes);
    return std::exchange(next_, next_ + bytes);
  }
  void startChunk(std::size_t least) {
    const std::size_t size = std::max(nextChunkSize(), least + kReadable);
    next_ = newChunk(size - kReadable);
    end_ = next_ + size - kReadable;
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
  std::byte* next_ = nullptr;
  std::byte* end_ = nullptr;
  std::size_t reserved_ = 0;
  std::vector<std::unique_ptr<std::byte[], Free>> chunks_;
  std::array<FreeBlock*, 8 + 58 * 4> free_{};
};

}  // namespace kr::zero::internal
