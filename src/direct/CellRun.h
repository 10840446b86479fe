/// @file
/// Internal: values of an element as they will lie in its model, until they are handed over.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include "fl/i18n/utf8.h"
#include "kr/zero/io/BulkParseProcessor.h"

namespace kr::zero::io {

/// Entries and cells for BulkParseProcessor::addCells, of one element at a time.
class CellRun {
 public:
  explicit CellRun(BulkParseProcessor& processor) : processor_(processor), memory_(processor.getMemory(0)) {}

  /// Hands over what was put down.
  void handOver() {
    list_ = nullptr;
    if (const std::size_t size = std::exchange(count_, 0); size != 0)
      processor_.addCells({entries_.data(), size}, cells_.data(), std::exchange(anyWaiting_, false));
  }
  /// What comes now is for an element in that property (or at the top, for none); all is handed over.
  void enter(const std::size_t* slot) {
    if (slot != nullptr) noteSet(*slot);
    lastSlots_.push_back(std::exchange(lastSlot_, -1));
  }
  /// Hands over; what comes now is for the element around.
  void leave() {
    handOver();
    lastSlot_ = lastSlots_.back();
    lastSlots_.pop_back();
  }
  /// A property is set, or more is added to it, in another way.
  void noteSet(std::size_t slot) noexcept {
    lastSlot_ = std::max(lastSlot_, static_cast<std::ptrdiff_t>(slot));
  }

  /// Whether a property comes behind all that are set, and so can be put down.
  [[gnu::always_inline]] bool isNext(std::size_t slot) const noexcept {
    return static_cast<std::ptrdiff_t>(slot) > lastSlot_;
  }
  [[gnu::always_inline]] void add(std::size_t slot, cells::Entry state, cells::Cell cell) {
    if (count_ == entries_.size()) handOver();
    lastSlot_ = static_cast<std::ptrdiff_t>(slot);
    entries_[count_] = static_cast<cells::Entry>(slot | state);
    cells_[count_++] = cell;
  }
  void noteWaiting() noexcept { anyWaiting_ = true; }

  /// Makes room for the items of the collection that was put down last, as explicitly empty.
  /// @return false, and everything is handed over, where that is not the place for them.
  bool startItems(std::uint64_t count) {
    if (count_ == 0 || count > cells::kSmallList) return handOver(), false;
    const std::size_t bytes = sizeof(cells::List) + static_cast<std::size_t>(count) * sizeof(cells::Cell);
    if (!memory_.has(bytes)) processor_.getMemory(bytes);
    list_ = new (memory_.take(bytes)) cells::List{0, static_cast<std::uint32_t>(count)};
    cells_[count_ - 1] = reinterpret_cast<cells::Cell>(list_);
    return true;
  }
  /// Whether items can be put down.
  bool takesItems() const noexcept { return list_ != nullptr; }
  [[gnu::always_inline]] void addItem(std::size_t slot, cells::Entry state, cells::Cell cell) noexcept {
    list_->items()[list_->size++] = cell;
    entries_[count_ - 1] = static_cast<cells::Entry>(slot | state);
  }

  /// A text in the model's memory.
  /// @param readable how many bytes can be read from its beginning on.
  /// @return null where it is not well-formed UTF-8, or too long.
  [[gnu::always_inline]] const cells::Text* makeText(std::string_view text, std::size_t readable) {
    constexpr std::size_t kBlock = 32;
    const bool isShort =
        text.size() <= kBlock && readable >= kBlock && memory_.has(sizeof(cells::Text) + kBlock);
    if (!isShort) return makeOtherText(text);
    // As a block of one size, most of the work is done before it is known how long the text is.
    using Half = std::uint64_t __attribute__((vector_size(kBlock / 2)));
    const auto load = [](const void* from) {
      Half half;
      std::memcpy(&half, from, sizeof half);
      return half;
    };
    const unsigned char* const masks = kHighBits.data() + kBlock - text.size();
    const Half first = load(text.data());
    const Half second = load(text.data() + sizeof first);
    const Half others = (first & load(masks)) | (second & load(masks + sizeof first));
    if ((others[0] | others[1]) != 0 && !fl::i18n::isWellFormedUtf8(text)) return nullptr;
    cells::Text* const made = takeText(text.size());
    std::memcpy(made->bytes, &first, sizeof first);
    std::memcpy(made->bytes + sizeof first, &second, sizeof second);
    return made;
  }

 private:
  cells::Text* takeText(std::size_t size) noexcept {
    auto* const made = reinterpret_cast<cells::Text*>(memory_.take(offsetof(cells::Text, bytes) + size));
    made->length = static_cast<std::uint32_t>(size);
    return made;
  }
  const cells::Text* makeOtherText(std::string_view text) {
    constexpr std::size_t kLong = 1024;
    if (text.size() > kLong || !fl::i18n::isWellFormedUtf8(text)) return nullptr;
    const std::size_t bytes = offsetof(cells::Text, bytes) + text.size();
    if (!memory_.has(bytes)) processor_.getMemory(bytes);
    cells::Text* const made = takeText(text.size());
    if (!text.empty()) std::memcpy(made->bytes, text.data(), text.size());
    return made;
  }

  // From any place on, as many of them as that place is before the middle.
  static constexpr std::array<unsigned char, 64> kHighBits = [] {
    std::array<unsigned char, 64> bits{};
    for (std::size_t i = 0; i < bits.size() / 2; ++i) bits[i] = 0x80;
    return bits;
  }();

  BulkParseProcessor& processor_;
  cells::FreeMemory& memory_;
  std::size_t count_ = 0;
  std::ptrdiff_t lastSlot_ = -1;  // the last one that is set on the element
  std::array<cells::Entry, 32> entries_{};
  std::array<cells::Cell, 32> cells_{};
  cells::List* list_ = nullptr;  // the collection that was put down last, while its items come
  bool anyWaiting_ = false;
  std::vector<std::ptrdiff_t> lastSlots_;  // of the elements around
};

}  // namespace kr::zero::io
