/// @file
/// Internal: models as tables, in files and for queries.
#pragma once

#include <string>

#include "Inputs.h"

namespace kr::zero::tool {

/// Writes a model as a database or as a folder of tables.
/// @throws Error where that fails; WrongCall where the tool was built without tables.
void writeTables(const Model& model, const std::string& path, Format format, ProgressBar& progress);

struct QueryOptions {
  InputsOptions inputs;  ///< the last of the paths is the query, unless the tables are asked for
  bool csv = false;
  bool json = false;
  bool schema = false;  ///< print what tables there are
};
/// What a query in SQL finds in documents.
void query(const QueryOptions& options);

}  // namespace kr::zero::tool
