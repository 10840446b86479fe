/// @file
/// Internal: writes the direct format from values as they lie in the model.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "direct/BinaryEventProcessor.h"
#include "kr/zero/io/BulkEventProcessor.h"

namespace kr::zero::io {

/// Keeps, for each type and property, the bytes that every object repeats: keys, marks, type names.
class BulkBinaryEventProcessor final : public BinaryEventProcessor, public BulkEventProcessor {
 public:
  void giveBackMemory() noexcept override;

  void startObjects(ValueSource& source) override;
  CategoryMasks openObject(std::size_t slot, meta::StructuredType type,
                           const ElementIdentity& identity) override;
  void openDatatype(std::size_t slot, meta::StructuredType type) override;
  void closeObject() override;
  void closeDatatype() override;
  std::size_t writeValues(const ValueRun& run, std::size_t from) override;

 private:
  /// What stands in front of a property's values.
  struct Head {
    std::array<std::uint8_t, 8> bytes{};  ///< the key, then the mark of a value that is there
    std::uint8_t keySize = 0;             ///< 1 to 5
    std::uint8_t presentSize = 0;         ///< of the key, and of the mark where the property is optional
    std::uint8_t width = 0;               ///< of a number
    bool isBoolean = false;
    bool holdsText = false;  ///< cells hold the texts themselves
  };
  /// Bytes that are copied in whole blocks.
  class Block {
   public:
    void append(std::uint8_t byte);
    void append(std::string_view bytes);
    /// @param out has room for the size rounded up to kCopyBlock.
    std::uint8_t* copyTo(std::uint8_t* out) const noexcept;
    std::size_t room() const noexcept { return bytes_.size(); }

   private:
    std::vector<std::uint8_t> bytes_;
    std::size_t size_ = 0;
  };
  struct TypeHeads {
    meta::StructuredType type;
    std::vector<Head> heads;  ///< by slot
    Block element;            ///< header of an element without identity, behind its key
    Block identified;         ///< of one with the identity ("#", …), up to the "#"
    Block reference;          ///< to ("#", …), behind its key, up to the "#"
  };

  const TypeHeads& headsOf(meta::StructuredType type);
  void describe(TypeHeads& heads) const;
  std::uint8_t* putHead(std::uint8_t* out, std::size_t slot) const;
  void open(const TypeHeads& heads);

  void writeNumberValue(const Head& head, cells::Entry entry, cells::Cell cell);
  void writeNumbers(const Head& head, std::span<const cells::Cell> items);
  void writeTextValue(std::size_t slot, const Head& head, cells::Entry entry, cells::Cell cell);
  void writeTexts(std::size_t slot, const Head& head, std::span<const cells::Cell> items);
  void writeReferences(std::size_t slot, const Head& head, std::span<const cells::Cell> items);
  void writeReference(std::size_t slot, cells::Cell item, bool unresolved);
  void writeDescribed(const WrittenReference& reference);
  void writeCount(const Head& head, std::size_t count);
  void writeIdentity(const ElementIdentity& identity);
  std::string_view textOf(std::size_t slot, const Head& head, cells::Cell cell);

  ValueSource* source_ = nullptr;
  std::vector<std::unique_ptr<TypeHeads>> types_;  // by the type's index in its registry
  std::vector<const TypeHeads*> typesByOrdinal_;   // as the source counts types
  const TypeHeads* innermost_ = nullptr;
  std::vector<const TypeHeads*> around_;  // types that are open around the innermost one
};

}  // namespace kr::zero::io
