/// @file
/// Internal: what a report tells of one document.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Documents.h"
#include "Findings.h"
#include "JsonText.h"
#include "ReportColumns.h"
#include "ReportNotes.h"
#include "ReportSchema.h"

namespace kr::zero::tool {

/// How a property is used by the instances of a class.
struct PropertyUsage {
  int property;
  std::uint64_t set;  ///< instances in which something is said of it
  std::uint64_t values;
  std::uint64_t bytes;
};

/// The instances of a class, and what they take of the bytes that are shown.
struct ClassUsage {
  int type;
  std::uint64_t instances;
  std::uint64_t bytes;
  std::uint64_t own;  ///< of what begins and ends instances
  std::vector<PropertyUsage> properties;
};

/// What speaks against a document.
struct ReportProblem {
  CheckFinding finding;
  int element;  ///< -1: none
};

/// One document of a report. Refers to what it was made of, which must outlive it.
class ReportDocument {
 public:
  ReportDocument(const Document& document, const Model& model, const MetaModels& metaModels,
                 const ReportSchema& schema, bool withBytes);
  ReportDocument(const ReportDocument&) = delete;
  ReportDocument& operator=(const ReportDocument&) = delete;

  const std::string& name() const { return name_; }
  const ReportColumns& columns() const { return columns_; }
  const std::vector<ClassUsage>& usage() const { return usage_; }
  /// Bytes that belong to no class.
  std::uint64_t overhead() const { return overhead_; }
  const std::vector<std::pair<std::string, std::string>>& facts() const { return facts_; }
  const std::vector<std::pair<std::string, std::uint64_t>>& sizes() const { return sizes_; }
  const std::vector<ReportProblem>& problems() const { return problems_; }
  std::size_t problemCount() const { return problemCount_; }
  /// The bytes that the notes tell of; nothing where none are shown.
  std::optional<std::string_view> shownBytes() const;
  /// Adds all but the bytes as an object.
  void write(JsonText& json) const;

 private:
  void addFacts(const Document& document);
  void addFigures(const Model& model);
  void addProblems(const Document& document, const Model& model, const MetaModels& metaModels);
  void addSizes();
  void showBytes(const Document& document, const MetaModels& metaModels);
  void writeUsage(JsonText& json) const;
  void writeProblems(JsonText& json) const;

  const ReportSchema& schema_;
  ReportColumns columns_;
  Encodings encodings_;
  std::string name_;
  Format format_;
  std::uint64_t fileBytes_;
  Format shownFormat_ = Format::krb;
  bool isOwn_ = false;                    // whether the bytes shown are those of the document
  std::vector<std::uint8_t> inner_ = {};  // of the document in an archive
  std::string_view shown_ = {};
  std::optional<ReportNotes> notes_ = {};
  std::vector<std::pair<std::string, std::string>> facts_ = {};
  std::vector<std::pair<std::string, std::uint64_t>> sizes_ = {};
  std::vector<ReportProblem> problems_ = {};
  std::size_t problemCount_ = 0;
  std::vector<ClassUsage> usage_ = {};
  std::uint64_t overhead_ = 0;
};

}  // namespace kr::zero::tool
