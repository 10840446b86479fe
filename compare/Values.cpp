#include "Values.h"

#include <algorithm>
#include <cstring>

#include "kr/zero/TextHash.h"

namespace kr::zero::compare {

namespace {

using internal::ElementAccess;
using meta::PropertyKind;

constexpr std::size_t kUuidBytes = 16;

const char* asBytes(cells::Cell cell) noexcept {
  return reinterpret_cast<const char*>(cell);  // NOLINT: the address of a UUID
}

void appendNumber(std::string& bytes, std::uint64_t number) {
  char raw[sizeof number];
  std::memcpy(raw, &number, sizeof number);
  bytes.append(raw, sizeof number);
}

void appendText(std::string& bytes, const cells::Text* text) {
  appendNumber(bytes, text == nullptr ? UINT64_MAX : text->length);
  if (text != nullptr) bytes += text->view();
}

void appendTexts(std::string& bytes, const cells::ReferenceTexts* texts) {
  if (texts == nullptr) return;
  for (const cells::Text* text : {texts->targetType, texts->id1, texts->id2, texts->qualifier})
    appendText(bytes, text);
}

void appendPrimitive(std::string& bytes, PropertyKind kind, cells::Cell item) {
  if (kind == PropertyKind::text || kind == PropertyKind::dateTime)
    appendText(bytes, cells::asText(item));
  else if (kind == PropertyKind::uuid)
    bytes.append(asBytes(item), kUuidBytes);
  else
    appendNumber(bytes, item);
}

/// A value made of parts, level by level: parts within parts follow behind those around them.
void appendParts(std::string& bytes, const ElementRecord* value) {
  std::vector<const ElementRecord*> pending{value};
  for (std::size_t next = 0; next < pending.size(); ++next) {
    const ElementRecord* const record = pending[next];
    for (std::uint16_t i = 0; i < record->count; ++i) {
      const SlotValues values = valuesAt(record, i);
      if (!isValue(values)) continue;
      const PropertyKind kind = values.property->getKind();
      appendNumber(bytes, std::uint64_t{cells::slotOf(record->slots()[i])} << 33 |
                              std::uint64_t{values.state == PropertyState::empty} << 32 | values.size);
      for (std::uint32_t k = 0; k < values.size; ++k)
        if (kind == PropertyKind::datatype)
          pending.push_back(asRecord(values.items[k]));
        else
          appendPrimitive(bytes, kind, values.items[k]);
    }
    appendNumber(bytes, UINT64_MAX);  // no slot
  }
}

/// Shows values. Those within values are put into place one by one: how deep they lie is the meta model's
/// choice.
class ValuePrinter {
 public:
  explicit ValuePrinter(const std::function<std::string(std::size_t)>& pathOf) : pathOf_(pathOf) {}

  std::string print(ConstElement element, meta::Property property) {
    begin(element, property);
    while (!frames_.empty()) step();
    return std::move(text_);
  }

 private:
  struct Frame {
    ConstElement element;
    meta::Property property;
    std::size_t size;
    std::size_t position = 0;
    bool isInside = false;                // of a value made of parts
    std::vector<meta::Property> parts{};  // of the value that is being shown, the next one last
    bool isFirst = true;
  };

  void begin(ConstElement element, meta::Property property) {
    const PropertyState state = element.getState(property);
    const bool hasParts = property->getKind() == PropertyKind::datatype;
    if (state == PropertyState::unset || (hasParts && element.size(property) == 0)) {
      text_ += "unset";
    } else if (state == PropertyState::empty) {
      text_ += "empty";
    } else {
      if (property->isMany()) text_ += '[';
      frames_.push_back({element, property, element.size(property)});
    }
  }

  void step() {
    Frame& frame = frames_.back();
    if (frame.isInside) return nextPart(frame);
    if (frame.position == frame.size) {
      if (frame.property->isMany()) text_ += ']';
      frames_.pop_back();
      return;
    }
    if (frame.position != 0) text_ += ", ";
    if (frame.property->getKind() == PropertyKind::datatype) return enter(frame);
    item(frame.element, frame.property, frame.position++);
  }

