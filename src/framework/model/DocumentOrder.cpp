#include "model/DocumentOrder.h"

namespace kr::zero::internal {

bool isIndexOrderWritten(const ModelStore& store) noexcept {
  if (!store.isInDocumentOrder()) return false;
  const auto& plans = store.plansInUse();
  return std::none_of(plans.begin(), plans.end(),
                      [](const TypePlan* plan) { return plan->hasUnvisitedCompositions; });
}

std::size_t IdentityIndex::hashOf(std::string_view first, std::string_view second) noexcept {
  return TextHash{}(second)*31 + TextHash{}(first);
}

std::size_t IdentityIndex::place(std::size_t hash, std::string_view first,
                                 std::string_view second) const noexcept {
  const std::size_t mask = table_.size() - 1;
  std::size_t at = (hash ^ (hash >> 29)) & mask;
  while (table_[at].record != nullptr) {
    const IdentityRecord* identity = table_[at].record->identity;
    if (table_[at].hash == hash && identity->second->view() == second && identity->first->view() == first)
      return at;
    at = (at + 1) & mask;
  }
  return at;
}

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
  table_.clear();
  size_ = 0;
}

void IdentityIndex::grow() {
  std::vector<Entry> old(std::max<std::size_t>(64, table_.size() * 2));
  old.swap(table_);
  for (const Entry& entry : old) {
    if (entry.record == nullptr) continue;
    const IdentityRecord* identity = entry.record->identity;
    table_[place(entry.hash, identity->first->view(), identity->second->view())] = entry;
  }
}

}  // namespace kr::zero::internal
