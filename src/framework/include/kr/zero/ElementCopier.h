/// @file
/// Copies elements between models of one registry, or within one model, with the references among them.
///
///     kr::zero::ElementCopier copier(books, library);
///     for (const auto book : books.roots()) copier.copyInto(shelf, "books", book);
///     copier.finish();
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>

#include "kr/zero/Model.h"
#include "kr/zero/export.h"

namespace kr::zero {

/// How elements are copied.
struct CopyOptions {
  bool identities = true;  ///< whether copies have the identities of their originals
  /// What a reference becomes whose target has neither a copy nor a stand-in: these texts, or nothing, which
  /// leaves it out. Empty: it is left out, and within one model it keeps its target.
  std::function<std::optional<UnresolvedReference>(ConstElement target)> outside = {};
};

/// Copies whole elements with all below them, piece by piece, and their references at the end, when it is
/// known what stands for every target. Unresolved references keep their texts. Opposites are copied as they
/// are, each side by itself. Time and memory grow with what is copied, and with the number of elements of the
/// model copied from.
///
/// Both models must outlive the copier; the one copied from is not to be changed before finish(). An
/// operation that throws leaves the model copied to with what was copied before. Not to be used from two
/// threads at once.
class KR0_FRAMEWORK_API ElementCopier {
 public:
  /// @throws ModelError where the models have different registries.
  ElementCopier(const Model& from, Model& to, CopyOptions options = {});
  ~ElementCopier();
  ElementCopier(const ElementCopier&) = delete;
  ElementCopier& operator=(const ElementCopier&) = delete;

  /// Copies an element to the end of the roots.
  /// @throws ModelError where it is none of the model copied from.
  Element copyRoot(ConstElement original);
  /// Copies an element, or datatype value, into a property of an element of the model copied to.
  /// @param position of an element among the values of a collection; beyond the end appends, as datatype
  /// values do.
  /// @throws ModelError where it does not fit there, or a single place is taken.
  Element copyInto(Element container, PropertyKey property, ConstElement original,
                   std::size_t position = static_cast<std::size_t>(-1));
  /// Makes references to `original` lead to `here`, which need be no copy of it.
  /// @throws ModelError where one of them is of the wrong model.
  void standFor(ConstElement original, Element here);
  /// What stands for an element: its copy or stand-in; an empty handle where there is none.
  Element copyOf(ConstElement original) const;
  /// Gives a property of an element of the model copied to the state and values that it has in `original`.
  /// References follow at finish().
  /// @throws ModelError where one of both has no such property, or it contains something.
  void copyProperty(ConstElement original, meta::Property property, Element here);
  /// Copies the references of all that was copied so far. More can be copied afterwards, and finished again.
  void finish();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace kr::zero
