/// @file
/// Internal: the verbs of the tool. Each writes its result to standard output or a file, and throws
/// where it cannot.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Documents.h"
#include "Inputs.h"

namespace kr::zero::tool {

struct ConvertOptions {
  InputsOptions inputs;  ///< the last is the output where that is empty
  std::string output;    ///< a file, or a folder for all
  std::string to;        ///< format of the output, empty: by the extension
  WriteOptions writing;
};
/// Refuses options that have no meaning for an output.
/// @throws WrongCall.
void requireUse(const WriteOptions& options, const std::string& output, Format format);
/// Documents in another format.
void convert(const ConvertOptions& options);

struct ShowOptions {
  InputsOptions inputs;
  bool json = false;
  bool events = false;  ///< print the tree events
  bool stable = false;  ///< call elements by names that stay when others come or go
};
/// What documents are: format, version, packages, size, elements by class; of an archive also its parts, and
/// whether each is whole.
void info(const ShowOptions& options);
/// All that documents hold.
void cat(const ShowOptions& options);

struct UnpackOptions {
  InputOptions input;  ///< an archive
  std::string folder;  ///< where the files go; made where it is not there
};
/// The parts of an archive as files: what is whole, also where another part is damaged.
void unpack(const UnpackOptions& options);

struct SchemaOptions : ReadOptions {
  bool json = false;
};
/// The types of meta models and their properties.
void showSchema(const SchemaOptions& options);

struct SchemaDiffOptions {
  ReadOptions reading;  ///< but for the files
  std::vector<std::string> before;
  std::vector<std::string> after;
  std::vector<std::string> formats;  ///< those that count; empty: all
  std::vector<std::string> renames;  ///< "books.Book.title=name"
  bool json = false;
};
/// What changed between two versions of meta models.
/// @throws AnsweredNo where old documents of one of the formats are refused or show something wrong.
void diffSchemas(const SchemaDiffOptions& options);

struct SchemaLockOptions : ReadOptions {
  std::string lock;     ///< path of the lock file
  bool accept = false;  ///< take in numbers that changed their meaning, too
};
/// Writes down what the numbers of meta models mean, beside what is written there already.
/// @throws AnsweredNo where that contradicts what is written there.
void lockSchema(const SchemaLockOptions& options);
/// Compares meta models with a lock file.
/// @throws AnsweredNo where a number changed its meaning.
void checkSchema(const SchemaLockOptions& options);

struct SchemaPinOptions {
  std::vector<std::string> metaModels;
  std::string folder;  ///< where the files go; empty: to where they came from
};
/// Writes numbers into meta models.
void pinSchema(const SchemaPinOptions& options);

struct GenerateOptions : ReadOptions {
  std::string folder;            ///< where the files go; made where it is not there
  std::string space = "models";  ///< the namespace around all others
};
/// C++ classes for the classes of meta models, each file all or nothing.
void generateCpp(const GenerateOptions& options);

struct MigrateOptions {
  InputOptions input;  ///< its meta models are the old ones
  std::string output;
  std::vector<std::string> to;  ///< the new meta model
  std::string map;              ///< a change map, empty: none
  bool allowLoss = false;
  std::string report;    ///< where the report goes, empty: what matters of it to standard error
  bool isDraft = false;  ///< propose a change map, and look at no document
  std::string draft;     ///< where that goes, empty: standard output
};
/// A document of another version of its meta model, or a draft of the map that this takes.
void migrate(const MigrateOptions& options);

}  // namespace kr::zero::tool
