#include "model/TextForm.h"

#include <cstring>

#include "fl/i18n/utf8.h"
#include "kr/zero/DateTime.h"
#include "model/Numbers.h"

namespace kr::zero::internal {

namespace {

Uuid uuidOf(std::uint64_t payload) {
  Uuid uuid;
  std::memcpy(uuid.data(), reinterpret_cast<const void*>(payload), uuid.size());
  return uuid;
}

}  // namespace

std::string toTextForm(const PropertyRecord& slot, std::uint64_t payload) {
  switch (slot.getKind()) {
    case PropertyKind::number:
      return formatNumber(slot.getStandardType(), payload);
    case PropertyKind::enumeration: {
      const auto number = static_cast<std::int64_t>(payload);
      const meta::EnumLiteral* literal = meta::Enum(slot.getType())->findByNumber(number);
      return literal != nullptr ? literal->name : std::to_string(number);
    }
    case PropertyKind::uuid:
      return formatUuid(uuidOf(payload));
    default:
      return std::string(asText(payload)->view());
  }
}

bool fromTextForm(ModelStore& store, const PropertyRecord& slot, std::string_view text,
                  std::uint64_t& payload) {
  switch (slot.getKind()) {
    case PropertyKind::number: {
      const auto number = parseNumber(slot.getStandardType(), text);
      if (number) payload = *number;
      return number.has_value();
    }
    case PropertyKind::enumeration: {
      const meta::Enum type(slot.getType());
      const meta::EnumLiteral* literal = type->findByName(text);
      if (literal == nullptr) literal = type->findByText(text);
      if (literal == nullptr) return false;
      payload = static_cast<std::uint64_t>(std::int64_t{literal->number});
      return true;
    }
    case PropertyKind::uuid: {
      const auto uuid = parseUuid(text);
      if (uuid) payload = asPayload(store.makeUuid(*uuid));
      return uuid.has_value();
    }
    case PropertyKind::dateTime:
      if (!DateTime::isValid(text)) return false;
      payload = asPayload(store.makeText(text));
      return true;
    default:
      if (!fl::i18n::isWellFormedUtf8(text)) return false;
      payload = asPayload(store.makeText(text));
      return true;
  }
}

std::uint64_t defaultNumberOf(ModelStore& store, const PropertyRecord& slot) {
  std::uint64_t payload = 0;
  if (const auto& text = slot.getDefaultText(); text) fromTextForm(store, slot, *text, payload);
  return payload;
}

std::string_view defaultTextOf(const PropertyRecord& slot) {
  const auto& text = slot.getDefaultText();
  return text ? std::string_view(*text) : std::string_view();
}

Uuid defaultUuidOf(const PropertyRecord& slot) {
  const auto& text = slot.getDefaultText();
  return text ? parseUuid(*text).value_or(Uuid{}) : Uuid{};
}

}  // namespace kr::zero::internal
