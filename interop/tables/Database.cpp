#include "kr/zero/tables/Database.h"

#include <vector>

#include "SqliteTables.h"

namespace kr::zero::tables {

namespace {

/// A database of models answers questions. Everything else is refused before it is done: changes are lost,
/// and what opens other files is none of a query's business.
int allow(void*, int action, const char*, const char*, const char*, const char*) {
  switch (action) {
    case SQLITE_SELECT:
    case SQLITE_READ:
    case SQLITE_FUNCTION:
    case SQLITE_RECURSIVE:
      return SQLITE_OK;
    default:
      return SQLITE_DENY;
  }
}

/// Has the connection refuse what is no question.
class OnlyQuestions {
 public:
  explicit OnlyQuestions(sqlite3* database) : database_(database) {
    sqlite3_set_authorizer(database_, allow, nullptr);
  }
  OnlyQuestions(const OnlyQuestions&) = delete;
  OnlyQuestions& operator=(const OnlyQuestions&) = delete;
  ~OnlyQuestions() { sqlite3_set_authorizer(database_, nullptr, nullptr); }

 private:
  sqlite3* database_;
};

[[noreturn]] void refuse(const std::string& problem) {
  throw Error(ErrorCode::misuse, "the query cannot be answered: " + problem);
}

/// What SQLite could not do for want of memory is no fault of the query.
void requireMemory(sqlite3* database) {
  if (sqlite3_errcode(database) == SQLITE_NOMEM)
    throw Error(ErrorCode::outOfMemory, "there is no memory for the query");
}

[[noreturn]] void refuseInWordsOf(sqlite3* database) {
  requireMemory(database);
  refuse(sqlite3_errmsg(database));
}

/// Whether nothing but blanks, semicolons and comments stands there.
bool isNothing(sqlite3* database, const char* sql, const char* end) {
  while (sql != end) {
    sqlite3_stmt* statement = nullptr;
    const char* rest = nullptr;
    const int code = sqlite3_prepare_v2(database, sql, static_cast<int>(end - sql), &statement, &rest);
    const Statement owner(statement);
    if (code != SQLITE_OK) requireMemory(database);
    if (code != SQLITE_OK || statement != nullptr) return false;
    if (rest == sql) break;
    sql = rest;
  }
  return true;
}

Statement prepareQuestion(sqlite3* database, std::string_view sql) {
  if (sql.size() > std::size_t{1} << 20) refuse("it is longer than 1 MiB");
  sqlite3_stmt* prepared = nullptr;
  const char* rest = nullptr;
  const int code = sqlite3_prepare_v2(database, sql.data(), static_cast<int>(sql.size()), &prepared, &rest);
  Statement statement(prepared);
  if (code == SQLITE_AUTH) refuse("it is more than a SELECT, and these tables are only read");
  if (code != SQLITE_OK) refuseInWordsOf(database);
  if (!statement) refuse("there is no statement in it");
  if (!isNothing(database, rest, sql.data() + sql.size())) refuse("it is more than one statement");
  if (sqlite3_stmt_readonly(prepared) == 0 || sqlite3_column_count(prepared) == 0)
    refuse("it is more than a SELECT, and these tables are only read");
  return statement;
}

Field fieldOf(sqlite3_stmt* statement, int column) {
  switch (sqlite3_column_type(statement, column)) {
    case SQLITE_NULL:
      return {};
    case SQLITE_INTEGER:
      return std::int64_t{sqlite3_column_int64(statement, column)};
    case SQLITE_FLOAT:
      return sqlite3_column_double(statement, column);
    default:
      break;
  }
  const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
  if (text == nullptr) {
    requireMemory(sqlite3_db_handle(statement));
    return std::string_view();
  }
  return std::string_view(text, static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
}

void answer(sqlite3* database, std::string_view sql, RowTaker& taker) {
  const OnlyQuestions guard(database);
  const Statement statement = prepareQuestion(database, sql);
  const int count = sqlite3_column_count(statement.get());
  std::vector<std::string> names;
  for (int column = 0; column < count; ++column) {
    const char* const name = sqlite3_column_name(statement.get(), column);
    if (name == nullptr) throw std::bad_alloc();
    names.emplace_back(name);
  }
  taker.columns(names);
  std::vector<Field> fields(names.size());
  int code = sqlite3_step(statement.get());
  for (; code == SQLITE_ROW; code = sqlite3_step(statement.get())) {
    for (int column = 0; column < count; ++column)
      fields[static_cast<std::size_t>(column)] = fieldOf(statement.get(), column);
    taker.row(fields);
  }
  if (code != SQLITE_DONE) refuseInWordsOf(database);
}

}  // namespace

RowTaker::~RowTaker() = default;

struct Database::Impl {
  explicit Impl(Documents documents) : tables(":memory:", documents == Documents::several) {}
  SqliteTables tables;
};

Database::Database(Documents documents) : impl_(std::make_unique<Impl>(documents)) {}
Database::~Database() = default;
Database::Database(Database&&) noexcept = default;
Database& Database::operator=(Database&&) noexcept = default;

void Database::add(const Model& model, std::string_view document, const io::Progress& progress) {
  try {
    impl_->tables.add(model, document, progress);
  } catch (...) {
    rethrowAsError({});
  }
}

void Database::query(std::string_view sql, RowTaker& taker) const {
  answer(impl_->tables.connection().get(), sql, taker);
}

std::string Database::schema() const { return impl_->tables.schema(); }

}  // namespace kr::zero::tables
