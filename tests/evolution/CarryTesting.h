/// @file
/// Two versions of a package, and models that are carried from one to the other.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "kr/zero/evolution/CarryOver.h"
#include "kr/zero/meta/MetaModelBuilder.h"
#include "support/Refusal.h"

namespace kr::zero::test {

using evolution::CarryOverOptions;
using evolution::CarryOverResult;
using evolution::ChangeMap;
using Define = std::function<void(meta::MetaModelBuilder&)>;

/// Two versions of the package "shelf", in registries of their own.
struct Versions {
  meta::MetaRegistry before;
  meta::MetaRegistry now;

  Versions(const Define& defineBefore, const Define& defineNow) {
    define(before, defineBefore);
    define(now, defineNow);
  }
  CarryOverResult carry(const Model& model, const CarryOverOptions& options = {}) const {
    return evolution::carryOver(model, now, options);
  }

 private:
  static void define(meta::MetaRegistry& registry, const Define& define) {
    meta::MetaModelBuilder package("urn:shelf", "shelf");
    define(package);
    package.registerIn(registry);
  }
};

/// Allows what a rule or nothing at all allows.
inline CarryOverOptions withMap(ChangeMap map) { return {.map = std::move(map)}; }
inline CarryOverOptions allowing(ChangeMap map = {}) { return {.map = std::move(map), .allowLoss = true}; }

/// The roots of what came out, which must live as long as they do.
inline std::vector<ConstElement> rootsOf(const CarryOverResult& result) { return result.model.getRoots(); }

/// The sentences of findings.
inline std::vector<std::string> sentencesOf(const std::vector<evolution::Finding>& findings) {
  std::vector<std::string> sentences;
  for (const evolution::Finding& finding : findings) sentences.push_back(finding.sentence());
  return sentences;
}

/// What carrying over is refused with: the losses.
inline std::vector<std::string> lossesOf(const Versions& versions, const Model& model, ChangeMap map = {}) {
  try {
    static_cast<void>(versions.carry(model, withMap(std::move(map))));
  } catch (const evolution::CarryOverRefused& refused) {
    return refused.getDetails().problems;
  }
  return {};
}

}  // namespace kr::zero::test
