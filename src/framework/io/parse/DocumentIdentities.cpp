#include "io/parse/DocumentIdentities.h"

#include <string>

#include "kr/zero/KeptMemory.h"

namespace kr::zero::internal {

namespace {

DocumentIdentities::Target targetOf(const ElementRecord* record) {
  return record == nullptr ? DocumentIdentities::Target()
                           : DocumentIdentities::Target{record->index, record->use->ordinal};
}

}  // namespace

void DocumentIdentities::reset(ModelStore& store, bool keepLocal) noexcept {
  store_ = &store;
  keepLocal_ = keepLocal;
  index_.clear();
  locals_.clear();
  anyOddLocal_ = false;
  clearAndGiveBack(forgetful_);
}

const ElementRecord* DocumentIdentities::add(ElementRecord* record, const io::ElementIdentity& identity) {
  const std::uint32_t number = localNumberOf(identity);
  if (number != 0 && !keepLocal_ && !anyOddLocal_ && isPlausible(number))
    return recordOf(locals_.add(number, record));
  if (identity.number != 0) return addLocal(record, number, std::to_string(number));
  if (isLocalIdentity(identity.id1)) return addLocal(record, number, identity.id2);
  store_->setIdentity(record, identity.id1, identity.id2);
  return index_.add(record);
}

const ElementRecord* DocumentIdentities::addLocal(ElementRecord* record, std::uint32_t number,
                                                  std::string_view id2) {
  const bool plausible = isPlausible(number);
  if (!plausible || keepLocal_) store_->setIdentity(record, "#", id2);
  if (!plausible && !keepLocal_) forgetful_.push_back(record);
  anyOddLocal_ |= !plausible;
  const ElementRecord* other = plausible ? recordOf(locals_.add(number, record)) : index_.add(record);
  if (other != nullptr || !anyOddLocal_) return other;
  // The same identity may stand in the other one of the two tables.
  other = recordOf(locals_.find(number));
  if (other != nullptr && other != record) return other;
  other = index_.find("#", id2);
  return other != record ? other : nullptr;
}

DocumentIdentities::Target DocumentIdentities::findLocal(std::uint32_t number) const {
  const Target found = locals_.find(number);
  return found.isNone() && index_.size() != 0 ? find("#", std::to_string(number)) : found;
}

DocumentIdentities::Target DocumentIdentities::find(std::string_view id1, std::string_view id2) const {
  return targetOf(index_.find(id1, id2));
}

void DocumentIdentities::finish() {
  for (ElementRecord* record : forgetful_) record->identity = nullptr;
  reset(*store_, keepLocal_);
}

}  // namespace kr::zero::internal
