/// @file
/// Internal: which identity each element is written with.
#pragma once

#include <cstdint>
#include <vector>

#include "kr/zero/io/BulkEventProcessor.h"
#include "kr/zero/io/SerializeCustomizer.h"
#include "model/Store.h"

namespace kr::zero::io::internal {

/// Elements that something refers to and that have no identity of their own get a number: their position in
/// document order, from 1.
class Identities {
 public:
  /// @throws SerializeError where two elements have one identity.
  Identities(zero::internal::ModelStore& store, const SerializeCustomizer& customizer);

  /// Whether the customizer says what the elements say, so that their texts are what is written.
  bool arePlain() const noexcept { return plain_; }
  /// The identity of an element, where they are plain.
  ElementIdentity get(const zero::internal::ElementRecord* record) const;
  /// The same as UTF-16, whoever says it; two empty texts for none.
  void get(zero::internal::ElementRecord* record, ustring& id1, ustring& id2) const;

  /// Whether no element needs to be looked at to know the number of one that is referred to: it stands in
  /// getNumbersByIndex(), or is the index + 1 where that is null.
  bool areByIndex() const noexcept { return byIndex_; }
  const std::uint32_t* getNumbersByIndex() const noexcept {
    return numbers_.empty() ? nullptr : numbers_.data();
  }

  /// The element that is written with the identity ("#", number), or null. The first call makes a table:
  /// only references that nobody resolved ask, and hardly ever have such an identity.
  const zero::internal::ElementRecord* findNumbered(std::uint32_t number);

  bool isWritten(std::uint32_t index) const { return written_.empty() || written_[index]; }

 private:
  void findWritten();
  bool hasIdentity(zero::internal::ElementRecord* record) const;
  bool isNumberedByIndex() const;
  void numberByIndex();
  bool markTargets();
  void number();
  std::uint32_t numberOf(const zero::internal::ElementRecord* record) const;
  void refuseDuplicates() const;
  [[noreturn]] void fail(const zero::internal::ElementRecord* a,
                         const zero::internal::ElementRecord* b) const;

  zero::internal::ModelStore& store_;
  const SerializeCustomizer& customizer_;
  bool plain_;
  bool anyOwn_;           // some element may have an identity of its own
  bool byIndex_ = false;  // every element has the number that follows from its index
  // The number of each element that is referred to and has no identity of its own, 0 for others; by
  // index. Where numbering goes by index: of every element, and not needed where it is the index + 1.
  std::vector<std::uint32_t> numbers_;
  std::vector<bool> written_;
  std::vector<const zero::internal::ElementRecord*> recordsByNumber_;  // see findNumbered
};

}  // namespace kr::zero::io::internal
