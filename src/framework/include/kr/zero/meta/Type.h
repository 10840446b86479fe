/// @file
/// The meta model as its users see it: types and properties.
///
/// `Type`, `PrimitiveType`, `Enum`, `StructuredType`, `Class` and `Property` are handles the size of a
/// pointer. What they point to is made by a MetaRegistry, never changes afterwards and lives as long as
/// that registry. Two handles are equal when they denote the same object; a default-made handle denotes
/// none and converts to false. Everything here may be read from many threads at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kr/zero/TextHash.h"
#include "kr/zero/export.h"
#include "kr/zero/meta/StandardTypeList.h"
#include "kr/zero/ustring.h"

namespace kr::zero::meta {

class MetaRegistry;
class PropertyTable;
class RegistryLoader;

/// The class of a type: which kind of type it is.
class KR0_FRAMEWORK_API MetaClass {
 public:
  /// @param name lives as long as the program. @param base what it is derived from; null for none.
  constexpr MetaClass(const char* name, const MetaClass* base) noexcept : name_(name), base_(base) {}
  /// Its name.
  const char* getName() const noexcept { return name_; }
  /// Whether this is `other` or derived from it.
  bool isKindOf(const MetaClass& other) const noexcept {
    for (const MetaClass* m = this; m != nullptr; m = m->base_)
      if (m == &other) return true;
    return false;
  }

 private:
  const char* name_;
  const MetaClass* base_;
};

/// Any type.
class KR0_FRAMEWORK_API Type {
 public:
  class Impl;
  constexpr Type() noexcept = default;
  ///@{
  /// The handle of what is pointed to, and back.
  constexpr explicit Type(const Impl* impl) noexcept : impl_(impl) {}
  constexpr explicit operator bool() const noexcept { return impl_ != nullptr; }
  constexpr const Impl* operator->() const noexcept { return impl_; }
  constexpr const Impl* get() const noexcept { return impl_; }
  ///@}
  /// What all types are.
  static const MetaClass& metaClass();
  /// Whether both denote the same type.
  friend constexpr bool operator==(Type a, Type b) noexcept { return a.impl_ == b.impl_; }

 protected:
  const Impl* impl_ = nullptr;  ///< null: none
};

/// What a Type denotes.
class KR0_FRAMEWORK_API Type::Impl {
 public:
  virtual ~Impl();
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  /// Which kind of type it is.
  virtual const MetaClass& getMetaClass() const noexcept = 0;
  /// Whether it is of that kind or one derived from it.
  bool isKindOf(const MetaClass& metaClass) const noexcept { return getMetaClass().isKindOf(metaClass); }

  /// The name alone ("Book"), UTF-8.
  const std::string& name() const noexcept { return name_; }
  /// Package names and the name, joined by dots ("library.Book"), UTF-8; a standard type's is its name.
  const std::string& qualifiedName() const noexcept { return qualifiedNameUtf8_; }
  /// URI of the package that the type stands in, UTF-8; empty for standard types.
  const std::string& packageUri() const noexcept { return packageUriUtf8_; }

  ///@{
  /// The same as UTF-16. The strings have one address for the life of the registry.
  const ustring& getQualifiedName() const noexcept { return qualifiedName_; }
  const ustring& getPackageUri() const noexcept { return packageUri_; }
  ///@}
  /// Dense number of the type within its registry, for tables beside it.
  std::uint32_t getIndex() const noexcept { return index_; }

