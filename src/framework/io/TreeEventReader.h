/// @file
/// Internal: builds a model from tree events.
#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "fl/i18n/converter.h"
#include "kr/zero/io/KRSylvanParser.h"
#include "kr/zero/io/PropertyCategory.h"
#include "modeling/sylvan/SylvanEventCode.h"
#include "modeling/sylvan/SylvanEventProcessor.h"

namespace kr::zero::io::internal {

/// For the shape of the document see KRSylvanSerializer, for what is refused KRSylvanParser.
///
/// Keeps a stack of places in the document; every event either fits the innermost place and moves it on,
/// or is refused.
class TreeEventReader final : public modeling::sylvan::SylvanEventProcessor<void> {
 public:
  using Primitive = modeling::sylvan::SylvanPrimitive;

  /// @param parser whose processor builds the model and who raises the format's errors.
  explicit TreeEventReader(const KRSylvanParser& parser);
  ~TreeEventReader() override;

  /// Whether the last document was ended, or refused by the parse processor.
  bool isComplete() const noexcept { return complete_ || refused_; }

  void startDocument(const Primitive& value) override;
  void endDocument() override;
  void startStruct() override;
  void endStruct() override;
  void startNamedEntry(const Primitive& name) override;
  void endNamedEntry() override;
  void startSequence() override;
  void endSequence() override;
  void startMetadata() override;
  void endMetadata() override;
  void writePrimitive(const Primitive& value) override;

 private:
  using Event = modeling::sylvan::SylvanEventCode;
  struct KnownType;

  enum class Place : std::uint8_t {
    nowhere,           // no document is open
    document,          // before its metadata
    documentMetadata,  // between its entries
    version,
    packages,
    packageList,
    documentBody,  // before the sequence of objects
    roots,
    documentEnd,
    objectMetadata,
    identity,  // of an object or a reference
    identityList,
    text,        // an entry that holds one text
    objectBody,  // between an object's metadata and its struct
    body,        // between the properties of an object or datatype value
    property,
    list,  // in a property's sequence
    reference,
    entryEnd,  // after an entry's value
  };

  /// A property whose entry is open.
  struct OpenProperty {
    const ustring* name = nullptr;
    PropertyCategory category;
    meta::Type type;
    bool announced = false;  // to the parse processor, for the next value
  };

  /// An object or datatype value that is open.
  struct Body {
    KnownType* type;
    const ustring* closeName;  // what the parse processor closes it by
    std::size_t nextSlot = 0;  // where the next property is expected
    OpenProperty property;
  };

  /// What comes before an object's properties, or makes a reference.
  struct Header {
    std::string type;
    std::string qualifier;
    ustring id1;
    ustring id2;
    std::size_t idTexts = 0;
    bool hasType = false;
    bool hasId = false;
    bool hasQualifier = false;
    void clear();
  };

  Place place() const noexcept { return places_.empty() ? Place::nowhere : places_.back(); }
  ParseProcessor& processor() const { return *parser_.getParseProcessor(); }

  void startDocumentEntry(const std::string& name);
  void startHeaderEntry(const std::string& name, bool isReference);
  void startProperty(const std::string& name);
  void startObject();
  void startDatatypeOrReference();
  void openObject();
  void openDatatype();
  void closeBody();
  void finishReference();
  void finishMetadata();
  void announce();
  void valueDone();

  void readVersion(const Primitive& value);
  void readPackage(const Primitive& value);
  void acceptPackages();
  void readIdentityText(const Primitive& value);
  void readValue(const Primitive& value, bool inList);
  void readNumber(const OpenProperty& property, meta::StandardType type, const Primitive& value);
  std::uint64_t integerPayload(meta::StandardType type, const Primitive& value) const;

  KnownType& knownType(const std::string& name);
  const ustring& propertyName(Body& body, const std::string& name);
  void toUtf16(const std::string& text, ustring& into) const;
  void refuse(const std::string& problem);

  std::string where() const;
  std::string expected() const;
  std::string expectedValue() const;
  [[noreturn]] void fail(const std::string& what) const;
  [[noreturn]] void failUnexpected(const std::string& found) const;
  [[noreturn]] void failUnexpected(Event found) const;
  const std::string& textOf(const Primitive& value) const;

  const KRSylvanParser& parser_;
  std::vector<Place> places_;
  std::vector<Body> bodies_;
  Header header_;
  std::string* text_ = nullptr;  // where the text of an open entry goes
  std::vector<ustring> packages_;
  bool hasVersion_ = false;
  bool hasPackages_ = false;
  bool complete_ = false;
  bool refused_ = false;
  std::unordered_map<std::string, std::unique_ptr<KnownType>> types_;
  KnownType* lastType_ = nullptr;
  ustring scratch_;
  fl::i18n::codecvt_string_to_ustring toUtf16_{"UTF8", true};
};

}  // namespace kr::zero::io::internal
