/// @file
/// Internal: tells a walk by the named operations of EventProcessor.
#pragma once

#include <string_view>

#include "fl/i18n/converter.h"
#include "io/walk/Identities.h"
#include "io/walk/Passes.h"
#include "io/walk/WalkedValues.h"
#include "kr/zero/io/EventProcessor.h"

namespace kr::zero::io::internal {

/// See Walk.
class NamedRoad {
 public:
  using ElementRecord = zero::internal::ElementRecord;

  NamedRoad(EventProcessor& processor, WalkedValues& values, const Identities& identities)
      : processor_(processor), values_(values), identities_(identities) {}

  CategoryMasks openObject(ElementRecord* record, std::size_t slot);
  void openDatatype(const ElementRecord* record, std::size_t slot) {
    processor_.startContainer(nameIn(record, slot), record->use->type->getQualifiedName());
  }
  void writeEmptyDatatype(const ElementRecord* record, std::size_t slot) {
    processor_.emptyContainer(nameIn(record, slot), record->use->type->getQualifiedName());
  }
  void closeObject() { processor_.endObject(); }
  void closeDatatype() { processor_.endContainer(); }

  std::size_t writeValues(const ElementRecord* record, const Pass& pass, std::size_t at);
  void writeValue(const ElementRecord* record, const Pass& pass, std::size_t at);

 private:
  using PropertyRecord = zero::internal::PropertyRecord;

  const ustring& nameIn(const ElementRecord* record, std::size_t slot) const;
  void visitTexts(const PropertyRecord& property, std::size_t slot, cells::Entry entry, cells::Cell cell);
  void visitVerbatims(const PropertyRecord& property, cells::Entry entry, cells::Cell cell);
  void visitReferences(const PropertyRecord& property, std::size_t slot, cells::Entry entry,
                       cells::Cell cell);
  void visitReference(const ustring& name, std::size_t slot, cells::Cell item, bool unresolved,
                      bool inCollection);
  const ustring& textOf(const PropertyRecord& property, std::size_t slot, cells::Cell cell);
  Value valueOf(const PropertyRecord& property, cells::Cell cell) const;
  void convert(std::string_view text, ustring& out) const;

  EventProcessor& processor_;
  WalkedValues& values_;
  const Identities& identities_;
  const ustring nothing_;
  ustring id1_;
  ustring id2_;
  ustring text_;
  ustring qualifier_;
  fl::i18n::codecvt_string_to_ustring converter_{"UTF8", true};
};

}  // namespace kr::zero::io::internal
