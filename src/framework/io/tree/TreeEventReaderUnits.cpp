// The reader's operations in larger units: what is expected goes into the model at once, all else is left
// to the events.
#include <bit>
#include <span>

#include "fl/i18n/utf8.h"
#include "io/tree/TreeEventReader.h"
#include "kr/zero/io/BulkParseProcessor.h"
#include "kr/zero/io/TreeDocument.h"
#include "model/Numbers.h"

namespace kr::zero::io {

TreeUnitTarget::~TreeUnitTarget() = default;

}  // namespace kr::zero::io

namespace kr::zero::io::internal {

using fl::i18n::isWellFormedUtf8;
using Event = modeling::sylvan::SylvanEventCode;

namespace {

void append(std::vector<Event>& way, std::initializer_list<Event> events) { way.insert(way.end(), events); }

void append(std::vector<Event>& way, std::span<const tree::Step> steps) {
  for (const tree::Step& step : steps) way.push_back(step.event);
}

}  // namespace

bool TreeEventReader::takesUnits() const noexcept {
  if (bulk_ == nullptr || refused_) return false;
  switch (place()) {
    case Place::roots:
    case Place::body:
    case Place::property:
    case Place::list:
      return true;
    case Place::entryEnd:  // of a property, or in metadata or a reference
      return places_[places_.size() - 2] == Place::body;
    default:
      return false;
  }
}

// What came before in a construct that is still open has left nothing behind: only the last thing in the
// innermost one has.
std::vector<Event> TreeEventReader::listWay() const {
  std::vector<Event> way;
  append(way, tree::kHead);
  auto body = bodies_.begin();
  for (const Place place : places_) switch (place) {
      case Place::body:
      case Place::refusedBody:
        if ((body++)->isObject) append(way, tree::kObjectMetadata);
        way.push_back(Event::startStruct);
        break;
      case Place::roots:
      case Place::list:
        way.push_back(Event::startSequence);
        break;
      case Place::property:
      case Place::entryEnd:
        way.push_back(Event::startNamedEntry);
        break;
      default:  // around the roots
        break;
    }
  switch (last_) {
    case Last::nothing:
      break;
    case Last::primitive:
      way.push_back(Event::writePrimitive);
      break;
    case Last::sequence:
      append(way, {Event::startSequence, Event::endSequence});
      break;
    case Last::object:
      append(way, tree::kObjectMetadata);
      [[fallthrough]];
    case Last::structure:
      append(way, {Event::startStruct, Event::endStruct});
      break;
    case Last::entry:
      append(way, {Event::startNamedEntry, Event::writePrimitive, Event::endNamedEntry});
      break;
  }
  return way;
}

bool TreeEventReader::openObject(std::string_view type, std::string_view id1, std::string_view id2) {
  const OpenProperty* property = nullptr;
  if (place() != Place::roots) {
    property = findOpenProperty(PropertyCategory::Composition(), PropertyCategory::CompositionCollection());
    if (property == nullptr) return false;
  }
  if (!isWellFormedUtf8(id1) || !isWellFormedUtf8(id2)) return false;
  openBody(property, knownType(type), id1, id2, true);
  return true;
}

bool TreeEventReader::openDatatypeValue() {
  const OpenProperty* const property =
      findOpenProperty(PropertyCategory::Datatype(), PropertyCategory::DatatypeCollection());
  if (property == nullptr) return false;
  openBody(property, knownType(property->type->qualifiedName()), {}, {}, false);
  return true;
}

bool TreeEventReader::closeStruct() {
  if (place() != Place::body) return false;
  closeBody();
  return true;
}

bool TreeEventReader::openEntry(std::string_view name) {
  if (place() != Place::body) return false;
  Body& body = bodies_.back();
  const KnownProperty* const property = findProperty(body, name);
  if (property == nullptr || property->open.category == PropertyCategory()) return false;
  announceCollection(*property);
  body.property = property->open;
  places_.push_back(Place::property);
  last_ = Last::nothing;
  return true;
}

bool TreeEventReader::closeEntry() {
  if (place() != Place::entryEnd) return false;
  places_.pop_back();
  last_ = Last::entry;
  return true;
}

bool TreeEventReader::openList() {
  if (place() != Place::property || !isCollection(bodies_.back().property.category)) return false;
  places_.push_back(Place::list);
  last_ = Last::nothing;
  return true;
}

bool TreeEventReader::closeList() {
  if (place() != Place::list) return false;
  places_.pop_back();
  places_.back() = Place::entryEnd;
  last_ = Last::sequence;
  return true;
}

bool TreeEventReader::addEntry(std::string_view name, const TreeValue& value) {
  if (place() != Place::body) return false;
  const KnownProperty* const property = findProperty(bodies_.back(), name);
  if (property == nullptr || !property->open.category.isA(PropertyCategory::Primitive())) return false;
  if (value.kind == TreeValue::Kind::null)
    bulk_->setEmpty(property->open.place);
  else if (!addValue(*property, value))
    return false;
  last_ = Last::entry;
  return true;
}

bool TreeEventReader::addItem(const TreeValue& value) {
  if (place() != Place::list) return false;
  const OpenProperty& property = bodies_.back().property;
  if (!property.category.isA(PropertyCategory::PrimitiveCollection()) || property.place.record == nullptr)
    return false;
  if (!addValue(bodies_.back().type->properties[property.place.slot], value)) return false;
  last_ = Last::primitive;
  return true;
}

bool TreeEventReader::addReference(std::string_view type, std::string_view id1, std::string_view id2,
                                   const std::string_view* qualifier) {
  const OpenProperty* const property =
      findOpenProperty(PropertyCategory::Association(), PropertyCategory::AssociationCollection());
  if (property == nullptr || !isWellFormedUtf8(id1) || !isWellFormedUtf8(id2)) return false;
  if (qualifier != nullptr && !isWellFormedUtf8(*qualifier)) return false;
  KnownType& known = knownType(type);
  bulk_->addReference(property->place, numberOf(known), {0, id1, id2}, qualifier);
  last_ = Last::structure;
  valueDone();
  return true;
}

/// The open property, where what is of one of these categories may come next; else null.
const TreeEventReader::OpenProperty* TreeEventReader::findOpenProperty(PropertyCategory single,
                                                                       PropertyCategory collection) const {
  const bool inList = place() == Place::list;
  if (!inList && place() != Place::property) return nullptr;
  const OpenProperty& property = bodies_.back().property;
  return property.category.isA(inList ? collection : single) ? &property : nullptr;
}

/// Properties tend to come in the order of the meta model, and some are not set.
const TreeEventReader::KnownProperty* TreeEventReader::findProperty(Body& body, std::string_view name) const {
  constexpr std::size_t kNear = 4;
  const std::vector<KnownProperty>& all = body.type->properties;
  const std::size_t end = std::min(all.size(), body.nextSlot + kNear);
  std::size_t slot = body.nextSlot;
  while (slot < end && all[slot].name != name) ++slot;
  if (slot >= end) slot = all.empty() ? kNoSlot : body.type->type->findSlot(name);
  if (slot == kNoSlot) return nullptr;
  body.nextSlot = slot + 1;
  return &all[slot];
}

/// Does nothing and returns false for a value that is not of the property's type.
bool TreeEventReader::addValue(const KnownProperty& property, const TreeValue& value) {
  using Kind = TreeValue::Kind;
  switch (property.takes) {
    case Takes::text:
      if (value.kind != Kind::text || !isWellFormedUtf8(value.text)) return false;
      static_cast<void>(bulk_->setText(property.open.place, value.text));
      return true;
    case Takes::integer:
      if (value.kind == Kind::unsignedInteger
              ? value.bits > property.high
              : value.kind != Kind::signedInteger || !property.holds(static_cast<std::int64_t>(value.bits)))
        return false;
      break;
    case Takes::real:
      if (value.kind != Kind::real) return false;
      break;
    case Takes::boolean:
      if (value.kind != Kind::boolean) return false;
      break;
    case Takes::nothing:
      return false;
  }
  bulk_->setNumber(property.open.place, value.bits);
  return true;
}

}  // namespace kr::zero::io::internal
