#include "TextRows.h"

#include <cerrno>
#include <fstream>
#include <system_error>

namespace kr::zero::tables {

namespace {

constexpr std::size_t kWaiting = std::size_t{16} * 1024;  // bytes of a table before they are written

}  // namespace

void TextRows::add(const Model& model, const io::Progress& progress) {
  Layout layout(false, *this);
  sendRows(model, layout, *this, {}, 0, progress);
  for (File& file : files_) write(file);
}

void TextRows::addTable(std::size_t table, const Table& made) {
  files_.resize(table + 1);
  File& file = files_[table];
  file.path = folder_ / fileOf(made.name, form_);
  std::vector<Field> names;
  for (const Column& column : made.columns) {
    names.emplace_back(std::string_view(column.name));
    std::string& key = file.keys.emplace_back(",");
    appendJson(key, names.back());
    key += ':';
  }
  if (form_ == TextTables::csv) addCsv(file, names);
}

void TextRows::addColumn(std::size_t, const Table&) {}  // one model brings all of its columns at once

void TextRows::addRow(std::size_t table, std::span<const Field> fields) {
  File& file = files_[table];
  form_ == TextTables::csv ? addCsv(file, fields) : addNdjson(file, fields);
  if (file.text.size() >= kWaiting) write(file);
}

void TextRows::addCsv(File& file, std::span<const Field> fields) {
  for (std::size_t column = 0; column < fields.size(); ++column) {
    if (column != 0) file.text += ',';
    appendCsv(file.text, fields[column]);
  }
  file.text += "\r\n";
}

void TextRows::addNdjson(File& file, std::span<const Field> fields) {
  std::string_view open = "{";
  for (std::size_t column = 0; column < fields.size(); ++column) {
    if (std::holds_alternative<std::monostate>(fields[column])) continue;
    // The comma in front of the first key gives way to the brace.
    file.text += open;
    file.text += std::string_view(file.keys[column]).substr(open.size());
    appendJson(file.text, fields[column]);
    open = {};
  }
  file.text += "}\n";
}

void TextRows::write(File& file) {
  errno = 0;
  std::ofstream stream(file.path, std::ios::binary | std::ios::app);
  stream.write(file.text.data(), static_cast<std::streamsize>(file.text.size()));
  stream.close();
  if (!stream)
    throw Error(ErrorCode::unwritable,
                "a table cannot be written, " + std::generic_category().message(errno));
  file.text.clear();
}

}  // namespace kr::zero::tables
