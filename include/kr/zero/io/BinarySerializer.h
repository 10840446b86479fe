/// @file
/// The writer of the direct binary format.
#pragma once

#include <cstdint>
#include <span>

#include "kr/zero/io/Serializer.h"
#include "kr/zero/io/export.h"

namespace kr::zero::io {

/// Writes a model in the direct binary format (docs/formats/direct.md).
///
///     kr::zero::io::BinarySerializer serializer;
///     std::vector<unsigned char> bytes;
///     serializer.serialize(model, kr::zero::io::SerializationOutput::toByteSequence(bytes));
///
/// Outputs: file, stream and byte vector. A narrow string raises "StringNotSupported", a UTF-16 string
/// "UstringNotSupported", an intermediate form "IntermediateFormatNotSupported"; a stream that has
/// failed already or a file that cannot be created, and a text with a surrogate that stands alone,
/// raise "CannotSerialize". Errors in the middle of a stream or file are not looked for: test the
/// stream, or use saveModel.
///
/// May be used for one model after another; not from two threads at once.
class KR0_IO_API BinarySerializer : public Serializer {
 public:
  BinarySerializer();
  ~BinarySerializer() override;
  const char* getFullyQualifiedVornTypeName() const override;

  /// As the base says. Files are closed when it returns or throws, and no more than 64 KiB of a table is kept
  /// of a document for the next. The buffer of the bytes keeps the size of the largest document as long as
  /// the serializer lives.
  void serialize(const Model& model, const SerializationOutput& output) override;

  /// Writes a document to memory of the serializer, without another copy of it as the outputs have one.
  /// @return the document; until the next call, or the end of the serializer.
  /// @throws what serialize() throws.
  std::span<const std::uint8_t> serializeInPlace(const Model& model);

  /// Whether associations are written; they are unless switched off.
  void setShouldSerializeAssociations(bool should);

 private:
  struct Collaborators;
  explicit BinarySerializer(Collaborators collaborators);
};

}  // namespace kr::zero::io
