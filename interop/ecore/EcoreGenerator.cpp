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

/// The name of Ecore's data type for a standard type, or null.
const char* ecoreNameOf(StandardType type) {
  switch (type) {
    case StandardType::boolean:
      return "EBoolean";
    case StandardType::integer8:
      return "EByte";
    case StandardType::integer16:
      return "EShort";
    case StandardType::integer:
      return "EInt";
    case StandardType::integer64:
      return "ELong";
    case StandardType::real:
      return "EDouble";
    case StandardType::string:
      return "EString";
    case StandardType::dateTime:
      return "EDate";
    default:
      return nullptr;
  }
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
    if (const meta::Class classType(type); classType) return writeClass(classType);
    if (const meta::Enum enumeration(type); enumeration) return writeEnumeration(enumeration);
    if (!meta::PrimitiveType(type))
      failToExpress({}, join("Ecore has no counterpart for the datatype ", type->qualifiedName()));
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

  void writeClass(meta::Class type) {
    if (type->isUniversal() && root_->uri != kEcoreNamespace)
      failToExpress({}, join("Ecore has no counterpart for the universal class ", type->qualifiedName()));
    beginClassifier("EClass", type);
    if (type->isAbstract()) attribute("abstract", "true");
    std::string supertypes;
    for (const meta::Class supertype : type->getSupertypes()) {
      if (!supertypes.empty()) supertypes.push_back(' ');
      supertypes.append(referenceTo(supertype));
    }
    if (!supertypes.empty()) attribute("eSuperTypes", supertypes);
    out_.append(">\n");
    for (const meta::Property property : type->getOwnedAttributes()) writeFeature(property);
    line(open_.size(), "</eClassifiers>");
  }

  void writeFeature(meta::Property property) {
    const meta::Type type = property->getType();
    const bool isReference = bool(meta::Class(type));
    begin(open_.size() + 1, "eStructuralFeatures");
    attribute("xsi:type", isReference ? "ecore:EReference" : "ecore:EAttribute");
    attribute("name", property->name());
    if (!property->isOrdered()) attribute("ordered", "false");
    if (!property->isUnique()) attribute("unique", "false");
    if (property->getLower() != 0) attribute("lowerBound", std::to_string(property->getLower()));
    if (property->getUpper() != 1) attribute("upperBound", std::to_string(property->getUpper()));
    attribute("eType", typeReference(property));
    if (!property->isStored() || property->isTransient()) attribute("transient", "true");
    if (!property->isStored()) attribute("derived", "true");
    if (const auto& text = property->getDefaultText())
      attribute("defaultValueLiteral", defaultOf(type, *text));
    if (property->isComposite()) attribute("containment", "true");
    if (const meta::Property opposite = property->getOpposite())
      attribute("eOpposite", join(referenceTo(opposite->getOwner()), "/", opposite->name()));
    if (pinIdentifiers_ && property->getIdentifier() != 0)
      writePin(property->getIdentifier());
    else
      out_.append("/>\n");
  }

  void writePin(std::uint32_t number) {
    const std::size_t depth = open_.size() + 2;
    out_.append(">\n");
    line(depth, join("<eAnnotations source=\"", kBinarySource, "\">"));
    line(depth + 1, join("<details key=\"id\" value=\"", std::to_string(number), "\"/>"));
    line(depth, "</eAnnotations>");
    line(depth - 1, "</eStructuralFeatures>");
  }

  static std::string defaultOf(meta::Type type, const std::string& text) {
    const meta::Enum enumeration(type);
    const meta::EnumLiteral* literal = enumeration ? enumeration->findByName(text) : nullptr;
    return literal != nullptr ? literal->text : text;
  }

  std::string typeReference(meta::Property property) const {
    const meta::Type type = property->getType();
    const meta::PrimitiveType primitive(type);
    if (!primitive || primitive->getStandardType() == StandardType::none) return referenceTo(type);
    const char* name = ecoreNameOf(primitive->getStandardType());
    if (name == nullptr)
      failToExpress({}, join("Ecore has no counterpart for the type ", type->name(), " of property ",
                             property->getOwner()->qualifiedName(), ".", property->name()));
    return join("ecore:EDataType ", kEcoreNamespace, "#//", name);
  }

  /// "#//sub/Book", or the same with kind and URI of a package beside this one.
  std::string referenceTo(meta::Type type) const {
    const PackageInfo& root = rootOf(type);
    const std::string& name = type->qualifiedName();
    std::string path = "#//" + name.substr(root.qualifiedName.size() + 1);
    std::replace(path.begin(), path.end(), '.', '/');
    if (&root == root_) return path;
    const char* kind = meta::Class(type)  ? "ecore:EClass "
                       : meta::Enum(type) ? "ecore:EEnum "
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