  void enter(Frame& frame) {
    text_ += '{';
    frame.isInside = true;
    frame.isFirst = true;
    const ConstElement value = frame.element.getElement(frame.property, frame.position);
    for (const meta::Property part : value.getType()->getAllProperties())
      if (part->isStored() && value.isSet(part)) frame.parts.push_back(part);
    std::reverse(frame.parts.begin(), frame.parts.end());
  }

  void nextPart(Frame& frame) {
    if (frame.parts.empty()) {
      text_ += '}';
      frame.isInside = false;
      ++frame.position;
      return;
    }
    const meta::Property part = frame.parts.back();
    frame.parts.pop_back();
    if (!frame.isFirst) text_ += ", ";
    frame.isFirst = false;
    text_ += part->name() + ": ";
    begin(frame.element.getElement(frame.property, frame.position), part);
  }

  void item(ConstElement element, meta::Property property, std::size_t position) {
    if (property->getKind() == PropertyKind::association)
      reference(element, property, position);
    else if (property->getKind() == PropertyKind::text)
      text_ += inQuotes(element.getText(property, position));
    else
      text_ += element.getTextForm(property, position);
  }

  void reference(ConstElement element, meta::Property property, std::size_t position) {
    text_ += "-> ";
    const auto missing = element.getUnresolved(property, position);
    if (!missing) {
      text_ += pathOf_(position);
      return;
    }
    text_ += missing->targetType + " id " + inQuotes(missing->id1) + ' ' + inQuotes(missing->id2);
    if (missing->qualifier) text_ += " in " + inQuotes(*missing->qualifier);
  }

