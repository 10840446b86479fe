/// @file
/// Internal: tells a walk in larger units.
#pragma once

#include "io/walk/Identities.h"
#include "io/walk/Passes.h"
#include "io/walk/WalkedValues.h"
#include "kr/zero/io/BulkEventProcessor.h"

namespace kr::zero::io::internal {

/// See Walk.
class BulkRoad {
 public:
  using ElementRecord = zero::internal::ElementRecord;

  BulkRoad(BulkEventProcessor& processor, WalkedValues& values, const Identities& identities)
      : processor_(processor), values_(values), identities_(identities) {
    processor_.startObjects(values);
  }

  CategoryMasks openObject(ElementRecord* record, std::size_t slot) {
    return processor_.openObject(slot, record->use->type, identities_.get(record));
  }
  void openDatatype(const ElementRecord* record, std::size_t slot) {
    processor_.openDatatype(slot, record->use->type);
  }
  void writeEmptyDatatype(const ElementRecord* record, std::size_t slot) {
    openDatatype(record, slot);
    closeDatatype();
  }
  void closeObject() { processor_.closeObject(); }
  void closeDatatype() { processor_.closeDatatype(); }

  std::size_t writeValues(const ElementRecord* record, const Pass& pass, std::size_t at) {
    return write(record, pass, at, record->count);
  }
  void writeValue(const ElementRecord* record, const Pass& pass, std::size_t at) {
    write(record, pass, at, at + 1);
  }

 private:
  std::size_t write(const ElementRecord* record, const Pass& pass, std::size_t at, std::size_t end) {
    if (at == end) return end;
    values_.setRecord(record);
    return processor_.writeValues({record->slots(), record->payloads, end, pass.forms.data()}, at);
  }

  BulkEventProcessor& processor_;
  WalkedValues& values_;
  const Identities& identities_;
};

}  // namespace kr::zero::io::internal
