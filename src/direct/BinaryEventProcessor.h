/// @file
/// Internal: writes the events of a walk as the direct format.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "direct/Numbers.h"
#include "fl/i18n/converter.h"
#include "kr/zero/TextHash.h"
#include "kr/zero/io/EventProcessor.h"
#include "values/ByteBuffer.h"
#include "values/TypeCode.h"

namespace kr::zero::io {

/// The count of a collection stands before it and is known only at its end: a byte is kept free for it, which
/// nearly always is enough, and what follows moves where it is not.
class BinaryEventProcessor : public EventProcessor {
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
  /// Forgets the document, however it ended, but for its bytes; of large tables the memory goes.
  virtual void giveBackMemory() noexcept;
  /// The bytes of the document, until the next one starts.
  const values::ByteBuffer& getBytes() const noexcept { return bytes_; }
  /// Whether postprocess() puts the bytes anywhere; it does unless told otherwise.
  void setDelivers(bool delivers) noexcept { delivers_ = delivers; }

 protected:
  const CategoryMasks& getCategoryMasks() const noexcept { return categoryMasks_; }
  values::ByteBuffer& bytes() noexcept { return bytes_; }

 private:
  /// A collection being written.
  struct Frame {
    std::size_t countAt;       ///< offset of the byte for its count
    std::uint64_t outerCount;  ///< items so far of the collection around it
  };
  /// What writing a property needs to know of it.
  struct Descriptor {
    std::uint32_t identifier;
    values::TypeCode kind;
    bool optional;
  };

  Descriptor describe(const ustring& name);
  void pushFrame(const ustring& property);
  void popFrame();
  void putCount(std::size_t at, std::uint64_t count);

  void writeNumber(std::uint64_t number) { direct::appendNumber(bytes_, number); }
  void writeText(const ustring& text);
  void writeNamed(const ustring& typeName, std::uint8_t flag);
  void writeIdentity(const ustring& id1, const ustring& id2);
  void writeReference(const ustring& targetType, const ustring& id1, const ustring& id2);
  void writeQualifiedReference(const ustring& targetType, const ustring& qualifier, const ustring& id1,
                               const ustring& id2);

  values::ByteBuffer bytes_;
  bool delivers_ = true;
  std::vector<Frame> frames_;
  std::uint64_t count_ = 0;  // items so far of the innermost collection
  CategoryMasks categoryMasks_{0x7FFFFFFF};
  std::vector<ustring> packageNames_;  // in order of first insertion
  std::unordered_set<ustring, TextHash> knownPackageNames_;
  fl::i18n::codecvt_ustring_to_string converter_{"UTF8", true};
  std::string utf8_;  // used again and again
};

}  // namespace kr::zero::io
