/// @file
/// Internal: the verbs of the tool. Each writes its result to standard output or a file, and throws
/// where it cannot.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Documents.h"

namespace kr::zero::tool {

struct ConvertOptions {
  std::string input;
  std::string output;
  std::vector<std::string> metaModels;
  std::string from;  ///< format of the input, empty: find out
  std::string to;    ///< format of the output, empty: by the extension
};
void convert(const ConvertOptions& options);

struct ShowOptions {
  std::string input;
  std::vector<std::string> metaModels;
  std::string from;
  bool json = false;
  bool events = false;  ///< print the tree events
};
/// What a document is: format, version, packages, size, elements by class.
void info(const ShowOptions& options);
/// All that a document holds.
void cat(const ShowOptions& options);

struct SchemaOptions {
  std::vector<std::string> metaModels;
  bool json = false;
};
/// The types of meta models and their properties.
void showSchema(const SchemaOptions& options);

struct GenerateOptions {
  std::vector<std::string> metaModels;
  std::string folder;            ///< where the files go; made where it is not there
  std::string space = "models";  ///< the namespace around all others
};
/// C++ classes for the classes of meta models, each file all or nothing.
void generateCpp(const GenerateOptions& options);

struct MigrateOptions {
  std::string input;
  std::string output;
  std::vector<std::string> from;  ///< the old meta model; archives bring theirs
  std::vector<std::string> to;    ///< the new meta model
  std::string map;                ///< a change map, empty: none
  bool allowLoss = false;
  std::string report;    ///< where the report goes, empty: what matters of it to standard error
  bool isDraft = false;  ///< propose a change map, and look at no document
  std::string draft;     ///< where that goes, empty: standard output
};
/// A document of another version of its meta model, or a draft of the map that this takes.
void migrate(const MigrateOptions& options);

}  // namespace kr::zero::tool