  /// @cond
 protected:
  friend class RegistryLoader;
  Impl() = default;
  std::string name_;
  ustring qualifiedName_;
  std::string qualifiedNameUtf8_;
  ustring packageUri_;
  std::string packageUriUtf8_;
  std::uint32_t index_ = 0;
  /// @endcond
};

/// A primitive type: one of the standard ones, or a user-defined one whose values are texts.
class KR0_FRAMEWORK_API PrimitiveType : public Type {
 public:
  class Impl;
  ///@{
  /// As for Type; made of a type of another sort it is empty.
  constexpr PrimitiveType() noexcept = default;
  explicit PrimitiveType(const Impl* impl) noexcept;
  /// The handle of a type that is one, else an empty handle.
  explicit PrimitiveType(Type type) noexcept;
  const Impl* operator->() const noexcept;
  static const MetaClass& metaClass();
  ///@}
};

/// What a PrimitiveType denotes.
class KR0_FRAMEWORK_API PrimitiveType::Impl final : public Type::Impl {
 public:
  const MetaClass& getMetaClass() const noexcept override { return PrimitiveType::metaClass(); }
  /// Which standard type this is; none for a user-defined one.
  StandardType getStandardType() const noexcept { return standard_; }

 private:
  friend class meta::RegistryLoader;
  StandardType standard_ = StandardType::none;
};

/// A literal of an enumeration.
struct EnumLiteral {
  std::string name;         ///< name in the meta model
  std::string text;         ///< text in documents; often the name
  std::int32_t number = 0;  ///< what the binary formats carry
};

/// An enumeration.
class KR0_FRAMEWORK_API Enum : public Type {
 public:
  class Impl;
  ///@{
  /// As for Type; made of a type of another sort it is empty.
  constexpr Enum() noexcept = default;
  explicit Enum(const Impl* impl) noexcept;
  explicit Enum(Type type) noexcept;
  const Impl* operator->() const noexcept;
  static const MetaClass& metaClass();
  ///@}
};

/// What an Enum denotes.
class KR0_FRAMEWORK_API Enum::Impl final : public Type::Impl {
 public:
  const MetaClass& getMetaClass() const noexcept override { return Enum::metaClass(); }
  /// In declaration order. Two may share a number; then the first one stands for it.
  const std::vector<EnumLiteral>& getLiterals() const noexcept { return literals_; }
  /// The first literal of that number, or null.
  const EnumLiteral* findByNumber(std::int64_t number) const noexcept;
  /// Whether a literal has that number.
  bool hasLiteral(std::int64_t number) const noexcept {
    return (number >= 0 && number < dense_) || findByNumber(number) != nullptr;
  }
  /// The literal of that name, else the first whose text it is, or null.
  const EnumLiteral* findByName(std::string_view name) const noexcept;
  /// The first literal whose text it is, else the one of that name, or null.
  const EnumLiteral* findByText(std::string_view text) const noexcept;

 private:
  friend class meta::RegistryLoader;
  std::vector<EnumLiteral> literals_;
  std::int64_t dense_ = 0;  // every number from 0 below this one is a literal's
  std::unordered_map<std::int64_t, std::size_t, NumberHash> byNumber_;
  std::unordered_map<std::string_view, std::size_t, TextHash> byName_;
  std::unordered_map<std::string_view, std::size_t, TextHash> byText_;
};

/// What a property holds. How many values it may hold is another matter.
enum class PropertyKind : std::uint8_t {
  none,  ///< nothing: derived and static properties
  number,
  enumeration,
  text,
  uuid,
  dateTime,
  datatype,
  composition,
  association
};

/// Whether values of that kind are primitive: one cell or text each.
constexpr bool isPrimitive(PropertyKind kind) noexcept {
  return kind >= PropertyKind::number && kind <= PropertyKind::dateTime;
}

/// What a single value of that kind is as a category of readers and writers (io::PropertyCategory): one bit.
constexpr std::uint32_t categoryBitOf(PropertyKind kind) noexcept {
  constexpr std::uint32_t kPrimitive = 0x001;
  switch (kind) {
    case PropertyKind::none:
      return 0;
    case PropertyKind::datatype:
      return 0x002;
    case PropertyKind::association:
      return 0x004;
    case PropertyKind::composition:
      return 0x008;
    default:
      return kPrimitive;
  }
}
/// From the bit of a single value to that of a collection of such.
inline constexpr int kCollectionShift = 8;

/// A property of a structured type.
class KR0_FRAMEWORK_API Property {
 public:
  class Impl;
  constexpr Property() noexcept = default;
  ///@{
  /// The handle of what is pointed to, and back.
  constexpr explicit Property(const Impl* impl) noexcept : impl_(impl) {}
  constexpr explicit operator bool() const noexcept { return impl_ != nullptr; }
  constexpr const Impl* operator->() const noexcept { return impl_; }
  constexpr const Impl* get() const noexcept { return impl_; }
  ///@}
  /// Whether both denote the same property.
  friend constexpr bool operator==(Property a, Property b) noexcept { return a.impl_ == b.impl_; }

