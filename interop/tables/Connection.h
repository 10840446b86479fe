/// @file
/// Internal: an SQLite database and its statements, whose failures are exceptions.
#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>
#include <string_view>

#include "kr/zero/tables/Field.h"

namespace kr::zero::tables {

struct Finalize {
  void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
};
/// A prepared statement.
using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;

/// An open database.
class Connection {
 public:
  /// @param path ":memory:" for one that is in no file.
  /// @throws Error where it cannot be opened.
  explicit Connection(const std::string& path);

  /// @throws Error with SQLite's words.
  void run(const std::string& sql) const;
  Statement prepare(std::string_view sql) const;
  /// Goes to the next row. @return false where there is none.
  bool step(const Statement& statement) const;
  /// Sets a parameter, counted from 0. Texts must be good until the statement is stepped.
  void bind(const Statement& statement, std::size_t parameter, const Field& field) const;

  sqlite3* get() const { return database_.get(); }

 private:
  struct Close {
    void operator()(sqlite3* database) const noexcept { sqlite3_close_v2(database); }
  };
  [[noreturn]] void fail() const;
  void require(int code) const;
  std::unique_ptr<sqlite3, Close> database_;
};

/// A name between double quotes.
std::string quotedName(std::string_view name);

}  // namespace kr::zero::tables
