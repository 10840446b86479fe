/// @file
/// Internal: turns the events of a walk over a model into tree events.
#pragma once

#include <optional>
#include <unordered_map>
#include <vector>

#include "fl/i18n/converter.h"
#include "kr/zero/io/EventProcessor.h"
#include "kr/zero/io/TreeDocument.h"
#include "modeling/sylvan/SylvanEventProcessor.h"
#include "modeling/sylvan/SylvanUnitProcessor.h"

namespace kr::zero::io::internal {

/// For the shape of the document see KRSylvanSerializer.
///
/// The walk tells of each child and datatype value by itself, while a tree event document holds all of a
/// property in one entry. So the entry of such a property stays open until something else comes.
class TreeEventWriter : public EventProcessor {
 public:
  using Target = modeling::sylvan::SylvanEventProcessor<void>;
  using Primitive = modeling::sylvan::SylvanPrimitive;

  /// Neither is owned; both must outlive the document.
  /// @param units takes for the target what several events of its would say; null where it gets the events.
  void setTarget(Target& target, modeling::sylvan::SylvanUnitProcessor* units) {
    target_ = &target;
    units_ = units != nullptr ? units : &asEvents_.emplace(target);
  }

  /// Forgets the document, however it ended.
  virtual void giveBackMemory() noexcept;

  void postprocess(const SerializationOutput& output) override;
  void startDocument() override;
  void endDocument() override;
  void startRegisteredPackages() override;
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

 protected:
  // Names that every document uses, made once.
  struct EntryNames;
  static const EntryNames& entryNames();

  Target& target() const noexcept { return *target_; }
  modeling::sylvan::SylvanUnitProcessor& units() const noexcept { return *units_; }

  /// @param payload the number as it lies in a model.
  static Primitive asNumber(meta::StandardType type, std::uint64_t payload);
  /// @throws SerializeError for a number without a literal.
  static Primitive asLiteralName(meta::Enum type, std::int64_t number);

 private:
  /// An object or datatype value that is open.
  struct Level {
    const ustring* property = nullptr;  // whose entry is open, by its name's address
    bool sequence = false;              // that entry holds a sequence, which is open too
  };

  void startEntry(const ustring& property);
  void startCollection(const ustring& property);
  void endCollection();
  void startContained(const ustring& property);
  void endContained();
  void endOpenEntry();

  template <class MakeValue>
  void writeEntry(const Primitive& name, const MakeValue& makeValue);
  void writeText(const ustring& text);
  const Primitive& convertType(const ustring& typeName);
  void writeIdentity(const ustring& id1, const ustring& id2);
  void writeReference(const ustring& targetType, const ustring* qualifier, const ustring& id1,
                      const ustring& id2);
  Primitive asPrimitive(meta::Type type, const Value& value) const;
  /// The name of a property or type as the meta model's own string.
  const Primitive& nameOf(const ustring& name);
  void convert(const ustring& text, Primitive& into) const;

  Target* target_ = nullptr;
  modeling::sylvan::SylvanUnitProcessor* units_ = nullptr;
  std::optional<modeling::sylvan::UnitsAsEvents> asEvents_;
  std::vector<Level> levels_;
  meta::Type valueType_;  // of the values in the collection that is open, if they are typed
  std::unordered_map<const ustring*, Primitive> names_;
  Primitive text_{std::string()};
  Primitive second_{std::string()};
  ustring type_;  // that a reference named last
  Primitive typeText_{std::string()};
  fl::i18n::codecvt_ustring_to_string toUtf8_{"UTF8", true};
};

struct TreeEventWriter::EntryNames {
  const Primitive version{std::string(tree::kVersionEntry)};
  const Primitive packages{std::string(tree::kPackagesEntry)};
  const Primitive type{std::string(tree::kTypeEntry)};
  const Primitive id{std::string(tree::kIdEntry)};
  const Primitive qualifier{std::string(tree::kQualifierEntry)};
};

}  // namespace kr::zero::io::internal
