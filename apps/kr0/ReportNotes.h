/// @file
/// Internal: what each byte of a document means, as a report carries it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "JsonText.h"
#include "ReportColumns.h"

namespace kr::zero::tool {

/// The notes of kr::zero::inspect about the bytes of a model, in columns.
class ReportNotes {
 public:
  /// @param bytes krb or krt. @param columns of the model.
  ReportNotes(std::string_view bytes, bool isTagged, const meta::MetaRegistry& registry,
              const ReportColumns& columns, const ReportSchema& schema);
  /// Whether the bytes hold exactly the elements of the columns, in their order.
  bool isInOrder() const { return isInOrder_; }
  /// Adds all columns as members of an object.
  void write(JsonText& json) const;

 private:
  class Taker;

  std::string kinds_;
  std::vector<std::uint64_t> bytes_;
  std::vector<int> properties_;
  std::vector<std::pair<std::size_t, std::string>> texts_;  // by position of the note
  bool isInOrder_ = true;
};

}  // namespace kr::zero::tool
