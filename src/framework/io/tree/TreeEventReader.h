/// @file
/// Internal: builds a model from tree events.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "fl/i18n/converter.h"
#include "kr/zero/TextHash.h"
#include "kr/zero/io/BulkParseProcessor.h"
#include "kr/zero/io/KRSylvanParser.h"
#include "kr/zero/io/PropertyCategory.h"
#include "kr/zero/io/TreeUnitTarget.h"
#include "modeling/sylvan/SylvanEventCode.h"
#include "modeling/sylvan/SylvanEventProcessor.h"

namespace kr::zero::io::internal {

/// For the shape of the document see KRSylvanSerializer, for what is refused KRSylvanParser.
///
/// Keeps a stack of places in the document; every event either fits the innermost place and moves it on,
/// or is refused. Units that fit pass several places at once; others are left to the events.
class TreeEventReader final : public modeling::sylvan::SylvanEventProcessor<void>, public TreeUnitTarget {
 public:
  using Primitive = modeling::sylvan::SylvanPrimitive;

  /// @param parser whose processor builds the model and who raises the format's errors.
  explicit TreeEventReader(const KRSylvanParser& parser);
  ~TreeEventReader() override;

  /// Whether the last document was ended, or refused by the parse processor.
  bool isComplete() const noexcept { return complete_ || refused_; }

  /// Forgets the document, however it ended, but whether it is complete.
  void giveBackMemory() noexcept;

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

  bool takesUnits() const noexcept override;
  std::vector<modeling::sylvan::SylvanEventCode> listWay() const override;
  bool openObject(std::string_view type, std::string_view id1, std::string_view id2) override;
  bool openDatatypeValue() override;
  bool closeStruct() override;
  bool openEntry(std::string_view name) override;
  bool closeEntry() override;
  bool openList() override;
  bool closeList() override;
  bool addEntry(std::string_view name, const TreeValue& value) override;
  bool addItem(const TreeValue& value) override;
  bool addReference(std::string_view type, std::string_view id1, std::string_view id2,
                    const std::string_view* qualifier) override;

 private:
  using Event = modeling::sylvan::SylvanEventCode;
  static constexpr std::size_t kNoSlot = meta::StructuredType::Impl::npos;

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
    text,         // an entry that holds one text
    objectBody,   // between an object's metadata and its struct
    body,         // between the properties of an object or datatype value
    refusedBody,  // of what the parse processor refused: nothing fits here
    skipped,      // in a property that the meta model does not have and that is left out
    property,
    list,  // in a property's sequence
    reference,
    entryEnd,  // after an entry's value
  };

  /// A property whose entry is open.
  struct OpenProperty {
    const ustring* name = nullptr;
    PropertyPlace place{0, nullptr};  // for larger units
    PropertyCategory category;
    meta::Type type;                                         // of a primitive
    meta::StandardType standard = meta::StandardType::none;  // that this type is
    bool announced = false;                                  // to the parse processor, for the next value
  };

  /// What ended last in the innermost construct.
  enum class Last : std::uint8_t { nothing, primitive, sequence, structure, object, entry };

  /// What fits a property, as a unit.
  enum class Takes : std::uint8_t { nothing, text, integer, real, boolean };

  /// A property of a type, by its slot; for larger units.
  struct KnownProperty {
    std::string_view name;
    OpenProperty open;  // as it is when its entry starts
    Takes takes = Takes::nothing;
    std::int64_t low = 0;  // of integers
    std::uint64_t high = 0;
    bool holds(std::int64_t number) const noexcept {
      return low <= number && (number < 0 || static_cast<std::uint64_t>(number) <= high);
    }
  };

  /// A type of the document, with the names that the parse processor knows it by.
  struct KnownType {
    static constexpr std::uint32_t kNoNumber = ~std::uint32_t{0};

    std::string utf8;
    ustring own;
    const ustring* name = nullptr;  // the meta model's own string where it has the type, else `own`
    meta::StructuredType type;
    std::uint32_t number = kNoNumber;       // as a target type of references, for larger units
    std::vector<KnownProperty> properties;  // by slot, for larger units; none before the first element
    std::unordered_map<std::string, ustring, TextHash> otherProperties;  // that the type does not have
  };

  /// An object or datatype value that is open.
  struct Body {
    KnownType* type;
    const ustring* closeName;  // what the parse processor closes it by
    bool isObject;
    std::size_t nextSlot = 0;  // where the next property is expected
    OpenProperty property;
  };

  /// What comes before an object's properties, or makes a reference.
  struct Header {
    std::string type;
    std::string qualifier;
    std::string id1;
    std::string id2;
    std::size_t idTexts = 0;
    bool hasType = false;
    bool hasId = false;
    bool hasQualifier = false;
    void clear() noexcept;
  };

  Place place() const noexcept { return places_.empty() ? Place::nowhere : places_.back(); }
  ParseProcessor& processor() const { return *parser_.getParseProcessor(); }

  void startDocumentEntry(const std::string& name);
  void startHeaderEntry(const std::string& name, bool isReference);
  void startProperty(const std::string& name);
  bool skipUnknown(const std::string& name);
  bool skip(Event event);
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

  void openBody(const OpenProperty* property, KnownType& type, std::string_view id1, std::string_view id2,
                bool isObject);
  bool push(const OpenProperty* property, KnownType& type, std::string_view id1, std::string_view id2);
  void addReference(const OpenProperty& property, KnownType& type);
  std::uint32_t numberOf(KnownType& type);
  KnownType& knownType(std::string_view name);
  static KnownProperty knownProperty(std::size_t slot, meta::Property property);
  static bool isCollection(PropertyCategory category);
  void announceCollection(const KnownProperty& property);
  const OpenProperty* findOpenProperty(PropertyCategory single, PropertyCategory collection) const;
  const KnownProperty* findProperty(Body& body, std::string_view name) const;
  bool addValue(const KnownProperty& property, const TreeValue& value);
  OpenProperty openProperty(Body& body, const std::string& name);
  OpenProperty openPropertyByName(const ustring& name);
  std::size_t findSlot(Body& body, const std::string& name) const;
  const std::string& requireWellFormed(const std::string& text) const;
  void toUtf16(const std::string& text, ustring& into) const;
  ustring toUtf16(std::string_view text) const;
  void refuse(const std::string& problem);

  std::string where() const;
  std::string expected() const;
  std::string expectedValue() const;
  [[noreturn]] void fail(const std::string& what) const;
  [[noreturn]] void failUnexpected(const std::string& found) const;
  [[noreturn]] void failUnexpected(Event found) const;
  const std::string& textOf(const Primitive& value) const;

  const KRSylvanParser& parser_;
  BulkParseProcessor* bulk_ = nullptr;  // of the document's processor; null: it is called by names
  std::vector<Place> places_;
  std::vector<Body> bodies_;
  Last last_ = Last::nothing;
  Header header_;
  std::string* text_ = nullptr;  // where the text of an open entry goes
  std::vector<ustring> packages_;
  bool hasVersion_ = false;
  bool hasPackages_ = false;
  bool complete_ = false;
  bool refused_ = false;
  std::size_t skipDepth_ = 0;  // what is open in the property that is left out, itself included
  std::unordered_map<std::string, std::unique_ptr<KnownType>, TextHash, std::equal_to<>> types_;
  KnownType* lastType_ = nullptr;
  ustring scratch_;
  fl::i18n::codecvt_string_to_ustring toUtf16_{"UTF8", true};
};

}  // namespace kr::zero::io::internal
