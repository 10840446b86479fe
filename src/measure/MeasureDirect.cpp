#include "direct/BinaryEventProcessor.h"
#include "direct/BinaryModelTraverser.h"
#include "kr/zero/io/Serializer.h"
#include "measure/ByteTable.h"

namespace kr::zero::io {

namespace {

/// Writes a document as ever, and notes for whom each event made it longer.
class DirectMeter final : public BinaryEventProcessor {
 public:
  explicit DirectMeter(measure::ByteTable& table) : table_(table) {}

  void postprocess(const SerializationOutput&) override {}
  void endRegisteredPackages() override {
    BinaryEventProcessor::endRegisteredPackages();
    table_.addFrame(grown());
  }

  CategoryMasks startObject(const ustring& property, const ustring& typeName, const ustring& id1,
                            const ustring& id2) override {
    CategoryMasks masks = BinaryEventProcessor::startObject(property, typeName, id1, id2);
    noteOwn();
    return masks;
  }
  void startContainer(const ustring& property, const ustring& typeName) override {
    BinaryEventProcessor::startContainer(property, typeName);
    noteOwn();
  }
  void endObject() override {
    const meta::StructuredType type = getContainerType();
    BinaryEventProcessor::endObject();
    table_.add(type, {}, grown());
  }

  void textValue(const ustring& property, const ustring& text) override {
    BinaryEventProcessor::textValue(property, text);
    note(property);
  }
  void absentValue(const ustring& property) override {
    BinaryEventProcessor::absentValue(property);
    note(property);
  }
  void primitiveValue(const ustring& property, const Value& value) override {
    BinaryEventProcessor::primitiveValue(property, value);
    note(property);
  }
  void referenceValue(const ustring& property, const ustring& targetType, const ustring& id1,
                      const ustring& id2) override {
    BinaryEventProcessor::referenceValue(property, targetType, id1, id2);
    note(property);
  }
  void referenceValueLong(const ustring& property, const ustring& targetType, const ustring& qualifier,
                          const ustring& id1, const ustring& id2) override {
    BinaryEventProcessor::referenceValueLong(property, targetType, qualifier, id1, id2);
    note(property);
  }

  // Of a collection all that comes between its beginning and its end counts at the end.
  void startStructuredProperty(const ustring& property) override {
    BinaryEventProcessor::startStructuredProperty(property);
    open_ = findProperty(property);
  }
  void startStructuredElement(const ustring& property) override {
    BinaryEventProcessor::startStructuredElement(property);
    open_ = findProperty(property);
  }
  void startStructuredEntry(const ustring& property) override {
    BinaryEventProcessor::startStructuredEntry(property);
    open_ = findProperty(property);
  }
  void endStructuredProperty() override {
    BinaryEventProcessor::endStructuredProperty();
    noteOpen();
  }
  void endStructuredElement() override {
    BinaryEventProcessor::endStructuredElement();
    noteOpen();
  }
  void endStructuredEntry() override {
    BinaryEventProcessor::endStructuredEntry();
    noteOpen();
  }

 private:
  /// Bytes since the last call.
  std::uint64_t grown() {
    const std::size_t before = std::exchange(size_, getBytes().size());
    return size_ - before;
  }
  void noteOwn() { table_.add(getContainerType(), {}, grown()); }
  void note(const ustring& property) { table_.add(getContainerType(), findProperty(property), grown()); }
  void noteOpen() { table_.add(getContainerType(), open_, grown()); }

  measure::ByteTable& table_;
  std::size_t size_ = 0;
  meta::Property open_;
};

/// Walks with the named calls, since only these tell of properties one by one.
class MeasuringSerializer final : public Serializer {
 public:
  explicit MeasuringSerializer(measure::ByteTable& table)
      : Serializer(std::make_unique<BinaryModelTraverser>(), std::make_unique<SerializeCustomizer>(ustring()),
                   std::make_unique<DirectMeter>(table)) {}
  const char* getFullyQualifiedVornTypeName() const override { return "kr.zero.io.MeasuringSerializer"; }
};

}  // namespace

DocumentBytes measureDirect(const Model& model) {
  measure::ByteTable table;
  MeasuringSerializer serializer(table);
  std::vector<std::uint8_t> nothing;
  serializer.serialize(model, SerializationOutput::toByteSequence(nothing));
  return table.take();
}

}  // namespace kr::zero::io
