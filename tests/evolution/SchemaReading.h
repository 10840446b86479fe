/// @file
/// What really becomes of documents that are read with another meta model.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "kr/zero/Model.h"
#include "kr/zero/evolution/SchemaDiff.h"
#include "support/DirectBytes.h"

namespace kr::zero::test {

/// The worst for each format.
evolution::Effects worseOf(const evolution::Effects& a, const evolution::Effects& b);
evolution::Effects worstOf(const std::vector<evolution::SchemaChange>& changes);

/// What became of a model, now that it was read or carried over.
/// @param renames as CompareOptions has them.
evolution::Effect effectOn(const Model& old, const Model& now,
                           const std::map<std::string, std::string>& renames);

/// A model in all formats.
class WrittenModel {
 public:
  /// @param model must live as long; so must its registry.
  explicit WrittenModel(const Model& model, std::map<std::string, std::string> renames = {});

  /// What each document does that is read with other meta models. Archives are left out.
  evolution::Effects effectsWith(const meta::MetaRegistry& registry) const;

 private:
  const Model& model_;
  const std::map<std::string, std::string> renames_;
  Bytes direct_;
  std::string tagged_;
  std::string xmi_;  // empty where XMI cannot say what the model says
  evolution::Effects withoutChange_;
};

}  // namespace kr::zero::test