 private:
  const Impl* impl_ = nullptr;
};

/// A type with properties: a class, or a datatype (a value made of parts).
class KR0_FRAMEWORK_API StructuredType : public Type {
 public:
  class Impl;
  ///@{
  /// As for Type; made of a type of another sort it is empty.
  constexpr StructuredType() noexcept = default;
  explicit StructuredType(const Impl* impl) noexcept;
  explicit StructuredType(Type type) noexcept;
  const Impl* operator->() const noexcept;
  static const MetaClass& metaClass();
  ///@}
};

/// What a StructuredType denotes.
class KR0_FRAMEWORK_API StructuredType::Impl : public Type::Impl {
 public:
  const MetaClass& getMetaClass() const noexcept override { return StructuredType::metaClass(); }
  /// Declared by this type itself, in declaration order.
  const std::vector<Property>& getOwnedAttributes() const noexcept { return owned_; }
  /// Inherited ones first (supertypes in declaration order, each property once), then its own, with
  /// derived and static ones in their places. A datatype has only its own.
  const std::vector<Property>& getAllProperties() const noexcept { return *all_; }
  /// The property of that name among getAllProperties(), or an empty handle.
  Property findProperty(std::string_view name) const noexcept;
  /// The same for a name in UTF-16.
  Property findProperty(std::u16string_view name) const noexcept;
  /// Position of a property in getAllProperties(), or npos.
  std::size_t slotOf(Property property) const noexcept;
  /// Position of the property of that name in getAllProperties(), or npos. The position `hint` and the next
  /// one are looked at first: whoever goes through the properties in their order passes the position found
  /// last.
  std::size_t findSlot(std::u16string_view name, std::size_t hint = 0) const noexcept;
  /// The same for a name in UTF-8.
  std::size_t findSlot(std::string_view name) const noexcept;
  /// Position of the property with that identifier in getAllProperties(), or npos.
  std::size_t findIdentifier(std::uint64_t identifier) const noexcept;
  /// Whether some property is an association.
  bool hasAssociations() const noexcept { return hasAssociations_; }
  /// Whether some composition holds elements that documents do not carry.
  bool hasUnwrittenChildren() const noexcept { return hasUnwrittenChildren_; }

  /// No position.
  static constexpr std::size_t npos = static_cast<std::size_t>(-1);

  /// @cond
 protected:
  friend class meta::RegistryLoader;
  friend class meta::PropertyTable;
  void setTable(std::shared_ptr<const PropertyTable> table) noexcept;
  void useIdentifiers() noexcept;
  bool isNameAt(std::size_t slot, std::u16string_view name) const noexcept;
  std::size_t findMoved(Property property) const noexcept;

