/// @file
/// Proposals for a change map, for a person to check: what of the old meta model may have another name in the
/// new one.
#pragma once

#include <string>
#include <vector>

#include "kr/zero/evolution/ChangeMap.h"
#include "kr/zero/evolution/export.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::evolution {

/// A rule of a draft, and why.
struct Proposal {
  std::string from;    ///< as the map names it: "shelf.Book.pages"
  std::string to;      ///< as the map names it: "sheets"
  std::string reason;  ///< "same number 2 and same type Integer"
};

/// A draft of a change map.
struct DraftMap {
  ChangeMap map;                    ///< renames of packages, types, properties and literals; nothing else
  std::vector<Proposal> proposals;  ///< a reason for each rule, in the order of the old meta model
  /// What of the old meta model has neither its name nor a proposal in the new one: "shelf.Book.weight".
  std::vector<std::string> unmatched;
};

/// Looks for renames. The same meta models give the same draft. What has its old name in the new meta model
/// is never renamed; a name of the new meta model is proposed once. Of a property the same number and type
/// count most, then a similar name and the same type, then being the only ones of a class or enumeration.
/// Numbers mean little where they were not pinned.
/// Time grows with the size of the meta models times a bound.
KR0_EVOLUTION_API DraftMap draftMap(const meta::MetaRegistry& from, const meta::MetaRegistry& to);

}  // namespace kr::zero::evolution
