#include <algorithm>
#include <bit>
#include <cstring>
#include <span>
#include <vector>

#include "fl/i18n/utf8.h"
#include "kr/zero/Model.h"
#include "model/Numbers.h"
#include "model/Target.h"
#include "model/TextForm.h"

namespace kr::zero {

using cells::ReferenceTexts;
using internal::asElement;
using internal::asPayload;
using internal::ElementRecord;
using internal::failToUse;
using internal::locate;
using internal::ModelStore;
using internal::PropertyKind;
using internal::PropertyRecord;
using internal::require;
using internal::resolved;
using internal::Target;
using internal::there;
using internal::Values;
using internal::ValueSort;
using meta::isPrimitive;
using meta::StandardType;

namespace {

std::uint64_t integerPayload(const Target& target, std::int64_t value) {
  const PropertyRecord& slot = target.property();
  if (slot.getKind() == PropertyKind::number && slot.getStandardType() == StandardType::real) {
    const auto real = static_cast<double>(value);
    if (real >= 0x1p63 || static_cast<std::int64_t>(real) != value)
      target.fail("the integer " + std::to_string(value) + " has no exact form as a Real");
    return std::bit_cast<std::uint64_t>(real);
  }
  require(target, ValueSort::integer);
  if (slot.getKind() == PropertyKind::enumeration) {
    if (!meta::Enum(slot.getType())->hasLiteral(value))
      target.fail("enumeration " + target.typeName() + " has no literal with the number " +
                  std::to_string(value));
  } else if (slot.getStandardType() == StandardType::uinteger64) {
    if (value < 0) target.fail("the negative number " + std::to_string(value) + " does not fit UInteger64");
  } else {
    const internal::IntegerRange range = internal::rangeOf(slot.getStandardType());
    if (value < range.low || value > range.high)
      target.fail("the number " + std::to_string(value) + " is out of the range of " + target.typeName());
  }
  return static_cast<std::uint64_t>(value);
}

std::uint64_t unsignedPayload(const Target& target, std::uint64_t value) {
  const PropertyRecord& slot = target.property();
  if (slot.getKind() == PropertyKind::number && slot.getStandardType() == StandardType::uinteger64)
    return value;
  if (value > static_cast<std::uint64_t>(INT64_MAX))
    target.fail("the number " + std::to_string(value) + " is out of the range of " + target.typeName());
  return integerPayload(target, static_cast<std::int64_t>(value));
}

std::uint64_t textPayload(const Target& target, std::string_view value) {
  target.require(isPrimitive(target.property().getKind()), "a text");
  if (target.property().getKind() == PropertyKind::number ||
      target.property().getKind() == PropertyKind::enumeration)
    target.fail("a text does not fit a property of type " + target.typeName() + "; use the text form");
  std::uint64_t payload = 0;
  if (!internal::fromTextForm(target.store, target.property(), value, payload))
    target.fail(target.property().getKind() == PropertyKind::text
                    ? "the text is not well-formed UTF-8"
                    : "\"" + std::string(value) + "\" is not a " + target.typeName());
  return payload;
}

std::uint64_t textFormPayload(const Target& target, std::string_view text) {
  target.require(isPrimitive(target.property().getKind()), "a text");
  std::uint64_t payload = 0;
  if (!internal::fromTextForm(target.store, target.property(), text, payload))
    target.fail("\"" + std::string(text) + "\" is not a " + target.typeName());
  return payload;
}

std::uint64_t booleanPayload(const Target& target, bool value) {
  require(target, ValueSort::boolean);
  return value ? 1 : 0;
}

std::uint64_t realPayload(const Target& target, double value) {
  require(target, ValueSort::real);
  return std::bit_cast<std::uint64_t>(value);
}

bool holdsElements(const PropertyRecord& slot) {
  return slot.getKind() == PropertyKind::composition || slot.getKind() == PropertyKind::datatype;
}

bool canBeEmpty(const PropertyRecord& slot) {
  if (slot.isMany()) return isPrimitive(slot.getKind()) || slot.getKind() == PropertyKind::association;
  return isPrimitive(slot.getKind()) && slot.isOptional();
}

std::uint64_t uuidPayload(const Target& target, const Uuid& value) {
  require(target, ValueSort::uuid);
  return asPayload(target.store.makeUuid(value));
}

std::uint64_t dateTimePayload(const Target& target, const DateTime& value) {
  require(target, ValueSort::dateTime);
  return textPayload(target, value.toText());
}

std::string quoted(const internal::TypeUse& use) { return use.type->qualifiedName(); }

void requireFitting(const Target& target, const ElementRecord* other) {
  if (!ModelStore::fits(target.property(), other->use->cls))
    target.fail("an element of class " + quoted(*other->use) + " does not fit a property of type " +
                target.typeName());
}

void putReferenceRaw(const Target& target, ElementRecord* other) {
  if (target.property().isMany())
    target.store.append(target.record, target.slot, target.store.referTo(*other, target.property()));
  else
    target.put(target.store.referTo(*other, target.property()));
}

/// Takes the reference to `other` out of a property, if it is there.
void dropReference(ModelStore& store, ElementRecord* record, std::size_t slot, const ElementRecord* other) {
  const Values values = ModelStore::values(record, slot);
  for (std::size_t i = 0; i < values.size; ++i) {
    if (resolved(store, values, i) != other) continue;
    if (record->use->property(slot).isMany())
      store.removeItems(record, slot, i);
    else
      store.erase(record, slot);
    return;
  }
}

bool hasReference(const ModelStore& store, const ElementRecord* record, std::size_t slot,
                  const ElementRecord* other) {
  const Values values = ModelStore::values(record, slot);
  for (std::size_t i = 0; i < values.size; ++i)
    if (resolved(store, values, i) == other) return true;
  return false;
}

/// Slot of the stored opposite in another element's type, or -1.
int oppositeSlot(const PropertyRecord& slot, const ElementRecord* other) {
  const meta::Property opposite = slot.getOpposite();
  if (!opposite) return -1;
  const std::size_t there = other->use->type->slotOf(opposite);
  if (there == meta::StructuredType::Impl::npos) return -1;
  return other->use->property(there).getKind() == PropertyKind::association ? static_cast<int>(there) : -1;
}

/// Before a single reference is replaced: its old target stops pointing back.
void releaseOld(const Target& target) {
  if (target.property().isMany()) return;
  const Values values = target.values();
  if (values.size == 0) return;
  ElementRecord* old = resolved(target.store, values, 0);
  if (old == nullptr) return;
  if (const int back = oppositeSlot(target.property(), old); back >= 0)
    dropReference(target.store, old, static_cast<std::size_t>(back), target.record);
}

void linkBack(const Target& target, ElementRecord* other) {
  const int back = oppositeSlot(target.property(), other);
  if (back < 0) return;
  const Target there{target.store, other, static_cast<std::size_t>(back)};
  if (hasReference(target.store, other, there.slot, target.record)) return;
  releaseOld(there);
  putReferenceRaw(there, target.record);
}

}  // namespace

Model& Element::getModel() const {
  if (record_ == nullptr) failToUse(record_);
  return *store_->model();
}

void Element::setIdentity(std::string_view first, std::string_view second) {
  const auto fail = [this](const char* what) { throw ModelError({.path = getPath(), .problem = what}); };
  if (there(record_)->isDatatype()) fail("a datatype value has no identity");
  if (first.empty() || second.empty()) fail("both parts of an identity must hold text");
  if (first == "#") fail("identities that begin with \"#\" are kept for documents");
  if (!fl::i18n::isWellFormedUtf8(first) || !fl::i18n::isWellFormedUtf8(second))
    fail("the identity is not well-formed UTF-8");
  store_->setIdentity(record_, first, second);
}

void Element::clearIdentity() { there(record_)->identity = nullptr; }

void Element::unset(PropertyKey property) {
  const Target target = locate(store_, record_, property);
  const std::size_t count = target.values().size;
  if (!holdsElements(target.property()) || count == 0)
    store_->erase(record_, target.slot);
  else if (target.property().isMany())
    store_->removeChildren(record_, target.slot, 0, count);
  else
    store_->removeSubtrees({asElement(target.values().items[0])});
}

void Element::setEmpty(PropertyKey property) {
  const Target target = locate(store_, record_, property);
  const PropertyRecord& slot = target.property();
  if (!canBeEmpty(slot)) target.fail("cannot be explicitly empty");
  if (slot.getKind() == PropertyKind::association) store_->leaveReferredExact();
  store_->payload(record_, target.slot) = 0;
  store_->setState(record_, target.slot, cells::kEmpty);
}

void Element::set(PropertyKey property, std::nullopt_t) {
  const Target target = locate(store_, record_, property);
  target.requireSingle();
  if (canBeEmpty(target.property()))
    setEmpty(property);
  else
    unset(property);
}

void Element::removeAt(PropertyKey property, std::size_t position) { removeRange(property, position, 1); }

void Element::removeRange(PropertyKey property, std::size_t position, std::size_t count) {
  const Target target = locate(store_, record_, property);
  target.requireMany();
  const std::size_t size = target.values().size;
  if (position > size || count > size - position)
    target.fail(internal::describePosition(std::max(position, size), size));
  if (count == 0) return;
  if (holdsElements(target.property()))
    store_->removeChildren(record_, target.slot, position, count);
  else
    store_->removeItems(record_, target.slot, position, count);
}

void Element::arrange(PropertyKey property, std::span<const std::size_t> order) {
  const Target target = locate(store_, record_, property);
  target.requireMany();
  const Values values = target.values();
  std::vector<std::uint64_t> arranged(values.size);
  std::vector<bool> isTaken(values.size);
  if (order.size() != values.size)
    target.fail("holds " + std::to_string(values.size) + " values; an order of " +
                std::to_string(order.size()) + " was given");
  for (std::size_t i = 0; i < order.size(); ++i) {
    if (order[i] >= values.size) target.fail(internal::describePosition(order[i], values.size));
    if (isTaken[order[i]]) target.fail("an order names position " + std::to_string(order[i]) + " twice");
    isTaken[order[i]] = true;
    arranged[i] = values.items[order[i]];
  }
  if (arranged.empty()) return;
  std::memcpy(internal::asList(record_->payloads[record_->find(target.slot)])->items(), arranged.data(),
              arranged.size() * sizeof(std::uint64_t));
  if (holdsElements(target.property())) store_->leaveDocumentOrder();
}

namespace {

Target single(const Target& target) {
  target.requireSingle();
  return target;
}
Target many(const Target& target) {
  target.requireMany();
  return target;
}

}  // namespace

void Element::setBoolean(PropertyKey property, bool value) {
  const Target target = single(locate(store_, record_, property));
  target.put(booleanPayload(target, value));
}
void Element::setInteger(PropertyKey property, std::int64_t value) {
  const Target target = single(locate(store_, record_, property));
  target.put(integerPayload(target, value));
}
void Element::setUnsigned(PropertyKey property, std::uint64_t value) {
  const Target target = single(locate(store_, record_, property));
  target.put(unsignedPayload(target, value));
}
void Element::setReal(PropertyKey property, double value) {
  const Target target = single(locate(store_, record_, property));
  target.put(realPayload(target, value));
}
void Element::setText(PropertyKey property, std::string_view value) {
  const Target target = single(locate(store_, record_, property));
  target.put(textPayload(target, value));
}
void Element::setUuid(PropertyKey property, const Uuid& value) {
  const Target target = single(locate(store_, record_, property));
  target.put(uuidPayload(target, value));
}
void Element::setDateTime(PropertyKey property, const DateTime& value) {
  const Target target = single(locate(store_, record_, property));
  target.put(dateTimePayload(target, value));
}
void Element::setTextForm(PropertyKey property, std::string_view text) {
  const Target target = single(locate(store_, record_, property));
  target.put(textFormPayload(target, text));
}
void Element::addBoolean(PropertyKey property, bool value) {
  const Target target = many(locate(store_, record_, property));
  store_->append(record_, target.slot, booleanPayload(target, value));
}
void Element::addInteger(PropertyKey property, std::int64_t value) {
  const Target target = many(locate(store_, record_, property));
  store_->append(record_, target.slot, integerPayload(target, value));
}
void Element::addUnsigned(PropertyKey property, std::uint64_t value) {
  const Target target = many(locate(store_, record_, property));
  store_->append(record_, target.slot, unsignedPayload(target, value));
}
void Element::addReal(PropertyKey property, double value) {
  const Target target = many(locate(store_, record_, property));
  store_->append(record_, target.slot, realPayload(target, value));
}
void Element::addText(PropertyKey property, std::string_view value) {
  const Target target = many(locate(store_, record_, property));
  store_->append(record_, target.slot, textPayload(target, value));
}
void Element::addUuid(PropertyKey property, const Uuid& value) {
  const Target target = many(locate(store_, record_, property));
  store_->append(record_, target.slot, uuidPayload(target, value));
}
void Element::addDateTime(PropertyKey property, const DateTime& value) {
  const Target target = many(locate(store_, record_, property));
  store_->append(record_, target.slot, dateTimePayload(target, value));
}
void Element::addTextForm(PropertyKey property, std::string_view text) {
  const Target target = many(locate(store_, record_, property));
  store_->append(record_, target.slot, textFormPayload(target, text));
}

Element Element::create(PropertyKey property, meta::StructuredType type) {
  const Target target = locate(store_, record_, property);
  const PropertyRecord& slot = target.property();
  require(target, ValueSort::child);
  if (!type) type = meta::StructuredType(target.property().getType());
  if (!slot.isMany() && target.values().size != 0) target.fail("holds an element already");
  if (slot.getKind() == PropertyKind::datatype) {
    if (!(type == target.property().getType()))
      target.fail("a value of type " + type->qualifiedName() + " does not fit a property of type " +
                  target.typeName());
  } else {
    const meta::Class cls{meta::Type(type)};
    if (!ModelStore::fits(slot, cls))
      target.fail("an element of type " + type->qualifiedName() + " does not fit a property of type " +
                  target.typeName());
    if (cls->isAbstract()) target.fail("class " + type->qualifiedName() + " is abstract and has no elements");
  }
  return store_->handle(store_->makeChild(store_->use(type), record_, target.slot));
}

Element Element::create(PropertyKey property, std::string_view typeName) {
  const Target target = locate(store_, record_, property);
  const meta::Type type = store_->registry().findType(typeName);
  if (!type) target.fail("there is no type \"" + std::string(typeName) + "\"");
  const meta::StructuredType structured(type);
  if (!structured) target.fail("type " + std::string(typeName) + " has no elements");
  return create(property, structured);
}

void Element::adopt(PropertyKey property, Element child, std::size_t position) {
  const Target target = locate(store_, record_, property);
  target.require(target.property().getKind() == PropertyKind::composition, "a child");
  if (!child || child.store_ != store_) target.fail("only an element of the same model can be moved");
  there(child.record_);
  requireFitting(target, child.record_);
  for (const ElementRecord* above = record_; above != nullptr; above = above->container)
    if (above == child.record_) target.fail("an element cannot be moved into itself or below itself");
  if (!target.property().isMany() && target.values().size != 0) target.fail("holds an element already");

  // Make room first: from here on nothing can fail.
  if (target.property().isMany())
    store_->append(record_, target.slot, 0);
  else
    target.put(0);
  ElementRecord* moved = child.record_;
  store_->detach(moved);
  moved->container = record_;
  moved->containerSlot = static_cast<std::uint16_t>(target.slot);
  const int at = record_->find(target.slot);
  if (target.property().isMany()) {
    internal::List* list = internal::asList(record_->payloads[at]);
    std::uint64_t* items = list->items();
    const std::size_t last = list->size - 1;
    const std::size_t place = position < last ? position : last;
    std::memmove(items + place + 1, items + place, (last - place) * sizeof(std::uint64_t));
    items[place] = asPayload(moved);
  } else {
    record_->payloads[at] = asPayload(moved);
  }
  store_->leaveDocumentOrder();
}

namespace {

Target referenceTarget(ModelStore* store, ElementRecord* record, const PropertyKey& key,
                       const ModelStore* storeOfOther, const ElementRecord* other) {
  const Target target = locate(store, record, key, ValueSort::reference);
  if (other == nullptr) target.fail("an empty element handle cannot be referred to");
  if (storeOfOther != store) target.fail("the element belongs to another model");
  if (other->removed) failToUse(other);
  requireFitting(target, other);
  return target;
}

}  // namespace

void Element::setReference(PropertyKey property, Element other) {
  const Target target = single(referenceTarget(store_, record_, property, other.store_, other.record_));
  if (!hasReference(*store_, record_, target.slot, other.record_)) {
    releaseOld(target);
    target.put(store_->referTo(*other.record_, target.property()));
  }
  linkBack(target, other.record_);
}

void Element::addReference(PropertyKey property, Element other) {
  const Target target = many(referenceTarget(store_, record_, property, other.store_, other.record_));
  store_->append(record_, target.slot, store_->referTo(*other.record_, target.property()));
  linkBack(target, other.record_);
}

void Element::putReference(PropertyKey property, Element other) {
  putReferenceRaw(referenceTarget(store_, record_, property, other.store_, other.record_), other.record_);
}

void Element::putUnresolved(PropertyKey property, const UnresolvedReference& reference) {
  const Target target = locate(store_, record_, property, ValueSort::reference);
  for (const std::string* text : {&reference.targetType, &reference.id1, &reference.id2})
    if (!fl::i18n::isWellFormedUtf8(*text)) target.fail("a text of the reference is not well-formed UTF-8");
  std::string_view qualifier;
  if (reference.qualifier) qualifier = *reference.qualifier;
  if (!fl::i18n::isWellFormedUtf8(qualifier)) target.fail("a text of the reference is not well-formed UTF-8");
  const ReferenceTexts* record = store_->makeUnresolved(reference.targetType, reference.id1, reference.id2,
                                                        reference.qualifier ? &qualifier : nullptr);
  if (target.property().isMany()) {
    store_->append(record_, target.slot, cells::asCell(record, true));
  } else {
    target.put(cells::asCell(record, false));
    store_->setState(record_, target.slot, cells::kUnresolved);
  }
}

}  // namespace kr::zero