  std::vector<Property> owned_;
  // Types that hold the same properties share one table: a class that only inherits costs no list.
  std::shared_ptr<const PropertyTable> table_;
  const std::vector<Property>* all_ = nullptr;  // lies in table_
  // Lies in table_, for findIdentifier; see PropertyTable.
  struct Numbered {
    std::uint32_t identifier = 0;  // 0: free
    std::uint32_t slot = 0;
  };
  const Numbered* buckets_ = nullptr;
  std::size_t mask_ = 0;
  bool hasAssociations_ = false;
  bool hasUnwrittenChildren_ = false;
  /// @endcond
};

/// A class: a type whose values are elements.
class KR0_FRAMEWORK_API Class : public StructuredType {
 public:
  class Impl;
  ///@{
  /// As for Type; made of a type of another sort it is empty.
  constexpr Class() noexcept = default;
  explicit Class(const Impl* impl) noexcept;
  explicit Class(Type type) noexcept;
  const Impl* operator->() const noexcept;
  static const MetaClass& metaClass();
  ///@}
};

/// What a Class denotes.
class KR0_FRAMEWORK_API Class::Impl final : public StructuredType::Impl {
 public:
  const MetaClass& getMetaClass() const noexcept override { return Class::metaClass(); }
  /// Whether it has no elements of its own.
  bool isAbstract() const noexcept { return abstract_; }
  /// True for a class that every element conforms to, whatever its supertypes say.
  bool isUniversal() const noexcept { return universal_; }
  /// What it inherits from directly, in declaration order.
  const std::vector<Class>& getSupertypes() const noexcept { return supertypes_; }
  /// Whether this is `other`, inherits from it, or `other` is universal.
  bool conformsTo(Class other) const noexcept;

 private:
  friend class meta::RegistryLoader;
  // Classes stand on lines: the next class on a line inherits from the one before it. A class so
  // inherits from exactly the classes up to a certain place on some lines: its own line and those
  // noted here. A chain of any length takes one line, a tree of n classes a few lines per class.
  struct Place {
    const Impl* line = nullptr;  // the first class on it
    std::uint32_t position = 0;
  };
  using Places = std::vector<Place>;  // sorted by line, each line once

  bool abstract_ = false;
  bool universal_ = false;
  std::vector<Class> supertypes_;
  Place place_;
  std::shared_ptr<const Places> above_;  // the furthest place inherited from on each other line
};

/// All that the meta model says of a property, worked out when it is registered.
class KR0_FRAMEWORK_API Property::Impl {
 public:
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  /// The name, UTF-8.
  const std::string& name() const noexcept { return nameUtf8_; }
  /// The same as UTF-16; one address for the life of the registry.
  const ustring& getName() const noexcept { return name_; }
  /// The number that the binary formats carry: 1 to 16382, or 0 for a property that is not stored.
  std::uint32_t getIdentifier() const noexcept { return identifier_; }
  /// What its values are.
  Type getType() const noexcept { return type_; }
  /// What it holds.
  PropertyKind getKind() const noexcept { return kind_; }
  /// Which standard type its type is; none for all others.
  StandardType getStandardType() const noexcept { return standard_; }
  /// The fixed-width standard type as which documents carry its values, an enumeration's as an Integer; that
  /// of `none` where they travel as texts.
  const StandardTypeInfo& getNumberInfo() const noexcept { return *numberInfo_; }
  /// Its category on the reading side, where every value that is no structure is a primitive; the mask of an
  /// io::PropertyCategory.
  std::uint32_t getCategoryMask() const noexcept { return categoryMask_; }
  /// The class of the elements that a composition or association holds; empty for other kinds.
  Class getTarget() const noexcept {
    return kind_ >= PropertyKind::composition ? Class(static_cast<const Class::Impl*>(type_.get())) : Class();
  }
  /// The type that declares it.
  StructuredType getOwner() const noexcept { return StructuredType(owner_); }
  /// The least number of values.
  std::uint32_t getLower() const noexcept { return lower_; }
  /// The upper bound, or -1 for none.
  std::int32_t getUpper() const noexcept { return upper_; }
  /// Whether it is a collection: its upper bound is not 1.
  bool isMany() const noexcept { return upper_ != 1; }
  /// Exactly 0..1.
  bool isOptional() const noexcept { return lower_ == 0 && upper_ == 1; }
  /// Whether it holds its elements.
  bool isComposite() const noexcept { return composite_; }
  /// Whether the order of values means something.
  bool isOrdered() const noexcept { return ordered_; }
  /// Whether a value may occur once only.
  bool isUnique() const noexcept { return unique_; }
  /// Derived and static properties have no stored value.
  bool isDerived() const noexcept { return derived_; }
  /// Whether it is the class's and not the elements'.
  bool isStatic() const noexcept { return static_; }
  /// Held in memory, never written.
  bool isTransient() const noexcept { return transient_; }
  /// Whether an instance can hold a value of it: neither derived nor static.
  bool isStored() const noexcept { return !derived_ && !static_; }
  /// Whether documents carry it: stored and not transient.
  bool isWritten() const noexcept { return kind_ != PropertyKind::none && !transient_; }
  /// The other end of a pair of associations, or an empty handle.
  Property getOpposite() const noexcept { return opposite_; }
  /// Text of the default value, if there is one.
  const std::optional<std::string>& getDefaultText() const noexcept { return defaultText_; }
  /// Dense number of the property within its registry, for tables beside it.
  std::uint32_t getIndex() const noexcept { return index_; }
  /// Position among its owner's getAllProperties(). A type that inherits it may have it elsewhere.
  std::uint32_t getPosition() const noexcept { return position_; }

