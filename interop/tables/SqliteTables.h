/// @file
/// Internal: the tables of models in an SQLite database.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Connection.h"
#include "ModelRows.h"

namespace kr::zero::tables {

class SqliteTables final : public RowSink {
 public:
  SqliteTables(const std::string& path, bool isOfSeveral);

  /// Adds a model. After an exception nothing can be done with it any more.
  void add(const Model& model, std::string_view document, const io::Progress& progress);
  /// Makes what leads from containers to their content, and from targets to what refers to them. To be called
  /// when all rows are there: that is quicker.
  void addIndices() const;
  /// The tables as CREATE statements.
  std::string schema() const;

  const Connection& connection() const { return connection_; }

 private:
  void addTable(std::size_t table, const Table& made) override;
  void addColumn(std::size_t table, const Table& made) override;
  void addRow(std::size_t table, std::span<const Field> fields) override;
  const Statement& insertionInto(std::size_t table);

  Connection connection_;
  Layout layout_;
  std::int64_t rows_ = 0;
  std::vector<Statement> insertions_;  // by table; made when the first row comes
};

}  // namespace kr::zero::tables
