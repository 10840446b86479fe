#include "io/parse/ModelFiller.h"

#include <algorithm>

#include "fl/i18n/utf8.h"
#include "kr/zero/DateTime.h"
#include "kr/zero/KeptMemory.h"
#include "model/Path.h"
#include "model/TextForm.h"

namespace kr::zero::io {

BulkParseProcessor::~BulkParseProcessor() = default;

}  // namespace kr::zero::io

namespace kr::zero::internal {

using io::ValueError;

namespace {

constexpr std::size_t kProgressElements = 4096;

/// The number of elements up to which no limit is passed and no progress is due.
std::size_t dueAfter(const io::ParseOptions& options, std::size_t elements) {
  const std::uint64_t report = options.progress ? elements + kProgressElements : io::ReadLimits::kNone;
  return static_cast<std::size_t>(std::min(options.limits.elements, report));
}

}  // namespace

void ModelFiller::reset() {
  builder_.reset(customizer_.getRegistry());
  store_ = &ModelStore::of(builder_.getModel());
  clearAndGiveBack(open_);
  top_ = nullptr;
  clearAndGiveBack(types_);
  identities_.reset(*store_, builder_.keepsLocalIdentities());
  references_.reset(*store_);
}

void ModelFiller::giveBackMemory() noexcept {
  if (open_.empty()) {
    clearAndGiveBack(open_);
  } else {
    open_.shrink_to_fit();
    top_ = &open_.back();
  }
  clearAndGiveBack(types_);
  if (!isReady()) return;
  identities_.reset(*store_, builder_.keepsLocalIdentities());
  references_.reset(*store_);
  options_ = nullptr;
  deepest_ = nextWatch_ = kUnwatched;
}

void ModelFiller::obey(const io::ParseOptions& options) {
  options_ = &options;
  deepest_ = static_cast<std::size_t>(options.limits.depth);
  nextWatch_ = dueAfter(options, 0);
}

/// What the caller's own function throws is not the document's fault.
bool ModelFiller::isToGoOn(std::uint64_t elements) const {
  try {
    return options_->progress(elements);
  } catch (...) {
    rethrowAsError({.path = getPath()});
  }
}

/// Limits that are passed, and progress that is due.
[[gnu::noinline]] void ModelFiller::watch() {
  const io::ReadLimits& limits = options_->limits;
  const auto fail = [this](ErrorCode code, std::string problem) {
    throw Error(code, {.path = getPath(), .problem = std::move(problem)});
  };
  if (open_.size() >= deepest_)
    fail(ErrorCode::overLimit, "elements are nested more than " + std::to_string(limits.depth) + " deep");
  const std::size_t elements = store_->elementCount();
  if (elements > limits.elements)
    fail(ErrorCode::overLimit, "there are more than " + std::to_string(limits.elements) + " elements");
  if (options_->progress && !isToGoOn(elements)) fail(ErrorCode::cancelled, "reading was cancelled");
  nextWatch_ = dueAfter(*options_, elements);
}

meta::StructuredType ModelFiller::getType() const noexcept {
  return open_.empty() ? meta::StructuredType() : top_->record->use->type;
}

std::string ModelFiller::getPath() const { return open_.empty() ? "/" : pathOf(*store_, top_->record); }

meta::StructuredType ModelFiller::findType(std::string_view typeName) {
  return findType(toUstring(typeName));
}

meta::StructuredType ModelFiller::findType(const ustring& typeName) {
  const auto [known, isNew] = types_.try_emplace(typeName);
  if (isNew) {
    const meta::Type type = customizer_.getMetaClass(typeName);
    if (type) known->second = meta::StructuredType(type);
  }
  if (!known->second)
    problems_.refuse(getPath() + ": there is no type \"" + toUtf8(typeName) + "\" with properties");
  return known->second;
}

bool ModelFiller::pushRoot(meta::StructuredType type, const io::ElementIdentity& identity) {
  if (!open_.empty())
    return problems_.refuse(getPath() +
                            ": an element stands inside another without a property that holds it");
  TypeUse& use = store_->use(type);
  return requireConcrete(use) && open(store_->makeRoot(use), identity);
}

bool ModelFiller::pushChild(io::PropertyPlace property, meta::StructuredType type,
                            const io::ElementIdentity& identity) {
  ElementRecord* const record = makeChild(property, store_->use(type));
  return record != nullptr && open(record, identity);
}

bool ModelFiller::open(ElementRecord* record, const io::ElementIdentity& identity) {
  if (open_.size() >= deepest_ || store_->elementCount() > nextWatch_) watch();
  if (!identity.isNone() && !setIdentity(record, identity)) return false;
  open_.push_back({.record = record});
  top_ = &open_.back();
  return true;
}

void ModelFiller::pop() {
  if (open_.empty())
    throw ValueError(ErrorDetails{.path = "/", .problem = "an element is closed where none is open"});
  open_.pop_back();
  top_ = open_.empty() ? nullptr : &open_.back();
}

bool ModelFiller::requireConcrete(const TypeUse& use) {
  const bool concrete = use.cls && !use.cls->isAbstract();
  if (concrete) return true;
  const std::string& name = use.type->qualifiedName();
  return problems_.refuse(getPath() + (use.cls ? ": class " + name + " is abstract and has no elements"
                                               : ": type " + name + " is not a class"));
}

ElementRecord* ModelFiller::makeChild(io::PropertyPlace place, TypeUse& use) {
  const PropertyRecord& property = *place.record;
  const bool composition = property.getKind() == PropertyKind::composition;
  if (composition && !requireConcrete(use)) return nullptr;
  const auto refuse = [&](const std::string& why) {
    problems_.refuse(getPath() + "." + property.name() + ": " + why);
    return nullptr;
  };
  const bool fits = composition ? ModelStore::fits(property, use.cls) : use.type == property.getType();
  if (!fits)
    return refuse("an element of type " + use.type->qualifiedName() + " does not fit a property of type " +
                  property.getType()->qualifiedName());
  if (!property.isMany() && top_->record->find(place.slot) >= 0)
    return refuse("holds one element and is given a second");
  return store_->makeChild(use, top_->record, place.slot);
}

bool ModelFiller::setIdentity(ElementRecord* record, const io::ElementIdentity& identity) {
  const auto refuse = [&](const std::string& why) {
    return problems_.refuse(pathOf(*store_, record) + ": " + why);
  };
  const bool isWhole = identity.number != 0 || (!identity.id1.empty() && !identity.id2.empty());
  if (!isWhole) return refuse("one part of the identity is empty");
  if (record->isDatatype()) return refuse("a datatype value has no identity");
  const ElementRecord* const other = identities_.add(record, identity);
  return other == nullptr || refuse("has the same identity as " + pathOf(*store_, other));
}

void ModelFiller::setNumber(io::PropertyPlace property, std::uint64_t number) {
  if (property.record->getKind() == PropertyKind::enumeration) {
    const auto literal = static_cast<std::int64_t>(number);
    if (!static_cast<const meta::Enum::Impl*>(property.record->getType().get())->hasLiteral(literal))
      failNoLiteral(property, literal);
  }
  put(property, number);
}

bool ModelFiller::setText(io::PropertyPlace property, std::string_view bytes) {
  const PropertyKind kind = property.record->getKind();
  if (kind != PropertyKind::text) return setOtherText(property, bytes);
  const Text* const text = store_->makeCheckedText(bytes);
  if (text == nullptr) return false;
  put(property, asPayload(text));
  return true;
}

[[gnu::noinline]] bool ModelFiller::setOtherText(io::PropertyPlace property, std::string_view bytes) {
  if (!fl::i18n::isWellFormedUtf8(bytes)) return false;
  if (property.record->getKind() == PropertyKind::dateTime) {
    if (!DateTime::isValid(bytes)) failUnparsed(property, bytes);
    put(property, asPayload(store_->makeText(bytes)));
  } else {
    put(property, parse(property, bytes));
  }
  return true;
}

[[gnu::noinline]] std::uint64_t ModelFiller::parse(io::PropertyPlace property, std::string_view text) {
  if (!meta::isPrimitive(property.record->getKind()))
    fail(property, "a text does not fit a property of type " + property.record->getType()->qualifiedName());
  std::uint64_t cell = 0;
  if (!fromTextForm(*store_, *property.record, text, cell)) failUnparsed(property, text);
  return cell;
}

void ModelFiller::setEmpty(io::PropertyPlace property) {
  if (!property.record->isOptional() || !meta::isPrimitive(property.record->getKind()))
    fail(property, "cannot be explicitly empty");
  if (!store_->add(top_->record, property.slot, 0, cells::kEmpty)) failSecond(property);
}

std::uint32_t ModelFiller::numberTypeName(std::string_view name) {
  return references_.numberTypeName(name, [this] { return getPath(); });
}

void ModelFiller::addReference(io::PropertyPlace property, std::uint32_t typeName,
                               const io::ElementIdentity& identity, const std::string_view* qualifier) {
  requireAssociation(property);
  const cells::Cell cell = keepReference(typeName, identity, qualifier);
  references_.noteWaiting(top_->record->index);
  put(property, cell, cells::kUnresolved);
}

cells::Cell ModelFiller::keepReference(std::uint32_t typeName, const io::ElementIdentity& identity,
                                       const std::string_view* qualifier) {
  return references_.make(typeName, identity, qualifier, [this] { return getPath(); }).asItem();
}

void ModelFiller::addCells(std::span<const cells::Entry> entries, const cells::Cell* cells, bool anyWaiting) {
  if (anyWaiting) references_.noteWaiting(top_->record->index);
  store_->addCells(top_->record, entries, cells);
}

void ModelFiller::requireAssociation(io::PropertyPlace property) const {
  if (property.record->getKind() != PropertyKind::association) failNoReference(property);
}

void ModelFiller::processDeferred() {
  references_.resolveAll(identities_);
  identities_.finish();
}

[[gnu::noinline]] void ModelFiller::fail(io::PropertyPlace property, const std::string& what) const {
  throw ValueError({.path = getPath(property), .problem = what});
}

[[gnu::noinline]] void ModelFiller::failSecond(io::PropertyPlace property) const {
  fail(property, "holds one value and is given a second");
}

[[gnu::noinline]] void ModelFiller::failUnparsed(io::PropertyPlace property, std::string_view text) const {
  const std::string& type = property.record->getType()->qualifiedName();
  throw ValueError({.path = getPath(property),
                    .problem = "\"" + std::string(text) + "\" is not a " + type,
                    .expected = type,
                    .found = std::string(text)});
}

[[gnu::noinline]] void ModelFiller::failNoLiteral(io::PropertyPlace property, std::int64_t number) const {
  const std::string& type = property.record->getType()->qualifiedName();
  throw ValueError(
      {.path = getPath(property),
       .problem = "enumeration " + type + " has no literal with the number " + std::to_string(number),
       .expected = type,
       .found = std::to_string(number)});
}

[[gnu::noinline]] void ModelFiller::failNoReference(io::PropertyPlace property) const {
  fail(property,
       "a reference does not fit a property of type " + property.record->getType()->qualifiedName());
}

}  // namespace kr::zero::internal
