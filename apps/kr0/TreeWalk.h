/// @file
/// Internal: one walk over a model for everything that prints one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Properties.h"
#include "kr/zero/Model.h"

namespace kr::zero::tool {

/// Hears what a walk meets, in document order.
class TreeVisitor {
 public:
  virtual ~TreeVisitor() = default;
  /// An element or datatype value begins.
  /// @param property the property that holds it, none at the top.
  /// @param position its place in that property, or among the roots.
  /// @param depth number of elements around it.
  virtual void begin(Element element, meta::Property property, std::size_t position, std::size_t depth) = 0;
  virtual void end(Element element) = 0;
  /// A property of primitives or references that is set, be it empty.
  virtual void leaf(Element element, meta::Property property, std::size_t depth) = 0;
  /// A property of children or datatype values that holds some; each of them follows.
  virtual void beginProperty(meta::Property property) = 0;
  virtual void endProperty(meta::Property property) = 0;
};

/// Walks a whole model on a stack of its own, however deep it is.
void walk(const Model& model, TreeVisitor& visitor);

/// Numbers of the elements in document order, from 1: how printed references name their targets.
class ElementNumbers {
 public:
  explicit ElementNumbers(const Model& model);
  std::uint32_t operator[](Element element) const { return numbers_.at(element.getIndex()); }

 private:
  std::vector<std::uint32_t> numbers_;
};

}  // namespace kr::zero::tool
