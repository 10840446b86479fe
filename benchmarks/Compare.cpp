// kr0_bench_compare: how long it takes to find the differences of two large models, and whether just those
// are found that were made.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "Content.h"
#include "ModelContent.h"
#include "Timing.h"
#include "kr/zero/compare/Merge.h"
#include "kr/zero/compare/ModelDiff.h"

namespace kr::zero::bench {

namespace {

constexpr std::size_t kEdits = 100;

/// Elements without any below them, far from each other.
std::vector<Element> pickLeaves(Model& model, std::size_t count) {
  std::vector<Element> leaves;
  for (const Element element : model.elements("library.Item"))
    if (element.descendants().begin() == element.descendants().end()) leaves.push_back(element);
  std::vector<Element> picked;
  for (std::size_t i = 0; i < count; ++i) picked.push_back(leaves[(2 * i + 1) * leaves.size() / (2 * count)]);
  return picked;
}

/// Each edit is one difference. What is moved or reordered goes among others of its kind.
void edit(Model& model) {
  const std::vector<Element> leaves = pickLeaves(model, kEdits);
  const std::vector<Element> shelves = pickLeaves(model, 2 * kEdits + 1);
  for (std::size_t i = 0; i < leaves.size(); ++i) {
    Element leaf = leaves[i];
    Element shelf = shelves[2 * i];
    switch (i % 5) {
      case 0:
        leaf.set("title", "Edited " + std::to_string(i));
        break;
      case 1:
        shelf.create("parts").set("title", "New " + std::to_string(i));
        break;
      case 2:
        shelf.adopt("parts", leaf);
        break;
      case 3:
        leaf.set("pages", 100000 + static_cast<int>(i));
        break;
      default:
        model.remove(leaf);
    }
  }
}

bool measure(std::size_t size) {
  meta::MetaRegistry registry;
  registerLibrary(registry);
  const Model before = makeModel(makeContent(size, kLibrarySeed), registry);
  Model after = before.clone();
  edit(after);
  std::size_t found = 0;
  const double milliseconds =
      medianMilliseconds([&] { found = compare::compareModels(before, after).differences().size(); });
  const compare::ModelDiff diff = compare::compareModels(before, after);
  const double patching = secondsOf([&] { static_cast<void>(compare::applyDiff(diff, before)); });
  const double merging = secondsOf([&] { static_cast<void>(compare::mergeModels(before, after, before)); });
  const bool isSame = !findDifference(compare::applyDiff(diff, before), after);
  std::printf(
      "%9zu elements, %zu edits: %9.1f ms, %7.1f ns an element; %zu found; patch %.0f ms, merge %.0f ms%s\n",
      before.size(), kEdits, milliseconds, 1e6 * milliseconds / static_cast<double>(before.size()), found,
      1e3 * patching, 1e3 * merging, isSame ? "" : "; THE PATCHED MODEL DIFFERS");
  return isSame && found == kEdits;
}

}  // namespace

}  // namespace kr::zero::bench

int main() {
  bool isRight = true;
  for (const std::size_t size : {10'000U, 100'000U, 1'000'000U})
    isRight = kr::zero::bench::measure(size) && isRight;
  return isRight ? EXIT_SUCCESS : EXIT_FAILURE;
}
