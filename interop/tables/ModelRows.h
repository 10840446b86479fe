/// @file
/// Internal: the rows of a model, one after the other, for whoever keeps them.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "Layout.h"
#include "kr/zero/io/ParseOptions.h"
#include "kr/zero/tables/Field.h"

namespace kr::zero::tables {

/// Keeps rows.
class RowSink : public TableMaker {
 public:
  /// @param table as TableMaker was told. @param fields one for each of its columns; texts are good for the
  /// call.
  virtual void addRow(std::size_t table, std::span<const Field> fields) = 0;
};

/// Sends all rows of a model.
/// @param document what they say of theirs, where there are several.
/// @param before how many elements and values other models have; numbers go on from there.
/// @return the same with this model's.
std::int64_t sendRows(const Model& model, Layout& layout, RowSink& sink, std::string_view document,
                      std::int64_t before, const io::Progress& progress);

}  // namespace kr::zero::tables
