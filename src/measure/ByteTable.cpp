#include "measure/ByteTable.h"

#include <algorithm>

namespace kr::zero::io::measure {

void ByteTable::add(meta::StructuredType type, meta::Property property, std::uint64_t bytes) {
  if (type->getIndex() >= rows_.size()) rows_.resize(type->getIndex() + std::size_t{1});
  Row& row = rows_[type->getIndex()];
  if (!row.type) {
    row.type = type;
    row.slots.resize(type->getAllProperties().size());
  }
  (property ? row.slots[type->slotOf(property)] : row.own) += bytes;
}

DocumentBytes ByteTable::take() {
  DocumentBytes result;
  result.frame = frame_;
  for (const Row& row : rows_) {
    if (!row.type) continue;
    TypeBytes& type = result.types.emplace_back(TypeBytes{row.type, row.own, {}});
    for (std::size_t slot = 0; slot < row.slots.size(); ++slot)
      if (row.slots[slot] != 0)
        type.properties.push_back({row.type->getAllProperties()[slot], row.slots[slot]});
  }
  std::sort(result.types.begin(), result.types.end(), [](const TypeBytes& a, const TypeBytes& b) {
    return a.type->qualifiedName() < b.type->qualifiedName();
  });
  return result;
}

}  // namespace kr::zero::io::measure
