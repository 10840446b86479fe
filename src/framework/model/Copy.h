/// @file
/// Internal: deep copies.
#pragma once

#include <vector>

#include "kr/zero/ElementCopier.h"
#include "model/Store.h"

namespace kr::zero::internal {

/// Copies trees of records first and their references afterwards, when every target has its copy.
class Copier {
 public:
  Copier(const ModelStore& from, ModelStore& to, CopyOptions options);

  /// Says what is to be copied next: a record and what is below it now. A copy may stand below its original.
  void choose(const ElementRecord* original);
  /// Copies what is below the chosen record below another one, which is its copy.
  void copyChosen(ElementRecord* copy);
  /// What references to a record lead to from now on.
  void standFor(const ElementRecord* original, ElementRecord* here);
  ElementRecord* copyOf(const ElementRecord* original) const noexcept {
    return original->index < copies_.size() ? copies_[original->index] : nullptr;
  }
  /// Copies the values of a property where it holds no records; the slots may differ.
  void copyPropertyLater(const ElementRecord* original, std::size_t slot, ElementRecord* here,
                         std::size_t hereSlot);
  /// Copies the values of all that was copied so far, and forgets that there was something to do.
  void finish();

 private:
  struct Work {
    const ElementRecord* original;
    ElementRecord* copy;
  };
  struct Property {
    const ElementRecord* original;
    std::size_t slot;
    ElementRecord* copy;
    std::size_t copySlot;
  };
  void note(const ElementRecord* original, ElementRecord* copy);
  void copyValues(const Work& work);
  void copyProperty(const Property& property);
  void copyItem(const PropertyRecord& property, const Values& values, std::size_t position,
                ElementRecord* copy, std::size_t slot);
  std::uint64_t copyPayload(const PropertyRecord& property, std::uint64_t item);
  std::uint64_t copyReference(const PropertyRecord& property, std::uint64_t item, bool& unresolved);
  std::uint64_t copyUnresolved(std::uint64_t item, bool many);
  std::uint64_t makeOutside(const ElementRecord* target, bool many);

  const ModelStore& from_;
  ModelStore& to_;
  CopyOptions options_;
  std::vector<ElementRecord*> copies_;  // by the original's index
  std::vector<Work> work_;
  std::vector<Property> properties_;
  std::vector<const ElementRecord*> chosen_;   // in document order
  std::vector<const ElementRecord*> pending_;  // used again and again
};

/// Copies everything into an empty store of the same registry.
void copyAll(const ModelStore& from, ModelStore& to);

/// Copies a record and all below it to the end of another store's (or the same store's) roots, without
/// identities. References that leave the copied part keep their target where both stores are one, and
/// are left out where they are not: an element cannot refer into another model.
ElementRecord* copySubtree(const ModelStore& from, const ElementRecord* record, ModelStore& to);

}  // namespace kr::zero::internal
