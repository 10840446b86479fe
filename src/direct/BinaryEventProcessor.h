/// @file
/// Internal: writes the events of a walk as the direct format.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <memory>
#include <unordered_set>
#include <vector>

#include "direct/TextWriter.h"
#include "kr/zero/io/EventProcessor.h"
#include "values/ByteBuffer.h"
#include "values/TypeCode.h"

namespace kr::zero::io {

/// A collection is written into a frame of its own, because its count stands before it and is known
/// only at its end. Frames are kept and used again.
class BinaryEventProcessor final : public EventProcessor {
 public:
  BinaryEventProcessor();
  ~BinaryEventProcessor() override;

  void postprocess(const SerializationOutput& output) override;
  void startDocument() override;
  void addRegisteredPackage(const ustring& uri) override;
  void endRegisteredPackages() override;
  CategoryMasks startObject(const ustring& property, const ustring& typeName, const ustring& id1,
                            const ustring& id2) override;
  void endObject() override;
  void textValue(const ustring& property, const ustring& text) override;
  void absentValue(const ustring& property) override;
  void startStructuredProperty(const ustring& property) override;
  void textElement(const ustring& property, const ustring& text) override;
  void endStructuredProperty() override;
  void primitiveValue(const ustring& property, const Value& value) override;
  void startStructuredElement(const ustring& property) override;
  void primitiveElement(const ustring& property, const Value& value) override;
  void endStructuredElement() override;
  void emptyContainer(const ustring& property, const ustring& typeName) override;
  void startContainer(const ustring& property, const ustring& typeName) override;
  void endContainer() override;
  void referenceValue(const ustring& property, const ustring& targetType, const ustring& id1,
                      const ustring& id2) override;
  void referenceValueLong(const ustring& property, const ustring& targetType, const ustring& qualifier,
                          const ustring& id1, const ustring& id2) override;
  void startStructuredEntry(const ustring& property) override;
  void referenceElement(const ustring& property, const ustring& targetType, const ustring& id1,
                        const ustring& id2) override;
  void referenceElementLong(const ustring& property, const ustring& targetType, const ustring& qualifier,
                            const ustring& id1, const ustring& id2) override;
  void endStructuredEntry() override;

  /// Sets or clears both association bits of the first mask.
  void setShouldSerializeAssociations(bool should);
  const CategoryMasks& getCategoryMasks() const noexcept { return categoryMasks_; }
  /// The bytes of the document, until the next one starts.
  const values::ByteBuffer& getBytes() const;

 private:
  struct Frame {
    std::uint64_t count = 0;
    values::ByteBuffer bytes;
  };
  /// What writing a property needs to know of it.
  struct PropertyDescriptor {
    const ustring* name = nullptr;  ///< the meta model's own string
    values::TypeCode kind = values::TypeCode::structured;
    bool optional = false;
    std::uint8_t keySize = 0;
    std::array<std::uint8_t, 8> key{};  ///< of 1 to 5 bytes, in a word that is copied whole
  };
  struct TypeDescriptor {
    const ustring* name = nullptr;      ///< the meta model's own string
    std::vector<std::uint8_t> written;  ///< what writeNamed() writes for it
    std::vector<PropertyDescriptor> properties;
  };
  /// A type being written.
  struct OpenType {
    const TypeDescriptor* type;
    std::size_t last = 0;  ///< position of the property described last
  };

  const PropertyDescriptor& describe(const ustring& name);
  const PropertyDescriptor& describeByText(const ustring& name);
  const TypeDescriptor& describeType(meta::StructuredType type);
  static PropertyDescriptor makeDescriptor(meta::Property property);
  static std::size_t placeOf(const ustring& typeName) noexcept;
  void openType(const ustring& property, const ustring& typeName);
  void closeType();
  void pushFrame(const ustring& property);
  void popFrame();
  static void emptyFrame(Frame& frame);
  values::ByteBuffer& bytes() noexcept { return current_->bytes; }

  void writeNumber(std::uint64_t number);
  void writeKey(const PropertyDescriptor& descriptor);
  void writeText(const ustring& text) { texts_.append(bytes(), text); }
  void writeNamed(const ustring& typeName);
  void writeNamed(values::ByteBuffer& out, const ustring& typeName);
  void writeEndMark();
  void writeReference(const ustring& targetType, const ustring& id1, const ustring& id2);
  void writeQualifiedReference(const ustring& targetType, const ustring& qualifier, const ustring& id1,
                               const ustring& id2);

  std::int32_t depth_ = 0;
  std::deque<Frame> frames_;
  CategoryMasks categoryMasks_{0x7FFFFFFF};
  std::vector<ustring> packageNames_;  // in order of first insertion
  std::unordered_set<ustring> knownPackageNames_;
  Frame* current_ = nullptr;

  // By the type's index in its registry. A registry may go between two documents and another come to
  // stand at its address, so that each document starts over.
  std::vector<std::unique_ptr<TypeDescriptor>> types_;
  std::vector<OpenType> open_;
  std::array<const TypeDescriptor*, 64> typesByName_{};  // by a hash of the name's address
  TextWriter texts_;
};

}  // namespace kr::zero::io
