#include <algorithm>
#include <vector>

#include "EcoreWriting.h"
#include "Errors.h"
#include "Namespaces.h"
#include "XmlEscape.h"
#include "kr/zero/ecore/Ecore.h"

namespace kr::zero::ecore {

namespace {

using meta::PackageInfo;
using meta::StandardType;

/// Ecore's data type for a standard type.
struct EcoreType {
  const char* name;
  bool isSame =
      true;  ///< whether an import takes it for that type; else it is one that has room for the values
};

EcoreType ecoreTypeOf(StandardType type) {
  switch (type) {
    case StandardType::boolean:
      return {"EBoolean"};
    case StandardType::integer8:
      return {"EByte"};
    case StandardType::integer16:
      return {"EShort"};
    case StandardType::integer:
      return {"EInt"};
    case StandardType::integer64:
      return {"ELong"};
    case StandardType::real:
      return {"EDouble"};
    case StandardType::string:
      return {"EString"};
    case StandardType::dateTime:
      return {"EDate"};
    case StandardType::uinteger8:
      return {"EShort", false};
    case StandardType::uinteger16:
      return {"EInt", false};
    case StandardType::unlimitedNatural:
      return {"ELong", false};
    case StandardType::uinteger64:
      return {"EBigInteger", false};
    default:
      return {"EString", false};
  }
}

StandardType standardTypeOf(meta::Property property) {
  const meta::PrimitiveType primitive(property->getType());
  return primitive ? primitive->getStandardType() : StandardType::none;
}

/// Keys and values of the annotation that says what Ecore has no words for.
using Details = std::vector<std::pair<std::string_view, std::string>>;

/// How an import takes a feature that has no annotation.
struct PlainMarkers {
  bool isTransient;
  bool isDerived;
};

bool isContainerSide(meta::Property property) {
  const meta::Property opposite = property->getOpposite();
  return opposite && opposite->isComposite();
}

PlainMarkers plainMarkersOf(meta::Property property) {
  const bool isContainer = isContainerSide(property);
  const bool isTransient = property->isTransient() || (!property->isStored() && !isContainer);
  return {isTransient, isTransient || isContainer};
}

/// Whether Ecore would give a default where there is none: its first literal. That of the number 0 is what a
/// value that is unset reads as anyway.
bool lacksDefault(meta::Property property) {
  const meta::Enum enumeration(property->getType());
  if (!enumeration || property->isMany() || property->getDefaultText()) return false;
  const std::vector<meta::EnumLiteral>& literals = enumeration->getLiterals();
  return !literals.empty() && literals.front().number != 0;
}

/// "derived static transient", as far as they hold.
std::string markersOf(meta::Property property) {
  std::string markers;
  const auto add = [&markers](bool holds, std::string_view marker) {
    if (holds) markers.append(markers.empty() ? "" : " ").append(marker);
  };
  add(property->isDerived(), kDerivedMarker);
  add(property->isStatic(), kStaticMarker);
  add(property->isTransient(), kTransientMarker);
  return markers;
}

bool isInside(const PackageInfo& package, const PackageInfo& other) {
  return package.qualifiedName.size() > other.qualifiedName.size() &&
         package.qualifiedName.compare(0, other.qualifiedName.size() + 1, other.qualifiedName + ".") == 0;
}

class Generator {
 public:
  Generator(const meta::MetaRegistry& registry, bool pinIdentifiers)
      : packages_(registry.getPackages()), pinIdentifiers_(pinIdentifiers) {}

  std::string write(std::string_view uri) {
    const auto root = std::find_if(packages_.begin(), packages_.end(),
                                   [&](const PackageInfo& package) { return package.uri == uri; });
    if (root == packages_.end())
      throw EcoreError(ErrorCode::misuse, join("there is no package with the URI ", inQuotes(uri)));
    root_ = &*root;
    out_ = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    for (auto it = root; it != packages_.end(); ++it)
      if (it == root || isInside(*it, *root)) openPackage(*it);
    while (!open_.empty()) closePackage();
    return std::move(out_);
  }

 private:
  void line(std::size_t depth, std::string_view text) {
    out_.append(2 * depth, ' ').append(text).append("\n");
  }

