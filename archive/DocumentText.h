/// @file
/// Internal: a model as a document in memory.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "kr/zero/Model.h"
#include "kr/zero/io/ParseOptions.h"

namespace kr::zero::archive {

/// The document lies in memory once, in pieces, and nothing of it is moved for the next ones.
class DocumentText {
 public:
  /// @throws what serializers throw.
  DocumentText(const Model& model, bool tagged, const io::Progress& progress);
  ~DocumentText();
  DocumentText(const DocumentText&) = delete;
  DocumentText& operator=(const DocumentText&) = delete;

  /// One behind the other they are the document; as long as this lives.
  std::span<const std::string_view> pieces() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace kr::zero::archive
