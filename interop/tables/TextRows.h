/// @file
/// Internal: rows as text, in a file for each table.
#pragma once

#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ModelRows.h"
#include "kr/zero/tables/Tables.h"

namespace kr::zero::tables {

class TextRows final : public RowSink {
 public:
  TextRows(std::filesystem::path folder, TextTables form) : folder_(std::move(folder)), form_(form) {}

  /// Adds a model, and writes all that is waiting.
  void add(const Model& model, const io::Progress& progress);

  static std::string_view extensionOf(TextTables form) {
    return form == TextTables::csv ? ".csv" : ".ndjson";
  }
  static std::string fileOf(std::string_view table, TextTables form) {
    return std::string(table) + std::string(extensionOf(form));
  }

 private:
  /// A table whose rows wait to be written. Files are open while they are written to only: there may be more
  /// tables than a process may have files.
  struct File {
    std::filesystem::path path;
    std::vector<std::string> keys;  // of NDJSON, with what stands around them
    std::string text;
  };

  void addTable(std::size_t table, const Table& made) override;
  void addColumn(std::size_t table, const Table& made) override;
  void addRow(std::size_t table, std::span<const Field> fields) override;
  static void addCsv(File& file, std::span<const Field> fields);
  static void addNdjson(File& file, std::span<const Field> fields);
  static void write(File& file);

  std::filesystem::path folder_;
  TextTables form_;
  std::vector<File> files_;  // by table
};

}  // namespace kr::zero::tables
