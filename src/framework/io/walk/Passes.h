/// @file
/// Internal: what a walk visits of the objects of each type.
#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kr/zero/io/BulkEventProcessor.h"
#include "kr/zero/io/ModelTraverser.h"
#include "model/Store.h"

namespace kr::zero::io::internal {

/// What one pass over an object visits.
struct Pass {
  std::vector<ValueForm> forms;      // by slot
  std::vector<std::uint16_t> order;  // slots that are visited
  bool ascending = true;             // that order is the order of slots
};

/// Asks the traverser once per type and mask.
class Passes {
 public:
  explicit Passes(const ModelTraverser& traverser) : traverser_(traverser) {}

  const Pass& get(const zero::internal::TypeUse* use, std::uint32_t mask) {
    return use == lastUse_ && mask == lastMask_ ? *last_ : find(use, mask);
  }

  /// Whether the traverser's categories are ones that the kinds of the type's properties can have: a host's
  /// may say anything.
  bool areFitting(const zero::internal::TypeUse& use) const;

 private:
  const Pass& find(const zero::internal::TypeUse* use, std::uint32_t mask);
  Pass make(const zero::internal::TypeUse* use, std::uint32_t mask) const;

  const ModelTraverser& traverser_;
  std::unordered_map<std::uint32_t, std::vector<std::pair<std::uint32_t, std::unique_ptr<Pass>>>>
      passes_;  // by type index
  const zero::internal::TypeUse* lastUse_ = nullptr;
  std::uint32_t lastMask_ = 0;
  const Pass* last_ = nullptr;
};

}  // namespace kr::zero::io::internal
