#include "kr/zero/meta/Type.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "meta/PropertyTable.h"

namespace kr::zero::meta {

namespace {

constinit const MetaClass typeClass("Type", nullptr);
constinit const MetaClass primitiveTypeClass("PrimitiveType", &typeClass);
constinit const MetaClass enumClass("Enum", &typeClass);
constinit const MetaClass structuredTypeClass("StructuredType", &typeClass);
constinit const MetaClass classClass("Class", &structuredTypeClass);

// The type, if it is of that kind.
const Type::Impl* only(Type type, const MetaClass& kind) noexcept {
  return type && type->isKindOf(kind) ? type.get() : nullptr;
}

template <class Map>
const EnumLiteral* literalAt(const std::vector<EnumLiteral>& literals, const Map& positions,
                             const typename Map::key_type& key) noexcept {
  const auto it = positions.find(key);
  return it == positions.end() ? nullptr : &literals[it->second];
}

}  // namespace

const MetaClass& Type::metaClass() { return typeClass; }
const MetaClass& PrimitiveType::metaClass() { return primitiveTypeClass; }
const MetaClass& Enum::metaClass() { return enumClass; }
const MetaClass& StructuredType::metaClass() { return structuredTypeClass; }
const MetaClass& Class::metaClass() { return classClass; }

PrimitiveType::PrimitiveType(Type type) noexcept : Type(only(type, primitiveTypeClass)) {}
Enum::Enum(Type type) noexcept : Type(only(type, enumClass)) {}
StructuredType::StructuredType(Type type) noexcept : Type(only(type, structuredTypeClass)) {}
Class::Class(Type type) noexcept : StructuredType(static_cast<const Impl*>(only(type, classClass))) {}

Type::Impl::~Impl() = default;

const EnumLiteral* Enum::Impl::findByNumber(std::int64_t number) const noexcept {
  return literalAt(literals_, byNumber_, number);
}

const EnumLiteral* Enum::Impl::findByName(std::string_view name) const noexcept {
  const EnumLiteral* found = literalAt(literals_, byName_, name);
  return found != nullptr ? found : literalAt(literals_, byText_, name);
}

const EnumLiteral* Enum::Impl::findByText(std::string_view text) const noexcept {
  const EnumLiteral* found = literalAt(literals_, byText_, text);
  return found != nullptr ? found : literalAt(literals_, byName_, text);
}

Property StructuredType::Impl::findProperty(std::string_view name) const noexcept {
  const std::size_t slot = table_->find(name);
  return slot == npos ? Property() : (*all_)[slot];
}

Property StructuredType::Impl::findProperty(std::u16string_view name) const noexcept {
  const std::size_t slot = table_->find(name);
  return slot == npos ? Property() : (*all_)[slot];
}

// Where the supertypes that came first bring properties of their own, those of the others stand further back.
std::size_t StructuredType::Impl::findMoved(Property property) const noexcept {
  return table_->find(property);
}

bool StructuredType::Impl::isNameAt(std::size_t slot, std::u16string_view name) const noexcept {
  return slot < all_->size() && (*all_)[slot]->getName() == name;
}

std::size_t StructuredType::Impl::findSlot(std::u16string_view name, std::size_t hint) const noexcept {
  if (isNameAt(hint, name)) return hint;
  if (isNameAt(hint + 1, name)) return hint + 1;
  return table_->find(name);
}

std::size_t StructuredType::Impl::findSlot(std::string_view name) const noexcept {
  return table_->find(name);
}

// To be called when the table has its identifiers.
void StructuredType::Impl::useIdentifiers() noexcept {
  buckets_ = table_->getIdentifierBuckets().data();
  mask_ = table_->getIdentifierBuckets().size() - 1;
}

void StructuredType::Impl::setTable(std::shared_ptr<const PropertyTable> table) noexcept {
  all_ = &table->getAll();
  hasAssociations_ = table->hasAssociations();
  hasUnwrittenChildren_ = table->hasUnwrittenChildren();
  table_ = std::move(table);
}

bool Class::Impl::conformsTo(Class other) const noexcept {
  if (!other) return false;
  if (other->universal_) return true;
  const Place& sought = other->place_;
  if (sought.line == place_.line) return sought.position <= place_.position;
  const auto it =
      std::lower_bound(above_->begin(), above_->end(), sought.line,
                       [](const Place& a, const Impl* line) { return std::less<>{}(a.line, line); });
  return it != above_->end() && it->line == sought.line && sought.position <= it->position;
}

}  // namespace kr::zero::meta

namespace kr::zero::internal {

bool isEnumType(const meta::Type& type) noexcept { return type && type->isKindOf(meta::Enum::metaClass()); }

}  // namespace kr::zero::internal
