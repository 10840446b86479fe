/// @file
/// Internal: which element of a document has which identity.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "io/parse/LocalIdentities.h"
#include "kr/zero/io/ElementIdentity.h"
#include "model/DocumentOrder.h"
#include "model/Store.h"

namespace kr::zero::internal {

/// Identities that the document made for itself, ("#", number), stand in a table by number; the element
/// forgets them in the end, unless they are to be kept. All others, and local ones of odd numbers, stand in
/// an index and in the element.
class DocumentIdentities {
 public:
  using Target = LocalIdentities::Target;

  /// Starts over with an empty model.
  /// @param keepLocal whether elements keep local identities.
  void reset(ModelStore& store, bool keepLocal) noexcept;

  /// @return the element that has that identity already, or null where it is `record`'s now.
  const ElementRecord* add(ElementRecord* record, const io::ElementIdentity& identity);

  Target findLocal(std::uint32_t number) const;
  Target find(std::string_view id1, std::string_view id2) const;
  void prefetchLocal(std::uint32_t number) const noexcept { locals_.prefetch(number); }

  /// Makes elements forget local identities, and forgets all itself.
  void finish();

 private:
  const ElementRecord* addLocal(ElementRecord* record, std::uint32_t number, std::string_view id2);
  const ElementRecord* recordOf(const Target& target) const {
    return target.isNone() ? nullptr : store_->record(target.index);
  }
  bool isPlausible(std::uint32_t number) const noexcept {
    return LocalIdentities::isPlausible(number, store_->elementCount());
  }

  ModelStore* store_ = nullptr;
  bool keepLocal_ = false;
  IdentityIndex index_;
  LocalIdentities locals_;
  bool anyOddLocal_ = false;               // some local identity stands in index_
  std::vector<ElementRecord*> forgetful_;  // have a local identity that is not kept
};

constexpr bool isLocalIdentity(std::string_view id1) noexcept { return id1 == "#"; }
/// The number of an identity that the document made for itself, or 0.
inline std::uint32_t localNumberOf(const io::ElementIdentity& identity) noexcept {
  if (identity.number != 0 || !isLocalIdentity(identity.id1)) return identity.number;
  return io::localNumber(identity.id2);
}

}  // namespace kr::zero::internal
