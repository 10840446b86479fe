#include "meta/PropertyTable.h"

#include <algorithm>
#include <bit>

#include "kr/zero/TextHash.h"

namespace kr::zero::meta {

namespace {

constexpr std::size_t npos = StructuredType::Impl::npos;

std::size_t hashOf(std::u16string_view name) noexcept { return TextHash{}(name); }
std::size_t hashOf(std::string_view name) noexcept { return TextHash{}(name); }

void placeIn(std::vector<std::uint32_t>& buckets, std::size_t hash, std::size_t position) noexcept {
  const std::size_t mask = buckets.size() - 1;
  std::size_t bucket = hash & mask;
  while (buckets[bucket] != 0) bucket = (bucket + 1) & mask;
  buckets[bucket] = static_cast<std::uint32_t>(position + 1);
}

}  // namespace

void PropertyTable::hashNames(Property::Impl& property) noexcept {
  property.nameHash_ = hashOf(std::u16string_view(property.name_));
  property.nameHashUtf8_ = hashOf(std::string_view(property.nameUtf8_));
}

template <class Matches>
std::size_t PropertyTable::search(const Buckets& buckets, std::size_t hash, Matches matches) const noexcept {
  if (buckets.empty()) return npos;
  const std::size_t mask = buckets.size() - 1;
  for (std::size_t bucket = hash & mask; buckets[bucket] != 0; bucket = (bucket + 1) & mask) {
    const std::size_t position = buckets[bucket] - 1;
    if (matches(*properties_[position].get())) return position;
  }
  return npos;
}

std::size_t PropertyTable::find(std::u16string_view name) const noexcept {
  return search(byName_, hashOf(name), [name](const Property::Impl& p) { return p.name_ == name; });
}

std::size_t PropertyTable::find(std::string_view name) const noexcept {
  return search(byNameUtf8_, hashOf(name), [name](const Property::Impl& p) { return p.nameUtf8_ == name; });
}

std::size_t PropertyTable::find(Property property) const noexcept {
  return search(byName_, property->nameHash_,
                [property](const Property::Impl& p) { return &p == property.get(); });
}

Property PropertyTable::insert(Property property) {
  const std::size_t there = search(byName_, property->nameHash_, [property](const Property::Impl& p) {
    return &p == property.get() || p.name_ == property->name_;
  });
  if (there != npos) return properties_[there];
  if ((properties_.size() + 1) * 4 > byName_.size() * 3) grow();
  properties_.push_back(property);
  place(properties_.size() - 1);
  if (property->isStored() || property->identifier_ != 0) ++numbered_;
  hasAssociations_ |= property->kind_ == PropertyKind::association;
  hasUnwrittenChildren_ |= property->kind_ == PropertyKind::composition && !property->isWritten();
  return {};
}

void PropertyTable::indexIdentifiers() {
  byIdentifier_.assign(std::bit_ceil(2 * properties_.size() + 1), {});
  const std::size_t mask = byIdentifier_.size() - 1;
  for (std::uint32_t slot = 0; slot < properties_.size(); ++slot) {
    const std::uint32_t identifier = properties_[slot]->identifier_;
    if (identifier == 0) continue;
    std::size_t bucket = identifier & mask;
    while (byIdentifier_[bucket].identifier != 0) bucket = (bucket + 1) & mask;
    byIdentifier_[bucket] = {identifier, slot};
  }
}

void PropertyTable::grow() {
  const std::size_t size = std::max<std::size_t>(8, byName_.size() * 2);
  byName_.assign(size, 0);
  byNameUtf8_.assign(size, 0);
  for (std::size_t position = 0; position < properties_.size(); ++position) place(position);
}

void PropertyTable::place(std::size_t position) noexcept {
  placeIn(byName_, properties_[position]->nameHash_, position);
  placeIn(byNameUtf8_, properties_[position]->nameHashUtf8_, position);
}

}  // namespace kr::zero::meta
