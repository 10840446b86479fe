#include "kr/zero/Model.h"

#include <algorithm>
#include <utility>

#include "model/Copy.h"
#include "model/Target.h"

namespace kr::zero {

using internal::ElementRecord;
using internal::ModelStore;
using internal::PropertyKind;
using internal::there;
using internal::Values;

namespace {

constexpr const char* kNoReferrers = "only an element of the model has referrers in it";

meta::Class known(meta::Class type) {
  if (!type) throw ModelError("an empty class handle has no elements");
  return type;
}

meta::Class findClass(const ModelStore& store, std::string_view name) {
  const meta::Type type = store.registry().findType(name);
  if (!type) throw ModelError("there is no type \"" + std::string(name) + "\"");
  const meta::Class found(type);
  if (!found) throw ModelError("type " + std::string(name) + " is not a class");
  return found;
}

/// The record of an element of this model.
ElementRecord* recordHere(const ModelStore& store, ConstElement element, const char* complaint) {
  if (!element || ModelStore::storeOf(element) != &store) throw ModelError(complaint);
  return there(ModelStore::recordOf(element));
}

bool refersTo(const ElementRecord* record, std::uint64_t target) {
  if (!record->use->type->hasAssociations()) return false;
  for (std::uint16_t i = 0; i < record->count; ++i) {
    if (record->use->property(cells::slotOf(record->slots()[i])).getKind() != PropertyKind::association)
      continue;
    const Values values = ModelStore::valuesAt(record, i);
    const std::uint64_t* const end = values.items + values.size;
    if (!values.unresolvedSingle && std::find(values.items, end, target) != end) return true;
  }
  return false;
}

template <class Range>
auto referrersIn(const Range& elements, const ElementRecord* target) {
  const std::uint64_t reference = cells::asReference(target->index, target->use->ordinal);
  std::vector<typename Range::Iterator::value_type> referrers;
  for (const auto element : elements)
    if (refersTo(ModelStore::recordOf(element), reference)) referrers.push_back(element);
  return referrers;
}

ElementRecord* findRecord(const ModelStore& store, std::string_view first, std::string_view second) {
  for (std::uint32_t i = 0; i < store.recordCount(); ++i) {
    ElementRecord* record = store.record(i);
    if (record->removed || record->identity == nullptr) continue;
    if (record->identity->second->view() == second && record->identity->first->view() == first) return record;
  }
  return nullptr;
}

}  // namespace

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
  if (known(type)->isAbstract())
    throw ModelError("class " + type->qualifiedName() + " is abstract and has no elements");
  return store_->handle(store_->makeRoot(store_->use(type)));
}

Element Model::createRoot(std::string_view typeName) { return createRoot(findClass(*store_, typeName)); }

void Model::adoptRoot(Element element) {
  ElementRecord* record = recordHere(*store_, element, "only an element of the same model can be moved");
  if (record->isDatatype()) throw ModelError("a datatype value cannot stand at the top of a model");
  internal::makeRoom(store_->roots());
  store_->detach(record);
  record->container = nullptr;
  store_->roots().push_back(record);
  store_->leaveDocumentOrder();
}

std::vector<Element> Model::getRoots() {
  const RootRange<Element> all = roots();
  return {all.begin(), all.end()};
}
std::vector<ConstElement> Model::getRoots() const {
  const RootRange<ConstElement> all = roots();
  return {all.begin(), all.end()};
}

RootRange<Element> Model::roots() { return RootRange<Element>(internal::ModelRoots<Element>(store_.get())); }
RootRange<ConstElement> Model::roots() const {
  return RootRange<ConstElement>(internal::ModelRoots<ConstElement>(store_.get()));
}

ElementRange Model::elements() { return {store_.get(), meta::Class()}; }
ConstElementRange Model::elements() const { return {store_.get(), meta::Class()}; }
ElementRange Model::elements(meta::Class type) { return {store_.get(), known(type)}; }
ConstElementRange Model::elements(meta::Class type) const { return {store_.get(), known(type)}; }
ElementRange Model::elements(std::string_view className) { return elements(findClass(*store_, className)); }
ConstElementRange Model::elements(std::string_view className) const {
  return elements(findClass(*store_, className));
}

std::size_t Model::size() const { return store_->elementCount(); }
std::size_t Model::getMemoryUsed() const { return store_->memoryUsed(); }

std::vector<Element> Model::getReferrers(ConstElement target) {
  return referrersIn(elements(), recordHere(*store_, target, kNoReferrers));
}
std::vector<ConstElement> Model::getReferrers(ConstElement target) const {
  return referrersIn(elements(), recordHere(*store_, target, kNoReferrers));
}

Element Model::findByIdentity(std::string_view first, std::string_view second) {
  return store_->handle(findRecord(*store_, first, second));
}
ConstElement Model::findByIdentity(std::string_view first, std::string_view second) const {
  return store_->handle(findRecord(*store_, first, second));
}

void Model::remove(Element element) {
  store_->removeSubtrees(
      {recordHere(*store_, element, "only an element of the model can be removed from it")});
}

Model Model::clone() const {
  Model result(getRegistry());
  internal::copyAll(*store_, *result.store_);
  return result;
}

Element Model::copy(ConstElement element) {
  if (!element || there(element.record_)->isDatatype()) throw ModelError("only an element can be copied");
  if (!(&element.store_->registry() == &store_->registry()))
    throw ModelError("an element can only be copied between models of one registry");
  return store_->handle(internal::copySubtree(*element.store_, element.record_, *store_));
}

}  // namespace kr::zero