  void begin(std::size_t depth, std::string_view tag) { out_.append(2 * depth, ' ').append("<").append(tag); }

  void attribute(std::string_view name, std::string_view value) {
    out_.append(" ").append(name).append("=\"");
    if (!appendAttributeText(out_, value))
      failToExpress({}, join("the text ", inQuotes(value), " holds a character that XML does not have"));
    out_.append("\"");
  }

  /// Packages come in the order of nesting: whatever does not hold the next one is complete.
  void openPackage(const PackageInfo& package) {
    while (!open_.empty() && !isInside(package, *open_.back())) closePackage();
    const std::size_t depth = open_.size();
    if (depth == 0) {
      out_.append("<ecore:EPackage xmi:version=\"2.0\"");
      attribute("xmlns:xmi", kXmiNamespace);
      attribute("xmlns:xsi", kXsiNamespace);
      attribute("xmlns:ecore", kEcoreNamespace);
    } else {
      begin(depth, "eSubpackages");
    }
    attribute("name", package.name);
    attribute("nsURI", package.uri);
    attribute("nsPrefix", package.name);
    out_.append(">\n");
    open_.push_back(&package);
    for (const meta::Type type : package.types) writeClassifier(type);
  }

  void closePackage() {
    open_.pop_back();
    line(open_.size(), open_.empty() ? "</ecore:EPackage>" : "</eSubpackages>");
  }

  void beginClassifier(std::string_view ecoreClass, meta::Type type) {
    begin(open_.size(), "eClassifiers");
    attribute("xsi:type", join("ecore:", ecoreClass));
    attribute("name", type->name());
  }

  void writeClassifier(meta::Type type) {
    if (const meta::StructuredType structured(type); structured) return writeClass(structured);
    if (const meta::Enum enumeration(type); enumeration) return writeEnumeration(enumeration);
    beginClassifier("EDataType", type);
    attribute("instanceClassName", "java.lang.String");
    out_.append("/>\n");
  }

  void writeEnumeration(meta::Enum type) {
    beginClassifier("EEnum", type);
    out_.append(">\n");
    for (const meta::EnumLiteral& literal : type->getLiterals()) {
      begin(open_.size() + 1, "eLiterals");
      attribute("name", literal.name);
      attribute("value", std::to_string(literal.number));
      if (literal.text != literal.name) attribute("literal", literal.text);
      out_.append("/>\n");
    }
    line(open_.size(), "</eClassifiers>");
  }

  /// A datatype is a class that is held by value; Ecore has no such thing.
  void writeClass(meta::StructuredType type) {
    beginClassifier("EClass", type);
    const meta::Class classType(type);
    if (classType) writeHead(classType);
    out_.append(">\n");
    if (!classType) writeDetails(open_.size() + 1, {{kKindKey, std::string(kDatatypeKind)}});
    // The root of Ecore's own classes is known.
    if (classType && classType->isUniversal() && root_->uri != kEcoreNamespace)
      writeDetails(open_.size() + 1, {{kUniversalKey, "true"}});
    for (const meta::Property property : type->getOwnedAttributes()) writeFeature(property);
    line(open_.size(), "</eClassifiers>");
  }

  void writeHead(meta::Class type) {
    if (type->isAbstract()) attribute("abstract", "true");
    std::string supertypes;
    for (const meta::Class supertype : type->getSupertypes()) {
      if (!supertypes.empty()) supertypes.push_back(' ');
      supertypes.append(referenceTo(supertype));
    }
    if (!supertypes.empty()) attribute("eSuperTypes", supertypes);
  }

