/// @file
/// Internal: what a reader remembers of the types that a document names.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kr/zero/meta/Type.h"
#include "kr/zero/ustring.h"
#include "values/TypeCode.h"

namespace kr::zero::io {

class TypeTable;

/// A property as a document names it, and what was found out about it last.
struct PropertyEntry {
  std::uint32_t identifier = 0;
  const ustring* name = nullptr;           ///< the meta model's own string; null: no property is here
  const meta::Type::Impl* type = nullptr;  ///< the type that `code` is of
  values::TypeCode code = values::TypeCode::structured;
  TypeTable* target = nullptr;  ///< type of the element or reference read last
};

/// Properties by identifier. Identifiers are mostly small and dense, and then each stands at the place
/// that it names; any others cost no more room.
class PropertyTable {
 public:
  /// A later property takes the place of an earlier one with its identifier; identifier 0 means none.
  explicit PropertyTable(const std::vector<meta::Property>& properties);

  /// The property of an identifier, or null.
  PropertyEntry* find(std::uint64_t identifier) noexcept {
    PropertyEntry& entry = entries_[placeOf(identifier)];
    return entry.name != nullptr ? &entry : nullptr;
  }

 private:
  /// Where the identifier stands, or the free place where it would.
  std::size_t placeOf(std::uint64_t identifier) const noexcept {
    std::size_t at = identifier & mask_;
    while (entries_[at].name != nullptr && entries_[at].identifier != identifier) at = (at + 1) & mask_;
    return at;
  }

  std::vector<PropertyEntry> entries_;  // a power of two of them, at least half of them free
  std::size_t mask_;                    // one less than there are
};

/// A type name of a document.
class TypeTable {
 public:
  /// @param type what the name means; an empty handle, or a type without properties, has none here.
  TypeTable(const ustring& name, meta::Type type);
  TypeTable(const TypeTable&) = delete;
  TypeTable& operator=(const TypeTable&) = delete;

  /// The name: the meta model's own string where there is one, so that whoever remembers names by
  /// address knows it again.
  const ustring& getName() const noexcept { return *name_; }
  PropertyEntry* findProperty(std::uint64_t identifier) noexcept { return properties_.find(identifier); }

  std::string_view utf8;  ///< the name again; lies in TypeTables

 private:
  ustring ownName_;
  const ustring* name_;
  PropertyTable properties_;
};

/// The type names of a document's elements. A name gets in only after the framework took an element of
/// that type, so that a document cannot fill the table with names of its choice.
class TypeTables {
 public:
  /// The table of a type name, or null.
  /// @param[in,out] last the table found last from the same place, which is tried first.
  TypeTable* find(std::string_view utf8, TypeTable*& last) {
    if (last != nullptr && last->utf8 == utf8) return last;
    const auto found = tables_.find(utf8);
    if (found == tables_.end()) return nullptr;
    return last = &found->second;
  }
  /// Adds a name that is not there yet.
  TypeTable& add(std::string_view utf8, const ustring& name, meta::Type type);

 private:
  struct Hash : std::hash<std::string_view> {
    using is_transparent = void;
  };
  std::unordered_map<std::string, TypeTable, Hash, std::equal_to<>> tables_;
};

}  // namespace kr::zero::io
