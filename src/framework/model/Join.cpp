#include <memory>
#include <optional>
#include <unordered_map>
#include <utility>

#include "kr/zero/Assemble.h"
#include "kr/zero/ElementCopier.h"
#include "kr/zero/ElementPath.h"
#include "kr/zero/TextHash.h"
#include "model/DocumentOrder.h"

namespace kr::zero {

namespace {

using internal::ElementRecord;
using internal::ModelStore;

class Joining {
 public:
  Joining(const std::vector<JoinSource>& sources, const JoinOptions& options)
      : sources_(sources), options_(options), result_{Model(sources.front().model->getRegistry())} {}

  JoinedModels run() {
    for (const JoinSource& source : sources_) copy(source);
    for (std::size_t i = 0; i < sources_.size(); ++i)
      if (!sources_[i].document.empty()) documents_.try_emplace(sources_[i].document, i);
    for (const Element element : result_.model.elements()) resolveIn(element);
    return std::move(result_);
  }

 private:
  static std::string shown(const Identity& identity) {
    return quotedInPath(identity.first) + ", " + quotedInPath(identity.second);
  }

  void copy(const JoinSource& source) {
    const std::size_t before = result_.model.roots().size();
    ElementCopier& copier =
        *copiers_.emplace_back(std::make_unique<ElementCopier>(*source.model, result_.model));
    for (const ConstElement root : source.model->roots()) copier.copyRoot(root);
    copier.finish();
    for (std::size_t i = before; i < result_.model.roots().size(); ++i) {
      const Element root = result_.model.roots()[i];
      noteIdentity(source, root);
      for (const Element element : root.descendants()) noteIdentity(source, element);
    }
  }

  void noteIdentity(const JoinSource& source, Element element) {
    const auto identity = element.getIdentity();
    if (!identity) return;
    const ElementRecord* const other = identities_.add(ModelStore::recordOf(element));
    if (other == nullptr) return;
    if (!options_.dropClashes)
      throw ModelError(ErrorDetails{.file = source.document,
                                    .problem = "the identity " + shown(*identity) +
                                               " is that of an element of the documents before it, too"});
    ++result_.dropped;
    element.clearIdentity();
  }

  void resolveIn(Element element) {
    const meta::StructuredType type = element.getType();
    if (!type->hasAssociations()) return;
    for (const meta::Property property : type->getAllProperties())
      if (property->getKind() == meta::PropertyKind::association && element.isSet(property))
        resolve(element, property);
  }

  /// Sets all references of a property again where one of them can be resolved, as they stand in an order.
  void resolve(Element element, meta::Property property) {
    struct Place {
      Element target;
      std::optional<UnresolvedReference> texts;
    };
    std::vector<Place> places;
    std::size_t found = 0;
    for (std::size_t i = 0, size = element.size(property); i < size; ++i) {
      Place place{element.getReference(property, i), {}};
      if (!place.target) {
        place.texts = element.getUnresolved(property, i);
        place.target = find(*place.texts, property);
        if (place.target) ++found;
      }
      places.push_back(std::move(place));
    }
    if (found == 0) return;
    result_.resolved += found;
    element.unset(property);
    for (const Place& place : places)
      place.target ? element.putReference(property, place.target)
                   : element.putUnresolved(property, *place.texts);
  }

  Element find(const UnresolvedReference& reference, meta::Property property) {
    const Element target = findNamed(reference);
    const bool fits = target && target.getType()->qualifiedName() == reference.targetType &&
                      target.getClass()->conformsTo(property->getTarget());
    return fits ? target : Element();
  }

  Element findNamed(const UnresolvedReference& reference) {
    if (!reference.qualifier)
      return ModelStore::of(result_.model).handle(identities_.find(reference.id1, reference.id2));
    const auto document = documents_.find(*reference.qualifier);
    if (document == documents_.end()) return {};
    const ConstElement original = reference.id1 == kPathIdentity
                                      ? findElement(*sources_[document->second].model, reference.id2)
                                      : identitiesOf(document->second, reference);
    return original && original.getClass() ? copiers_[document->second]->copyOf(original) : Element();
  }

  ConstElement identitiesOf(std::size_t source, const UnresolvedReference& reference) {
    std::unique_ptr<internal::IdentityIndex>& index = indices_[source];
    ModelStore& store = ModelStore::of(*sources_[source].model);
    if (!index) {
      index = std::make_unique<internal::IdentityIndex>();
      for (const ConstElement element : sources_[source].model->elements())
        if (element.getIdentity()) index->add(ModelStore::recordOf(element));
    }
    return store.handle(index->find(reference.id1, reference.id2));
  }

  const std::vector<JoinSource>& sources_;
  const JoinOptions options_;
  JoinedModels result_;
  std::vector<std::unique_ptr<ElementCopier>> copiers_;  // by source
  internal::IdentityIndex identities_;                   // of the result
  std::unordered_map<std::string, std::size_t, TextHash> documents_;
  std::unordered_map<std::size_t, std::unique_ptr<internal::IdentityIndex>> indices_;  // by source
};

}  // namespace

JoinedModels joinModels(const std::vector<JoinSource>& sources, const JoinOptions& options) {
  if (sources.empty()) throw ModelError("there is nothing to be joined");
  return Joining(sources, options).run();
}

}  // namespace kr::zero
