/// @file
/// Pairs of meta models, each with one kind of change between them, and a model that the change meets.
#pragma once

#include <functional>
#include <iosfwd>
#include <map>
#include <string>
#include <vector>

#include "kr/zero/Model.h"
#include "kr/zero/evolution/SchemaDiff.h"
#include "kr/zero/meta/MetaModelBuilder.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::test {

/// An old meta model and a new one. Most have one package, "books" of the URI "urn:books".
struct SchemaPair {
  std::string name;
  std::function<void(meta::MetaRegistry&)> before;
  std::function<void(meta::MetaRegistry&)> after;
  /// Fills a model of the old meta model.
  std::function<void(Model&)> fill;
  /// The change that the pair is about.
  evolution::ChangeKind kind = evolution::ChangeKind::propertyAdded;
  std::string subject;
  /// Its effect. Where a pair has several changes that is the worst of each format.
  evolution::Effects effects;
  std::map<std::string, std::string> renames = {};
};

/// For the names of tests.
std::ostream& operator<<(std::ostream& out, const SchemaPair& pair);

/// All of them.
const std::vector<SchemaPair>& schemaPairs();

/// The pair of that name.
/// @throws std::out_of_range where there is none.
const SchemaPair& schemaPair(std::string_view name);

}  // namespace kr::zero::test
