#include "io/TreeEventReader.h"

#include <array>
#include <bit>

#include "io/TreeEventNames.h"
#include "kr/zero/io/ParseProcessor.h"
#include "model/Numbers.h"

namespace kr::zero::io::internal {

using meta::StandardType;
using Primitive = TreeEventReader::Primitive;

/// A type of the document, with the names that the parse processor knows it by.
struct TreeEventReader::KnownType {
  std::string utf8;
  ustring own;
  const ustring* name = nullptr;  // the meta model's own string where it has the type, else `own`
  meta::StructuredType type;
  std::unordered_map<std::string, ustring> otherProperties;  // that the type does not have
};

namespace {

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
  const std::string kind = kinds[value.index()];
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
  const meta::PrimitiveType primitive(type);
  return primitive ? primitive->getStandardType() : StandardType::none;
}

bool isCollection(PropertyCategory category) {
  return category.isA(PropertyCategory::PrimitiveCollection()) ||
         category.isA(PropertyCategory::DatatypeCollection()) ||
         category.isA(PropertyCategory::CompositionCollection()) ||
         category.isA(PropertyCategory::AssociationCollection());
}

bool isVersion(const Primitive& value) {
  if (const auto* number = std::get_if<std::uint64_t>(&value)) return *number == kTreeDocumentVersion;
  const auto* number = std::get_if<std::int64_t>(&value);
  return number != nullptr && *number == static_cast<std::int64_t>(kTreeDocumentVersion);
}

}  // namespace

TreeEventReader::TreeEventReader(const KRSylvanParser& parser) : parser_(parser) {}
TreeEventReader::~TreeEventReader() = default;

void TreeEventReader::Header::clear() {
  type.clear();
  qualifier.clear();
  id1.clear();
  id2.clear();
  idTexts = 0;
  hasType = hasId = hasQualifier = false;
}

// What an earlier document left behind is gone now, however it ended.
void TreeEventReader::startDocument(const Primitive&) {
  places_.assign(1, Place::document);
  bodies_.clear();
  header_.clear();
  packages_.clear();
  types_.clear();
  lastType_ = nullptr;
  hasVersion_ = hasPackages_ = complete_ = refused_ = false;
}

void TreeEventReader::endDocument() {
  if (refused_) return;
  if (place() != Place::documentEnd) failUnexpected(Event::endDocument);
  places_.clear();
  processor().processDeferred();
  complete_ = true;
}

void TreeEventReader::startMetadata() {
  if (refused_) return;
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
  if (refused_) return;
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
  if (refused_) return;
  switch (place()) {
    case Place::packages:
      return places_.push_back(Place::packageList);
    case Place::documentBody:
      places_.back() = Place::documentEnd;
      return places_.push_back(Place::roots);
    case Place::identity:
      return places_.push_back(Place::identityList);
    case Place::property:
      if (isCollection(bodies_.back().property.category)) return places_.push_back(Place::list);
      break;
    default:
      break;
  }
  failUnexpected(Event::startSequence);
}

void TreeEventReader::endSequence() {
  if (refused_) return;
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
}

void TreeEventReader::startStruct() {
  if (refused_) return;
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
  if (refused_) return;
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
  if (refused_) return;
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
  if (refused_) return;
  if (place() != Place::entryEnd) failUnexpected(Event::endNamedEntry);
  places_.pop_back();
}

void TreeEventReader::writePrimitive(const Primitive& value) {
  if (refused_) return;
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
      return valueDone();
    case Place::list:
      return readValue(value, true);
    default:
      failUnexpected(describe(value));
  }
}

// --- The document's metadata

void TreeEventReader::startDocumentEntry(const std::string& name) {
  const bool isVersionEntry = name == kVersionEntry;
  if (!isVersionEntry && name != kPackagesEntry)
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
  const bool isType = name == kTypeEntry;
  const bool isQualifier = isReference && name == kQualifierEntry;
  const auto failEntry = [&](const std::string& fault) {
    fail((isReference ? "a reference has " : "the metadata of an object has ") + fault + " \"" + name + "\"");
  };
  if (!isType && !isQualifier && name != kIdEntry) failEntry("an unknown entry");
  bool& seen = isType ? header_.hasType : isQualifier ? header_.hasQualifier : header_.hasId;
  if (seen) failEntry("two entries");
  seen = true;
  text_ = isType ? &header_.type : &header_.qualifier;
  places_.push_back(isType || isQualifier ? Place::text : Place::identity);
}

void TreeEventReader::readIdentityText(const Primitive& value) {
  if (header_.idTexts == 2) fail("an identity has more than two texts");
  toUtf16(textOf(value), header_.idTexts == 0 ? header_.id1 : header_.id2);
  ++header_.idTexts;
}

