#include "ModelOfItems.h"

#include <algorithm>
#include <bit>

#include "Reading.h"
#include "Stop.h"
#include "TypeTable.h"

namespace kr::zero::inspect {

namespace {

/// Telling a path takes time in proportion to the siblings and the depth of an element.
constexpr std::size_t kMostPaths = 200;
constexpr std::size_t kLongestPath = 200;

std::string keyOf(const ScannedIdentity& identity) {
  return std::to_string(identity.first.size()) + ":" + std::string(identity.first) +
         std::string(identity.second);
}

std::string described(const ScannedIdentity& identity) {
  return inQuotes(identity.first) + ", " + inQuotes(identity.second);
}

void setInteger(Element element, const PropertyRecord& property, const ScannedValue& value) {
  const meta::Property key(&property);
  const bool isUnsigned = value.form == ScannedValue::Form::natural;
  const auto number = static_cast<std::int64_t>(value.bits);
  if (property.isMany())
    isUnsigned ? element.addUnsigned(key, value.bits) : element.addInteger(key, number);
  else
    isUnsigned ? element.setUnsigned(key, value.bits) : element.setInteger(key, number);
}

}  // namespace

// --- What is told

void ModelOfItems::onItem(const Item& item) {
  switch (item.kind) {
    case ItemKind::begin:
      return begin(item);
    case ItemKind::beginGroup:
      return beginGroup(item);
    case ItemKind::end:
      return open_.pop_back();
    case ItemKind::collection:
    case ItemKind::value:
      return value(item);
    case ItemKind::reference:
      if (open_.empty() || !open_.back().element || item.property == nullptr) return;
      waiting_.push_back({open_.back().element, item.property, item.offset, item.typeName, item.identity,
                          item.document == nullptr ? std::nullopt : std::optional(*item.document)});
      return;
    default:
      return;
  }
}

void ModelOfItems::onDamage(const Damage& damage) {
  lastShift_ = shift_.value_or(lastShift_);
  shift_.reset();
  const Element inside = open_.empty() ? Element() : open_.back().element;
  std::string why = "expected " + damage.expected + ", found " + damage.found;
  if (!damage.goesOn) why += "; nothing behind it makes sense";
  lose(damage.offset, damage.bytes, inside, why);
}

void ModelOfItems::onDrop() {
  const Open top = open_.back();
  open_.pop_back();
  if (top.isElement && top.element) lose(top.offset, 0, top.element, "its end was not found");
}

// --- Elements

void ModelOfItems::begin(const Item& item) {
  const bool isElement = item.frame == FrameKind::element;
  if (isElement) ++elements_;
  const Element element = make(item);
  if (element && isElement) identify(element, item);
  open_.push_back({element, item.offset, true});
  if (item.isWithoutHead && isElement && element) headless_.emplace_back(elements_, element);
  if (item.isWithoutHead)
    lose(item.offset, 0, element,
         "its beginning is lost; that it is a " + std::string(item.typeName) +
             " is a guess from what it holds");
}

void ModelOfItems::beginGroup(const Item& item) {
  const Element inside = open_.empty() ? Element() : open_.back().element;
  open_.push_back({inside, item.offset});
  const bool isList = item.frame == FrameKind::sequence && item.property != nullptr &&
                      (meta::isPrimitive(item.property->getKind()) ||
                       item.property->getKind() == meta::PropertyKind::association);
  if (isList) value(item);
}

Element ModelOfItems::make(const Item& item) {
  if (item.isAlone) return makeAlone(item);
  if (open_.empty()) return model_.createRoot(meta::Class(static_cast<const meta::Class::Impl*>(item.type)));
  const Element parent = open_.back().element;
  Element made;
  if (parent && item.property != nullptr) made = makeInside(parent, *item.property, *item.type);
  if (made || item.frame != FrameKind::element) return made;
  // In a tagged document, roots stand in a list.
  if (!parent && item.property == nullptr)
    return model_.createRoot(meta::Class(static_cast<const meta::Class::Impl*>(item.type)));
  return makeAlone(item);
}

/// @return an empty handle where there is something already.
Element ModelOfItems::makeInside(Element parent, const PropertyRecord& property, const TypeRecord& type) {
  const meta::Property key(&property);
  if (!property.isMany() && parent.getState(key) != PropertyState::unset) return {};
  return parent.create(key, meta::StructuredType(&type));
}

/// An element whose container is lost, or full, goes to the nearest that may hold it.
Element ModelOfItems::makeAlone(const Item& item) {
  Element made;
  Element holder = open_.empty() ? Element() : open_.back().element;
  for (; holder && !made; holder = holder.getContainer())
    for (const meta::Property property : holder.getType()->getAllProperties())
      if (!made && fits(*property.get(), *item.type)) made = makeInside(holder, *property.get(), *item.type);
  if (!made) made = model_.createRoot(meta::Class(static_cast<const meta::Class::Impl*>(item.type)));
  lose(item.offset, 0, made, "what held it is lost; it stands at the nearest place that may hold it");
  return made;
}

void ModelOfItems::identify(Element element, const Item& item) {
  if (!item.identity.isThere) return;
  if (item.identity.first == "#") {
    const std::optional<std::uint64_t> local = localNumberOf(item.identity);
    if (local) return number(element, item, *local);
    return lose(item.offset, 0, element, "the number by which the document refers to it is damaged");
  }
  if (!byIdentity_.try_emplace(keyOf(item.identity), element).second)
    return lose(
        item.offset, 0, element,
        "its identity " + described(item.identity) + " is another element's already, and is left out");
  element.setIdentity(item.identity.first, item.identity.second);
}

void ModelOfItems::number(Element element, const Item& item, std::uint64_t number) {
  const auto shift = static_cast<std::int64_t>(number - elements_);
  const bool isInPlace = item.isAlone || (shift_ ? *shift_ == shift : shift >= kLeastShift);
  if (!item.isAlone && isInPlace) {
    numberHeadless(shift);
    shift_ = shift;
  }
  if (!isInPlace || !byNumber_.try_emplace(number, element).second)
    lose(item.offset, 0, element,
         "the number " + std::to_string(number) +
             " by which the document refers to it is not that of its place");
}

/// Where the numbers behind damage are those of the places, as they were before it, no element got lost in
/// between.
void ModelOfItems::numberHeadless(std::int64_t shift) {
  if (shift == lastShift_)
    for (const auto& [place, element] : headless_)
      byNumber_.try_emplace(place + static_cast<std::uint64_t>(shift), element);
  headless_.clear();
}

// --- Values

void ModelOfItems::value(const Item& item) {
  if (open_.empty() || !open_.back().element || item.property == nullptr) return;
  const Element element = open_.back().element;
  try {
    put(element, item);
  } catch (const Error& error) {
    lose(item.offset, item.bytes, element, item.property->name() + ": " + error.getDetails().problem);
  }
}

void ModelOfItems::put(Element element, const Item& item) {
  const PropertyRecord& property = *item.property;
  const meta::Property key(&property);
  if (!property.isMany() && element.getState(key) != PropertyState::unset)
    throw ModelError("it has a value already, and is given a second");
  if (item.kind != ItemKind::value) {
    if (element.getState(key) == PropertyState::unset) element.setEmpty(key);
    return;
  }
  const ScannedValue& value = item.value;
  switch (value.form) {
    case ScannedValue::Form::null:
      return element.setEmpty(key);
    case ScannedValue::Form::boolean:
      return property.isMany() ? element.addBoolean(key, value.bits != 0)
                               : element.setBoolean(key, value.bits != 0);
    case ScannedValue::Form::integer:
    case ScannedValue::Form::natural:
      return setInteger(element, property, value);
    case ScannedValue::Form::real: {
      const auto real = std::bit_cast<double>(value.bits);
      return property.isMany() ? element.addReal(key, real) : element.setReal(key, real);
    }
    case ScannedValue::Form::text:
      return property.isMany() ? element.addTextForm(key, value.text) : element.setTextForm(key, value.text);
  }
}

// --- References

Element ModelOfItems::findTarget(const Waiting& waiting) const {
  if (waiting.document) return {};
  if (const std::optional<std::uint64_t> number = localNumberOf(waiting.identity)) {
    const auto found = byNumber_.find(*number);
    return found == byNumber_.end() ? Element() : found->second;
  }
  const auto found = byIdentity_.find(keyOf(waiting.identity));
  return found == byIdentity_.end() ? Element() : found->second;
}

void ModelOfItems::resolve(const Waiting& waiting) {
  const meta::Property key(waiting.property);
  Element from = waiting.from;
  const std::string name = waiting.property->name();
  const auto lost = [&](const std::string& why) { lose(waiting.offset, 0, waiting.from, name + ": " + why); };
  if (!waiting.property->isMany() && waiting.from.getState(key) != PropertyState::unset)
    return lost("it has a reference already, and is given a second");
  if (const Element target = findTarget(waiting)) {
    const bool isMeant = target.getType()->qualifiedName() == waiting.typeName &&
                         target.getClass()->conformsTo(waiting.property->getTarget());
    if (isMeant) return from.putReference(key, target);
    return lost("the element that the reference names is of another class");
  }
  if (!waiting.document && waiting.identity.first == "#")
    return lost("the " + std::string(waiting.typeName) + " that it refers to is lost");
  if (!waiting.document)
    lost("the " + std::string(waiting.typeName) + " " + described(waiting.identity) +
         " that it refers to is not here; the reference stays unresolved");
  from.putUnresolved(
      key, {.targetType = std::string(waiting.typeName),
            .id1 = std::string(waiting.identity.first),
            .id2 = std::string(waiting.identity.second),
            .qualifier = waiting.document ? std::optional(std::string(*waiting.document)) : std::nullopt});
}

Salvaged ModelOfItems::finish() {
  for (const Waiting& waiting : waiting_) {
    try {
      resolve(waiting);
    } catch (const ModelError& error) {
      lose(waiting.offset, 0, waiting.from, waiting.property->name() + ": " + error.getDetails().problem);
    }
  }
  return {std::move(model_), std::move(losses_)};
}

// --- Losses

std::string ModelOfItems::pathOf(Element element) const {
  if (!element || losses_.size() >= kMostPaths) return {};
  std::string path = element.getPath();
  if (path.size() <= kLongestPath) return path;
  return "..." + path.substr(path.find('/', path.size() - kLongestPath));
}

void ModelOfItems::lose(std::size_t offset, std::size_t bytes, Element element, const std::string& why) {
  const std::string path = pathOf(element);
  std::string where = "byte " + std::to_string(offset);
  if (bytes > 1) where = "bytes " + std::to_string(offset) + " to " + std::to_string(offset + bytes - 1);
  if (!path.empty()) where += ", " + path;
  losses_.push_back({offset, bytes, path, where + ": " + why});
}

}  // namespace kr::zero::inspect
