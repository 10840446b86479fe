#include "io/tree/TreeEventReader.h"

#include <array>
#include <bit>
#include <boost/optional.hpp>

#include "fl/i18n/utf8.h"
#include "kr/zero/KeptMemory.h"
#include "kr/zero/io/BulkParseProcessor.h"
#include "kr/zero/io/ParseProcessor.h"
#include "kr/zero/io/TreeDocument.h"
#include "model/Numbers.h"

namespace kr::zero::io::internal {

using meta::StandardType;
using Primitive = TreeEventReader::Primitive;

namespace {

constexpr const char* kMalformedText = "a text is not well-formed UTF-8";

// What is found, in messages, by event.
constexpr std::array<const char*, 11> kEventTexts{"the start of a document",
                                                  "the end of the document",
                                                  "a struct",
                                                  "the end of a struct",
                                                  "an entry",
                                                  "the end of the entry",
                                                  "a sequence",
                                                  "the end of the sequence",
                                                  "metadata",
                                                  "the end of the metadata",
                                                  "a value"};

std::string textOfEvent(modeling::sylvan::SylvanEventCode event) {
  return kEventTexts[static_cast<std::size_t>(event)];
}

std::string describe(const Primitive& value) {
  constexpr std::array<const char*, 6> kinds{"a boolean",   "null",        "a real",
                                             "the number ", "the number ", "a text"};
  std::string kind = kinds[value.index()];
  if (const auto* number = std::get_if<std::uint64_t>(&value)) return kind + std::to_string(*number);
  if (const auto* number = std::get_if<std::int64_t>(&value)) return kind + std::to_string(*number);
  return kind;
}

std::string rangeText(StandardType type) {
  if (type == StandardType::uinteger64) return "0 to 18446744073709551615";
  const zero::internal::IntegerRange range = zero::internal::rangeOf(type);
  return std::to_string(range.low) + " to " + std::to_string(range.high);
}

bool isInRange(StandardType type, std::uint64_t number) {
  return type == StandardType::uinteger64 ||
         number <= static_cast<std::uint64_t>(zero::internal::rangeOf(type).high);
}

bool isInRange(StandardType type, std::int64_t number) {
  if (type == StandardType::uinteger64) return number >= 0;
  const zero::internal::IntegerRange range = zero::internal::rangeOf(type);
  return range.low <= number && number <= range.high;
}

StandardType standardTypeOf(meta::Type type) {
  if (!type) return StandardType::none;
  const meta::PrimitiveType primitive(type);
  return primitive ? primitive->getStandardType() : StandardType::none;
}

/// What travels as a number or a truth value, and not as a text.
bool isNumber(StandardType type) { return meta::infoOf(type).isNumber(); }

bool isVersion(const Primitive& value) {
  if (const auto* number = std::get_if<std::uint64_t>(&value)) return *number == tree::kVersion;
  const auto* number = std::get_if<std::int64_t>(&value);
  return number != nullptr && *number == static_cast<std::int64_t>(tree::kVersion);
}

}  // namespace

TreeEventReader::TreeEventReader(const KRSylvanParser& parser) : parser_(parser) {}
TreeEventReader::~TreeEventReader() = default;

void TreeEventReader::Header::clear() noexcept {
  for (std::string* const text : {&type, &qualifier, &id1, &id2}) clearAndGiveBack(*text);
  idTexts = 0;
  hasType = hasId = hasQualifier = false;
}

void TreeEventReader::giveBackMemory() noexcept {
  header_.clear();
  text_ = nullptr;
  clearAndGiveBack(places_);
  clearAndGiveBack(bodies_);
  clearAndGiveBack(packages_);
  clearAndGiveBack(types_);
  clearAndGiveBack(scratch_);
  lastType_ = nullptr;
}

// What an earlier document left behind is gone now, however it ended.
void TreeEventReader::startDocument(const Primitive&) {
  bulk_ = bulkOf(processor());
  places_.assign(1, Place::document);
  bodies_.clear();
  header_.clear();
  packages_.clear();
  types_.clear();
  lastType_ = nullptr;
  last_ = Last::nothing;
  hasVersion_ = hasPackages_ = complete_ = refused_ = false;
  skipDepth_ = 0;
}

void TreeEventReader::endDocument() {
  if (refused_) return;
  if (place() != Place::documentEnd) failUnexpected(Event::endDocument);
  places_.clear();
  processor().processDeferred();
  complete_ = true;
}

void TreeEventReader::startMetadata() {
  if (refused_ || skip(Event::startMetadata)) return;
  switch (place()) {
    case Place::document:
      places_.back() = Place::documentMetadata;
      return;
    case Place::roots:
    case Place::property:
    case Place::list:
      return startObject();
    default:
      failUnexpected(Event::startMetadata);
  }
}

void TreeEventReader::endMetadata() {
  if (refused_ || skip(Event::endMetadata)) return;
  switch (place()) {
    case Place::documentMetadata:
      return finishMetadata();
    case Place::objectMetadata:
      if (!header_.hasType) fail("the metadata of an object has no entry \"type\"");
      places_.back() = Place::objectBody;
      return;
    default:
      failUnexpected(Event::endMetadata);
  }
}

void TreeEventReader::startSequence() {
  if (refused_ || skip(Event::startSequence)) return;
  switch (place()) {
    case Place::packages:
      return places_.push_back(Place::packageList);
    case Place::documentBody:
      places_.back() = Place::documentEnd;
      last_ = Last::nothing;
      return places_.push_back(Place::roots);
    case Place::identity:
      return places_.push_back(Place::identityList);
    case Place::property:
      if (openList()) return;
      break;
    default:
      break;
  }
  failUnexpected(Event::startSequence);
}

void TreeEventReader::endSequence() {
  if (refused_ || skip(Event::endSequence)) return;
  const Place ended = place();
  switch (ended) {
    case Place::packageList:
      acceptPackages();
      break;
    case Place::identityList:
      if (header_.idTexts != 2) fail("an identity does not have two texts");
      break;
    case Place::roots:
    case Place::list:
      break;
    default:
      failUnexpected(Event::endSequence);
  }
  places_.pop_back();
  if (ended != Place::roots) places_.back() = Place::entryEnd;
  last_ = Last::sequence;
}

void TreeEventReader::startStruct() {
  if (refused_ || skip(Event::startStruct)) return;
  switch (place()) {
    case Place::objectBody:
      return openObject();
    case Place::property:
    case Place::list:
      return startDatatypeOrReference();
    default:
      failUnexpected(Event::startStruct);
  }
}

void TreeEventReader::endStruct() {
  if (refused_ || skip(Event::endStruct)) return;
  switch (place()) {
    case Place::body:
      return closeBody();
    case Place::reference:
      return finishReference();
    default:
      failUnexpected(Event::endStruct);
  }
}

void TreeEventReader::startNamedEntry(const Primitive& name) {
  if (refused_ || skip(Event::startNamedEntry)) return;
  const std::string* text = std::get_if<std::string>(&name);
  if (text == nullptr) fail("the name of an entry is " + describe(name) + ", not a text");
  switch (place()) {
    case Place::documentMetadata:
      return startDocumentEntry(*text);
    case Place::objectMetadata:
      return startHeaderEntry(*text, false);
    case Place::reference:
      return startHeaderEntry(*text, true);
    case Place::body:
      return startProperty(*text);
    default:
      failUnexpected(Event::startNamedEntry);
  }
}

void TreeEventReader::endNamedEntry() {
  if (refused_ || skip(Event::endNamedEntry)) return;
  if (!closeEntry()) failUnexpected(Event::endNamedEntry);
}

void TreeEventReader::writePrimitive(const Primitive& value) {
  if (refused_ || skip(Event::writePrimitive)) return;
  switch (place()) {
    case Place::version:
      return readVersion(value);
    case Place::packageList:
      return readPackage(value);
    case Place::identityList:
      return readIdentityText(value);
    case Place::text:
      *text_ = textOf(value);
      places_.back() = Place::entryEnd;
      return;
    case Place::property:
      readValue(value, false);
      last_ = Last::primitive;
      return valueDone();
    case Place::list:
      readValue(value, true);
      last_ = Last::primitive;
      return;
    default:
      failUnexpected(describe(value));
  }
}

// --- The document's metadata

void TreeEventReader::startDocumentEntry(const std::string& name) {
  const bool isVersionEntry = name == tree::kVersionEntry;
  if (!isVersionEntry && name != tree::kPackagesEntry)
    fail("the metadata of the document has an unknown entry \"" + name + "\"");
  bool& seen = isVersionEntry ? hasVersion_ : hasPackages_;
  if (seen) fail("the metadata of the document has two entries \"" + name + "\"");
  seen = true;
  places_.push_back(isVersionEntry ? Place::version : Place::packages);
}

void TreeEventReader::readVersion(const Primitive& value) {
  if (!isVersion(value)) failUnexpected(describe(value));
  processor().setVersion(u"1");
  places_.back() = Place::entryEnd;
}

void TreeEventReader::readPackage(const Primitive& value) {
  toUtf16(textOf(value), packages_.emplace_back());
}

void TreeEventReader::acceptPackages() {
  ParseCustomizer& customizer = processor().getCustomizer();
  if (customizer.setPackageUris(packages_)) return;
  const std::string& problem = customizer.getProblem();
  refuse(problem.empty() ? "the packages of the document were refused" : problem);
}

void TreeEventReader::finishMetadata() {
  if (!hasVersion_) fail("the metadata of the document has no entry \"version\"");
  if (!hasPackages_) fail("the metadata of the document has no entry \"packages\"");
  places_.back() = Place::documentBody;
}

// --- Metadata of objects, and references

void TreeEventReader::startHeaderEntry(const std::string& name, bool isReference) {
  const bool isType = name == tree::kTypeEntry;
  const bool isQualifier = isReference && name == tree::kQualifierEntry;
  const auto failEntry = [&](const std::string& fault) {
    fail((isReference ? "a reference has " : "the metadata of an object has ") + fault + " \"" + name + "\"");
  };
  if (!isType && !isQualifier && name != tree::kIdEntry) failEntry("an unknown entry");
  bool& seen = isType ? header_.hasType : isQualifier ? header_.hasQualifier : header_.hasId;
  if (seen) failEntry("two entries");
  seen = true;
  text_ = isType ? &header_.type : &header_.qualifier;
  places_.push_back(isType || isQualifier ? Place::text : Place::identity);
}

void TreeEventReader::readIdentityText(const Primitive& value) {
  if (header_.idTexts == 2) fail("an identity has more than two texts");
  (header_.idTexts == 0 ? header_.id1 : header_.id2) = requireWellFormed(textOf(value));
  ++header_.idTexts;
}

void TreeEventReader::finishReference() {
  if (!header_.hasType) fail("a reference has no entry \"type\"");
  if (!header_.hasId) fail("a reference has no entry \"id\"");
  places_.pop_back();
  if (header_.hasQualifier) requireWellFormed(header_.qualifier);
  addReference(bodies_.back().property, knownType(header_.type));
  last_ = Last::structure;
  valueDone();
}

void TreeEventReader::addReference(const OpenProperty& property, KnownType& type) {
  const bool isQualified = header_.hasQualifier;
  if (bulk_ == nullptr) {
    const auto qualifier = boost::make_optional(isQualified, toUtf16(header_.qualifier));
    return processor().addDeferredReference(*type.name, *property.name, toUtf16(header_.id1),
                                            toUtf16(header_.id2), qualifier);
  }
  const std::string_view qualifier = header_.qualifier;
  bulk_->addReference(property.place, numberOf(type), {0, header_.id1, header_.id2},
                      isQualified ? &qualifier : nullptr);
}

std::uint32_t TreeEventReader::numberOf(KnownType& type) {
  if (type.number == KnownType::kNoNumber) type.number = bulk_->numberTypeName(type.utf8);
  return type.number;
}

// --- Objects and datatype values

void TreeEventReader::startObject() {
  if (place() != Place::roots) {
    const OpenProperty& property = bodies_.back().property;
    const PropertyCategory wanted =
        place() == Place::list ? PropertyCategory::CompositionCollection() : PropertyCategory::Composition();
    if (!property.category.isA(wanted)) failUnexpected("an object");
  }
  header_.clear();
  places_.push_back(Place::objectMetadata);
}

void TreeEventReader::openObject() {
  places_.pop_back();
  const OpenProperty* property = nullptr;
  if (place() != Place::roots) {
    announce();
    property = &bodies_.back().property;
  }
  openBody(property, knownType(header_.type), header_.id1, header_.id2, true);
}

/// Opens an object or datatype value, in a property or at the top.
void TreeEventReader::openBody(const OpenProperty* property, KnownType& type, std::string_view id1,
                               std::string_view id2, bool isObject) {
  const bool isTaken = push(property, type, id1, id2);
  const ustring* const closeName = property != nullptr ? property->name : type.name;
  bodies_.push_back({&type, closeName, isObject, 0, {}});
  places_.push_back(isTaken ? Place::body : Place::refusedBody);
  last_ = Last::nothing;
  if (!isTaken) refuse(isObject ? "an element was refused" : "a datatype value was refused");
}

bool TreeEventReader::push(const OpenProperty* property, KnownType& type, std::string_view id1,
                           std::string_view id2) {
  if (bulk_ == nullptr) return processor().push(*type.name, toUtf16(id1), toUtf16(id2));
  const meta::StructuredType known = type.type ? type.type : bulk_->findType(type.utf8);
  if (!known) return false;
  if (type.properties.empty() && type.type) {
    const std::vector<meta::Property>& all = type.type->getAllProperties();
    for (std::size_t slot = 0; slot < all.size(); ++slot)
      type.properties.push_back(knownProperty(slot, all[slot]));
  }
  const ElementIdentity identity{0, id1, id2};
  return property == nullptr ? bulk_->pushRoot(known, identity)
                             : bulk_->pushChild(property->place, known, identity);
}

void TreeEventReader::startDatatypeOrReference() {
  const bool inList = place() == Place::list;
  const PropertyCategory category = bodies_.back().property.category;
  if (category.isA(inList ? PropertyCategory::AssociationCollection() : PropertyCategory::Association())) {
    header_.clear();
    return places_.push_back(Place::reference);
  }
  if (!category.isA(inList ? PropertyCategory::DatatypeCollection() : PropertyCategory::Datatype()))
    failUnexpected(Event::startStruct);
  openDatatype();
}

void TreeEventReader::openDatatype() {
  announce();
  const OpenProperty& property = bodies_.back().property;
  const meta::Type datatype = bulk_ != nullptr ? property.type : processor().getPropertyType(*property.name);
  openBody(&property, knownType(datatype->qualifiedName()), {}, {}, false);
}

void TreeEventReader::closeBody() {
  if (bulk_ != nullptr)
    bulk_->pop();
  else
    processor().pop(*bodies_.back().closeName);
  last_ = bodies_.back().isObject ? Last::object : Last::structure;
  bodies_.pop_back();
  places_.pop_back();
  valueDone();
}

/// Moves a property past its single value; a sequence goes on.
void TreeEventReader::valueDone() {
  if (place() == Place::property) places_.back() = Place::entryEnd;
}

// --- Properties

void TreeEventReader::startProperty(const std::string& name) {
  if (skipUnknown(name)) return;
  Body& body = bodies_.back();
  body.property = openProperty(body, name);
  places_.push_back(Place::property);
  last_ = Last::nothing;
  if (body.property.category == PropertyCategory()) fail("the property has no stored value");
}

/// Begins to leave a property out, where the meta model does not have it and the caller wants that.
bool TreeEventReader::skipUnknown(const std::string& name) {
  const SkipListener& listener = parser_.getOptions().skipped;
  if (!listener || !bodies_.back().type->type || findSlot(bodies_.back(), name) != kNoSlot) return false;
  listener(processor().getPath() + ": property \"" + requireWellFormed(name) + "\" of type " +
           bodies_.back().type->utf8);
  places_.push_back(Place::skipped);
  skipDepth_ = 1;
  return true;
}

/// Passes over an event in a property that is left out. The grammar has seen that it fits.
bool TreeEventReader::skip(Event event) {
  if (skipDepth_ == 0) return false;
  switch (event) {
    case Event::startStruct:
    case Event::startNamedEntry:
    case Event::startSequence:
    case Event::startMetadata:
      ++skipDepth_;
      break;
    case Event::endStruct:
    case Event::endNamedEntry:
    case Event::endSequence:
    case Event::endMetadata:
      --skipDepth_;
      break;
    default:
      break;
  }
  if (skipDepth_ != 0) return true;
  places_.pop_back();
  last_ = Last::entry;
  return true;
}

/// Looks a property up and announces it. Where there is none, the parse processor says so.
TreeEventReader::OpenProperty TreeEventReader::openProperty(Body& body, const std::string& name) {
  const std::size_t slot = findSlot(body, name);
  if (slot == kNoSlot) {
    ustring& other = body.type->otherProperties[name];
    toUtf16(name, other);
    return openPropertyByName(other);
  }
  if (bulk_ == nullptr) return openPropertyByName(body.type->type->getAllProperties()[slot]->getName());
  const KnownProperty& property = body.type->properties[slot];
  announceCollection(property);
  return property.open;
}

void TreeEventReader::announceCollection(const KnownProperty& property) {
  const PropertyCategory category = property.open.category;
  if (category.isA(PropertyCategory::PrimitiveCollection()) ||
      category.isA(PropertyCategory::AssociationCollection()))
    bulk_->announceCollection(property.open.place);
}

TreeEventReader::KnownProperty TreeEventReader::knownProperty(std::size_t slot, meta::Property property) {
  const meta::Type type = property->getType();
  const StandardType standard = standardTypeOf(type);
  KnownProperty known;
  known.name = property->name();
  known.open = {
      &property->getName(), {slot, property.get()}, categoryOf(*property.get()), type, standard, true};
  if (!known.open.category.isA(PropertyCategory::PrimitiveAny())) return known;
  if (!isNumber(standard)) {
    known.takes = Takes::text;
  } else if (meta::infoOf(standard).isInteger()) {
    known.takes = Takes::integer;
    if (standard == StandardType::uinteger64) {
      known.high = ~std::uint64_t{0};
    } else {
      const zero::internal::IntegerRange range = zero::internal::rangeOf(standard);
      known.low = range.low;
      known.high = static_cast<std::uint64_t>(range.high);
    }
  } else if (standard == StandardType::real) {
    known.takes = Takes::real;
  } else if (standard == StandardType::boolean) {
    known.takes = Takes::boolean;
  }
  return known;
}

bool TreeEventReader::isCollection(PropertyCategory category) {
  return category.isA(PropertyCategory::PrimitiveCollection()) ||
         category.isA(PropertyCategory::DatatypeCollection()) ||
         category.isA(PropertyCategory::CompositionCollection()) ||
         category.isA(PropertyCategory::AssociationCollection());
}

TreeEventReader::OpenProperty TreeEventReader::openPropertyByName(const ustring& name) {
  const PropertyCategory category = processor().getPropertyCategory(name);
  meta::Type type;
  if (category.isA(PropertyCategory::PrimitiveAny())) type = processor().getPropertyType(name);
  return {&name, {kNoSlot, nullptr}, category, type, standardTypeOf(type), true};
}

/// The parse processor wants to hear of a property before every element in it.
void TreeEventReader::announce() {
  if (bulk_ != nullptr) return;
  OpenProperty& property = bodies_.back().property;
  if (!property.announced) processor().getPropertyCategory(*property.name);
  property.announced = false;
}

void TreeEventReader::readValue(const Primitive& value, bool inList) {
  const OpenProperty& property = bodies_.back().property;
  if (std::holds_alternative<std::nullptr_t>(value) && !inList)
    return bulk_ != nullptr ? bulk_->setEmpty(property.place) : processor().setEmptyValue(*property.name);
  const PropertyCategory wanted =
      inList ? PropertyCategory::PrimitiveCollection() : PropertyCategory::Primitive();
  if (!property.category.isA(wanted)) failUnexpected(describe(value));
  if (isNumber(property.standard)) return readNumber(property, property.standard, value);
  const std::string& text = textOf(value);
  if (bulk_ != nullptr) return static_cast<void>(bulk_->setText(property.place, requireWellFormed(text)));
  toUtf16(text, scratch_);
  processor().setValue(*property.name, scratch_);
}

void TreeEventReader::readNumber(const OpenProperty& property, StandardType type, const Primitive& value) {
  std::uint64_t payload = 0;
  if (meta::infoOf(type).isInteger())
    payload = integerPayload(type, value);
  else if (const auto* number = std::get_if<double>(&value); number != nullptr && type == StandardType::real)
    payload = std::bit_cast<std::uint64_t>(*number);
  else if (const auto* truth = std::get_if<bool>(&value); truth != nullptr && type == StandardType::boolean)
    payload = *truth ? 1 : 0;
  else
    failUnexpected(describe(value));
  if (bulk_ != nullptr) return bulk_->setNumber(property.place, payload);
  processor().setVerbatimValue(*property.name,
                               zero::internal::toValue(property.type, type, ValueFlags::single, payload));
}

std::uint64_t TreeEventReader::integerPayload(StandardType type, const Primitive& value) const {
  const auto require = [&](bool inRange) {
    if (!inRange)
      fail(describe(value) + " is out of the range of its type " +
           bodies_.back().property.type->qualifiedName() + ", " + rangeText(type));
  };
  if (const auto* number = std::get_if<std::uint64_t>(&value)) {
    require(isInRange(type, *number));
    return *number;
  }
  const auto* number = std::get_if<std::int64_t>(&value);
  if (number == nullptr) failUnexpected(describe(value));
  require(isInRange(type, *number));
  return static_cast<std::uint64_t>(*number);
}

// --- Names and texts

TreeEventReader::KnownType& TreeEventReader::knownType(std::string_view name) {
  if (lastType_ != nullptr && lastType_->utf8 == name) return *lastType_;
  const auto found = types_.find(name);
  std::unique_ptr<KnownType>& known = found != types_.end() ? found->second : types_[std::string(name)];
  if (known == nullptr) {
    auto made = std::make_unique<KnownType>();
    made->utf8 = name;
    toUtf16(made->utf8, made->own);
    made->name = &made->own;
    if (const meta::Type type = processor().getCustomizer().getMetaClass(made->own)) {
      made->type = meta::StructuredType(type);
      if (made->own == type->getQualifiedName()) made->name = &type->getQualifiedName();
    }
    known = std::move(made);
  }
  lastType_ = known.get();
  return *known;
}

/// Properties tend to come in the order of the meta model.
std::size_t TreeEventReader::findSlot(Body& body, const std::string& name) const {
  const meta::StructuredType type = body.type->type;
  if (!type) return kNoSlot;
  const std::vector<meta::Property>& all = type->getAllProperties();
  std::size_t slot = body.nextSlot;
  while (slot < all.size() && slot < body.nextSlot + 2 && all[slot]->name() != name) ++slot;
  if (slot >= all.size() || slot >= body.nextSlot + 2) slot = type->findSlot(std::string_view(name));
  if (slot != kNoSlot) body.nextSlot = slot + 1;
  return slot;
}

const std::string& TreeEventReader::requireWellFormed(const std::string& text) const {
  if (!fl::i18n::isWellFormedUtf8(text)) parser_.failCorrupt(kMalformedText);
  return text;
}

ustring TreeEventReader::toUtf16(std::string_view text) const {
  ustring converted;
  toUtf16(std::string(text), converted);
  return converted;
}

void TreeEventReader::toUtf16(const std::string& text, ustring& into) const {
  if (!toUtf16_.convert(text, into)) parser_.failCorrupt(kMalformedText);
}

const std::string& TreeEventReader::textOf(const Primitive& value) const {
  const std::string* text = std::get_if<std::string>(&value);
  if (text == nullptr) failUnexpected(describe(value));
  return *text;
}

// --- Refusals

void TreeEventReader::refuse(const std::string& problem) {
  if (processor().getProblems().empty()) processor().addProblem(problem);
  refused_ = true;
}

std::string TreeEventReader::where() const {
  std::string path = processor().getPath();
  // In the body of a child that is being announced the innermost property is still the container's.
  for (auto it = places_.rbegin(); it != places_.rend() && *it != Place::body && !bodies_.empty(); ++it)
    if (*it == Place::property || *it == Place::list)
      return path + "." + zero::toUtf8(*bodies_.back().property.name);
  return path;
}

std::string TreeEventReader::expectedValue() const {
  const OpenProperty& property = bodies_.back().property;
  const bool single = place() == Place::property;
  if (single && isCollection(property.category)) return "a sequence";
  if (property.category.isA(PropertyCategory::CompositionAny())) return "an object";
  if (property.category.isA(PropertyCategory::DatatypeAny())) return "a struct";
  if (property.category.isA(PropertyCategory::AssociationAny())) return "a reference";
  return "a value of type " + property.type->qualifiedName();
}

std::string TreeEventReader::expected() const {
  switch (place()) {
    case Place::nowhere:
      return "no event outside of a document";
    case Place::document:
      return "the metadata of the document";
    case Place::documentMetadata:
      return "an entry \"version\" or \"packages\"";
    case Place::version:
      return "the number 1";
    case Place::packages:
      return "a sequence of texts";
    case Place::documentBody:
      return "the sequence of objects";
    case Place::roots:
      return "an object";
    case Place::documentEnd:
      return "the end of the document";
    case Place::objectMetadata:
      return "an entry \"type\" or \"id\"";
    case Place::identity:
      return "a sequence of two texts";
    case Place::packageList:
    case Place::identityList:
    case Place::text:
      return "a text";
    case Place::objectBody:
      return "the struct of the object";
    case Place::body:
    case Place::refusedBody:
    case Place::skipped:
      return "a property";
    case Place::property:
    case Place::list:
      return expectedValue();
    case Place::reference:
      return "an entry \"type\", \"id\" or \"qualifier\"";
    case Place::entryEnd:
      return "the end of the entry";
  }
  return {};
}

void TreeEventReader::fail(const std::string& what) const {
  throw ValueError({.path = where(), .problem = what});
}

void TreeEventReader::failUnexpected(const std::string& found) const {
  const std::string wanted = expected();
  throw ValueError({.path = where(),
                    .problem = "expected " + wanted + ", found " + found,
                    .expected = wanted,
                    .found = found});
}

void TreeEventReader::failUnexpected(Event found) const { failUnexpected(textOfEvent(found)); }

}  // namespace kr::zero::io::internal
