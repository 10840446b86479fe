/// @file
/// Internal: turns a walk that is told in larger units into tree events.
#pragma once

#include <memory>
#include <unordered_map>
#include <vector>

#include "io/tree/TreeEventWriter.h"
#include "kr/zero/io/BulkEventProcessor.h"

namespace kr::zero::io::internal {

/// The events are those of TreeEventWriter. Keeps the names of each type's properties as primitives, by slot.
class BulkTreeEventWriter final : public TreeEventWriter, public BulkEventProcessor {
 public:
  void giveBackMemory() noexcept override;

  void startObjects(ValueSource& source) override;
  CategoryMasks openObject(std::size_t slot, meta::StructuredType type,
                           const ElementIdentity& identity) override;
  void openDatatype(std::size_t slot, meta::StructuredType type) override;
  void closeObject() override;
  void closeDatatype() override { closeObject(); }
  std::size_t writeValues(const ValueRun& run, std::size_t from) override;

 private:
  struct TypeNames {
    meta::StructuredType type;
    Primitive name;
    std::vector<Primitive> properties;  // by slot
  };
  /// An object or datatype value that is open.
  struct Open {
    const TypeNames* names;
    std::size_t slot = kNoSlot;  // whose entry is open, for what it contains
    bool sequence = false;       // that entry holds a sequence, which is open too
  };

  const TypeNames& namesOf(meta::StructuredType type);
  meta::Property propertyAt(std::size_t slot) const;
  void startContained(std::size_t slot);
  void endOpenEntry();
  void writeValue(ValueForm form, cells::Entry entry, cells::Cell cell);
  void writeItems(ValueForm form, cells::Entry entry, cells::Cell cell);
  std::string_view textOf(std::size_t slot, cells::Cell cell) const;
  Primitive makeNumber(std::size_t slot, cells::Cell cell) const;
  void writeReference(std::size_t slot, cells::Cell item, bool unresolved);
  void writeDescribed(const WrittenReference& reference);
  void writeIdentity(const ElementIdentity& identity);
  const Primitive& makeNumberText(std::uint64_t number);

  ValueSource* source_ = nullptr;
  std::vector<Open> open_;
  std::unordered_map<const void*, std::unique_ptr<TypeNames>> names_;
  std::vector<const TypeNames*> namesByOrdinal_;
  const Primitive numbered_{std::string("#")};  // the first text of an identity that is a number
  Primitive type_{std::string()};
  Primitive first_{std::string()};
  Primitive second_{std::string()};
};

}  // namespace kr::zero::io::internal
