/// @file
/// Internal: what can be said against documents.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Documents.h"

namespace kr::zero::tool {

/// What is wrong, or may be.
enum class FindingKind {
  damaged,    ///< it cannot be read, or does not fit the meta model
  rule,       ///< the model breaks a rule of its meta model
  bytes,      ///< it reads well, and written again it would be something else
  unresolved  ///< a reference leads to no element of the document
};
std::string_view nameOf(FindingKind kind);

struct CheckFinding {
  FindingKind kind;
  std::string text;
  std::string place = {};  ///< path and property, or position in the file; empty: of none
  std::string path = {};   ///< of the element alone; empty: of none
};

/// A model in every format that is asked for, each written once.
class Encodings {
 public:
  /// @param model and metaModels must outlive this.
  Encodings(const Model& model, const MetaModels& metaModels) : model_(model), metaModels_(metaModels) {}
  /// @throws Error for a format that cannot express the model.
  const std::string& as(Format format);

 private:
  const Model& model_;
  const MetaModels& metaModels_;
  std::map<Format, std::string> written_;
};

/// Adds what speaks against a document that was read: rules that its model breaks, and that it is not what a
/// writer would have made of the model.
/// @param encodings of the model.
/// @throws Error for a model that the document's format cannot express; what was found before stays.
void addFindings(const Document& document, const Model& model, const MetaModels& metaModels,
                 Encodings& encodings, std::vector<CheckFinding>& findings);

}  // namespace kr::zero::tool
