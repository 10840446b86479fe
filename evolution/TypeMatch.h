/// @file
/// Internal: which type of one registry is which of another.
#pragma once

#include <map>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::evolution {

/// A package's types go with those of the package of the same URI; where there is none any more, with those
/// of the same qualified name.
class TypeMatch {
 public:
  /// @param renames by qualified name, see CompareOptions.
  TypeMatch(const meta::MetaRegistry& before, const meta::MetaRegistry& after,
            const std::map<std::string, std::string>& renames);

  /// The new type of an old one; itself for a standard type; empty where it is gone.
  meta::Type find(meta::Type before) const;
  /// Whether an old type became this one.
  bool isKnown(meta::Type after) const { return known_.contains(after.get()); }

 private:
  std::unordered_map<const meta::Type::Impl*, meta::Type> types_;
  std::unordered_set<const meta::Type::Impl*> known_;
};

}  // namespace kr::zero::evolution