 private:
  friend class meta::RegistryLoader;
  friend class meta::PropertyTable;
  Impl() = default;
  // What reading and writing ask for stands together in front.
  Type type_;
  const StandardTypeInfo* numberInfo_ = kStandardTypes.data();
  std::uint32_t categoryMask_ = 0;
  std::uint32_t identifier_ = 0;
  std::uint32_t lower_ = 0;
  std::int32_t upper_ = 1;
  PropertyKind kind_ = PropertyKind::none;
  StandardType standard_ = StandardType::none;
  bool composite_ = false;
  bool ordered_ = true;
  bool unique_ = true;
  bool derived_ = false;
  bool static_ = false;
  bool transient_ = false;
  std::uint32_t index_ = 0;
  std::uint32_t position_ = 0;
  const StructuredType::Impl* owner_ = nullptr;
  Property opposite_;
  ustring name_;
  std::string nameUtf8_;
  std::size_t nameHash_ = 0;
  std::size_t nameHashUtf8_ = 0;
  std::optional<std::string> defaultText_;
};

inline const PrimitiveType::Impl* PrimitiveType::operator->() const noexcept {
  return static_cast<const Impl*>(impl_);
}
inline const Enum::Impl* Enum::operator->() const noexcept { return static_cast<const Impl*>(impl_); }
inline const StructuredType::Impl* StructuredType::operator->() const noexcept {
  return static_cast<const Impl*>(impl_);
}
inline const Class::Impl* Class::operator->() const noexcept { return static_cast<const Impl*>(impl_); }
inline PrimitiveType::PrimitiveType(const Impl* impl) noexcept : Type(impl) {}
inline Enum::Enum(const Impl* impl) noexcept : Type(impl) {}
inline StructuredType::StructuredType(const Impl* impl) noexcept : Type(impl) {}
inline Class::Class(const Impl* impl) noexcept : StructuredType(impl) {}

inline std::size_t StructuredType::Impl::slotOf(Property property) const noexcept {
  if (!property) return npos;
  const std::size_t position = property->getPosition();
  return position < all_->size() && (*all_)[position] == property ? position : findMoved(property);
}

inline std::size_t StructuredType::Impl::findIdentifier(std::uint64_t identifier) const noexcept {
  for (std::size_t at = static_cast<std::size_t>(identifier) & mask_; buckets_[at].identifier != 0;
       at = (at + 1) & mask_)
    if (buckets_[at].identifier == identifier) return buckets_[at].slot;
  return npos;
}

}  // namespace kr::zero::meta

namespace kr::zero::internal {

/// Whether a type is an enumeration.
KR0_FRAMEWORK_API bool isEnumType(const meta::Type& type) noexcept;

}  // namespace kr::zero::internal
