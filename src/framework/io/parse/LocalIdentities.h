/// @file
/// Internal: elements by the identities that a document makes for itself, ("#", number).
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "kr/zero/KeptMemory.h"
#include "model/Store.h"

namespace kr::zero::internal {

/// A table from numbers to elements. Writers number elements in the order in which they stand, and then an
/// element's index follows from its number: one byte, for the type, is all that is kept of most.
class LocalIdentities {
 public:
  /// What a reference needs to know of the element it leads to. Reading the element itself is what
  /// following references costs.
  struct Target {
    std::uint32_t index = 0;
    std::uint32_t type = kNone;  // ordinal of its type in the model
    bool isNone() const noexcept { return type == kNone; }
  };

  /// A number that the table can hold is about as large as the document has elements; anything else is
  /// an identity like any other.
  static bool isPlausible(std::uint32_t number, std::size_t elements) noexcept {
    return number != 0 && number / 8 <= elements + 8;
  }

  /// @return the element that has the number already, or none where the record was added.
  Target add(std::uint32_t number, const ElementRecord* record) {
    Block& block = blockOf(number, record);
    const Target before = block.find(number);
    if (before.isNone()) block.add(number, record);
    return before;
  }

  Target find(std::uint32_t number) const noexcept {
    const std::size_t at = number / kBlock;
    return at < blocks_.size() && blocks_[at] != nullptr ? blocks_[at]->find(number) : Target();
  }

  /// Asks for the memory that find(number) will read.
  void prefetch(std::uint32_t number) const noexcept {
    const std::size_t at = number / kBlock;
    if (at < blocks_.size() && blocks_[at] != nullptr) blocks_[at]->prefetch(number);
  }

  void clear() noexcept { clearAndGiveBack(blocks_); }

 private:
  static constexpr std::uint32_t kNone = ~std::uint32_t{0};
  static constexpr std::uint32_t kBlock = 1024;  // neighbouring numbers

  class Block {
   public:
    Block(std::uint32_t number, const ElementRecord* first) noexcept : shift_(first->index - number) {}

    Target find(std::uint32_t number) const noexcept {
      const std::uint8_t type = types_[number % kBlock];
      if (type == kElsewhere) return (*others_)[number % kBlock];
      return type == 0 ? Target() : Target{number + shift_, type - 1u};
    }

    void prefetch(std::uint32_t number) const noexcept { __builtin_prefetch(&types_[number % kBlock]); }

    void add(std::uint32_t number, const ElementRecord* record) {
      const std::uint32_t type = record->use->ordinal;
      if (record->index == number + shift_ && type + 1 < kElsewhere) {
        types_[number % kBlock] = static_cast<std::uint8_t>(type + 1);
        return;
      }
      if (others_ == nullptr) others_ = std::make_unique<std::array<Target, kBlock>>();
      (*others_)[number % kBlock] = {record->index, type};
      types_[number % kBlock] = kElsewhere;
    }

   private:
    static constexpr std::uint8_t kElsewhere = 255;
    std::uint32_t shift_;  // from number to index, wrapping around
    std::array<std::uint8_t, kBlock>
        types_{};  // 0: none; kElsewhere: in others_; else the type's ordinal + 1
    std::unique_ptr<std::array<Target, kBlock>> others_;
  };

  Block& blockOf(std::uint32_t number, const ElementRecord* first) {
    const std::size_t at = number / kBlock;
    if (at >= blocks_.size()) blocks_.resize(at + 1);
    if (blocks_[at] == nullptr) blocks_[at] = std::make_unique<Block>(number, first);
    return *blocks_[at];
  }

  std::vector<std::unique_ptr<Block>> blocks_;
};

}  // namespace kr::zero::internal
