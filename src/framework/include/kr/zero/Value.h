/// @file
/// A typed value of a fixed-width type on its way between a model and a codec.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "kr/zero/ValueMeta.h"

namespace kr::zero {

/// A ValueMeta and a cell of 0, 1, 2, 4 or 8 bytes that holds the number in host byte order. The cell
/// lies in the object itself: making, copying and dropping a value allocates nothing.
class Value {
 public:
  /// A value without a cell.
  constexpr explicit Value(ValueMeta meta) noexcept : meta_(meta) {}

  /// A value that holds `number` in a cell as wide as its type.
  template <class T>
  requires std::is_arithmetic_v<T>
  constexpr Value(ValueMeta meta, T number) noexcept : meta_(meta), width_(sizeof(T)) {
    static_assert(sizeof(T) <= 8);
    const auto bytes = std::bit_cast<std::array<std::byte, sizeof(T)>>(number);
    for (std::size_t i = 0; i < sizeof(T); ++i) cell_[i] = bytes[i];
  }

  /// Its type, and how many entries it has.
  const ValueMeta& getMeta() const noexcept { return meta_; }
  /// Whether it holds a number.
  bool hasCell() const noexcept { return width_ != 0; }
  /// Width of the cell in bytes; 0 where there is none.
  std::size_t getWidth() const noexcept { return width_; }

  /// The first sizeof(T) bytes of the cell as a T; 0 where there is no cell.
  template <class T>
  requires std::is_arithmetic_v<T> T get()
  const noexcept {
    T number;
    std::memcpy(&number, cell_.data(), sizeof(T));
    return number;
  }

 private:
  ValueMeta meta_;
  std::size_t width_ = 0;
  alignas(8) std::array<std::byte, 8> cell_{};
};

}  // namespace kr::zero
