/// @file
/// What a walk calls in place of EventProcessor's named operations, to hand over more with each call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "kr/zero/Cells.h"
#include "kr/zero/export.h"
#include "kr/zero/io/ElementIdentity.h"
#include "kr/zero/io/EventProcessor.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero::io {

/// How the values of a property are written, by the category that the traverser gives it.
enum class ValueForm : std::uint8_t {
  none,  ///< not visited
  text,
  texts,
  verbatim,  ///< a number or an enumeration's number
  verbatims,
  reference,
  references,
  contained  ///< elements or datatype values
};

/// What is written of a reference.
struct WrittenReference {
  std::string_view targetType;  ///< qualified name
  ElementIdentity identity;     ///< of the target
  std::string_view qualifier;   ///< the document that the target is in
  bool hasQualifier = false;    ///< whether there is a qualifier
};

/// What a processor asks the walk about the values that it is given. Belongs to the walk; good until its end.
class KR0_FRAMEWORK_API ValueSource {
 public:
  virtual ~ValueSource();
  /// The text of a value whose cell holds none (a number, an enumeration, a UUID). Good until the next call;
  /// can be copied in blocks as a cells::Text can.
  virtual std::string_view formatText(std::size_t slot, cells::Cell cell) = 0;
  /// What is written of a reference of the innermost object.
  /// @param item the property's cell, or an item of its collection.
  /// @param unresolved what the entry says of a single one.
  /// @throws SerializeError for a reference that cannot be written.
  virtual WrittenReference describe(std::size_t slot, cells::Cell item, bool unresolved) = 0;

  /// The types of the model's elements; an ordinal is a position among them.
  std::span<const meta::StructuredType> getTypes() const noexcept { return types_; }
  /// What describe() would say of a resolved reference, without touching its target.
  /// @param[out] type,number ordinal of the target's type, and the number of ("#", number).
  /// @return false where describe() has to be asked.
  bool findNumbered(cells::Cell item, std::uint32_t& type, std::uint32_t& number) const noexcept {
    if (!areByIndex_) return false;
    const std::uint32_t index = cells::targetIndex(item);
    type = cells::targetType(item);
    number = targetNumbers_ == nullptr ? index + 1 : targetNumbers_[index];
    return true;
  }
  /// Asks for the memory that findNumbered(item) reads.
  void prefetch(cells::Cell item) const noexcept {
    if (targetNumbers_ != nullptr) __builtin_prefetch(targetNumbers_ + cells::targetIndex(item));
  }

 protected:
  std::span<const meta::StructuredType> types_;   ///< what getTypes() gives
  bool areByIndex_ = false;                       ///< else describe() has to be asked
  const std::uint32_t* targetNumbers_ = nullptr;  ///< by record index; null: the index + 1
};

/// What is set on an object, as it lies in the model.
struct ValueRun {
  const cells::Entry* entries = nullptr;  ///< in ascending order of their slots
  const cells::Cell* cells = nullptr;     ///< one for each entry
  std::size_t size = 0;                   ///< of either
  const ValueForm* forms = nullptr;       ///< by slot
};

/// The operations of EventProcessor from the first startObject to the last endObject, with the meta model's
/// records in place of names, UTF-8 in place of UTF-16, and the values between two contained objects in
/// one call. What is written, and what is thrown, is the same as for the named operations that the calls
/// stand for.
///
/// The walk asks bulkOf() once per document, and then uses one of the two interfaces for objects and values.
class KR0_FRAMEWORK_API BulkEventProcessor {
 public:
  /// No property: the top of the document.
  static constexpr std::size_t kNoSlot = meta::StructuredType::Impl::npos;

  virtual ~BulkEventProcessor();

  /// Comes first, after endRegisteredPackages.
  virtual void startObjects(ValueSource& source) = 0;
  /// startObject.
  /// @param slot the property of the innermost object that holds it; kNoSlot at the top.
  virtual CategoryMasks openObject(std::size_t slot, meta::StructuredType type,
                                   const ElementIdentity& identity) = 0;
  /// startContainer.
  virtual void openDatatype(std::size_t slot, meta::StructuredType type) = 0;
  /// endObject.
  virtual void closeObject() = 0;
  /// endContainer.
  virtual void closeDatatype() = 0;
  /// Writes values of the innermost object, from one of its entries up to the next whose form is
  /// `contained`.
  /// @return that entry; run.size where there is none.
  virtual std::size_t writeValues(const ValueRun& run, std::size_t from) = 0;
};

/// The larger units of a processor, or null where it has none. A processor that offers them implements both
/// interfaces.
KR0_FRAMEWORK_API BulkEventProcessor* bulkOf(EventProcessor& processor) noexcept;

}  // namespace kr::zero::io
