/// @file
/// Internal: turns the events of a walk over a model into tree events.
#pragma once

#include <unordered_map>
#include <vector>

#include "fl/i18n/converter.h"
#include "kr/zero/io/EventProcessor.h"
#include "modeling/sylvan/SylvanEventProcessor.h"

namespace kr::zero::io::internal {

/// For the shape of the document see KRSylvanSerializer.
///
/// The walk tells of each child and datatype value by itself, while a tree event document holds all of a
/// property in one entry. So the entry of such a property stays open until something else comes.
class TreeEventWriter final : public EventProcessor {
 public:
  using Target = modeling::sylvan::SylvanEventProcessor<void>;
  using Primitive = modeling::sylvan::SylvanPrimitive;

  /// @param target not owned; must outlive the document.
  void setTarget(Target& target) noexcept { target_ = &target; }

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

  void writeText(const ustring& text);
  void writeIdentity(const ustring& id1, const ustring& id2);
  void writeReference(const ustring& targetType, const ustring* qualifier, const ustring& id1,
                      const ustring& id2);
  void writeValue(const ustring& property, const Value& value);
  /// The name of a property or type as the meta model's own string.
  const Primitive& nameOf(const ustring& name);
  void convert(const ustring& text, Primitive& into) const;

  Target* target_ = nullptr;
  std::vector<Level> levels_;
  bool inValues_ = false;  // in a collection of typed values
  std::unordered_map<const ustring*, Primitive> names_;
  Primitive text_{std::string()};
  fl::i18n::codecvt_ustring_to_string toUtf8_{"UTF8", true};
};

}  // namespace kr::zero::io::internal
