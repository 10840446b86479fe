#include "io/walk/WalkedValues.h"

#include "kr/zero/io/ElementIdentity.h"
#include "kr/zero/io/Serializer.h"
#include "model/Path.h"
#include "model/TextForm.h"

namespace kr::zero::io {

ValueSource::~ValueSource() = default;

}  // namespace kr::zero::io

namespace kr::zero::io::internal {

using zero::internal::ElementRecord;
using zero::internal::ModelStore;

WalkedValues::WalkedValues(ModelStore& store, Identities& identities)
    : store_(store), identities_(identities) {
  for (const zero::internal::TypeUse* use : store.typesInUse()) typesInUse_.push_back(use->type);
  types_ = typesInUse_;
  areByIndex_ = identities.areByIndex();
  targetNumbers_ = identities.getNumbersByIndex();
}

std::string_view WalkedValues::formatText(std::size_t slot, cells::Cell cell) {
  text_ = zero::internal::toTextForm(record_->use->property(slot), cell);
  text_.reserve(text_.size() + zero::internal::Arena::kReadable);
  return text_;
}

WrittenReference WalkedValues::describe(std::size_t slot, cells::Cell item, bool unresolved) {
  if (!unresolved && !cells::isUnresolved(item)) {
    const ElementRecord* const target = getTarget(item);
    return {target->use->type->qualifiedName(), identities_.get(target), {}, false};
  }
  const cells::ReferenceTexts& texts = getTexts(slot, item);
  const bool hasQualifier = texts.qualifier != nullptr;
  return {texts.targetType->view(),
          {0, texts.id1->view(), texts.id2->view()},
          hasQualifier ? texts.qualifier->view() : std::string_view(),
          hasQualifier};
}

ElementRecord* WalkedValues::getTarget(cells::Cell item) const {
  ElementRecord* const target = store_.target(item);
  if (!identities_.isWritten(target->index))
    throw SerializeError({.path = pathOf(store_, record_),
                          .problem = "refers to " + pathOf(store_, target) + ", which is not written"});
  return target;
}

const cells::ReferenceTexts& WalkedValues::getTexts(std::size_t slot, cells::Cell item) {
  const cells::ReferenceTexts* const texts = cells::asUnresolved(item);
  if (texts == nullptr)
    throw SerializeError({.path = where(slot), .problem = "the reference was never resolved"});
  if (texts->qualifier == nullptr) requireUnresolvable(slot, *texts);
  return *texts;
}

// An unresolved reference to a number of the document that it came from must not lead to whatever has that
// number in this one.
void WalkedValues::requireUnresolvable(std::size_t slot, const cells::ReferenceTexts& texts) {
  if (texts.id1->view() != "#") return;
  const std::string_view number = texts.id2->view();
  if (const ElementRecord* other = identities_.findNumbered(localNumber(number)); other != nullptr)
    throw SerializeError({.path = where(slot),
                          .problem = "the unresolved reference to #" + std::string(number) +
                                     " would lead to " + pathOf(store_, other) +
                                     ", which is written with that number"});
}

std::string WalkedValues::where(std::size_t slot) const {
  return pathOf(store_, record_) + "." + record_->use->property(slot).name();
}

}  // namespace kr::zero::io::internal
