#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "kr/zero/Model.h"
#include "model/Numbers.h"
#include "model/Path.h"
#include "model/Target.h"
#include "model/TextForm.h"

namespace kr::zero {

using cells::ReferenceTexts;
using internal::asElement;
using internal::asText;
using internal::asUnresolved;
using internal::ElementRecord;
using internal::holds;
using internal::locate;
using internal::ModelStore;
using internal::PropertyKind;
using internal::PropertyRecord;
using internal::Target;
using internal::there;
using internal::ValueSort;
using meta::StandardType;

namespace {

std::uint64_t numberAt(const Target& target, std::size_t position) {
  const std::uint64_t* item = target.item(position);
  return item != nullptr ? *item : internal::defaultNumberOf(target.store, target.property());
}

}  // namespace

ModelError::~ModelError() = default;

bool ConstElement::isRemoved() const noexcept { return record_ != nullptr && record_->removed; }
meta::StructuredType ConstElement::getType() const { return there(record_)->use->type; }
meta::Class ConstElement::getClass() const { return there(record_)->use->cls; }
std::uint32_t ConstElement::getIndex() const { return there(record_)->index; }
ConstElement ConstElement::getContainer() const { return store_->handle(there(record_)->container); }
std::string ConstElement::getPath() const { return pathOf(*store_, there(record_)); }

const Model& ConstElement::getModel() const {
  if (record_ == nullptr) failToUse(record_);
  return *store_->model();
}

meta::Property ConstElement::getContainingProperty() const {
  const ElementRecord* container = there(record_)->container;
  if (container == nullptr) return {};
  return container->use->properties[record_->containerSlot];
}

std::optional<Identity> ConstElement::getIdentity() const {
  const internal::IdentityRecord* identity = there(record_)->identity;
  if (identity == nullptr) return std::nullopt;
  return Identity{identity->first->view(), identity->second->view()};
}

PropertyState ConstElement::getState(PropertyKey property) const {
  const Target target = locate(store_, record_, property);
  return ModelStore::state(record_, target.slot);
}

std::size_t ConstElement::size(PropertyKey property) const {
  return locate(store_, record_, property).values().size;
}

bool ConstElement::getBoolean(PropertyKey property, std::size_t position) const {
  const Target target = locate(store_, record_, property, ValueSort::boolean);
  return numberAt(target, position) != 0;
}

std::int64_t ConstElement::getInteger(PropertyKey property, std::size_t position) const {
  const Target target = locate(store_, record_, property, ValueSort::integer);
  const std::uint64_t number = numberAt(target, position);
  if (target.property().getStandardType() == StandardType::uinteger64 &&
      number > static_cast<std::uint64_t>(INT64_MAX))
    target.fail("the number " + std::to_string(number) + " needs an unsigned reader");
  return static_cast<std::int64_t>(number);
}

std::uint64_t ConstElement::getUnsigned(PropertyKey property, std::size_t position) const {
  const Target target = locate(store_, record_, property, ValueSort::integer);
  const std::uint64_t number = numberAt(target, position);
  if (target.property().getStandardType() != StandardType::uinteger64 &&
      static_cast<std::int64_t>(number) < 0)
    target.fail("the number " + std::to_string(static_cast<std::int64_t>(number)) + " is negative");
  return number;
}

std::int64_t ConstElement::getIntegerWithin(const PropertyKey& property, std::size_t position,
                                            std::int64_t low, std::int64_t high) const {
  const std::int64_t number = getInteger(property, position);
  if (number < low || number > high)
    locate(store_, record_, property)
        .fail("the number " + std::to_string(number) + " is not between " + std::to_string(low) + " and " +
              std::to_string(high) + ", as asked for");
  return number;
}

std::uint64_t ConstElement::getUnsignedUpTo(const PropertyKey& property, std::size_t position,
                                            std::uint64_t high) const {
  const std::uint64_t number = getUnsigned(property, position);
  if (number > high)
    locate(store_, record_, property)
        .fail("the number " + std::to_string(number) + " is greater than " + std::to_string(high) +
              ", the most that was asked for");
  return number;
}

float ConstElement::getFloat(const PropertyKey& property, std::size_t position) const {
  const double number = getReal(property, position);
  if (std::isfinite(number) && std::fabs(number) > std::numeric_limits<float>::max())
    locate(store_, record_, property).fail("the number does not fit the 32 bits that were asked for");
  return static_cast<float>(number);
}

double ConstElement::getReal(PropertyKey property, std::size_t position) const {
  const Target target = locate(store_, record_, property, ValueSort::real);
  return std::bit_cast<double>(numberAt(target, position));
}

std::string_view ConstElement::getText(PropertyKey property, std::size_t position) const {
  const Target target = locate(store_, record_, property, ValueSort::text);
  if (const std::uint64_t* item = target.item(position); item != nullptr) return asText(*item)->view();
  return internal::defaultTextOf(target.property());
}

Uuid ConstElement::getUuid(PropertyKey property, std::size_t position) const {
  const Target target = locate(store_, record_, property, ValueSort::uuid);
  const std::uint64_t* const item = target.item(position);
  if (item == nullptr) return internal::defaultUuidOf(target.property());
  Uuid uuid;
  std::memcpy(uuid.data(), reinterpret_cast<const void*>(*item), uuid.size());
  return uuid;
}

DateTime ConstElement::getDateTime(PropertyKey property, std::size_t position) const {
  const Target target = locate(store_, record_, property, ValueSort::dateTime);
  const std::string_view text = getText(property, position);
  if (text.empty()) return {};
  const auto value = DateTime::parse(text);
  if (!value) target.fail("\"" + std::string(text) + "\" is not a DateTime");
  return *value;
}

std::string ConstElement::getTextForm(PropertyKey property, std::size_t position) const {
  const Target target = locate(store_, record_, property);
  target.require(meta::isPrimitive(target.property().getKind()), "a text");
  if (const std::uint64_t* item = target.item(position); item != nullptr)
    return internal::toTextForm(target.property(), *item);
  const auto& text = target.property().getDefaultText();
  if (text || holds(target.property(), ValueSort::text)) return text.value_or("");
  return target.property().getKind() == PropertyKind::uuid ? internal::formatUuid(Uuid{})
                                                           : internal::toTextForm(target.property(), 0);
}

ConstElement ConstElement::getElement(PropertyKey property, std::size_t position) const {
  const Target target = locate(store_, record_, property, ValueSort::child);
  const std::uint64_t* item = target.item(position);
  return item != nullptr ? ConstElement(store_->handle(asElement(*item))) : ConstElement();
}

ConstElement ConstElement::getReference(PropertyKey property, std::size_t position) const {
  const Target target = locate(store_, record_, property, ValueSort::reference);
  if (target.item(position) == nullptr) return {};
  return store_->handle(resolved(*store_, target.values(), position));
}

std::optional<UnresolvedReference> ConstElement::getUnresolved(PropertyKey property,
                                                               std::size_t position) const {
  const Target target = locate(store_, record_, property, ValueSort::reference);
  const std::uint64_t* item = target.item(position);
  if (item == nullptr || resolved(*store_, target.values(), position) != nullptr) return std::nullopt;
  const ReferenceTexts* record = asUnresolved(*item);
  if (record == nullptr) return std::nullopt;
  UnresolvedReference reference{std::string(record->targetType->view()), std::string(record->id1->view()),
                                std::string(record->id2->view()), std::nullopt};
  if (record->qualifier != nullptr) reference.qualifier = std::string(record->qualifier->view());
  return reference;
}

ConstElement ConstElement::getElementOrTarget(const PropertyKey& property, std::size_t position) const {
  const Target target = locate(store_, record_, property);
  return target.property().getKind() == PropertyKind::association ? getReference(property, position)
                                                                  : getElement(property, position);
}

ConstElement::CountedValues ConstElement::count(const PropertyKey& property, ValueSort sort) const {
  const Target target = locate(store_, record_, property, sort);
  return {record_->use->properties[target.slot], target.values().size};
}

std::vector<ConstElement> ConstElement::getChildren() const {
  const ChildRange<ConstElement> all = children();
  return {all.begin(), all.end()};
}
std::vector<Element> Element::getChildren() const {
  const ChildRange<Element> all = children();
  return {all.begin(), all.end()};
}

ValueRange<ConstElement> ConstElement::children(PropertyKey property) const {
  return ValueRange<ConstElement>({*this, property, ValueSort::child});
}
ValueRange<Element> Element::children(PropertyKey property) const {
  return ValueRange<Element>({*this, property, ValueSort::child});
}
ChildRange<ConstElement> ConstElement::children() const { return {store_, there(record_)}; }
ChildRange<Element> Element::children() const { return {store_, there(record_)}; }

ReferenceRange<ConstElement> ConstElement::references(PropertyKey property) const {
  return ReferenceRange<ConstElement>(ValueRange<ConstElement>({*this, property, ValueSort::reference}));
}
ReferenceRange<Element> Element::references(PropertyKey property) const {
  return ReferenceRange<Element>(ValueRange<Element>({*this, property, ValueSort::reference}));
}

ConstElementRange ConstElement::descendants() const { return {store_, there(record_)}; }
ElementRange Element::descendants() const { return {store_, there(record_)}; }

}  // namespace kr::zero
