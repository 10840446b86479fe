#include "kr/zero/Model.h"

#include <algorithm>
#include <utility>

#include "model/Copy.h"
#include "model/Store.h"

namespace kr::zero {

using internal::asElement;
using internal::ElementRecord;
using internal::ModelStore;
using internal::PropertyKind;
using internal::PropertyRecord;
using internal::Values;

Model::Model(const meta::MetaRegistry& registry) : store_(std::make_unique<ModelStore>(registry)) {
  store_->setModel(this);
}

Model::~Model() = default;

Model::Model(Model&& other) noexcept : store_(std::move(other.store_)) {
  if (store_) store_->setModel(this);
}

Model& Model::operator=(Model&& other) noexcept {
  store_ = std::move(other.store_);
  if (store_) store_->setModel(this);
  return *this;
}

const meta::MetaRegistry& Model::getRegistry() const { return store_->registry(); }

Element Model::createRoot(meta::Class type) {
  if (!type) throw ModelError("an empty class handle has no elements");
  if (type->isAbstract())
    throw ModelError("class " + type->getQualifiedNameUtf8() + " is abstract and has no elements");
  return store_->handle(store_->makeRoot(store_->use(type)));
}

Element Model::createRoot(std::string_view typeName) {
  const meta::Type type = store_->registry().findType(typeName);
  if (!type) throw ModelError("there is no type \"" + std::string(typeName) + "\"");
  const meta::Class cls(type);
  if (!cls) throw ModelError("type " + std::string(typeName) + " is not a class");
  return createRoot(cls);
}

void Model::adoptRoot(Element element) {
  if (!element || element.store_ != store_.get())
    throw ModelError("only an element of the same model can be moved");
  if (element.record_->isDatatype()) throw ModelError("a datatype value cannot stand at the top of a model");
  internal::makeRoom(store_->roots());
  store_->detach(element.record_);
  element.record_->container = nullptr;
  store_->roots().push_back(element.record_);
  store_->leaveDocumentOrder();
}

std::vector<Element> Model::getRoots() const {
  std::vector<Element> roots;
  roots.reserve(store_->roots().size());
  for (ElementRecord* record : store_->roots()) roots.push_back(store_->handle(record));
  return roots;
}

ElementRange Model::elements() const { return ElementRange(getRoots()); }
std::size_t Model::size() const { return store_->elementCount(); }
std::size_t Model::getMemoryUsed() const { return store_->memoryUsed(); }

std::vector<Element> Model::getReferrers(Element target) const {
  std::vector<Element> referrers;
  const auto refers = [&](const ElementRecord* record) {
    if (!record->use->type->hasAssociations()) return false;
    for (std::uint16_t i = 0; i < record->count; ++i) {
      const std::size_t slot = record->slots()[i] & cells::kSlotMask;
      if (record->use->property(slot).getKind() != PropertyKind::association) continue;
      const Values values = ModelStore::values(record, slot);
      for (std::size_t k = 0; k < values.size; ++k)
        if (!values.unresolvedSingle &&
            values.items[k] == cells::asReference(target.record_->index, target.record_->use->ordinal))
          return true;
    }
    return false;
  };
  for (const Element element : elements())
    if (refers(element.record_)) referrers.push_back(element);
  return referrers;
}

Element Model::findByIdentity(std::string_view first, std::string_view second) const {
  const Identity wanted{first, second};
  for (std::uint32_t i = 0; i < store_->recordCount(); ++i) {
    ElementRecord* record = store_->record(i);
    if (!record->removed && store_->handle(record).getIdentity() == wanted) return store_->handle(record);
  }
  return {};
}

void Model::remove(Element element) {
  if (!element || element.store_ != store_.get())
    throw ModelError("only an element of the model can be removed from it");
  store_->removeSubtrees({element.record_});
}

Model Model::clone() const {
  Model result(getRegistry());
  internal::copyAll(*store_, *result.store_);
  return result;
}

Element Model::copy(Element element) {
  if (!element || element.record_->isDatatype()) throw ModelError("only an element can be copied");
  if (!(&element.store_->registry() == &store_->registry()))
    throw ModelError("an element can only be copied between models of one registry");
  return store_->handle(internal::copySubtree(*element.store_, element.record_, *store_));
}

ElementRange::Iterator ElementRange::begin() const {
  Iterator it;
  it.stack_.assign(roots_.rbegin(), roots_.rend());
  it.depths_.assign(roots_.size(), 0);
  return it;
}

ElementRange::Iterator& ElementRange::Iterator::operator++() {
  const Element current = stack_.back();
  const std::uint32_t depth = depths_.back();
  stack_.pop_back();
  depths_.pop_back();
  const std::size_t first = stack_.size();
  ModelStore& store = ModelStore::of(current.getModel());
  internal::forEachContained(ModelStore::recordOf(current), false, [&](ElementRecord* child) {
    stack_.push_back(store.handle(child));
    depths_.push_back(depth + 1);
  });
  std::reverse(stack_.begin() + static_cast<std::ptrdiff_t>(first), stack_.end());
  return *this;
}

std::size_t ElementRange::Iterator::getDepth() const noexcept { return depths_.back(); }

}  // namespace kr::zero
