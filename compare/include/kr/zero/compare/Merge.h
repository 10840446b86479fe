/// @file
/// Two versions of a model made one, by what both were made from.
///
///     kr::zero::compare::MergeResult merged = kr::zero::compare::mergeModels(base, ours, theirs);
///     for (const auto& conflict : merged.conflicts) std::cerr << conflict.sentence() << '\n';
///     kr::zero::io::saveModel(merged.model, "merged.krb");
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kr/zero/Model.h"
#include "kr/zero/compare/ModelDiff.h"
#include "kr/zero/compare/export.h"

namespace kr::zero::compare {

/// In what two sides contradict each other.
enum class ConflictKind : std::uint8_t {
  value,      ///< both changed a property, in different ways
  identity,   ///< both gave an element an identity, different ones
  place,      ///< both moved an element, to different places, or filled a place that holds one element
  order,      ///< both reordered the same elements, in different ways
  removal,    ///< one removed what the other changed
  reference,  ///< one refers to what the other removed
};

/// The kind in one word, for reports ("value").
KR0_COMPARE_API std::string_view nameOf(ConflictKind kind) noexcept;

/// A place where two sides contradict each other. The merged model has there what ours has.
struct KR0_COMPARE_API Conflict {
  ConflictKind kind = ConflictKind::value;  ///< in what
  std::string path;      ///< of the element in ours; where it is not there, in base, else in theirs
  std::string property;  ///< its name; empty where an element as such is concerned
  std::string base;  ///< what base says there, as valueText() or in words; empty where it has no such element
  std::string ours;  ///< what ours says
  std::string theirs;  ///< what theirs says

  /// All of it in one line.
  std::string sentence() const;
};

/// What mergeModels gives.
struct MergeResult {
  Model model;  ///< all changes of both sides; what they contradict each other in, as in ours
  std::vector<Conflict>
      conflicts;  ///< in the order of base, then of what is new; empty: all is said by `model`
};

/// Merges what two sides made of one model. What only one side changed is taken over, and lists are merged
/// entry by entry: additions of both, without what either took out. Elements that both added are one where
/// their identity, their name or all their content says so.
/// @param options as for compareModels.
/// @throws ModelError where the three models are not of one registry, or hold what the meta model forbids.
KR0_COMPARE_API MergeResult mergeModels(const Model& base, const Model& ours, const Model& theirs,
                                        const CompareOptions& options = {});

}  // namespace kr::zero::compare
