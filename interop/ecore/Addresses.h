/// @file
/// Internal: the texts by which a document refers to its own elements: xmi:id, else the value of the
/// identifying attribute, else the path that Fragments reads. Where the path would be long, as it is in a
/// deep model, the element gets an xmi:id of the document's own, which readers of ours forget: else a
/// document could be as large as the square of its model.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "ClassTable.h"
#include "kr/zero/Model.h"

namespace kr::zero::ecore {

/// What the xmi:id of a document's own begins with; a number follows.
inline constexpr std::string_view kOwnIdStart = "_kr0.";

/// Whether an xmi:id is one that a document has for itself and that is no part of the model.
bool isOwnId(std::string_view id);

class Addresses {
 public:
  /// Walks the model once.
  /// @throws EcoreError where two elements have one xmi:id.
  Addresses(const Model& model, ClassTables& tables);

  /// Appends the address of an element of the model.
  /// @throws EcoreError where paths that must be long would be most of the document.
  void append(std::string& out, ConstElement target);

  /// The xmi:id that the document needs for an element and that is none of the model's; mostly empty.
  std::string ownIdOf(ConstElement element) const;

 private:
  /// What the path to an element needs, found while walking.
  struct Place {
    std::uint32_t position = 0;   ///< among its siblings in one property, or among the roots
    std::uint32_t sameNames = 0;  ///< siblings before it with its name, over all properties
    std::uint32_t depth = 0;      ///< steps from its root
    std::uint32_t ownId = 0;      ///< the number of the document's own id; 0: none
  };
  /// Longer paths are replaced by ids.
  static constexpr std::uint32_t kMostSteps = 50;
  /// Of the longer ones that cannot be replaced, all together.
  static constexpr std::size_t kMostPathBytes = std::size_t{1} << 24;

  void nameDeepTargets(const Model& model);
  void nameTargetsOf(ConstElement element);
  void giveOwnId(ConstElement target);
  void visitRoots(const Model& model);
  void visitChildren(ConstElement container, std::vector<ConstElement>& waiting);
  void noteIds(ConstElement element);
  Place& placeOf(ConstElement element);
  std::string idOf(ConstElement target) const;
  bool isUnique(const std::string& id) const;
  void appendPath(std::string& out, ConstElement target);
  void appendStep(std::string& out, ConstElement element);
  bool appendName(std::string& out, ConstElement element);

  ClassTables& tables_;
  std::vector<Place> places_;  // by the element's index
  std::size_t rootCount_ = 0;
  std::unordered_set<std::string_view, TextHash> xmiIds_;  // views into the model
  TextMap<std::uint32_t> idUses_;                          // number of elements that an id could mean
  std::vector<ConstElement> steps_;
  std::uint32_t deepest_ = 0;
  std::uint32_t lastOwnId_ = 0;
  std::size_t longPathBytes_ = 0;
};

}  // namespace kr::zero::ecore
