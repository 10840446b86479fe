#include "Connection.h"

#include <cmath>
#include <limits>

#include "kr/zero/Error.h"

namespace kr::zero::tables {

namespace {

/// Of what SQLite could not do, what it is to our callers.
ErrorCode codeOf(int code) {
  switch (code & 0xFF) {
    case SQLITE_NOMEM:
      return ErrorCode::outOfMemory;
    case SQLITE_FULL:
    case SQLITE_IOERR:
    case SQLITE_CANTOPEN:
    case SQLITE_READONLY:
      return ErrorCode::unwritable;
    default:
      return ErrorCode::inexpressible;
  }
}

struct Bind {
  sqlite3_stmt* statement;
  int parameter;

  int operator()(std::monostate) const { return sqlite3_bind_null(statement, parameter); }
  int operator()(bool value) const { return sqlite3_bind_int(statement, parameter, value ? 1 : 0); }
  int operator()(std::int64_t value) const { return sqlite3_bind_int64(statement, parameter, value); }
  int operator()(std::uint64_t value) const {
    if (value <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
      return sqlite3_bind_int64(statement, parameter, static_cast<std::int64_t>(value));
    const std::string digits = std::to_string(value);
    return sqlite3_bind_text64(statement, parameter, digits.data(), digits.size(), SQLITE_TRANSIENT,
                               SQLITE_UTF8);
  }
  int operator()(double value) const {
    if (std::isnan(value)) return (*this)(std::string_view("NaN"));  // SQLite has no such number
    return sqlite3_bind_double(statement, parameter, value);
  }
  int operator()(std::string_view text) const {
    const char* const begin = text.data() == nullptr ? "" : text.data();  // null would be no text
    return sqlite3_bind_text64(statement, parameter, begin, text.size(), SQLITE_STATIC, SQLITE_UTF8);
  }
};

}  // namespace

Connection::Connection(const std::string& path) {
  sqlite3* opened = nullptr;
  const int code = sqlite3_open_v2(path.c_str(), &opened,
                                   SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
  database_.reset(opened);
  if (opened == nullptr) throw Error(ErrorCode::outOfMemory, "there is no memory for a database");
  require(code);
}

void Connection::fail() const {
  throw Error(codeOf(sqlite3_extended_errcode(get())), std::string("SQLite says: ") + sqlite3_errmsg(get()));
}

void Connection::require(int code) const {
  if (code != SQLITE_OK) fail();
}

void Connection::run(const std::string& sql) const {
  require(sqlite3_exec(get(), sql.c_str(), nullptr, nullptr, nullptr));
}

Statement Connection::prepare(std::string_view sql) const {
  sqlite3_stmt* statement = nullptr;
  require(sqlite3_prepare_v2(get(), sql.data(), static_cast<int>(sql.size()), &statement, nullptr));
  return Statement(statement);
}

bool Connection::step(const Statement& statement) const {
  const int code = sqlite3_step(statement.get());
  if (code == SQLITE_ROW) return true;
  if (code != SQLITE_DONE) fail();
  return false;
}

void Connection::bind(const Statement& statement, std::size_t parameter, const Field& field) const {
  require(std::visit(Bind{statement.get(), static_cast<int>(parameter) + 1}, field));
}

std::string quotedName(std::string_view name) {
  std::string quoted = "\"";
  for (const char c : name) quoted.append(c == '"' ? 2 : 1, c);
  return quoted + '"';
}

}  // namespace kr::zero::tables
