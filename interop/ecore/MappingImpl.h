/// @file
/// Internal: what documents say beyond the meta model itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "kr/zero/TextHash.h"
#include "kr/zero/ecore/Ecore.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero::ecore {

/// Not noexcept: libstdc++ then keeps the hash beside each text in place of computing it again.
struct KeptTextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const { return TextHash()(text); }
};
/// A map with texts as keys, which can be asked with views.
template <class Value>
using TextMap = std::unordered_map<std::string, Value, KeptTextHash, std::equal_to<>>;

/// A set of texts that others choose.
using TextSet = std::unordered_set<std::string, KeptTextHash, std::equal_to<>>;

/// How the values of a feature stand in XML.
enum class XmlForm : std::uint8_t {
  automatic,  ///< as its kind has it: single values as attributes, others as elements
  attribute,
  element,
  content,  ///< as the character data of the element itself
};

/// Whether values of a feature are stored, or why not.
enum class Storage : std::uint8_t {
  stored,
  transient,
  container,         ///< the side of a containment that the nesting tells
  featureMap,        ///< a list that mixes the values of other features
  featureMapMember,  ///< its values stand in a feature map
  notSerializable,   ///< of a data type without a text form
};

struct FeatureMapping {
  std::string xmlName;       ///< empty: the property's name
  std::string xmlNamespace;  ///< empty: none
  std::string group;         ///< of a member of a feature map: that map's name
  XmlForm form = XmlForm::automatic;
  Storage storage = Storage::stored;
  bool isIdentifier = false;       ///< its value names the element within the document
  bool isSinglePrecision = false;  ///< a real number of 32 bits
  bool isIgnored = false;          ///< reading steps over its values
};

struct PackageMapping {
  std::string uri;
  std::string prefix;         ///< wished for in documents; may be empty
  bool hasXmlNames = false;   ///< some class or feature has another name in XML
  TextMap<meta::Type> types;  ///< by name
  TextMap<meta::Type> typesByXmlName;
  /// The type that a name in a document means, or an empty handle.
  meta::Type findType(std::string_view name) const;
};

/// A file that packages came from.
struct SourceDocument {
  std::string name;
  std::string text;                      ///< UTF-8
  std::vector<std::string> packageUris;  ///< of its packages, nested ones too
};

struct Mapping::Impl {
  explicit Impl(const meta::MetaRegistry& known) : registry(&known) {}

  const meta::MetaRegistry* registry;
  std::vector<PackageMapping> packages;
  TextMap<std::size_t> packageByUri;
  std::vector<FeatureMapping> features;                         ///< by the property's index
  bool hasContent = false;                                      ///< some feature has the form `content`
  std::unordered_map<std::uint32_t, std::string> typeXmlNames;  ///< by the type's index
  std::vector<SourceDocument> sources;
  TextMap<std::size_t> sourceByUri;  ///< by the URIs of the packages
  mutable Memo memo;

  const FeatureMapping& of(meta::Property property) const;
  FeatureMapping& make(meta::Property property);
  /// The package of that URI, or null.
  const PackageMapping* findPackage(std::string_view uri) const;
  /// The file that a package came from, or null.
  const SourceDocument* findSource(std::string_view packageUri) const;
  /// Takes in every package that the registry knows, with nothing special about it.
  void addKnownPackages();
  /// The name of a type in documents.
  const std::string& xmlNameOf(meta::Type type) const;
};

}  // namespace kr::zero::ecore
