#include "model/DocumentOrder.h"

#include "kr/zero/KeptMemory.h"

namespace kr::zero::internal {

bool isIndexOrderWritten(const ModelStore& store) noexcept {
  if (!store.isInDocumentOrder()) return false;
  const auto& uses = store.typesInUse();
  return std::none_of(uses.begin(), uses.end(),
                      [](const TypeUse* use) { return use->type->hasUnwrittenChildren(); });
}

std::size_t IdentityIndex::hashOf(std::string_view first, std::string_view second) noexcept {
  return TextHash{}(second)*31 + TextHash{}(first);
}

std::size_t IdentityIndex::place(std::size_t hash, std::string_view first,
                                 std::string_view second) const noexcept {
  const auto isIt = [&](const IdentityRecord& identity) {
    return identity.second->view() == second && identity.first->view() == first;
  };
  std::size_t at = begin(hash);
  while (table_[at].record != nullptr && !(table_[at].hash == hash && isIt(*table_[at].record->identity)))
    at = next(at);
  return at;
}

std::size_t IdentityIndex::begin(std::size_t hash) const noexcept {
  return (hash ^ (hash >> 29)) & (table_.size() - 1);
}
std::size_t IdentityIndex::next(std::size_t at) const noexcept { return (at + 1) & (table_.size() - 1); }

ElementRecord* IdentityIndex::add(ElementRecord* record) {
  if ((size_ + 1) * 2 > table_.size()) grow();
  const std::string_view first = record->identity->first->view();
  const std::string_view second = record->identity->second->view();
  const std::size_t hash = hashOf(first, second);
  Entry& entry = table_[place(hash, first, second)];
  if (entry.record != nullptr) return entry.record;
  entry = {record, hash};
  ++size_;
  return nullptr;
}

ElementRecord* IdentityIndex::find(std::string_view first, std::string_view second) const noexcept {
  if (table_.empty()) return nullptr;
  return table_[place(hashOf(first, second), first, second)].record;
}

void IdentityIndex::clear() noexcept {
  clearAndGiveBack(table_);
  size_ = 0;
}

void IdentityIndex::grow() {
  std::vector<Entry> old(std::max<std::size_t>(64, table_.size() * 2));
  old.swap(table_);
  for (const Entry& entry : old) {
    if (entry.record == nullptr) continue;
    // No two are the same: the records, which are in no cache any more, need not be looked at.
    std::size_t at = begin(entry.hash);
    while (table_[at].record != nullptr) at = next(at);
    table_[at] = entry;
  }
}

}  // namespace kr::zero::internal