  const std::function<std::string(std::size_t)>& pathOf_;
  std::string text_;
  std::vector<Frame> frames_;
};

}  // namespace

SlotValues valuesAt(const ElementRecord* record, std::size_t entry) noexcept {
  const cells::Entry state = record->slots()[entry];
  SlotValues values;
  values.property = &record->use->property(cells::slotOf(state));
  values.state = cells::isEmpty(state) ? PropertyState::empty : PropertyState::value;
  if (cells::isEmpty(state)) return values;
  if (values.property->isMany()) {
    const auto items = cells::itemsOf(state, record->payloads[entry]);
    values.items = items.data();
    values.size = static_cast<std::uint32_t>(items.size());
    return values;
  }
  values.items = record->payloads + entry;
  values.size = 1;
  values.isUnresolvedSingle = (state & cells::kUnresolved) != 0;
  return values;
}

SlotValues valuesIn(const ElementRecord* record, std::size_t slot) noexcept {
  const int entry = record->find(slot);
  if (entry >= 0) {
    const SlotValues values = valuesAt(record, static_cast<std::size_t>(entry));
    if (isValue(values)) return values;
  }
  SlotValues unset;
  unset.property = &record->use->property(slot);
  return unset;
}

bool isValue(const SlotValues& values) noexcept {
  const PropertyKind kind = values.property->getKind();
  return kind != PropertyKind::composition && (kind != PropertyKind::datatype || values.size != 0);
}

void listSlots(const ElementRecord* a, const ElementRecord* b, std::vector<std::uint16_t>& slots) {
  slots.clear();
  const auto slotAt = [](const ElementRecord* record, std::uint16_t i) {
    return static_cast<std::uint16_t>(cells::slotOf(record->slots()[i]));
  };
  for (std::uint16_t i = 0, j = 0; i < a->count || j < b->count;) {
    const std::uint16_t slotA = i < a->count ? slotAt(a, i) : UINT16_MAX;
    const std::uint16_t slotB = j < b->count ? slotAt(b, j) : UINT16_MAX;
    const std::uint16_t slot = std::min(slotA, slotB);
    i = static_cast<std::uint16_t>(i + (slotA == slot));
    j = static_cast<std::uint16_t>(j + (slotB == slot));
    if (a->use->property(slot).getKind() != PropertyKind::composition) slots.push_back(slot);
  }
}

std::string keyOf(const SlotValues& values, std::size_t at) {
  std::string key;
  const PropertyKind kind = values.property->getKind();
  if (kind == PropertyKind::datatype)
    appendParts(key, asRecord(values.items[at]));
  else if (kind == PropertyKind::association)
    appendTexts(key, values.texts(at));
  else
    appendPrimitive(key, kind, values.items[at]);
  return key;
}

bool areEqual(const SlotValues& a, std::size_t i, const SlotValues& b, std::size_t j) {
  const cells::Cell itemA = a.items[i];
  const cells::Cell itemB = b.items[j];
  switch (a.property->getKind()) {
    case PropertyKind::number:
    case PropertyKind::enumeration:
      return itemA == itemB;
    case PropertyKind::text:
    case PropertyKind::dateTime:
      return cells::asText(itemA)->view() == cells::asText(itemB)->view();
    case PropertyKind::uuid:
      return std::memcmp(asBytes(itemA), asBytes(itemB), kUuidBytes) == 0;
    default:
      return keyOf(a, i) == keyOf(b, j);
  }
}

Mark markOf(const SlotValues& values, std::size_t at) {
  const cells::Cell item = values.items[at];
  switch (values.property->getKind()) {
    case PropertyKind::number:
    case PropertyKind::enumeration:
      return mixed(5, item);
    case PropertyKind::text:
    case PropertyKind::dateTime:
      return hashBytes(cells::asText(item)->bytes, cells::asText(item)->length);
    case PropertyKind::uuid:
      return hashBytes(asBytes(item), kUuidBytes);
    default: {
      const std::string key = keyOf(values, at);
      return hashBytes(key.data(), key.size());
    }
  }
}

bool areEqual(const Side& sideA, const SlotValues& a, const Side& sideB, const SlotValues& b) {
  if (a.state != b.state || a.size != b.size) return false;
  for (std::uint32_t k = 0; k < a.size; ++k) {
    if (!a.isReference()) {
      if (!areEqual(a, k, b, k)) return false;
      continue;
    }
    if (a.isUnresolved(k) != b.isUnresolved(k)) return false;
    if (a.isUnresolved(k) ? !areEqual(a, k, b, k) : sideA.idOf(a.items[k]) != sideB.idOf(b.items[k]))
      return false;
  }
  return true;
}

std::string textOf(ConstElement element, meta::Property property,
                   const std::function<std::string(std::size_t)>& pathOf) {
  return ValuePrinter(pathOf).print(element, property);
}

std::string textOf(const Outline& outline, Ordinal element, meta::Property property) {
  const ElementRecord* const record = outline.record(element);
  const auto pathOf = [&](std::size_t position) {
    const SlotValues values = valuesIn(record, record->use->type->slotOf(property));
    return outline.path(outline.ordinalOfIndex(cells::targetIndex(values.items[position])));
  };
  return textOf(outline.element(element), property, pathOf);
}

std::string inQuotes(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string quoted = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\')
      quoted.append(1, '\\').append(1, c);
    else if (c == '\n')
      quoted += "\\n";
    else if (byte < ' ' || byte == 0x7F)
      quoted.append("\\u00").append(1, kDigits[byte >> 4]).append(1, kDigits[byte & 15]);
    else
      quoted += c;
  }
  return quoted + '"';
}

std::string identityText(const ElementRecord* record) {
  if (record->identity == nullptr) return "none";
  return inQuotes(record->identity->first->view()) + ' ' + inQuotes(record->identity->second->view());
}

bool haveSameIdentity(const ElementRecord* a, const ElementRecord* b) noexcept {
  if (a->identity == nullptr || b->identity == nullptr) return a->identity == b->identity;
  return a->identity->first->view() == b->identity->first->view() &&
         a->identity->second->view() == b->identity->second->view();
}

std::string valueText(ConstElement element, meta::Property property) {
  return textOf(element, property,
                [&](std::size_t position) { return element.getReference(property, position).getPath(); });
}

}  // namespace kr::zero::compare
