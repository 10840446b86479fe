#include "SqliteTables.h"

#include <algorithm>

namespace kr::zero::tables {

namespace {

/// What a column of a type is declared as. Numbers that may be beyond the signed range are not declared: as
/// texts, which they are then, they must not become reals.
std::string_view declarationOf(ColumnType type) {
  switch (type) {
    case ColumnType::unsignedInteger:
      return "";
    case ColumnType::real:
      return " REAL";
    case ColumnType::text:
      return " TEXT";
    case ColumnType::element:
      return " INTEGER REFERENCES \"elements\"";
    default:
      return " INTEGER";
  }
}

std::string declare(const Table& table, std::size_t column) {
  const Column& declared = table.columns[column];
  const std::string name = quotedName(declared.name);
  if (table.sort == TableSort::elements && column == 0) return name + " INTEGER PRIMARY KEY";
  if (table.sort == TableSort::rows && column == 0)
    return name + " INTEGER PRIMARY KEY REFERENCES \"elements\"";
  return name + std::string(declarationOf(declared.type));
}

std::string create(const Table& table) {
  std::string sql = "CREATE TABLE " + quotedName(table.name) + " (";
  for (std::size_t column = 0; column < table.columns.size(); ++column)
    sql += (column == 0 ? "" : ", ") + declare(table, column);
  if (table.sort == TableSort::values) return sql + ", PRIMARY KEY (\"_id\", \"_position\")) WITHOUT ROWID";
  return sql + ")";
}

std::string insert(const Table& table) {
  std::string sql = "INSERT INTO " + quotedName(table.name) + " VALUES (?";
  for (std::size_t column = 1; column < table.columns.size(); ++column) sql += ",?";
  return sql + ")";
}

std::string index(const Table& table, const Column& column) {
  return "CREATE INDEX " + quotedName(table.name + "." + column.name) + " ON " + quotedName(table.name) +
         " (" + quotedName(column.name) + ")";
}

/// Whether rows are looked for by a column that is no primary key.
bool isLookedUp(const Table& table, std::size_t column) {
  const bool isKey = column == 0 && table.sort != TableSort::refs;
  return table.columns[column].type == ColumnType::element && !isKey;
}

}  // namespace

SqliteTables::SqliteTables(const std::string& path, bool isOfSeveral)
    : connection_(path), layout_(isOfSeveral, *this) {
  // Nobody else sees the database before it is whole, and one that did not become whole is thrown away.
  connection_.run("PRAGMA journal_mode=MEMORY; PRAGMA synchronous=OFF; PRAGMA locking_mode=EXCLUSIVE");
  connection_.run("BEGIN EXCLUSIVE; COMMIT");  // from now on the file is open
}

void SqliteTables::add(const Model& model, std::string_view document, const io::Progress& progress) {
  connection_.run("BEGIN");
  rows_ = sendRows(model, layout_, *this, document, rows_, progress);
  connection_.run("COMMIT");
}

void SqliteTables::addIndices() const {
  connection_.run("BEGIN");
  for (const Table& table : layout_.tables())
    for (std::size_t column = 0; column < table.columns.size(); ++column)
      if (isLookedUp(table, column)) connection_.run(index(table, table.columns[column]));
  connection_.run("COMMIT");
}

std::string SqliteTables::schema() const {
  std::string sql;
  for (const Table& table : layout_.tables()) sql += create(table) + ";\n";
  return sql;
}

void SqliteTables::addTable(std::size_t table, const Table& made) {
  insertions_.resize(std::max(insertions_.size(), table + 1));
  connection_.run(create(made));
}

void SqliteTables::addColumn(std::size_t table, const Table& made) {
  insertions_[table].reset();
  connection_.run("ALTER TABLE " + quotedName(made.name) + " ADD COLUMN " +
                  declare(made, made.columns.size() - 1));
}

void SqliteTables::addRow(std::size_t table, std::span<const Field> fields) {
  const Statement& insertion = insertionInto(table);
  for (std::size_t column = 0; column < fields.size(); ++column)
    connection_.bind(insertion, column, fields[column]);
  connection_.step(insertion);
  sqlite3_reset(insertion.get());
}

const Statement& SqliteTables::insertionInto(std::size_t table) {
  Statement& insertion = insertions_[table];
  if (!insertion) insertion = connection_.prepare(insert(layout_.tables()[table]));
  return insertion;
}

}  // namespace kr::zero::tables