  void writeFeature(meta::Property property) {
    const meta::Type type = property->getType();
    const bool isReference = bool(meta::StructuredType(type));
    const bool isValue = isReference && !meta::Class(type);
    begin(open_.size() + 1, "eStructuralFeatures");
    attribute("xsi:type", isReference ? "ecore:EReference" : "ecore:EAttribute");
    attribute("name", property->name());
    if (!property->isOrdered()) attribute("ordered", "false");
    if (!property->isUnique()) attribute("unique", "false");
    if (property->getLower() != 0) attribute("lowerBound", std::to_string(property->getLower()));
    if (property->getUpper() != 1) attribute("upperBound", std::to_string(property->getUpper()));
    attribute("eType", typeReference(property));
    if (plainMarkersOf(property).isTransient) attribute("transient", "true");
    if (!property->isStored() && !isContainerSide(property)) attribute("derived", "true");
    if (const auto& text = property->getDefaultText())
      attribute("defaultValueLiteral", defaultOf(type, *text));
    if (property->isComposite() || isValue) attribute("containment", "true");
    if (const meta::Property opposite = property->getOpposite())
      attribute("eOpposite", join(referenceTo(opposite->getOwner()), "/", opposite->name()));
    const Details details = detailsOf(property);
    if (details.empty()) {
      out_.append("/>\n");
    } else {
      out_.append(">\n");
      writeDetails(open_.size() + 2, details);
      line(open_.size() + 1, "</eStructuralFeatures>");
    }
  }

  Details detailsOf(meta::Property property) const {
    Details details;
    if (pinIdentifiers_ && property->getIdentifier() != 0)
      details.emplace_back(kIdKey, std::to_string(property->getIdentifier()));
    const StandardType standard = standardTypeOf(property);
    if (standard != StandardType::none && !ecoreTypeOf(standard).isSame)
      details.emplace_back(kTypeKey, meta::infoOf(standard).name);
    const PlainMarkers plain = plainMarkersOf(property);
    if (property->isStatic() || property->isDerived() != plain.isDerived ||
        property->isTransient() != plain.isTransient)
      details.emplace_back(kMarkersKey, markersOf(property));
    if (lacksDefault(property)) details.emplace_back(kDefaultKey, kNoDefault);
    return details;
  }

  void writeDetails(std::size_t depth, const Details& details) {
    line(depth, join("<eAnnotations source=\"", kBinarySource, "\">"));
    for (const auto& [key, value] : details)
      line(depth + 1, join("<details key=\"", key, "\" value=\"", value, "\"/>"));
    line(depth, "</eAnnotations>");
  }

  static std::string defaultOf(meta::Type type, const std::string& text) {
    const meta::Enum enumeration(type);
    const meta::EnumLiteral* literal = enumeration ? enumeration->findByName(text) : nullptr;
    return literal != nullptr ? literal->text : text;
  }

  std::string typeReference(meta::Property property) const {
    const meta::Type type = property->getType();
    const StandardType standard = standardTypeOf(property);
    if (standard == StandardType::none) return referenceTo(type);
    return join("ecore:EDataType ", kEcoreNamespace, "#//", ecoreTypeOf(standard).name);
  }

  /// "#//sub/Book", or the same with kind and URI of a package beside this one.
  std::string referenceTo(meta::Type type) const {
    const PackageInfo& root = rootOf(type);
    const std::string& name = type->qualifiedName();
    std::string path = "#//" + name.substr(root.qualifiedName.size() + 1);
    std::replace(path.begin(), path.end(), '.', '/');
    if (&root == root_) return path;
    const char* kind = meta::StructuredType(type) ? "ecore:EClass "
                       : meta::Enum(type)         ? "ecore:EEnum "
                                                  : "ecore:EDataType ";
    return join(kind, root.uri, path);
  }

  static bool holds(const PackageInfo& package, meta::Type type) {
    return type->qualifiedName().compare(0, package.qualifiedName.size() + 1, package.qualifiedName + ".") ==
           0;
  }

  /// The package that paths to a type start at.
  const PackageInfo& rootOf(meta::Type type) const {
    if (holds(*root_, type)) return *root_;
    // The package around others comes before them.
    return *std::find_if(packages_.begin(), packages_.end(),
                         [&](const PackageInfo& package) { return holds(package, type); });
  }

  std::vector<PackageInfo> packages_;
  bool pinIdentifiers_;
  const PackageInfo* root_ = nullptr;
  std::vector<const PackageInfo*> open_;
  std::string out_;
};

}  // namespace

std::string generateEcore(const meta::MetaRegistry& registry, std::string_view packageUri,
                          bool pinIdentifiers) {
  return Generator(registry, pinIdentifiers).write(packageUri);
}

}  // namespace kr::zero::ecore
