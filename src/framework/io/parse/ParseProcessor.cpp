// The named operations: names are looked up, UTF-16 becomes UTF-8, and the model is filled through the same
// operations that readers may call directly.
#include "kr/zero/io/ParseProcessor.h"

#include <boost/optional.hpp>
#include <typeinfo>
#include <utility>

#include "fl/i18n/converter.h"
#include "io/parse/ModelFiller.h"
#include "io/parse/Problems.h"
#include "kr/zero/KeptMemory.h"
#include "model/Numbers.h"

namespace kr::zero::io {

using meta::PropertyKind;
using zero::internal::kNoSlot;
using zero::internal::ModelFiller;
using zero::internal::PropertyRecord;

ValueError::~ValueError() = default;

struct ParseProcessor::Impl {
  ParseCustomizer& customizer;
  zero::internal::Problems problems;
  ModelFiller filler;
  ustring version;
  fl::i18n::codecvt_ustring_to_string converter{"UTF8", true};
  std::string text1;
  std::string text2;
  std::string text3;

  Impl(ParseCustomizer& c, ParsingModelBuilder& builder) : customizer(c), filler(c, builder, problems) {}

  void reset() {
    filler.reset();
    problems.clear();
    version.clear();
  }

  // Readers may be used without a Parser around them.
  ModelFiller& ready() {
    if (!filler.isReady()) reset();
    return filler;
  }

  /// Text as UTF-8 in one of this object's strings.
  const std::string& narrow(const ustring& text, std::string& into) const {
    if (!converter.convert(text, into))
      throw ValueError({.path = filler.getPath(), .problem = "a text is not well-formed UTF-16"});
    return into;
  }

  std::size_t locate(const ustring& name) {
    ModelFiller::Open* const top = filler.getTop();
    if (top == nullptr)
      throw ValueError({.path = "/", .problem = "property \"" + toUtf8(name) + "\" outside of any element"});
    const std::size_t slot = filler.getType()->findSlot(name, top->lastSlot);
    if (slot == kNoSlot)
      throw ValueError({.path = filler.getPath(),
                        .problem = "type " + filler.getType()->qualifiedName() + " has no property \"" +
                                   toUtf8(name) + "\""});
    return top->lastSlot = slot;
  }

  PropertyCategory announce(const ustring& name) {
    const std::size_t slot = locate(name);
    const PropertyPlace property = filler.getProperty(slot);
    const PropertyCategory category = categoryOf(*property.record);
    const bool holdsElements =
        category.isA(PropertyCategory::CompositionAny()) || category.isA(PropertyCategory::DatatypeAny());
    filler.getTop()->announced = holdsElements ? slot : kNoSlot;
    const bool holdsValues =
        category.isA(PropertyCategory::PrimitiveAny()) || category.isA(PropertyCategory::AssociationAny());
    if (holdsValues && property.record->isMany()) filler.announceCollection(property);
    return category;
  }

  bool push(const ustring& typeName, const ustring& id1, const ustring& id2) {
    const meta::StructuredType type = ready().findType(typeName);
    if (!type) return false;
    const ElementIdentity identity{0, narrow(id1, text1), narrow(id2, text2)};
    ModelFiller::Open* const top = filler.getTop();
    const std::size_t slot = top == nullptr ? kNoSlot : std::exchange(top->announced, kNoSlot);
    return slot == kNoSlot ? filler.pushRoot(type, identity)
                           : filler.pushChild(filler.getProperty(slot), type, identity);
  }

  void setVerbatimValue(const ustring& name, const Value& value) {
    const PropertyPlace place = filler.getProperty(locate(name));
    const PropertyRecord& property = *place.record;
    const meta::Type type = value.getMeta().getType();
    const bool isNumber =
        property.getKind() == PropertyKind::number || property.getKind() == PropertyKind::enumeration;
    if (!isNumber || !(type == property.getType()) || !value.hasCell())
      filler.fail(place, "a value of type " + (type ? type->qualifiedName() : "none") +
                             " does not fit a property of type " + property.getType()->qualifiedName());
    filler.setNumber(place, zero::internal::fromValue(property.getStandardType(), value));
  }

