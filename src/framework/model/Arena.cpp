#include "model/Arena.h"

#include <cstdint>
#include <new>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace kr::zero::internal {

namespace {

// Both are wishes; nothing is lost where the system does not grant them.
void prepareMemory([[maybe_unused]] std::byte* memory, [[maybe_unused]] std::size_t size,
                   [[maybe_unused]] bool asOnePage) noexcept {
#if defined(MADV_HUGEPAGE)
  if (asOnePage) madvise(memory, size, MADV_HUGEPAGE);
#endif
#if defined(MADV_POPULATE_WRITE)
  // The pages of a chunk come in one call, not one by one as they are touched.
  constexpr std::uintptr_t kPage = 4096;
  constexpr std::size_t kWorthACall = 16 * kPage;
  const std::uintptr_t begin = reinterpret_cast<std::uintptr_t>(memory);
  const std::uintptr_t first = (begin + kPage - 1) / kPage * kPage;
  const std::uintptr_t end = (begin + size) / kPage * kPage;
  if (!asOnePage && size >= kWorthACall)
    madvise(reinterpret_cast<void*>(first), end - first, MADV_POPULATE_WRITE);
#endif
}

/// Free returns it either way, but for Windows, where aligned memory has a function of its own for that.
/// @param alignment 0 for that of any memory.
void* takeMemory(std::size_t size, [[maybe_unused]] std::size_t alignment) noexcept {
#if !defined(_WIN32)
  if (alignment != 0) return std::aligned_alloc(alignment, size);
#endif
  return std::malloc(size);
}

}  // namespace

std::byte* Arena::newChunk(std::size_t bytes) {
  const std::size_t size = bytes + kReadable;
  const bool asOnePage = size == kHugePage;
  std::unique_ptr<std::byte[], Free> chunk(
      static_cast<std::byte*>(takeMemory(size, asOnePage ? kHugePage : 0)));
  if (chunk == nullptr) throw std::bad_alloc();
  if (size <= kHugePage)
    prepareMemory(chunk.get(), size, asOnePage);  // a single large text is written anyway
  chunks_.push_back(std::move(chunk));
  reserved_ += size;
  return chunks_.back().get();
}

}  // namespace kr::zero::internal
