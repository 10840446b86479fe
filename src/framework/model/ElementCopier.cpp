#include "kr/zero/ElementCopier.h"

#include <utility>

#include "model/Copy.h"
#include "model/Target.h"

namespace kr::zero {

using internal::Copier;
using internal::ElementRecord;
using internal::ModelStore;
using internal::there;

struct ElementCopier::Impl {
  Impl(const Model& from, Model& to, CopyOptions options)
      : source(ModelStore::of(from)),
        target(ModelStore::of(to)),
        model(to),
        copier(source, target, std::move(options)) {}

  ElementRecord* original(ConstElement element) const {
    if (!element || ModelStore::storeOf(element) != &source)
      throw ModelError("only what is in the model copied from can be copied");
    return there(ModelStore::recordOf(element));
  }
  ElementRecord* here(const Element& element) const {
    if (!element || ModelStore::storeOf(element) != &target)
      throw ModelError("copies go to elements of the model copied to");
    return there(ModelStore::recordOf(element));
  }

  ModelStore& source;
  ModelStore& target;
  Model& model;
  Copier copier;
};

ElementCopier::ElementCopier(const Model& from, Model& to, CopyOptions options)
    : impl_(std::make_unique<Impl>(from, to, std::move(options))) {
  if (&from.getRegistry() != &to.getRegistry())
    throw ModelError("an element can only be copied between models of one registry");
}

ElementCopier::~ElementCopier() = default;

Element ElementCopier::copyRoot(ConstElement original) {
  const ElementRecord* record = impl_->original(original);
  if (record->isDatatype()) throw ModelError("a datatype value cannot stand at the top of a model");
  impl_->copier.choose(record);
  const Element copy = impl_->model.createRoot(original.getClass());
  impl_->copier.copyChosen(ModelStore::recordOf(copy));
  return copy;
}

Element ElementCopier::copyInto(Element container, PropertyKey property, ConstElement original,
                                std::size_t position) {
  const ElementRecord* record = impl_->original(original);
  impl_->here(container);
  impl_->copier.choose(record);
  const Element copy = container.create(property, original.getType());
  impl_->copier.copyChosen(ModelStore::recordOf(copy));
  if (copy.getClass() && position + 1 < container.size(property)) container.adopt(property, copy, position);
  return copy;
}

void ElementCopier::standFor(ConstElement original, Element here) {
  impl_->copier.standFor(impl_->original(original), impl_->here(here));
}

Element ElementCopier::copyOf(ConstElement original) const {
  return impl_->target.handle(impl_->copier.copyOf(impl_->original(original)));
}

void ElementCopier::copyProperty(ConstElement original, meta::Property property, Element here) {
  const internal::Target from = locate(&impl_->source, impl_->original(original), property);
  const internal::Target to = locate(&impl_->target, impl_->here(here), property);
  if (!meta::isPrimitive(property->getKind()) && property->getKind() != meta::PropertyKind::association)
    to.fail("contains elements or datatype values, which are copied one by one");
  here.unset(property);
  impl_->copier.copyPropertyLater(from.record, from.slot, to.record, to.slot);
}

void ElementCopier::finish() { impl_->copier.finish(); }

}  // namespace kr::zero
