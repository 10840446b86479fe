#include <string>
#include <unordered_map>
#include <utility>

#include "kr/zero/TextHash.h"
#include "kr/zero/io/BinaryFormatter.h"
#include "kr/zero/io/TreeDocument.h"
#include "kr/zero/io/TreeEvents.h"
#include "measure/ByteTable.h"

namespace kr::zero::io {

namespace {

using modeling::sylvan::SylvanPrimitive;
using TypesByName = std::unordered_map<std::string, meta::StructuredType, TextHash, std::equal_to<>>;

TypesByName classesIn(const Model& model) {
  TypesByName types;
  for (const ConstElement element : model.elements())
    types.try_emplace(element.getType()->qualifiedName(), element.getType());
  return types;
}

/// Writes a document as ever, and notes for whom each event of its tree made it longer:
///
///     metadata struct (entry)*   around them an object: its own; an entry its property's
///     struct                     in the entry of a datatype property: a value; of an association: the
///     property's
class TaggedMeter final : public modeling::sylvan::SylvanEventProcessor<void> {
 public:
  TaggedMeter(const TypesByName& types, measure::ByteTable& table)
      : types_(types), table_(table), writer_(SerializationOutput::toString(bytes_)) {}

  void startDocument(const SylvanPrimitive& value) override {
    writer_.startDocument(value);
    note();
  }
  void endDocument() override {
    writer_.endDocument();
    note();
  }
  void startMetadata() override {
    writer_.startMetadata();
    isInMetadata_ = true;
  }
  // What stands in metadata counts with the struct, or the sequence of the document, that they belong to.
  void endMetadata() override {
    writer_.endMetadata();
    isInMetadata_ = false;
  }
  void startSequence() override {
    writer_.startSequence();
    note();
  }
  void endSequence() override {
    writer_.endSequence();
    note();
  }
  void startStruct() override {
    writer_.startStruct();
    if (isReference()) {
      ++references_;
      return note();
    }
    levels_.push_back({.type = startedType(), .open = {}});
    note();
  }
  void endStruct() override {
    writer_.endStruct();
    if (references_ > 0) {
      --references_;
      return note();
    }
    note();
    levels_.pop_back();
  }
  void startNamedEntry(const SylvanPrimitive& name) override {
    writer_.startNamedEntry(name);
    if (isInMetadata_)
      isTypeEntry_ = std::get<std::string>(name) == tree::kTypeEntry;
    else if (references_ == 0)
      levels_.back().open = levels_.back().type->findProperty(std::get<std::string>(name));
    note();
  }
  void endNamedEntry() override {
    writer_.endNamedEntry();
    note();
    if (!isInMetadata_ && references_ == 0) levels_.back().open = {};
    isTypeEntry_ = false;
  }
  void writePrimitive(const SylvanPrimitive& value) override {
    writer_.writePrimitive(value);
    if (isTypeEntry_) typeName_ = std::get<std::string>(value);
    note();
  }

 private:
  /// An object or datatype value that is open.
  struct Level {
    meta::StructuredType type;
    meta::Property open;  // whose entry is
  };

  bool isReference() const {
    return references_ > 0 ||
           (!levels_.empty() && levels_.back().open->getKind() == meta::PropertyKind::association);
  }
  meta::StructuredType startedType() const {
    if (!levels_.empty() && levels_.back().open->getKind() == meta::PropertyKind::datatype)
      return meta::StructuredType(levels_.back().open->getType());
    return types_.find(typeName_)->second;
  }
  void note() {
    if (isInMetadata_) return;
    const std::size_t before = std::exchange(size_, bytes_.size());
    if (levels_.empty())
      table_.addFrame(size_ - before);
    else
      table_.add(levels_.back().type, levels_.back().open, size_ - before);
  }

  const TypesByName& types_;
  measure::ByteTable& table_;
  std::string bytes_;
  BinaryFormatter writer_;
  std::size_t size_ = 0;
  std::vector<Level> levels_;
  std::size_t references_ = 0;  // structs of references that are open
  bool isInMetadata_ = false;
  bool isTypeEntry_ = false;
  std::string typeName_;
};

}  // namespace

DocumentBytes measureTagged(const Model& model) {
  measure::ByteTable table;
  const TypesByName types = classesIn(model);
  TaggedMeter meter(types, table);
  sendEvents(model, meter);
  return table.take();
}

}  // namespace kr::zero::io
