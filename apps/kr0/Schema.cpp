#include <nlohmann/json.hpp>

#include "Commands.h"
#include "Files.h"
#include "Visible.h"

namespace kr::zero::tool {

namespace {

using Json = nlohmann::ordered_json;

const char* kindOf(meta::Type type) {
  if (meta::Class(type)) return "class";
  if (meta::StructuredType(type)) return "datatype";
  return meta::Enum(type) ? "enum" : "primitive";
}

const char* categoryOf(meta::Property property) {
  const meta::Type type = property->getType();
  if (meta::Class(type)) return property->isComposite() ? "composition" : "association";
  return meta::StructuredType(type) ? "datatype" : "primitive";
}

bool isWritten(meta::Property property) { return property->isStored() && !property->isTransient(); }

bool isAbstract(meta::Type type) {
  const meta::Class classType(type);
  return classType && classType->isAbstract();
}

std::vector<meta::Property> propertiesOf(meta::Type type) {
  const meta::StructuredType structured(type);
  return structured ? structured->getAllProperties() : std::vector<meta::Property>();
}

std::string qualifiedName(meta::Property property) {
  return property->getOwner()->qualifiedName() + '.' + property->name();
}

std::vector<meta::Class> supertypesOf(meta::Type type) {
  const meta::Class classType(type);
  return classType ? classType->getSupertypes() : std::vector<meta::Class>();
}

// Those that say something else than is usual.
std::vector<std::string> markersOf(meta::Property property) {
  std::vector<std::string> markers;
  if (property->isDerived()) markers.push_back("derived");
  if (property->isStatic()) markers.push_back("static");
  if (property->isTransient()) markers.push_back("transient");
  if (property->isMany() && !property->isOrdered()) markers.push_back("unordered");
  if (property->isMany() && !property->isUnique()) markers.push_back("with repetitions");
  return markers;
}

Json asJson(meta::Property property) {
  const meta::Type type = property->getType();
  Json json{{"name", property->name()},
            {"id", property->getIdentifier()},
            {"type", type->qualifiedName()},
            {"category", categoryOf(property)},
            {"many", property->isMany()},
            {"optional", property->isOptional()},
            {"enum", static_cast<bool>(meta::Enum(type))},
            {"stored", isWritten(property)},
            {"from", property->getOwner()->qualifiedName()},
            {"lower", property->getLower()},
            {"upper", property->getUpper() < 0 ? Json() : Json(property->getUpper())},
            {"ordered", property->isOrdered()},
            {"unique", property->isUnique()},
            {"derived", property->isDerived()},
            {"static", property->isStatic()},
            {"transient", property->isTransient()}};
  if (property->getOpposite()) json["opposite"] = qualifiedName(property->getOpposite());
  if (property->getDefaultText()) json["default"] = *property->getDefaultText();
  return json;
}

Json literalsOf(meta::Enum enumeration) {
  Json literals = Json::array();
  for (const meta::EnumLiteral& literal : enumeration->getLiterals())
    literals.push_back({{"name", literal.name}, {"text", literal.text}, {"number", literal.number}});
  return literals;
}

Json asJson(meta::Type type) {
  Json properties = Json::array();
  for (const meta::Property property : propertiesOf(type)) properties.push_back(asJson(property));
  Json supertypes = Json::array();
  for (const meta::Class supertype : supertypesOf(type)) supertypes.push_back(supertype->qualifiedName());
  Json json{{"name", type->qualifiedName()},
            {"kind", kindOf(type)},
            {"abstract", isAbstract(type)},
            {"properties", std::move(properties)},
            {"package", type->packageUri()}};
  if (meta::Class(type)) json["supertypes"] = std::move(supertypes);
  if (const meta::Enum enumeration(type); enumeration) json["literals"] = literalsOf(enumeration);
  return json;
}

void printJsonSchema(const std::vector<meta::PackageInfo>& packages, TextOut& out) {
  Json types = Json::array();
  for (const meta::PackageInfo& package : packages)
    for (const meta::Type type : package.types) types.push_back(asJson(type));
  out << types.dump(1) << '\n';
}

std::string bounds(meta::Property property) {
  const std::string upper = property->getUpper() < 0 ? "*" : std::to_string(property->getUpper());
  return std::to_string(property->getLower()) + ".." + upper;
}

void printProperty(meta::Property property, meta::Type holder, TextOut& out) {
  out << "    " << (isWritten(property) ? std::to_string(property->getIdentifier()) : "-") << ' '
      << property->name() << ": " << property->getType()->qualifiedName() << ' ' << bounds(property) << ' '
      << categoryOf(property);
  const meta::StructuredType owner = property->getOwner();
  if (!(owner == holder)) out << ", from " << owner->qualifiedName();
  if (property->getOpposite()) out << ", opposite " << qualifiedName(property->getOpposite());
  if (property->getDefaultText()) out << ", default " << inQuotes(*property->getDefaultText());
  for (const std::string& marker : markersOf(property)) out << ", " << marker;
  out << '\n';
}

void printLiterals(meta::Enum enumeration, TextOut& out) {
  for (const meta::EnumLiteral& literal : enumeration->getLiterals())
    out << "    " << std::to_string(literal.number) << ' ' << literal.name
        << (literal.text == literal.name ? "" : " " + inQuotes(literal.text)) << '\n';
}

void printType(meta::Type type, TextOut& out) {
  out << "  " << (isAbstract(type) ? "abstract " : "") << kindOf(type) << ' ' << type->name();
  const char* separator = ": ";
  for (const meta::Class supertype : supertypesOf(type)) {
    out << separator << supertype->qualifiedName();
    separator = ", ";
  }
  out << '\n';
  if (const meta::Enum enumeration(type); enumeration) printLiterals(enumeration, out);
  for (const meta::Property property : propertiesOf(type)) printProperty(property, type, out);
}

void printTextSchema(const std::vector<meta::PackageInfo>& packages, TextOut& out) {
  for (const meta::PackageInfo& package : packages) {
    out << "package " << package.qualifiedName << ' ' << package.uri << '\n';
    for (const meta::Type type : package.types) printType(type, out);
  }
}

}  // namespace

void showSchema(const SchemaOptions& options) {
  const MetaModels metaModels(options);
  TextOut out;
  const auto packages = metaModels.registry().getPackages();
  options.json ? printJsonSchema(packages, out) : printTextSchema(packages, out);
  out.flush();
}

}  // namespace kr::zero::tool
