/// @file
/// Internal: writes the events of a walk as the direct format.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <unordered_set>
#include <vector>

#include "direct/TextWriter.h"
#include "kr/zero/io/EventProcessor.h"
#include "values/ByteBuffer.h"
#include "values/TypeCode.h"

namespace kr::zero::io {

/// The count of a collection stands before it and is known only at its end: a byte is kept free for it, which
/// nearly always is enough, and what follows moves where it is not.
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
  /// The bytes of the document, until the next one starts.
  const values::ByteBuffer& getBytes() const noexcept { return bytes_; }

 private:
  /// A collection being written.
  struct Frame {
    std::size_t countAt;       ///< offset of the byte for its count
    std::uint64_t outerCount;  ///< items so far of the collection around it
  };
  /// What writing a property needs to know of it.
  struct PropertyDescriptor {
    const ustring* name = nullptr;  ///< the meta model's own string
    /// The key, then the mark of a value that is there; in a word that is copied whole.
    std::array<std::uint8_t, 8> head{};
    std::uint8_t keySize = 0;      ///< 1 to 5
    std::uint8_t presentSize = 0;  ///< of the key, and of the mark where the property is optional
    values::TypeCode kind = values::TypeCode::structured;
    /// Bytes of a value of plainType; 0 where writing one needs a closer look.
    std::uint8_t plainSize = 0;
    meta::Type plainType;
    bool optional() const noexcept { return presentSize != keySize; }
    bool isPlain(const Value& value) const noexcept {
      return plainSize != 0 && value.getMeta().getType() == plainType &&
             value.getMeta().getFlags() == ValueFlags::single && value.hasCell();
    }
  };
  /// Bytes in blocks that are copied whole.
  struct Blocks {
    static constexpr std::size_t kSize = 16;
    std::vector<std::array<std::uint8_t, kSize>> blocks;
    std::size_t size = 0;
  };
  struct TypeDescriptor {
    const ustring* name = nullptr;  ///< the meta model's own string
    Blocks written;                 ///< what writeNamed() writes for it
    std::vector<PropertyDescriptor> properties;
  };
  /// A type being written.
  struct OpenType {
    const TypeDescriptor* type = nullptr;
    const PropertyDescriptor* last = nullptr;  ///< the property described last
    const PropertyDescriptor* end = nullptr;   ///< of all of them
  };

  const PropertyDescriptor& describe(const ustring& name);
  const PropertyDescriptor& describeByText(const ustring& name);
  const TypeDescriptor* knownType(const ustring& typeName) const noexcept;
  const TypeDescriptor& describeType(meta::StructuredType type);
  static PropertyDescriptor makeDescriptor(meta::Property property);
  static std::size_t placeOf(const ustring& typeName) noexcept;
  void openType(const ustring& property, const ustring& typeName);
  void closeType();
  void pushFrame(const ustring& property);
  [[gnu::noinline]] void growFrames();
  void popFrame();
  void putCount(std::size_t at, std::uint64_t count);

  void writeNumber(std::uint64_t number);
  void writeKey(const PropertyDescriptor& descriptor);
  void putPlain(const PropertyDescriptor& descriptor, const Value& value, std::uint8_t* out);
  void writeText(const ustring& text) { texts_.append(bytes_, text); }
  void writeNamed(const ustring& typeName, std::uint8_t flag);
  void writeIdentity(const ustring& id1, const ustring& id2);
  void writeEndMark();
  void writeReference(const ustring& targetType, const ustring& id1, const ustring& id2);
  void writeQualifiedReference(const ustring& targetType, const ustring& qualifier, const ustring& id1,
                               const ustring& id2);

  values::ByteBuffer bytes_;
  std::vector<Frame> frames_;  // the first depth_ are open
  std::size_t depth_ = 0;
  std::uint64_t count_ = 0;  // items so far of the innermost collection
  CategoryMasks categoryMasks_{0x7FFFFFFF};
  std::vector<ustring> packageNames_;  // in order of first insertion
  std::unordered_set<ustring> knownPackageNames_;

  // By the type's index in its registry. A registry may go between two documents and another come to
  // stand at its address, so that each document starts over.
  std::vector<std::unique_ptr<TypeDescriptor>> types_;
  OpenType innermost_;
  std::vector<OpenType> around_;                         // types that are open around the innermost one
  std::array<const TypeDescriptor*, 64> typesByName_{};  // by a hash of the name's address
  TextWriter texts_;
};

}  // namespace kr::zero::io
