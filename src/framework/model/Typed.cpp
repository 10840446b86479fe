#include "kr/zero/Typed.h"

#include <cstddef>
#include <cstring>
#include <string>

#include "fl/i18n/utf8.h"
#include "kr/zero/DateTime.h"
#include "model/Numbers.h"
#include "model/Path.h"
#include "model/Store.h"
#include "model/Target.h"
#include "model/TextForm.h"

namespace kr::zero::internal {

namespace {

std::string describe(const typed::Demand& demand) {
  using meta::PropertyKind;
  const auto kind = [&]() -> std::string {
    switch (demand.kind) {
      case PropertyKind::number:
        return meta::infoOf(demand.standard).name;
      case PropertyKind::enumeration:
        return "enumeration";
      case PropertyKind::text:
        return "text";
      case PropertyKind::uuid:
        return "UUID";
      case PropertyKind::dateTime:
        return "DateTime";
      case PropertyKind::datatype:
        return "datatype";
      case PropertyKind::composition:
        return "composition";
      default:
        return "association";
    }
  };
  return (demand.isMany ? "collection of the kind " : "single value of the kind ") + kind();
}

void requireDateTime(const ModelStore* store, const ElementRecord* record, std::size_t slot,
                     std::string_view text) {
  if (!DateTime::isValid(text))
    failAt(*store, record, slot, "\"" + std::string(text) + "\" is not a DateTime");
}

void requireValid(const ModelStore* store, const ElementRecord* record, std::size_t slot,
                  std::string_view text) {
  if (record->use->property(slot).getKind() == meta::PropertyKind::dateTime)
    requireDateTime(store, record, slot, text);
  else if (!fl::i18n::isWellFormedUtf8(text))
    failAt(*store, record, slot, "the text is not well-formed UTF-8");
}

bool isOf(const meta::Type::Impl& type, const typed::TypeName& name) {
  return type.qualifiedName() == name.qualifiedName && type.packageUri() == name.packageUri;
}

/// The type of that name in the package with that URI, or an empty handle.
meta::Type lookUp(const meta::MetaRegistry& registry, const typed::TypeName& name) {
  meta::Type type = registry.findType(name.qualifiedName);
  if (type && type->packageUri() != name.packageUri)  // packages may share a name
    type = registry.findType(std::u16string_view(type->getQualifiedName()),
                             std::vector{toUstring(name.packageUri)});
  return type && type->packageUri() == name.packageUri ? type : meta::Type();
}

/// How many bytes fit into the place of a text: the model's memory is handed out in units of 8 bytes.
std::size_t roomOf(const cells::Text& text) noexcept {
  constexpr std::size_t kHead = offsetof(cells::Text, bytes);
  return cells::FreeMemory::roundUp(kHead + text.length) - kHead;
}

/// Two blocks that may overlap are all of a text: it is looked at on its way, and may be a part of the old
/// one.
/// @return false, and nothing is changed, where not all of it is ASCII.
template <std::size_t blockSize>
bool replaceByBlocks(cells::Text& place, std::string_view text) noexcept {
  constexpr std::size_t kWords = blockSize / sizeof(std::uint64_t);
  std::uint64_t first[kWords], last[kWords];
  std::memcpy(first, text.data(), blockSize);
  std::memcpy(last, text.data() + text.size() - blockSize, blockSize);
  std::uint64_t all = 0;
  for (std::size_t i = 0; i < kWords; ++i) all |= first[i] | last[i];
  if ((all & 0x8080808080808080) != 0) return false;
  std::memcpy(place.bytes, first, blockSize);
  std::memcpy(place.bytes + text.size() - blockSize, last, blockSize);
  place.length = static_cast<std::uint32_t>(text.size());
  return true;
}

/// @param cell the one of the text that is there; null where there is none.
void putChecked(ModelStore* store, ElementRecord* record, std::size_t slot, const cells::Cell* cell,
                std::string_view text) {
  if (cell != nullptr) {
    auto* const old = reinterpret_cast<cells::Text*>(*cell);
    if (text.size() <= roomOf(*old)) {
      if (!text.empty()) std::memmove(old->bytes, text.data(), text.size());  // may be a part of the old one
      old->length = static_cast<std::uint32_t>(text.size());
      return;
    }
  }
  addCell(store, record, slot, asPayload(store->makeText(text)));
}

}  // namespace

std::size_t findPlace(const ModelStore* store, const ElementRecord* record, std::uint32_t number,
                      const typed::Demand* demand) {
  const meta::StructuredType type = record->use->type;
  const std::size_t slot = type->findIdentifier(number);
  const auto fail = [&](const std::string& what) {
    throw ModelError({.path = pathOf(*store, record),
                      .problem = "type " + type->qualifiedName() + " " + what +
                                 ", the code was generated from another meta model"});
  };
  if (slot == meta::StructuredType::Impl::npos)
    fail("has no property with the number " + std::to_string(number));
  if (demand != nullptr && signatureOf(record->use->property(slot)) != demand->signatureFor(number))
    fail("has the property \"" + record->use->property(slot).name() + "\" with the number " +
         std::to_string(number) + ", which is no " + describe(*demand));
  return slot;
}

void failLiteral(const ModelStore* store, const ElementRecord* record, std::size_t slot,
                 std::int32_t number) {
  failAt(*store, record, slot,
         "enumeration " + record->use->property(slot).getType()->qualifiedName() +
             " has no literal with the number " + std::to_string(number));
}

void failPosition(const ModelStore* store, const ElementRecord* record, std::size_t slot,
                  std::size_t position, std::size_t size) {
  failAt(*store, record, slot, describePosition(position, size));
}

cells::Cell defaultNumber(ModelStore* store, ElementRecord* record, std::size_t slot) {
  return defaultNumberOf(*store, record->use->property(slot));
}

std::string_view defaultText(const ElementRecord* record, std::size_t slot) {
  return defaultTextOf(record->use->property(slot));
}

Uuid defaultUuid(const ElementRecord* record, std::size_t slot) {
  return defaultUuidOf(record->use->property(slot));
}

cells::Cell* findCell(ElementRecord* record, std::size_t slot) noexcept {
  const int at = record->find(slot);
  if (at < 0 || cells::isEmpty(record->slots()[at])) return nullptr;
  record->notePlaces();
  return record->payloads + at;
}

void addCell(ModelStore* store, ElementRecord* record, std::size_t slot, cells::Cell cell) {
  if (const int at = record->find(slot); at < 0 || record->slots()[at] != slot) {
    store->payload(record, slot) = cell;
    store->setState(record, slot, 0);
  } else {
    record->payloads[at] = cell;
    record->notePlaces();
  }
}

void appendCell(ModelStore* store, ElementRecord* record, std::size_t slot, cells::Cell cell) {
  store->append(record, slot, cell);
}

bool replaceText(cells::Cell cell, std::string_view text) noexcept {
  auto& place = *reinterpret_cast<cells::Text*>(cell);
  if (text.size() > roomOf(place)) return false;
  if (text.size() >= 16 && text.size() <= 32) return replaceByBlocks<16>(place, text);
  if (text.size() >= 8 && text.size() < 16) return replaceByBlocks<8>(place, text);
  return false;
}

void putText(ModelStore* store, ElementRecord* record, std::size_t slot, std::string_view text) {
  if (!fl::i18n::isWellFormedUtf8(text)) failAt(*store, record, slot, "the text is not well-formed UTF-8");
  putChecked(store, record, slot, findCell(record, slot), text);
}

void putDateTime(ModelStore* store, ElementRecord* record, std::size_t slot, std::string_view text) {
  requireDateTime(store, record, slot, text);
  putChecked(store, record, slot, findCell(record, slot), text);
}

void putUuid(ModelStore* store, ElementRecord* record, std::size_t slot, const Uuid& uuid) {
  if (const cells::Cell* const cell = findCell(record, slot); cell != nullptr)
    std::memcpy(reinterpret_cast<void*>(*cell), uuid.data(), uuid.size());
  else
    addCell(store, record, slot, asPayload(store->makeUuid(uuid)));
}

void appendText(ModelStore* store, ElementRecord* record, std::size_t slot, std::string_view text) {
  requireValid(store, record, slot, text);
  store->append(record, slot, asPayload(store->makeText(text)));
}

void appendUuid(ModelStore* store, ElementRecord* record, std::size_t slot, const Uuid& uuid) {
  store->append(record, slot, asPayload(store->makeUuid(uuid)));
}

ElementRecord* targetOf(const ModelStore* store, cells::Cell reference) noexcept {
  return store->target(reference);
}

bool isKindOf(const ModelStore* store, const ElementRecord* record, const typed::TypeName& name) {
  if (isOf(*record->use->type.get(), name)) return true;
  const meta::Class cls = record->use->cls;
  return cls && cls->conformsTo(meta::Class(lookUp(store->registry(), name)));
}

void failCast(const ModelStore* store, const ElementRecord* record, const typed::TypeName& name) {
  throw ModelError({.path = pathOf(*store, record),
                    .problem = "an element of class " + record->use->type->qualifiedName() + " is no " +
                               std::string(name.qualifiedName)});
}

meta::StructuredType findType(const meta::MetaRegistry& registry, const typed::TypeName& name) {
  const meta::StructuredType type(lookUp(registry, name));
  if (!type)
    throw ModelError("the registry of the model has no class " + std::string(name.qualifiedName) +
                     " of the package " + std::string(name.packageUri) + ", call its registerIn first");
  return type;
}

const meta::MetaRegistry& registryOf(const ModelStore* store) noexcept { return store->registry(); }

}  // namespace kr::zero::internal
