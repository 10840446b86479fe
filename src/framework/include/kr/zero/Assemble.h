/// @file
/// Models put together and taken apart.
///
///     const auto joined = kr::zero::joinModels({{&books, "books.krb"}, {&loans, "loans.krb"}});
///     const auto one = kr::zero::extractElements(books, {moby}, {.document = "books.krb"});
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "kr/zero/Model.h"
#include "kr/zero/export.h"

namespace kr::zero {

/// The first part of the identity in a reference to an element that has none, in another document; the second
/// part is the element's path.
inline constexpr const char* kPathIdentity = "path";

/// A model that is to be joined with others.
struct JoinSource {
  const Model* model;    ///< not null
  std::string document;  ///< the name by which references of the others mean it; may be empty
};

/// How models are joined.
struct JoinOptions {
  /// Whether an element loses its identity where an earlier one has the same; else such models are not
  /// joined.
  bool dropClashes = false;
};

/// Models that were joined.
struct JoinedModels {
  Model model;               ///< all of them
  std::size_t resolved = 0;  ///< references that now lead to an element of another one
  std::size_t dropped = 0;   ///< identities that clashed and were dropped
};

/// One model with the roots of several, in their order. Unresolved references get resolved that mean an
/// element of another source: by its identity where they name no document; by its identity, or its path
/// (kPathIdentity), in the document of that name where they do. As in reading, they must name the class of
/// the target, which must fit.
/// @param sources at least one; all of one registry.
/// @throws ModelError for sources of several registries, and where two elements have one identity.
KR0_FRAMEWORK_API JoinedModels joinModels(const std::vector<JoinSource>& sources,
                                          const JoinOptions& options = {});

/// How elements are taken out.
struct ExtractOptions {
  /// The name of the document that they come from, which references to what stays behind name; empty: these
  /// name no document.
  std::string document = {};
  bool withReferences = false;  ///< take along what is referred to, and what that refers to
};

/// A model whose roots are copies of some elements, each with all below it. An element that is below another
/// one of them stays there. References to what stays behind become unresolved ones, by the identity of the
/// target or, where it has none, by its path.
/// @param elements of the model, in the order of the roots to be.
/// @throws ModelError for a datatype value, or an element of another model.
KR0_FRAMEWORK_API Model extractElements(const Model& model, const std::vector<ConstElement>& elements,
                                        const ExtractOptions& options = {});

}  // namespace kr::zero
