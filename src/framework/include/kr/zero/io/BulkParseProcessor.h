/// @file
/// What a reader may call in place of ParseProcessor's named operations, to hand over more with each call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "kr/zero/Cells.h"
#include "kr/zero/export.h"
#include "kr/zero/io/ElementIdentity.h"
#include "kr/zero/io/ParseProcessor.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero::io {

/// A property of the innermost element's type.
struct PropertyPlace {
  std::size_t slot;                    ///< position in the type's getAllProperties()
  const meta::Property::Impl* record;  ///< what stands there
};

/// The operations of ParseProcessor with the meta model's records in place of names, and UTF-8 in place of
/// UTF-16: a property is its place in the innermost element's type, a type its handle. Texts are well-formed
/// UTF-8 and need to live during the call only. What is done, what is refused and what is thrown is the same
/// as for the named operation that each one stands for.
///
/// A reader asks bulkOf() once per document, and then uses one of the two interfaces for elements and values.
/// Everything else (setVersion, processDeferred, parseCompleted, problems, path) stays ParseProcessor's.
class KR0_FRAMEWORK_API BulkParseProcessor {
 public:
  virtual ~BulkParseProcessor();

  /// What push finds for the name of an element's type. Where it is no type with properties, the document has
  /// a problem, and the result is an empty handle.
  virtual meta::StructuredType findType(std::string_view typeName) = 0;
  /// push at the top of the document.
  virtual bool pushRoot(meta::StructuredType type, const ElementIdentity& identity) = 0;
  /// push in a datatype or composition property of the innermost element.
  virtual bool pushChild(PropertyPlace property, meta::StructuredType type,
                         const ElementIdentity& identity) = 0;
  /// Closes the innermost element.
  virtual void pop() = 0;
  /// getPropertyCategory of a collection of primitives or references: it is set from now on, be it empty.
  virtual void announceCollection(PropertyPlace property) = 0;
  /// setVerbatimValue.
  /// @param number of the property's type, sign-extended; the bits of a double; 0 or 1 for a Boolean; for an
  ///   enumeration any number of 32 bits.
  virtual void setNumber(PropertyPlace property, std::uint64_t number) = 0;
  /// setVerbatimValue for each of some numbers of a collection of numbers (no enumerations).
  virtual void addNumbers(PropertyPlace property, std::span<const std::uint64_t> numbers) = 0;
  /// setValue of bytes that nobody has looked at yet.
  /// @return false where they are not well-formed UTF-8; nothing has happened then.
  virtual bool setText(PropertyPlace property, std::string_view bytes) = 0;
  /// setEmptyValue.
  virtual void setEmpty(PropertyPlace property) = 0;
  /// A number for the name of a reference's target type; good until processDeferred.
  virtual std::uint32_t numberTypeName(std::string_view name) = 0;
  /// addDeferredReference.
  /// @param typeName what numberTypeName gave.
  /// @param qualifier null for none.
  virtual void addReference(PropertyPlace property, std::uint32_t typeName, const ElementIdentity& identity,
                            const std::string_view* qualifier) = 0;

  /// A waiting cell for a reference that addCells() is to bring, see cells::asWaiting() for the usual ones.
  /// @param qualifier null for none.
  virtual cells::Cell keepReference(std::uint32_t typeName, const ElementIdentity& identity,
                                    const std::string_view* qualifier) = 0;
  /// Free memory of the model, so many bytes at least, for what the cells of addCells() point to. Good until
  /// the next call of another operation.
  virtual cells::FreeMemory& getMemory(std::size_t bytes) = 0;
  /// All of these operations for some properties of the innermost element at once, as the caller makes them
  /// in the form of kr/zero/Cells.h. They come behind everything that is set on the element, in ascending
  /// order, and no operation would refuse any of them: numbers, literals that the enumeration has,
  /// well-formed texts of properties of that kind, explicitly empty values, waiting references, and
  /// collections of these, of kSmallList items at most, with a capacity of their size.
  /// @param anyWaiting whether there is a waiting reference.
  virtual void addCells(std::span<const cells::Entry> entries, const cells::Cell* cells, bool anyWaiting) = 0;
};

/// The larger units of a processor, or null where it has none. ParseProcessor offers them for itself, never
/// for a class derived from it, whose overridden operations must see every call; such a class may implement
/// BulkParseProcessor on its own.
KR0_FRAMEWORK_API BulkParseProcessor* bulkOf(ParseProcessor& processor);

}  // namespace kr::zero::io
