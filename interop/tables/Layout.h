/// @file
/// Internal: which tables there are for a meta model, and what of an element goes into which column.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kr/zero/Model.h"

namespace kr::zero::tables {

/// What a column holds.
enum class ColumnType {
  integer,
  unsignedInteger,  ///< may be beyond the signed range
  boolean,
  real,
  text,
  element  ///< number of an element
};

struct Column {
  std::string name;
  ColumnType type;
};

/// Each sort begins with the columns of its kind, in this order; `_document` comes behind them where there
/// are several documents, and then the columns of the properties.
enum class TableSort {
  elements,  ///< _id, _class, _container, _property, _position, _id1, _id2
  refs,      ///< _id, _property, _position, _target, _class, _id1, _id2, _qualifier
  rows,      ///< of one class or datatype: _id, _container, _property, _position
  values     ///< of one property: _id, _position, _value
};

struct Table {
  std::string name;
  TableSort sort;
  std::vector<Column> columns;
};

/// Where the tables that are always there stand.
inline constexpr std::size_t kElements = 0;
inline constexpr std::size_t kRefs = 1;
/// Behind the columns that rows of a class begin with, where there is one document.
inline constexpr std::size_t kRowColumns = 4;

/// What becomes of the property of a slot.
struct SlotPlan {
  enum class Form {
    none,       ///< not written
    column,     ///< a single value
    values,     ///< a collection of them
    reference,  ///< single: a column, and a row among the references
    references,
    children,
    parts  ///< values of a datatype
  };
  Form form = Form::none;
  std::size_t place = 0;  ///< the column, or the table of a collection
};

struct TypePlan {
  std::size_t table = 0;
  std::vector<SlotPlan> slots;
};

/// Plans by the type's index; null for types that have no table.
using Plans = std::vector<std::unique_ptr<TypePlan>>;

/// Whoever makes tables as they come.
class TableMaker {
 public:
  virtual ~TableMaker() = default;
  /// @param table its position; good for the call.
  virtual void addTable(std::size_t table, const Table& made) = 0;
  /// A table that is there got one more column, its last.
  virtual void addColumn(std::size_t table, const Table& made) = 0;
};

/// Names that differ by more than case, as SQLite and some file systems ask for.
class Names {
 public:
  /// The first of the candidates that is free; else the last one with a number behind.
  std::string take(const std::vector<std::string>& candidates);

 private:
  std::set<std::string> taken_;  // in lower case
};

/// The tables of one meta model or several. Names depend on nothing but the meta models and their order.
class Layout {
 public:
  /// @param isOfSeveral whether rows tell their document.
  Layout(bool isOfSeveral, TableMaker& maker);

  /// The plans for a model; makes tables and columns that are not there yet.
  Plans planFor(const Model& model);

  const std::vector<Table>& tables() const { return tables_; }
  bool isOfSeveral() const { return isOfSeveral_; }

 private:
  /// A table while columns may come.
  struct Known {
    std::size_t table = 0;
    Names names = {};
    std::map<std::pair<std::string, ColumnType>, std::size_t> columns = {};  // by property
  };

  std::size_t addTable(Table table);
  std::size_t tableOf(meta::StructuredType type, bool isNameShared);
  std::size_t tableOf(meta::Property property);
  std::unique_ptr<TypePlan> planFor(meta::StructuredType type);
  SlotPlan planFor(Known& known, meta::Property property);
  std::size_t columnOf(Known& known, meta::Property property);

  bool isOfSeveral_;
  TableMaker& maker_;
  std::vector<Table> tables_;
  std::size_t made_ = 0;  // how many of them the maker knows
  Names names_;
  std::map<std::string, Known> types_;                                     // by qualified name
  std::map<std::pair<std::string, ColumnType>, std::size_t> collections_;  // by owner and property
};

}  // namespace kr::zero::tables
