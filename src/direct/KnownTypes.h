/// @file
/// Internal: what a reader remembers of the types that a document names.
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kr/zero/TextHash.h"
#include "kr/zero/io/PropertyCategory.h"
#include "kr/zero/meta/Type.h"
#include "kr/zero/ustring.h"

namespace kr::zero::io {

struct KnownType;

/// What stands in a document behind a property's number.
enum class Content : std::uint8_t {
  nothing,
  boolean,
  literal,
  number8,
  number16,
  number32,
  number64,
  text,
  dateTime,
  otherText,  // one that is more than a text
  items,
  datatype,
  composition,
  reference,
  references
};

/// The content of a property of that category, which is no primitive.
constexpr Content contentOf(PropertyCategory category) noexcept {
  if (category.isA(PropertyCategory::DatatypeAny())) return Content::datatype;
  if (category.isA(PropertyCategory::CompositionAny())) return Content::composition;
  if (category.isA(PropertyCategory::AssociationCollection())) return Content::references;
  return category.isA(PropertyCategory::Association()) ? Content::reference : Content::nothing;
}

/// The content of a property as the meta model describes it.
inline Content contentOf(const meta::Property::Impl& record) noexcept {
  if (!meta::isPrimitive(record.getKind())) return contentOf(categoryOf(record));
  if (record.isMany()) return Content::items;
  if (record.getKind() == meta::PropertyKind::enumeration) return Content::literal;
  if (record.getKind() == meta::PropertyKind::text) return Content::text;
  if (record.getKind() == meta::PropertyKind::dateTime) return Content::dateTime;
  if (record.getKind() != meta::PropertyKind::number) return Content::otherText;
  const meta::StandardTypeInfo& info = record.getNumberInfo();
  if (info.kind == meta::StandardKind::boolean) return Content::boolean;
  switch (info.width) {
    case 1:
      return Content::number8;
    case 2:
      return Content::number16;
    case 4:
      return Content::number32;
    default:
      return Content::number64;
  }
}

/// A property of a type.
struct KnownProperty {
  const meta::Property::Impl* record;
  /// The type of the element or reference that was read last in it; may be null.
  KnownType* last;
  std::size_t slot;
  Content content;
  bool optional;
};

/// A type name of a document.
struct KnownType {
  static constexpr std::uint32_t kNoNumber = ~std::uint32_t{0};

  std::string_view utf8;                  ///< the name; lies in KnownTypes
  ustring ownName;                        ///< the same, where the meta model has no such string
  meta::StructuredType type;              ///< what it means; empty where that has no properties
  std::vector<KnownProperty> properties;  ///< by slot
  std::uint32_t number = kNoNumber;       ///< what the processor calls it as the type of references

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
    if (last != nullptr && isEqual(last->utf8, utf8)) return last;
    const auto found = types_.find(utf8);
    if (found == types_.end()) return nullptr;
    return last = &found->second;
  }
  /// Adds a name that is not there yet.
  KnownType& add(std::string_view utf8, const ustring& name, meta::StructuredType type) {
    const auto added = types_.try_emplace(std::string(utf8)).first;
    KnownType& known = added->second;
    known.utf8 = added->first;
    known.type = type;
    if (type) learnProperties(known);
    if (!type || type->getQualifiedName() != name) known.ownName = name;
    return known;
  }

 private:
  /// The same as ==, without a call for the lengths that names of types have.
  [[gnu::always_inline]] static bool isEqual(std::string_view a, std::string_view b) noexcept {
    using Word = std::uint64_t;
    if (a.size() != b.size()) return false;
    if (a.size() < sizeof(Word) || a.size() > 2 * sizeof(Word)) return a == b;
    const auto differ = [&](std::size_t at) {
      Word ofA;
      Word ofB;
      std::memcpy(&ofA, a.data() + at, sizeof ofA);
      std::memcpy(&ofB, b.data() + at, sizeof ofB);
      return ofA ^ ofB;
    };
    return (differ(0) | differ(a.size() - sizeof(Word))) == 0;
  }

  static void learnProperties(KnownType& known) {
    const std::vector<meta::Property>& all = known.type->getAllProperties();
    known.properties.reserve(all.size());
    for (const meta::Property property : all)
      known.properties.push_back({property.get(), nullptr, known.properties.size(),
                                  contentOf(*property.get()), property->isOptional()});
  }

  std::unordered_map<std::string, KnownType, TextHash, std::equal_to<>> types_;
};

}  // namespace kr::zero::io
