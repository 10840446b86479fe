#include "kr/zero/Ranges.h"

#include "model/Store.h"

namespace kr::zero::internal {

std::size_t rootCount(const ModelStore& store) noexcept { return store.roots().size(); }

ElementRecord* rootAt(const ModelStore& store, std::size_t position) {
  if (position < store.roots().size()) return store.roots()[position];
  throw ModelError("the model has no root " + std::to_string(position) + ", only " +
                   std::to_string(store.roots().size()));
}

ElementRecord* findContained(const ElementRecord* parent, ChildPlace& place, Contained which) noexcept {
  for (; place.entry < parent->count; ++place.entry, place.position = 0) {
    const cells::Entry entry = parent->slots()[place.entry];
    const PropertyKind kind = parent->use->property(cells::slotOf(entry)).getKind();
    if (kind != PropertyKind::composition &&
        !(which == Contained::childrenAndDatatypes && kind == PropertyKind::datatype))
      continue;
    const Values children = ModelStore::valuesAt(parent, place.entry);
    if (place.position < children.size) return asElement(children.items[place.position]);
  }
  return nullptr;
}

TreeWalk::TreeWalk(ModelStore* store, meta::Class only) : store_(store), only_(only) {
  step();
  while (isPassedOver()) step();
}

TreeWalk::TreeWalk(ModelStore* store, ElementRecord* start)
    : store_(store), current_(start), nextRoot_(static_cast<std::size_t>(-1)) {
  step();
}

void TreeWalk::advance() {
  do step();
  while (isPassedOver());
}

bool TreeWalk::isPassedOver() const {
  return current_ != nullptr && only_ && !current_->use->cls->conformsTo(only_);
}

void TreeWalk::step() {
  ChildPlace place;
  if (ElementRecord* child = current_ == nullptr ? nullptr : findContained(current_, place);
      child != nullptr) {
    levels_.push_back({current_, place});
    current_ = child;
    return;
  }
  while (!levels_.empty()) {
    Level& level = levels_.back();
    ++level.place.position;
    current_ = findContained(level.parent, level.place);
    if (current_ != nullptr) return;
    levels_.pop_back();
  }
  current_ = nextRoot_ < store_->roots().size() ? store_->roots()[nextRoot_++] : nullptr;
}

}  // namespace kr::zero::internal
