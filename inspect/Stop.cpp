#include "Stop.h"

#include <charconv>

#include "fl/i18n/utf8.h"

namespace kr::zero::inspect {

namespace {

constexpr std::size_t kLongestQuote = 60;
constexpr std::size_t kSeenSlots = 64;

/// Whether several things may stand in a property under a key each.
bool repeats(const PropertyRecord& property) {
  return property.isMany() && (property.getKind() == meta::PropertyKind::composition ||
                               property.getKind() == meta::PropertyKind::datatype);
}

}  // namespace

std::string inQuotes(std::string_view text) {
  if (text.size() <= kLongestQuote) return "\"" + std::string(text) + "\"";
  std::size_t end = kLongestQuote;
  while (end != 0 && (static_cast<unsigned char>(text[end]) & 0xC0u) == 0x80u) --end;
  return "\"" + std::string(text.substr(0, end)) + "...\" (" + std::to_string(text.size()) + " bytes)";
}

std::string foundText(std::string_view text) {
  if (!fl::i18n::isWellFormedUtf8(text)) return "a text that is not well-formed UTF-8";
  return inQuotes(text);
}

void passUnknownPackage(Reading& reading, std::size_t end, std::string_view uri) {
  const std::size_t begin = std::exchange(reading.at, end);
  reading.isWhole = false;
  if (reading.listener == nullptr) return;
  reading.listener->onDamage({.offset = begin,
                              .bytes = end - begin,
                              .at = begin,
                              .expected = "the URI of a package of the meta models",
                              .found = foundText(uri),
                              .goesOn = true});
}

std::optional<std::uint64_t> localNumberOf(const ScannedIdentity& identity) {
  if (!identity.isThere || identity.first != "#" || identity.second.starts_with('0')) return std::nullopt;
  std::uint64_t number = 0;
  const char* const end = identity.second.data() + identity.second.size();
  const auto [behind, error] = std::from_chars(identity.second.data(), end, number);
  if (error != std::errc() || behind != end) return std::nullopt;
  return number;
}

bool isInPlace(Reading& reading, const ScannedIdentity& identity) {
  if (identity.first != "#") return true;
  const std::optional<std::uint64_t> number = localNumberOf(identity);
  if (!number) return false;
  const auto shift = static_cast<std::int64_t>(*number - (reading.elements + 1));
  if (!reading.shift && shift >= kLeastShift && shift <= reading.mostShift) reading.shift = shift;
  return reading.shift == shift;
}

bool isSecond(const Frame& frame, const PropertyRecord& property, std::size_t slot) {
  return !property.isMany() && slot < kSeenSlots && (frame.seen >> slot & 1u) != 0;
}

void noteSlot(OpenFrames& open, const PropertyRecord& property, std::size_t slot) {
  Frame& frame = open.change();
  if (!property.isMany() && slot < kSeenSlots) frame.seen |= std::uint64_t{1} << slot;
  frame.nextSlot = repeats(property) ? slot : slot + 1;
}

void proposeIn(const meta::Class::Impl& type, const Frame* inside, std::vector<LostFrames>& proposals) {
  Frame frame{.type = &type};
  if (inside == nullptr) return proposals.push_back({frame});
  if (inside->property != nullptr && inside->kind != FrameKind::element &&
      inside->kind != FrameKind::datatype) {
    frame.property = inside->property;
    if (fits(*frame.property, type)) proposals.push_back({frame});
    return;
  }
  if (inside->type == nullptr) return;
  // What was being read comes first, and then what writers write behind it.
  const std::vector<meta::Property>& all = inside->type->getAllProperties();
  for (std::size_t i = 0; i < all.size() && frame.property == nullptr; ++i) {
    const PropertyRecord& property = *all[(i + inside->nextSlot) % all.size()].get();
    if (fits(property, type)) frame.property = &property;
  }
  if (frame.property != nullptr) proposals.push_back({frame});
}

}  // namespace kr::zero::inspect
