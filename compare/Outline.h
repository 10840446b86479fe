/// @file
/// Internal: a model laid out flat, in document order, with what elements are told by.
///
/// Comparing goes over whole models several times. Here an element is a number: its place in document order,
/// so that what is below it stands behind it in one piece, and tables beside the model are read in order. The
/// model itself is number 0, the container of its roots.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "kr/zero/Model.h"
#include "kr/zero/Records.h"
#include "kr/zero/compare/ModelDiff.h"

namespace kr::zero::compare {

using internal::ElementRecord;

/// The place of an element in document order; 0 is the model.
using Ordinal = std::uint32_t;
/// No element.
inline constexpr Ordinal kNone = 0xFFFFFFFF;

/// What names or describes an element, as numbers that are equal where the described is. They are of this
/// process only, and nothing that is shown depends on them.
using Mark = std::uint64_t;

/// Marks of one element, the stricter the later.
struct Marks {
  Mark strong = 0;   ///< class with identity, or with an id attribute; 0: it has none
  Mark name = 0;     ///< class with an attribute like "name"; 0: it has none
  Mark own = 0;      ///< class with values, without references to elements
  Mark content = 0;  ///< that with what its references lead to
  Mark tree = 0;     ///< content of it and of all below it
};

class Outline {
 public:
  Outline(const Model& model, const CompareOptions& options);

  const Model& model() const noexcept { return *model_; }
  /// How many numbers there are, the model's included.
  Ordinal size() const noexcept { return static_cast<Ordinal>(records_.size()); }
  const ElementRecord* record(Ordinal at) const noexcept { return records_[at]; }
  ConstElement element(Ordinal at) const;
  /// The number of an element of this model.
  Ordinal ordinalOf(const ElementRecord* record) const noexcept { return ordinalOfIndex(record->index); }
  Ordinal ordinalOfIndex(std::uint32_t index) const noexcept {
    return byIndex_.empty() ? index + 1 : byIndex_[index];
  }
  /// The number of an element, kNone for what is not in the model.
  Ordinal find(ConstElement element) const;
  Ordinal container(Ordinal at) const noexcept { return containers_[at]; }
  /// Behind the last one below.
  Ordinal end(Ordinal at) const noexcept { return ends_[at]; }
  /// Where it stands among the elements of its property.
  std::uint32_t position(Ordinal at) const noexcept { return positions_[at]; }
  /// The slot that holds it; 0 for roots.
  std::uint16_t slot(Ordinal at) const noexcept { return slots_[at]; }
  const Marks& marks(Ordinal at) const noexcept { return marks_[at]; }
  /// A mark of what refers to it; 0: nothing.
  Mark incoming(Ordinal at) const noexcept { return incoming_[at]; }
  /// The property that holds it; empty for a root.
  meta::Property containingProperty(Ordinal at) const noexcept;
  /// As ConstElement::getPath gives it, without a search.
  std::string path(Ordinal at) const;

 private:
  void add(const ElementRecord* record, Ordinal container, std::uint32_t position);
  void layOut();
  void indexRecords();
  void noteTops();
  std::string segment(Ordinal at) const;
  std::string segments(Ordinal last, std::size_t count) const;
  void mark(const CompareOptions& options);
  void markOwn(Ordinal at, std::span<const std::uint8_t> roles);
  void markReferences();

  const Model* model_;
  internal::ModelStore* store_ = nullptr;
  std::vector<const ElementRecord*> records_;
  std::vector<Ordinal> containers_;
  std::vector<Ordinal> ends_;
  std::vector<std::uint32_t> positions_;
  std::vector<std::uint16_t> slots_;
  std::vector<Marks> marks_;
  std::vector<Mark> incoming_;
  std::vector<Ordinal> tops_;     // where paths are long: what is so deep that its path is their beginning
  std::vector<Ordinal> byIndex_;  // empty where records are numbered in document order from 0
};

}  // namespace kr::zero::compare