void TreeEventReader::finishReference() {
  if (!header_.hasType) fail("a reference has no entry \"type\"");
  if (!header_.hasId) fail("a reference has no entry \"id\"");
  places_.pop_back();
  boost::optional<ustring> qualifier;
  if (header_.hasQualifier) toUtf16(header_.qualifier, *(qualifier = ustring()));
  processor().addDeferredReference(*knownType(header_.type).name, *bodies_.back().property.name, header_.id1,
                                   header_.id2, qualifier);
  valueDone();
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
  const ustring* property = nullptr;
  if (place() != Place::roots) {
    announce();
    property = bodies_.back().property.name;
  }
  KnownType& type = knownType(header_.type);
  if (!processor().push(*type.name, header_.id1, header_.id2)) return refuse("an element was refused");
  bodies_.push_back({&type, property != nullptr ? property : type.name, 0, {}});
  places_.push_back(Place::body);
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
  const meta::Type datatype = processor().getPropertyType(*property.name);
  KnownType& type = knownType(datatype->getQualifiedNameUtf8());
  if (!processor().push(*type.name, ustring(), ustring())) return refuse("a datatype value was refused");
  bodies_.push_back({&type, property.name, 0, {}});
  places_.push_back(Place::body);
}

void TreeEventReader::closeBody() {
  processor().pop(*bodies_.back().closeName);
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
  Body& body = bodies_.back();
  body.property = {&propertyName(body, name), PropertyCategory(), meta::Type(), true};
  body.property.category = processor().getPropertyCategory(*body.property.name);
  if (body.property.category == PropertyCategory()) {
    places_.push_back(Place::property);  // for the message
    fail("the property has no stored value");
  }
  if (body.property.category.isA(PropertyCategory::PrimitiveAny()))
    body.property.type = processor().getPropertyType(*body.property.name);
  places_.push_back(Place::property);
}

/// The parse processor wants to hear of a property before every element in it.
void TreeEventReader::announce() {
  OpenProperty& property = bodies_.back().property;
  if (!property.announced) processor().getPropertyCategory(*property.name);
  property.announced = false;
}

void TreeEventReader::readValue(const Primitive& value, bool inList) {
  const OpenProperty& property = bodies_.back().property;
  if (std::holds_alternative<std::nullptr_t>(value) && !inList)
    return processor().setEmptyValue(*property.name);
  const PropertyCategory wanted =
      inList ? PropertyCategory::PrimitiveCollection() : PropertyCategory::Primitive();
  if (!property.category.isA(wanted)) failUnexpected(describe(value));
  const StandardType standard = standardTypeOf(property.type);
  if (standard >= StandardType::boolean && standard <= StandardType::real)
    return readNumber(property, standard, value);
  toUtf16(textOf(value), scratch_);
  processor().setValue(*property.name, scratch_);
}

void TreeEventReader::readNumber(const OpenProperty& property, StandardType type, const Primitive& value) {
  std::uint64_t payload = 0;
  if (zero::internal::isInteger(type))
    payload = integerPayload(type, value);
  else if (const auto* number = std::get_if<double>(&value); number != nullptr && type == StandardType::real)
    payload = std::bit_cast<std::uint64_t>(*number);
  else if (const auto* truth = std::get_if<bool>(&value); truth != nullptr && type == StandardType::boolean)
    payload = *truth ? 1 : 0;
  else
    failUnexpected(describe(value));
  processor().setVerbatimValue(*property.name,
                               zero::internal::toValue(property.type, type, ValueFlags::single, payload));
}

std::uint64_t TreeEventReader::integerPayload(StandardType type, const Primitive& value) const {
  const auto require = [&](bool inRange) {
    if (!inRange)
      fail(describe(value) + " is out of the range of its type " +
           bodies_.back().property.type->getQualifiedNameUtf8() + ", " + rangeText(type));
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

TreeEventReader::KnownType& TreeEventReader::knownType(const std::string& name) {
  if (lastType_ != nullptr && lastType_->utf8 == name) return *lastType_;
  std::unique_ptr<KnownType>& known = types_[name];
  if (known == nullptr) {
    auto made = std::make_unique<KnownType>();
    made->utf8 = name;
    toUtf16(name, made->own);
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

/// The name in the string that the parse processor finds fastest. Properties tend to come in the order of
/// the meta model.
const ustring& TreeEventReader::propertyName(Body& body, const std::string& name) {
  if (const meta::StructuredType type = body.type->type) {
    const std::vector<meta::Property>& all = type->getAllProperties();
    for (const std::size_t slot : {body.nextSlot, body.nextSlot + 1})
      if (slot < all.size() && all[slot]->getNameUtf8() == name) {
        body.nextSlot = slot + 1;
        return all[slot]->getName();
      }
    if (const meta::Property property = type->findProperty(std::string_view(name))) {
      body.nextSlot = type->slotOf(property) + 1;
      return property->getName();
    }
  }
  ustring& other = body.type->otherProperties[name];
  toUtf16(name, other);
  return other;
}

void TreeEventReader::toUtf16(const std::string& text, ustring& into) const {
  if (!toUtf16_.convert(text, into)) parser_.failCorrupt("a text is not well-formed UTF-8");
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
  return "a value of type " + property.type->getQualifiedNameUtf8();
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

void TreeEventReader::fail(const std::string& what) const { throw ValueError(where() + ": " + what); }

void TreeEventReader::failUnexpected(const std::string& found) const {
  fail("expected " + expected() + ", found " + found);
}

void TreeEventReader::failUnexpected(Event found) const { failUnexpected(textOfEvent(found)); }

}  // namespace kr::zero::io::internal
