/// @file
/// Internal: the verbs that hold versions of documents against each other.
#pragma once

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "Documents.h"
#include "kr/zero/compare/ModelDiff.h"

namespace kr::zero::tool {

/// All kinds, in the order of their values and of lists of them.
inline constexpr std::array kDifferenceKinds = {
    compare::DifferenceKind::added,     compare::DifferenceKind::removed,  compare::DifferenceKind::moved,
    compare::DifferenceKind::reordered, compare::DifferenceKind::identity, compare::DifferenceKind::changed};

struct DiffOptions : ReadOptions {
  std::vector<std::string> paths;  ///< the two documents; with isForGit what git passes
  bool json = false;
  bool stat = false;      ///< numbers instead of differences
  bool isForGit = false;  ///< called by git as its driver for differences
};
/// What differs between two documents.
/// @throws AnsweredNo where something does; AlreadyTold(exitWrongCall) where that cannot be found out.
void diff(const DiffOptions& options);

struct MergeOptions : ReadOptions {
  std::string base;  ///< may be an empty file
  std::string ours;
  std::string theirs;
  std::string output;
  bool json = false;  ///< print the conflicts as JSON
};
/// One document of two versions of a third.
/// @throws AnsweredNo where there are conflicts; AlreadyTold(exitWrongCall) where no document can be made.
void merge(const MergeOptions& options);

struct GitSetupOptions {
  std::vector<std::string> patterns;  ///< names of files, as .gitattributes has them
  std::vector<std::string> metaModels;
  bool isApplied = false;  ///< set it, and do not print it
};
/// Has git compare and merge documents by this tool.
void setUpGit(const GitSetupOptions& options);

/// Documents of one meta model, in one registry.
struct Versions {
  MetaModels metaModels;
  std::vector<Model> models;
  std::vector<Document> documents;  ///< without their bytes, unless these were wanted
};

/// Whether documents keep their bytes when their models are made.
enum class Bytes { drop, keep };

/// Reads documents by the meta models that the options name, else by those that the first archive among them
/// brings. An empty file is a document without elements.
/// @throws Error, also where a document does not fit the meta models of the other.
Versions loadVersions(const std::vector<std::string>& paths, const ReadOptions& options,
                      Bytes bytes = Bytes::drop);

/// What is known beyond the models: which attributes are ids.
compare::CompareOptions compareOptions(const MetaModels& metaModels);

/// Does something that fails with the exit code 2, so that 1 keeps its own meaning.
/// @throws AnsweredNo and ReaderGone as `work` does; AlreadyTold(exitWrongCall) for all else, which is said.
void withTroubleAs2(const std::function<void()>& work);

}  // namespace kr::zero::tool
