/// @file
/// Internal: a model put together from parts of others.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "Outline.h"
#include "Values.h"

namespace kr::zero::compare {

/// Elements of the model that is made, with numbers of their own; 0 is the model.
class Assembly {
 public:
  using Id = std::uint32_t;
  /// The element of another model that one is made after.
  struct Part {
    const Outline* outline = nullptr;
    Ordinal at = kNone;
  };
  struct Child {
    std::uint16_t slot;
    Id id;
  };

  Assembly(const meta::MetaRegistry& registry, std::size_t size)
      : parts_(size), children_(size), model_(registry) {}

  void setPart(Id id, const Outline& outline, Ordinal at) { parts_[id] = {&outline, at}; }
  /// In the order of slots, and within each in the order that is wanted.
  std::vector<Child>& childrenOf(Id id) { return children_[id]; }
  /// Makes all elements that are below the model, in document order. What is made once is not made again.
  void makeElements();
  /// Those that were made, in document order.
  const std::vector<Id>& made() const noexcept { return order_; }
  Element elementOf(Id id) const noexcept { return elements_[id]; }
  const Part& partOf(Id id) const noexcept { return parts_[id]; }
  Model take() { return std::move(model_); }

 private:
  std::vector<Part> parts_;
  std::vector<std::vector<Child>> children_;
  std::vector<Element> elements_;
  std::vector<Id> order_;
  Model model_;
};

/// Finds the element that a reference is to lead to; an empty handle: the reference is left out.
using TargetOf = std::function<Element(cells::Cell reference)>;

/// Adds one item of a property to an element, or sets the property that holds one.
void copyItem(const SlotValues& from, std::size_t at, Element to, const TargetOf& targetOf);
/// Says of a property of an element, of which nothing was said, what is said elsewhere. A collection that
/// loses all its references becomes empty.
void copyValues(const SlotValues& from, Element to, const TargetOf& targetOf);
/// Gives an element the identity of a record, if it has one.
void copyIdentity(const ElementRecord* from, Element to);

}  // namespace kr::zero::compare
