/// @file
/// Models as tables for other programs: an SQLite database, or a folder of CSV or NDJSON files.
/// docs/formats/tables.md tells which tables there are.
///
///     kr::zero::tables::writeSqlite(model, "library.sqlite");
///
/// Tables are for looking and counting; they are written and never read back. Everything here throws
/// kr::zero::Error and nothing else. Threads: each call is on its own.
#pragma once

#include <filesystem>

#include "kr/zero/Model.h"
#include "kr/zero/io/ParseOptions.h"
#include "kr/zero/tables/export.h"

namespace kr::zero::tables {

/// Writes a model as an SQLite database with foreign keys and indices. It grows in a file without a name on
/// the target's disk, and then goes to the target all or nothing, as io::saveModel does it.
/// @param progress called with the number of elements that are written.
/// @throws Error where the file cannot be written (ErrorCode::unwritable), or SQLite cannot hold the tables
///   (ErrorCode::inexpressible), a class of more than 2,000 columns, say.
KR0_TABLES_API void writeSqlite(const Model& model, const std::filesystem::path& path,
                                const io::Progress& progress = {});

/// The two ways in which tables are written as text.
enum class TextTables {
  csv,    ///< RFC 4180, the names of columns in the first line
  ndjson  ///< a JSON object a line; columns without a value are left out
};

/// Writes a model as a folder with a file for each table: to a temporary folder beside the target, which then
/// takes its name. A failure leaves what was there as it was.
/// @param folder the name of the folder to be. One that is there is replaced if it is empty or holds such
///   tables and nothing else.
/// @throws Error where the folder holds other things, or cannot be written (ErrorCode::unwritable).
KR0_TABLES_API void writeTextTables(const Model& model, const std::filesystem::path& folder, TextTables form,
                                    const io::Progress& progress = {});

}  // namespace kr::zero::tables
