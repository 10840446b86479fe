/// @file
/// Which properties a walk visits, pass by pass.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

namespace kr::zero::io {

/// Masks of property categories, one per pass that the walk makes over an object's properties. Up to two need
/// no memory of their own; there may be any number.
class CategoryMasks {
 public:
  using value_type = std::uint32_t;          ///< a mask
  using iterator = value_type*;              ///< of a list that may be changed
  using const_iterator = const value_type*;  ///< of any list

  /// No mask: no property is visited.
  CategoryMasks() = default;
  /// These masks, in this order.
  CategoryMasks(std::initializer_list<value_type> masks) {
    for (const value_type mask : masks) push_back(mask);
  }

  ///@{
  /// As for a vector.
  std::size_t size() const noexcept { return many_.empty() ? fewCount_ : many_.size(); }
  bool empty() const noexcept { return size() == 0; }
  iterator begin() noexcept { return many_.empty() ? few_.data() : many_.data(); }
  iterator end() noexcept { return begin() + size(); }
  const_iterator begin() const noexcept { return many_.empty() ? few_.data() : many_.data(); }
  const_iterator end() const noexcept { return begin() + size(); }
  ///@}
  /// @param pass below size().
  value_type& operator[](std::size_t pass) noexcept { return begin()[pass]; }
  /// @param pass below size().
  value_type operator[](std::size_t pass) const noexcept { return begin()[pass]; }

  /// Adds a pass behind the others.
  void push_back(value_type mask) {
    if (many_.empty() && fewCount_ < few_.size()) {
      few_[fewCount_++] = mask;
      return;
    }
    if (many_.empty()) {
      many_.assign(begin(), end());
      fewCount_ = 0;
    }
    many_.push_back(mask);
  }
  /// Back to no mask.
  void clear() noexcept {
    many_.clear();
    fewCount_ = 0;
  }

  /// Whether both have the same masks in the same order.
  friend bool operator==(const CategoryMasks& a, const CategoryMasks& b) noexcept {
    if (a.size() != b.size()) return false;
    for (std::size_t pass = 0; pass < a.size(); ++pass)
      if (a[pass] != b[pass]) return false;
    return true;
  }

 private:
  std::array<value_type, 2> few_{};
  std::size_t fewCount_ = 0;      // 0 where many_ has them
  std::vector<value_type> many_;  // all of them, where few_ is too small
};

}  // namespace kr::zero::io
