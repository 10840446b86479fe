/// @file
/// All that is set on an element, as it lies in memory: for code that takes whole models elsewhere and so
/// looks at every value once. kr/zero/Model.h is what everybody else wants.
///
///     const kr::zero::SetValues set(element);
///     for (std::size_t at = 0; at < set.size(); ++at)
///       for (const kr::zero::cells::Cell cell : set.cells(at)) use(set.property(at), cell);
///
/// kr/zero/Cells.h tells what a cell means. What is given is good until the model is changed.
#pragma once

#include <cstddef>
#include <span>

#include "kr/zero/Cells.h"
#include "kr/zero/Model.h"
#include "kr/zero/Records.h"
#include "kr/zero/Typed.h"

namespace kr::zero {

/// What is set on one element or datatype value, in the order of its type's properties.
class SetValues {
 public:
  /// @throws ModelError for an empty handle and a removed element.
  explicit SetValues(ConstElement element)
      : store_(internal::ElementAccess::storeOf(element)),
        record_(internal::ElementAccess::recordOf(element)) {
    if (record_ == nullptr || record_->removed) internal::failToUse(record_);
  }

  /// What it was made of.
  ConstElement element() const noexcept {
    return internal::ElementAccess::make<ConstElement>(store_, record_);
  }
  /// How many properties are set, be it that they are empty.
  std::size_t size() const noexcept { return record_->count; }
  /// Where the property at a position below size() stands among its type's getAllProperties().
  std::size_t slot(std::size_t at) const noexcept { return cells::slotOf(record_->slots()[at]); }
  /// The property at that position.
  meta::Property property(std::size_t at) const noexcept { return record_->use->properties[slot(at)]; }
  /// Whether it is said to hold nothing.
  bool isEmpty(std::size_t at) const noexcept { return cells::isEmpty(record_->slots()[at]); }
  /// Its values: of a single one one cell, none where it is empty.
  std::span<const cells::Cell> cells(std::size_t at) const noexcept {
    const cells::Entry entry = record_->slots()[at];
    const cells::Cell* const cell = record_->payloads + at;
    if (property(at)->isMany()) return cells::itemsOf(entry, *cell);
    return {cell, cells::isEmpty(entry) ? std::size_t{0} : std::size_t{1}};
  }

  /// Whether a reference out of cells(at) leads to no element of the model.
  bool isUnresolved(std::size_t at, cells::Cell cell) const noexcept {
    if (property(at)->isMany()) return cells::isUnresolved(cell);
    return (record_->slots()[at] & cells::kUnresolved) != 0;
  }
  /// The element that a resolved reference leads to.
  ConstElement target(cells::Cell cell) const noexcept {
    return internal::ElementAccess::make<ConstElement>(store_, internal::targetOf(store_, cell));
  }
  /// The child or datatype value that a cell holds.
  ConstElement element(cells::Cell cell) const noexcept {
    return internal::ElementAccess::make<ConstElement>(store_,
                                                       reinterpret_cast<internal::ElementRecord*>(cell));
  }

 private:
  internal::ModelStore* store_;
  internal::ElementRecord* record_;
};

}  // namespace kr::zero
