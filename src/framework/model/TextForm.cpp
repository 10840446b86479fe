#include "model/TextForm.h"

#include <cstring>

#include "fl/i18n/converter.h"
#include "kr/zero/DateTime.h"
#include "model/Numbers.h"

namespace kr::zero::internal {

namespace {

Uuid uuidOf(std::uint64_t payload) {
  Uuid uuid;
  std::memcpy(uuid.data(), reinterpret_cast<const void*>(payload), uuid.size());
  return uuid;
}

// Whether a text is YYYY-MM-DDThh:mm:ssZ, as most programs write dates, and on a day that each month has. The
// general answer takes four times as long.
bool isUsualDateTime(std::string_view text) {
  constexpr std::string_view kLeast = "0000-00-00T00:00:00Z";
  constexpr std::string_view kMost = "9999-19-29T29:59:59Z";
  if (text.size() != kLeast.size()) return false;
  // Sixteen places at a time, so that compilers compare them at once.
  const auto isOutside = [&](std::size_t first) {
    unsigned char outside = 0;
    for (std::size_t i = first; i < first + 16; ++i) {
      outside |= static_cast<unsigned char>(text[i] < kLeast[i]);
      outside |= static_cast<unsigned char>(text[i] > kMost[i]);
    }
    return outside != 0;
  };
  if (isOutside(0) || isOutside(kLeast.size() - 16)) return false;
  const auto number = [&](std::size_t at) { return (text[at] - '0') * 10 + (text[at + 1] - '0'); };
  const int month = number(5);
  const int day = number(8);
  return month >= 1 && month <= 12 && day >= 1 && day <= 28 && number(11) <= 23;
}

}  // namespace

bool isDateTime(std::string_view text) { return isUsualDateTime(text) || DateTime::parse(text).has_value(); }

bool isWellFormed(std::string_view utf8) {
  bool ascii = true;
  for (const char c : utf8) ascii &= static_cast<signed char>(c) >= 0;
  if (ascii) return true;
  static const fl::i18n::codecvt_string_to_ustring converter("UTF8", true);
  std::u16string ignored;
  return converter.convert(utf8, ignored);
}

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
      if (!isDateTime(text)) return false;
      payload = asPayload(store.makeText(text));
      return true;
    default:
      if (!isWellFormed(text)) return false;
      payload = asPayload(store.makeText(text));
      return true;
  }
}

}  // namespace kr::zero::internal