  void addDeferredReference(const ustring& targetType, const ustring& name, const ustring& id1,
                            const ustring& id2, const boost::optional<ustring>& qualifier) {
    const PropertyPlace property = filler.getProperty(locate(name));
    filler.requireAssociation(property);
    const std::uint32_t typeName = filler.numberTypeName(narrow(targetType, text1));
    std::string_view document;
    if (qualifier) document = narrow(*qualifier, text3);
    filler.addReference(property, typeName, {0, narrow(id1, text1), narrow(id2, text2)},
                        qualifier ? &document : nullptr);
  }
};

ParseProcessor::ParseProcessor(ParseCustomizer& customizer, ParsingModelBuilder& builder)
    : impl_(std::make_unique<Impl>(customizer, builder)) {}
ParseProcessor::~ParseProcessor() = default;

BulkParseProcessor* bulkOf(ParseProcessor& processor) {
  if (typeid(processor) == typeid(ParseProcessor)) return &processor.impl_->ready();
  return dynamic_cast<BulkParseProcessor*>(&processor);
}

void ParseProcessor::reset() { impl_->reset(); }

void ParseProcessor::startOver(const ParseOptions& options) {
  if (typeid(*this) != typeid(ParseProcessor)) impl_->reset();
  reset();
  impl_->filler.obey(options);
}

void ParseProcessor::giveBackMemory() noexcept {
  impl_->filler.giveBackMemory();
  for (std::string* const text : {&impl_->text1, &impl_->text2, &impl_->text3}) clearAndGiveBack(*text);
}

void ParseProcessor::setVersion(const ustring& version) { impl_->version = version; }
ParseCustomizer& ParseProcessor::getCustomizer() { return impl_->customizer; }

bool ParseProcessor::push(const ustring& typeName, const ustring& id1, const ustring& id2) {
  return impl_->push(typeName, id1, id2);
}

void ParseProcessor::pop(const ustring&) { impl_->filler.pop(); }

PropertyCategory ParseProcessor::getPropertyCategory(const ustring& name) { return impl_->announce(name); }

meta::Type ParseProcessor::getPropertyType(const ustring& name) {
  return impl_->filler.getProperty(impl_->locate(name)).record->getType();
}

bool ParseProcessor::isPropertyOptional(const ustring& name) {
  return impl_->filler.getProperty(impl_->locate(name)).record->isOptional();
}

void ParseProcessor::setValue(const ustring& name, const ustring& text) {
  const PropertyPlace property = impl_->filler.getProperty(impl_->locate(name));
  impl_->filler.setText(property, impl_->narrow(text, impl_->text1));
}

void ParseProcessor::setVerbatimValue(const ustring& name, const Value& value) {
  impl_->setVerbatimValue(name, value);
}

void ParseProcessor::setEmptyValue(const ustring& name) {
  impl_->filler.setEmpty(impl_->filler.getProperty(impl_->locate(name)));
}

void ParseProcessor::addDeferredReference(const ustring& targetType, const ustring& name, const ustring& id1,
                                          const ustring& id2, const boost::optional<ustring>& qualifier) {
  impl_->addDeferredReference(targetType, name, id1, id2, qualifier);
}

void ParseProcessor::processDeferred() { impl_->ready().processDeferred(); }
void ParseProcessor::parseCompleted() {}

const std::vector<std::string>& ParseProcessor::getProblems() const noexcept {
  return impl_->problems.getTexts();
}
void ParseProcessor::addProblem(std::string problem) { impl_->problems.refuse(std::move(problem)); }
std::size_t ParseProcessor::getDepth() const noexcept { return impl_->filler.getDepth(); }
std::string ParseProcessor::getPath() const { return impl_->filler.getPath(); }
const ustring& ParseProcessor::getVersion() const noexcept { return impl_->version; }
void ParseProcessor::setSpan(const log::Span& span) { impl_->problems.setSpan(span); }

}  // namespace kr::zero::io
