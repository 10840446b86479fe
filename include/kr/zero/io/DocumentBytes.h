/// @file
/// What the bytes of a document are spent on.
///
///     for (const auto& type : kr::zero::io::measureDirect(model).types) show(type);
#pragma once

#include <cstdint>
#include <vector>

#include "kr/zero/Model.h"
#include "kr/zero/io/export.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero::io {

/// The bytes of one property in all instances of a type.
struct PropertyBytes {
  meta::Property property;  ///< inherited or not
  /// Of its key or name, its count and its values. Of a containment: what stands for the property itself,
  /// which in the direct format is nothing; what is contained counts by itself.
  std::uint64_t bytes = 0;
};

/// The bytes of all instances of a type, without what they contain.
struct TypeBytes {
  meta::StructuredType type;  ///< a class, or the datatype of values
  std::uint64_t own = 0;  ///< what begins and ends instances: in the direct format the key of their place,
                          ///< the type's name, identities, end marks
  std::vector<PropertyBytes>
      properties;  ///< those that have bytes, in the order of the type's getAllProperties()
  /// All of them.
  std::uint64_t total() const noexcept {
    std::uint64_t sum = own;
    for (const PropertyBytes& property : properties) sum += property.bytes;
    return sum;
  }
};

/// The bytes of a document, each of them counted once.
struct DocumentBytes {
  std::uint64_t frame = 0;       ///< version, packages and what is around all elements
  std::vector<TypeBytes> types;  ///< by qualified name
  /// The size of the document.
  std::uint64_t total() const noexcept {
    std::uint64_t sum = frame;
    for (const TypeBytes& type : types) sum += type.total();
    return sum;
  }
};

/// The bytes that BinarySerializer writes for a model: it is asked, so the figures are those of the document.
/// Takes as long as writing without its short cuts, and the memory of the document.
/// @throws what BinarySerializer::serialize throws.
KR0_IO_API DocumentBytes measureDirect(const Model& model);
/// The same of BinaryKRSylvanSerializer. What stands around all children in a property counts for the
/// property.
/// @throws what BinaryKRSylvanSerializer::serialize throws.
KR0_IO_API DocumentBytes measureTagged(const Model& model);

}  // namespace kr::zero::io
