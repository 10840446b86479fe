// Random edits of random models: what was found leads from the one to the other, and is short.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "compare/RandomEdits.h"
#include "kr/zero/compare/Merge.h"
#include "kr/zero/compare/ModelDiff.h"
#include "support/RandomModel.h"

namespace kr::zero::test {
namespace {

using compare::applyDiff;
using compare::compareModels;
using compare::mergeModels;
using compare::ModelDiff;

std::string sentences(const ModelDiff& diff) {
  std::string text;
  for (const auto& difference : diff.differences()) text += difference.sentence() + '\n';
  return text;
}

/// A registry, a model of some hundred elements, and chance.
struct Scene {
  explicit Scene(std::uint64_t seed)
      : random(seed), registry(makeRandomRegistry(random)), model(makeRandomModel(*registry, random)) {
    for (int n = 0; n < 3; ++n) {
      const Model part = makeRandomModel(*registry, random);
      for (const ConstElement root : part.roots()) model.copy(root);
    }
  }
  Random random;
  std::unique_ptr<meta::MetaRegistry> registry;
  Model model;
};

TEST(RandomEditsTest, WhatWasFoundLeadsFromTheOneToTheOther) {
  constexpr std::uint64_t kCases = 200;
  std::size_t shortEnough = 0;
  for (std::uint64_t seed = 1; seed <= kCases; ++seed) {
    Scene scene(seed);
    Model edited = scene.model.clone();
    const std::size_t edits = editAtRandom(edited, 1 + scene.random.below(12), scene.random);
    const ModelDiff diff = compareModels(scene.model, edited);
    const Model patched = applyDiff(diff, scene.model);
    ASSERT_EQ(findDifference(patched, edited), std::nullopt) << "seed " << seed << '\n' << sentences(diff);
    shortEnough += diff.differences().size() <= 2 * edits;
  }
  EXPECT_GE(shortEnough, kCases * 95 / 100);
}

TEST(RandomEditsTest, EqualModelsDoNotDiffer) {
  for (std::uint64_t seed = 1; seed <= 30; ++seed) {
    const Scene scene(seed);
    EXPECT_EQ(sentences(compareModels(scene.model, scene.model.clone())), "") << "seed " << seed;
  }
}

TEST(RandomEditsTest, TheSameTwoModelsGiveTheSameLines) {
  for (std::uint64_t seed = 1; seed <= 30; ++seed) {
    Scene scene(seed);
    Model edited = scene.model.clone();
    editAtRandom(edited, 20, scene.random);
    const std::string found = sentences(compareModels(scene.model, edited));
    EXPECT_EQ(sentences(compareModels(scene.model, edited)), found) << "seed " << seed;
    EXPECT_EQ(sentences(compareModels(scene.model.clone(), edited.clone())), found) << "seed " << seed;
  }
}

TEST(RandomEditsTest, AMergeWithAnUnchangedSideIsTheOtherSide) {
  for (std::uint64_t seed = 1; seed <= 60; ++seed) {
    Scene scene(seed);
    Model edited = scene.model.clone();
    editAtRandom(edited, 1 + scene.random.below(12), scene.random);
    const Model base = scene.model.clone();
    using Sides = std::vector<std::pair<const Model*, const Model*>>;
    for (const auto& [ours, theirs] : Sides{{&edited, &base}, {&base, &edited}, {&edited, &edited}}) {
      const auto merged = mergeModels(scene.model, *ours, *theirs);
      EXPECT_EQ(merged.conflicts.size(), 0U) << "seed " << seed;
      EXPECT_EQ(findDifference(merged.model, edited), std::nullopt) << "seed " << seed;
    }
  }
}

TEST(RandomEditsTest, AMergeOfAnyTwoSidesIsAModel) {
  std::size_t whole = 0;
  for (std::uint64_t seed = 1; seed <= 100; ++seed) {
    Scene scene(seed);
    Model ours = scene.model.clone();
    Model theirs = scene.model.clone();
    editAtRandom(ours, 1 + scene.random.below(6), scene.random);
    editAtRandom(theirs, 1 + scene.random.below(6), scene.random);
    const auto merged = mergeModels(scene.model, ours, theirs);
    const auto again = mergeModels(scene.model, ours, theirs);
    EXPECT_EQ(findDifference(merged.model, again.model), std::nullopt);
    if (!merged.conflicts.empty()) continue;
    ++whole;
    // The other way round the order of what both added may differ, and nothing else.
    const auto mirrored = mergeModels(scene.model, theirs, ours);
    EXPECT_EQ(mirrored.conflicts.size(), 0U) << "seed " << seed;
    for (const auto& difference : compareModels(merged.model, mirrored.model).differences())
      EXPECT_EQ(difference.kind, compare::DifferenceKind::reordered)
          << "seed " << seed << ' ' << difference.sentence();
  }
  EXPECT_GT(whole, 30U);
}

}  // namespace
}  // namespace kr::zero::test
