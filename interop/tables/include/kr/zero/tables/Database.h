/// @file
/// Questions to models in SQL, answered in memory.
///
///     kr::zero::tables::Database tables;
///     tables.add(model);
///     tables.query("SELECT title FROM Book WHERE pages > 500", printer);
#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "kr/zero/Model.h"
#include "kr/zero/io/ParseOptions.h"
#include "kr/zero/tables/Field.h"
#include "kr/zero/tables/export.h"

namespace kr::zero::tables {

/// What takes the answer to a query.
class KR0_TABLES_API RowTaker {
 public:
  virtual ~RowTaker();
  /// Comes first, and once: the names of the columns.
  virtual void columns(std::span<const std::string> names) = 0;
  /// One row, a field for each column; texts are good until it returns.
  virtual void row(std::span<const Field> fields) = 0;
};

/// The tables of models, as docs/formats/tables.md describes them, in a database in memory.
/// Threads: one at a time.
class KR0_TABLES_API Database {
 public:
  /// Whether tables tell which document a row comes from.
  enum class Documents { one, several };

  /// @throws Error where there is no memory.
  explicit Database(Documents documents = Documents::one);
  ~Database();
  Database(Database&&) noexcept;
  Database& operator=(Database&&) noexcept;

  /// Adds the rows of a model, and tables and columns that its meta model has and those before had not. It is
  /// not needed any more afterwards. Models of several meta models share a table where a class has the same
  /// qualified name.
  /// @param document what the rows' `_document` says, where there are several.
  /// @throws Error for what SQLite cannot hold. The database is then good for nothing more.
  void add(const Model& model, std::string_view document = {}, const io::Progress& progress = {});

  /// Answers one SELECT (or VALUES, or WITH).
  /// @throws Error with SQLite's own words for what is no such statement (ErrorCode::misuse), and what the
  ///   taker throws.
  void query(std::string_view sql, RowTaker& taker) const;

  /// The tables as CREATE statements, a line each.
  std::string schema() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace kr::zero::tables
