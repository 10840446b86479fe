#include <algorithm>
#include <memory>
#include <optional>

#include "kr/zero/Assemble.h"
#include "kr/zero/ElementCopier.h"
#include "kr/zero/ElementPath.h"

namespace kr::zero {

namespace {

/// Finds out which elements become roots: those asked for and, if that is wanted, the targets of references,
/// as long as there are new ones.
class Choice {
 public:
  explicit Choice(bool withReferences) : withReferences_(withReferences) {}

  void take(ConstElement element) {
    if (isTaken(element)) return;
    tops_.push_back(element);
    mark(element);
    for (const ConstElement below : element.descendants()) mark(below);
  }

  /// The roots, when all was taken.
  std::vector<ConstElement> finish() {
    for (std::size_t i = 0; withReferences_ && i < taken_.size(); ++i) takeTargets(taken_[i]);
    std::erase_if(tops_, [this](ConstElement top) { return isBelowAnother(top); });
    return tops_;
  }

 private:
  bool isTaken(ConstElement element) const {
    return element.getIndex() < isTaken_.size() && isTaken_[element.getIndex()];
  }
  void mark(ConstElement element) {
    if (isTaken(element)) return;
    if (element.getIndex() >= isTaken_.size())
      isTaken_.resize(std::max<std::size_t>(element.getIndex() + std::size_t{1}, 2 * isTaken_.size()));
    isTaken_[element.getIndex()] = true;
    taken_.push_back(element);
  }
  void takeTargets(ConstElement element) {
    const meta::StructuredType type = element.getType();
    if (!type->hasAssociations()) return;
    for (const meta::Property property : type->getAllProperties()) {
      if (property->getKind() != meta::PropertyKind::association) continue;
      for (const ConstElement target : element.references(property)) take(target);
    }
  }
  /// What was taken has all that is around it taken too, or is a root.
  bool isBelowAnother(ConstElement top) const {
    const ConstElement container = top.getContainer();
    return container && isTaken(container);
  }

  const bool withReferences_;
  std::vector<ConstElement> tops_;
  std::vector<ConstElement> taken_;
  std::vector<bool> isTaken_;  // by index
};

}  // namespace

Model extractElements(const Model& model, const std::vector<ConstElement>& elements,
                      const ExtractOptions& options) {
  Choice choice(options.withReferences);
  for (const ConstElement element : elements) {
    if (!element || &element.getModel() != &model)
      throw ModelError("only elements of the model can be taken out of it");
    if (!element.getClass()) throw ModelError("a datatype value cannot stand at the top of a model");
    choice.take(element);
  }
  std::unique_ptr<ElementPaths> paths;
  const auto outside = [&](ConstElement target) -> std::optional<UnresolvedReference> {
    UnresolvedReference reference;
    reference.targetType = target.getType()->qualifiedName();
    if (!options.document.empty()) reference.qualifier = options.document;
    if (const auto identity = target.getIdentity()) {
      reference.id1 = identity->first;
      reference.id2 = identity->second;
      return reference;
    }
    if (!paths) paths = std::make_unique<ElementPaths>(model);
    reference.id1 = kPathIdentity;
    reference.id2 = paths->of(target);
    return reference;
  };
  Model result(model.getRegistry());
  ElementCopier copier(model, result, {.identities = true, .outside = outside});
  for (const ConstElement top : choice.finish()) copier.copyRoot(top);
  copier.finish();
  return result;
}

}  // namespace kr::zero
