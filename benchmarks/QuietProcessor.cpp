#include "QuietProcessor.h"

#include <stdexcept>

#include "kr/zero/io/ModelTraverser.h"

namespace kr::zero::bench {

QuietProcessor::QuietProcessor(io::ParseCustomizer& customizer, io::ParsingModelBuilder& builder)
    : ParseProcessor(customizer, builder) {}

void QuietProcessor::reset() {
  open_.clear();
  announced_ = {};
  calls_ = 0;
}

void QuietProcessor::setVersion(const ustring&) {}

bool QuietProcessor::push(const ustring& typeName, const ustring&, const ustring&) {
  open_.push_back({findType(typeName), 0});
  ++calls_;
  return true;
}

void QuietProcessor::pop(const ustring&) { open_.pop_back(); }

meta::StructuredType QuietProcessor::findType(const ustring& name) {
  if (!lastType_ || lastType_->getQualifiedName() != name)
    lastType_ = meta::StructuredType(getCustomizer().getMetaClass(name));
  if (!lastType_) throw std::runtime_error("a type that the benchmark does not know");
  return lastType_;
}

io::PropertyCategory QuietProcessor::getPropertyCategory(const ustring& name) {
  OpenElement& top = open_.back();
  top.slot = top.type->findSlot(name, top.slot);
  announced_ = top.type->getAllProperties()[top.slot];
  const std::size_t index = announced_->getIndex();
  if (index >= categories_.size()) categories_.resize(index + 1);
  if (categories_[index] == io::PropertyCategory())
    categories_[index] = io::ModelTraverser().getPropertyCategory(announced_);
  return categories_[index];
}

// Readers ask these two about the property that they announced.
meta::Type QuietProcessor::getPropertyType(const ustring&) { return announced_->getType(); }
bool QuietProcessor::isPropertyOptional(const ustring&) { return announced_->isOptional(); }

void QuietProcessor::setValue(const ustring&, const ustring&) { ++calls_; }
void QuietProcessor::setVerbatimValue(const ustring&, const Value&) { ++calls_; }
void QuietProcessor::setEmptyValue(const ustring&) { ++calls_; }

void QuietProcessor::addDeferredReference(const ustring&, const ustring&, const ustring&, const ustring&,
                                          const boost::optional<ustring>&) {
  ++calls_;
}

void QuietProcessor::processDeferred() {}
void QuietProcessor::parseCompleted() {}

}  // namespace kr::zero::bench
