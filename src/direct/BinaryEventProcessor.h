/// @file
/// Internal: writes the events of a walk as the direct format.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

#include "kr/zero/io/EventProcessor.h"
#include "values/ByteBuffer.h"
#include "values/PrimitiveCodec.h"

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
  /// The bytes of the document.
  const ByteBuffer& getBytes() const;

 private:
  struct Frame {
    std::uint64_t count = 0;
    ByteBuffer bytes;
  };
  /// What writing a property needs to know of it.
  struct PropertyDescriptor {
    const meta::Property::Impl* property = nullptr;
    PrimitiveCode kind = PrimitiveCode::notPrimitive;
    bool optional = false;
    std::uint8_t keySize = 0;
    std::array<std::uint8_t, 5> key{};
  };

  const PropertyDescriptor& describe(const ustring& property);
  void pushFrame(const ustring& property);
  void popFrame();
  void emptyFrame(Frame& frame);
  ByteBuffer& bytes() noexcept { return current_->bytes; }

  void writeNumber(std::uint64_t number);
  void writeKey(const PropertyDescriptor& descriptor);
  void writeText(const ustring& text);
  void writeNamed(const ustring& typeName);
  void writeEndMark();
  void writeReference(const ustring& targetType, const ustring& id1, const ustring& id2);
  void writeQualifiedReference(const ustring& targetType, const ustring& qualifier, const ustring& id1,
                               const ustring& id2);

  std::int32_t depth_ = 0;
  std::vector<Frame> frames_;
  CategoryMasks categoryMasks_{0x7FFFFFFF};
  std::vector<ustring> packageNames_;  // in order of first insertion
  std::unordered_set<ustring> knownPackageNames_;
  Frame* current_ = nullptr;

  std::vector<PropertyDescriptor> descriptors_;  // by the property's index in its registry
  std::string utf8_;
};

}  // namespace kr::zero::io
