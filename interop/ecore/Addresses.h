/// @file
/// Internal: the texts by which a document refers to its own elements: xmi:id, else the value of the
/// identifying attribute, else the path that Fragments reads.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "ClassTable.h"
#include "kr/zero/Model.h"

namespace kr::zero::ecore {

class Addresses {
 public:
  /// Walks the model once.
  /// @throws EcoreError where two elements have one xmi:id.
  Addresses(const Model& model, ClassTables& tables);

  /// Appends the address of an element of the model.
  void append(std::string& out, ConstElement target);

 private:
  /// What the path to an element needs, found while walking.
  struct Place {
    std::uint32_t position = 0;   ///< among its siblings in one property, or among the roots
    std::uint32_t sameNames = 0;  ///< siblings before it with its name, over all properties
  };
  void visitRoots(const Model& model);
  void visitChildren(ConstElement container, std::vector<ConstElement>& waiting);
  void noteIds(ConstElement element);
  Place& placeOf(ConstElement element);
  bool appendId(std::string& out, ConstElement target);
  void appendPath(std::string& out, ConstElement target);
  void appendStep(std::string& out, ConstElement element);
  bool appendName(std::string& out, ConstElement element);

  ClassTables& tables_;
  std::vector<Place> places_;  // by the element's index
  std::size_t rootCount_ = 0;
  std::unordered_set<std::string_view, TextHash> xmiIds_;  // views into the model
  TextMap<std::uint32_t> idUses_;                          // number of elements that an id could mean
  std::vector<ConstElement> steps_;
};

}  // namespace kr::zero::ecore
