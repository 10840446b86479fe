/// @file
/// Internal: elements in document order, and an index of identities.
#pragma once

#include <algorithm>
#include <string_view>
#include <vector>

#include "model/Store.h"

namespace kr::zero::internal {

/// Calls `visit(record)` for each element that a walk may reach (compositions without an identifier and
/// transient ones are left out), each before its children.
template <class Visit>
void forEachWritten(const ModelStore& store, Visit&& visit) {
  std::vector<ElementRecord*> pending(store.roots().rbegin(), store.roots().rend());
  while (!pending.empty()) {
    ElementRecord* record = pending.back();
    pending.pop_back();
    visit(record);
    const std::size_t first = pending.size();
    forEachContained(record, false, [&](ElementRecord* child) {
      if (record->use->property(child->containerSlot).isWritten()) pending.push_back(child);
    });
    std::reverse(pending.begin() + static_cast<std::ptrdiff_t>(first), pending.end());
  }
}

/// Whether index order is the order of forEachWritten and nothing is left out by it.
bool isIndexOrderWritten(const ModelStore& store) noexcept;

/// Elements by identity. Identities are compared by their texts in the model.
class IdentityIndex {
 public:
  /// @return the element that has the same identity already, or null where the record was added.
  ElementRecord* add(ElementRecord* record);
  ElementRecord* find(std::string_view first, std::string_view second) const noexcept;
  void clear() noexcept;
  std::size_t size() const noexcept { return size_; }

 private:
  struct Entry {
    ElementRecord* record = nullptr;
    std::size_t hash = 0;
  };
  static std::size_t hashOf(std::string_view first, std::string_view second) noexcept;
  std::size_t place(std::size_t hash, std::string_view first, std::string_view second) const noexcept;
  std::size_t begin(std::size_t hash) const noexcept;  // where to look first
  std::size_t next(std::size_t at) const noexcept;
  void grow();

  std::vector<Entry> table_;  // a power of two of places, at most half of them taken
  std::size_t size_ = 0;
};

}  // namespace kr::zero::internal
