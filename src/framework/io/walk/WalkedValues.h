/// @file
/// Internal: what is written of the references of a model, and what is asked about its other values.
#pragma once

#include <string>
#include <vector>

#include "io/walk/Identities.h"
#include "kr/zero/io/BulkEventProcessor.h"
#include "model/Store.h"

namespace kr::zero::io::internal {

/// Answers for one object at a time.
class WalkedValues final : public ValueSource {
 public:
  WalkedValues(zero::internal::ModelStore& store, Identities& identities);

  /// The object that the questions are about.
  void setRecord(const zero::internal::ElementRecord* record) noexcept { record_ = record; }

  std::string_view formatText(std::size_t slot, cells::Cell cell) override;
  WrittenReference describe(std::size_t slot, cells::Cell item, bool unresolved) override;
  /// The record of a reference's target, which is written.
  /// @throws SerializeError where it is not.
  zero::internal::ElementRecord* getTarget(cells::Cell item) const;
  /// The texts of an unresolved reference.
  /// @throws SerializeError for one that was never resolved, or that would lead to another element.
  const cells::ReferenceTexts& getTexts(std::size_t slot, cells::Cell item);

 private:
  std::string where(std::size_t slot) const;
  void requireUnresolvable(std::size_t slot, const cells::ReferenceTexts& texts);

  zero::internal::ModelStore& store_;
  Identities& identities_;
  std::vector<meta::StructuredType> typesInUse_;
  const zero::internal::ElementRecord* record_ = nullptr;
  std::string text_;
};

}  // namespace kr::zero::io::internal
