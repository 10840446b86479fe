#include "Tables.h"

#include "Errors.h"

#ifdef KR0_HAS_TABLES

#include <unistd.h>

#include <algorithm>
#include <variant>

#include "Signals.h"
#include "Visible.h"
#include "kr/zero/tables/Database.h"
#include "kr/zero/tables/Tables.h"

namespace kr::zero::tool {

namespace {

using tables::Field;

constexpr std::size_t kCopiedBytes = std::size_t{64} * 1024;

// --- The answer as a table for people

/// So many rows are kept back to find out how wide the columns are.
constexpr std::size_t kRowsAhead = 1000;
constexpr std::string_view kBetween = "  ";

// Characters, not bytes. How wide a terminal draws each is not known.
std::size_t widthOf(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

class TablePrinter final : public tables::RowTaker {
 public:
  explicit TablePrinter(TextOut& out) : out_(out) {}

  void columns(std::span<const std::string> names) override {
    std::vector<Shown> header;
    for (const std::string& name : names) header.push_back({asOneLine(name), false});
    widths_.resize(names.size());
    rows_.push_back(std::move(header));
  }
  void row(std::span<const Field> fields) override {
    std::vector<Shown> row;
    for (const Field& field : fields) row.push_back(show(field));
    rows_.push_back(std::move(row));
    if (isWide_ || rows_.size() > kRowsAhead) flush();
  }
  void finish() { flush(); }

 private:
  struct Shown {
    std::string text;
    bool isNumber;
  };

  static Shown show(const Field& field) {
    if (const auto* text = std::get_if<std::string_view>(&field)) return {asOneLine(*text), false};
    Shown shown{{}, true};
    tables::appendCsv(shown.text, field);
    return shown;
  }

  void flush() {
    if (!isWide_) measure();
    for (const std::vector<Shown>& row : rows_) {
      print(row);
      if (!isWide_ && &row == rows_.data()) rule();
    }
    isWide_ = true;
    rows_.clear();
  }

  void measure() {
    for (const std::vector<Shown>& row : rows_)
      for (std::size_t column = 0; column < row.size(); ++column)
        widths_[column] = std::max(widths_[column], widthOf(row[column].text));
  }

  void print(const std::vector<Shown>& row) {
    std::string line;
    for (std::size_t column = 0; column < row.size(); ++column) {
      if (column != 0) line += kBetween;
      const Shown& shown = row[column];
      const std::size_t width = widthOf(shown.text);
      const std::string blanks(widths_[column] - std::min(widths_[column], width), ' ');
      line += shown.isNumber ? blanks + shown.text : shown.text + blanks;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out_ << line << '\n';
  }

  void rule() {
    std::string line;
    for (const std::size_t width : widths_) (line += line.empty() ? "" : kBetween).append(width, '-');
    out_ << line << '\n';
  }

  TextOut& out_;
  std::vector<std::vector<Shown>> rows_;  // that wait, the names of the columns in front
  std::vector<std::size_t> widths_;
  bool isWide_ = false;  // whether the widths are known
};

// --- For programs

// What goes on to other programs is not touched; on a terminal nothing may be obeyed.
class CsvPrinter final : public tables::RowTaker {
 public:
  void columns(std::span<const std::string> names) override {
    const std::vector<Field> fields(names.begin(), names.end());
    row(fields);
  }
  void row(std::span<const Field> fields) override {
    for (const Field& field : fields) {
      if (&field != fields.data()) text_ += ',';
      tables::appendCsv(text_, field);
    }
    text_ += isTerminal_ ? "\n" : "\r\n";
    if (text_.size() > kCopiedBytes) flush();
  }
  void finish() { flush(); }

 private:
  void flush() {
    if (isTerminal_) {
      TextOut out;
      out << text_;
      out.flush();
    } else {
      writeOutput("-", text_);
    }
    text_.clear();
  }

  bool isTerminal_ = ::isatty(STDOUT_FILENO) != 0;
  std::string text_;
};

class JsonRows final : public tables::RowTaker {
 public:
  explicit JsonRows(TextOut& out) : out_(out) { out_ << '['; }

  void columns(std::span<const std::string> names) override {
    std::vector<std::string> taken;
    for (const std::string& name : names) {
      std::string key = name;
      for (int number = 2; std::find(taken.begin(), taken.end(), key) != taken.end(); ++number)
        key = name + "_" + std::to_string(number);
      taken.push_back(key);
      std::string& text = keys_.emplace_back(keys_.empty() ? "\n{" : ",");
      tables::appendJson(text, key);
      text += ':';
    }
  }
  void row(std::span<const Field> fields) override {
    std::string text = hasRows_ ? "," : "";
    hasRows_ = true;
    for (std::size_t column = 0; column < fields.size(); ++column) {
      text += keys_[column];
      tables::appendJson(text, fields[column]);
    }
    out_ << text << '}';
  }
  void finish() { out_ << (hasRows_ ? "\n]\n" : "]\n"); }

 private:
  TextOut& out_;
  std::vector<std::string> keys_;
  bool hasRows_ = false;
};

// --- The query

tables::Database loadAll(const InputsOptions& inputs) {
  using Count = tables::Database::Documents;
  tables::Database database(inputs.isOne() ? Count::one : Count::several);
  for (std::size_t i = 0; i < inputs.paths.size(); ++i) {
    const InputOptions input = inputs.at(i);
    const LoadedDocument loaded = loadDocument(input);
    ProgressBar progress;
    progress.startStep("making tables of " + inputName(input.path));
    database.add(loaded.model, inputName(input.path), progress.counter(loaded.model.size()));
  }
  return database;
}

template <class Printer>
void answer(const tables::Database& database, const std::string& sql, Printer printer) {
  try {
    database.query(sql, printer);
  } catch (const Error& error) {
    if (error.getCode() != ErrorCode::misuse) throw;
    throw WrongCall(std::string(error.what()) + " (--schema in place of the query shows the tables)");
  }
  printer.finish();
}

}  // namespace

void writeTables(const Model& model, const std::string& path, Format format, ProgressBar& progress) {
  const PatientEnd end;  // a handler cannot clear folders and databases away
  const io::Progress shown = progress.counter(model.size());
  const io::Progress counter = [&](std::uint64_t elements) {
    return (!shown || shown(elements)) && !PatientEnd::isWanted();
  };
  if (format == Format::sqlite) return tables::writeSqlite(model, path, counter);
  tables::writeTextTables(
      model, path, format == Format::csv ? tables::TextTables::csv : tables::TextTables::ndjson, counter);
}

void query(const QueryOptions& call) {
  if (call.csv && call.json) throw WrongCall("--csv and --json are two ways of printing");
  QueryOptions options = call;
  std::string sql;
  if (!options.schema) {
    if (options.inputs.paths.size() < 2)
      throw WrongCall(
          "query takes documents and behind them a query: kr0 query books.krz 'SELECT * FROM Book'");
    sql = std::move(options.inputs.paths.back());
    options.inputs.paths.pop_back();
  }
  const tables::Database database = loadAll(options.inputs);
  TextOut out;
  if (options.schema)
    out << database.schema();
  else if (options.csv)
    answer(database, sql, CsvPrinter());
  else if (options.json)
    answer(database, sql, JsonRows(out));
  else
    answer(database, sql, TablePrinter(out));
  out.flush();
}

}  // namespace kr::zero::tool

#else

namespace kr::zero::tool {

namespace {

[[noreturn]] void refuse() { throw WrongCall("this kr0 was built without SQLite and has no tables"); }

}  // namespace

void writeTables(const Model&, const std::string&, Format, ProgressBar&) { refuse(); }
void query(const QueryOptions&) { refuse(); }

}  // namespace kr::zero::tool

#endif
