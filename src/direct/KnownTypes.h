/// @file
/// Internal: what a reader remembers of the types that a document names.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kr/zero/TextHash.h"
#include "kr/zero/meta/Type.h"
#include "kr/zero/ustring.h"

namespace kr::zero::io {

/// A type name of a document.
struct KnownType {
  static constexpr std::uint32_t kNoNumber = ~std::uint32_t{0};

  std::string_view utf8;      ///< the name; lies in KnownTypes
  ustring ownName;            ///< the same, where the meta model has no such string
  meta::StructuredType type;  ///< what it means; empty where that has no properties
  /// By slot: the type of the element or reference that was read last in that property; may be null.
  std::vector<KnownType*> lastIn;
  std::uint32_t number = kNoNumber;  ///< what the processor calls it as the type of references

  /// The name: the meta model's own string where there is one.
  const ustring& getName() const noexcept { return ownName.empty() ? type->getQualifiedName() : ownName; }
};

/// The type names of a document's elements. A name gets in only after the framework took an element of
/// that type, so that a document cannot fill the table with names of its choice.
class KnownTypes {
 public:
  /// The type of a name, or null.
  /// @param[in,out] last the type found last at the same place, which is tried first.
  KnownType* find(std::string_view utf8, KnownType*& last) {
    if (last != nullptr && last->utf8 == utf8) return last;
    const auto found = types_.find(utf8);
    if (found == types_.end()) return nullptr;
    return last = &found->second;
  }
  /// Adds a name that is not there yet.
  KnownType& add(std::string_view utf8, const ustring& name, meta::StructuredType type) {
    const auto added = types_.try_emplace(std::string(utf8)).first;
    const std::size_t properties = type ? type->getAllProperties().size() : 0;
    KnownType& known = added->second;
    known.utf8 = added->first;
    known.type = type;
    known.lastIn.resize(properties);
    if (!type || type->getQualifiedName() != name) known.ownName = name;
    return known;
  }

 private:
  std::unordered_map<std::string, KnownType, TextHash, std::equal_to<>> types_;
};

/// A property of the innermost element.
struct FoundProperty {
  std::size_t slot;
  const meta::Property::Impl* record;
  KnownType** last;  ///< see KnownType::lastIn
};

}  // namespace kr::zero::io
