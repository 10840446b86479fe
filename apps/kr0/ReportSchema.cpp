#include "ReportSchema.h"

#include <algorithm>

namespace kr::zero::tool {

namespace {

void setNumber(std::vector<int>& numbers, std::uint32_t index, std::size_t number) {
  if (index >= numbers.size()) numbers.resize(std::size_t{index} + 1, -1);
  numbers[index] = static_cast<int>(number);
}

int numberAt(const std::vector<int>& numbers, std::uint32_t index) {
  return index < numbers.size() ? numbers[index] : -1;
}

// A datatype value is held as a child is.
const char* kindNameOf(meta::Property property) {
  const meta::StructuredType type(property->getType());
  if (!type) return "attribute";
  return property->isComposite() || !meta::Class(type) ? "containment" : "reference";
}

}  // namespace

ReportSchema::ReportSchema(const MetaModels& metaModels)
    : registry_(metaModels.registry()),
      packages_(metaModels.registry().getPackages()),
      ids_(ecore::idAttributesOf(metaModels.mapping())) {
  for (std::size_t package = 0; package < packages_.size(); ++package) {
    for (const meta::Type type : packages_[package].types) {
      if (const meta::StructuredType structured(type); structured) {
        setNumber(typeNumbers_, type->getIndex(), classes_.size());
        classes_.push_back(structured);
        packageOfClass_.push_back(static_cast<int>(package));
        for (const meta::Property property : structured->getOwnedAttributes()) {
          setNumber(propertyNumbers_, property->getIndex(), properties_.size());
          properties_.push_back(property);
        }
      } else if (const meta::Enum enumeration(type); enumeration) {
        setNumber(typeNumbers_, type->getIndex(), enumerations_.size());
        enumerations_.push_back(enumeration);
        packageOfEnumeration_.push_back(static_cast<int>(package));
      }
    }
  }
}

int ReportSchema::numberOf(meta::Type type) const {
  const bool isNumbered = meta::StructuredType(type) || meta::Enum(type);
  return isNumbered ? numberAt(typeNumbers_, type->getIndex()) : -1;
}

int ReportSchema::numberOf(meta::Property property) const {
  return property ? numberAt(propertyNumbers_, property->getIndex()) : -1;
}

void ReportSchema::writeClass(std::size_t number, bool isUsed, JsonText& json) const {
  const meta::StructuredType type = classes_[number];
  const meta::Class asClass(type);
  std::vector<int> supertypes;
  if (asClass)
    for (const meta::Class supertype : asClass->getSupertypes())
      if (const int at = numberOf(meta::Type(supertype)); at >= 0) supertypes.push_back(at);
  std::vector<int> properties;
  for (const meta::Property property : type->getOwnedAttributes()) properties.push_back(numberOf(property));
  json.open('{');
  json.add("name", type->name()).add("package", packageOfClass_[number]);
  json.add("abstract", asClass && asClass->isAbstract()).addList("supertypes", supertypes);
  json.add("used", isUsed).add("kind", asClass ? "class" : "datatype").addList("properties", properties);
  json.close('}');
}

void ReportSchema::writeEnumeration(std::size_t number, JsonText& json) const {
  json.open('{');
  json.add("name", enumerations_[number]->name()).add("package", packageOfEnumeration_[number]);
  json.name("literals").open('[');
  for (const meta::EnumLiteral& literal : enumerations_[number]->getLiterals()) {
    json.open('{');
    json.add("name", literal.name).add("value", literal.number);
    json.close('}');
  }
  json.close(']');
  json.close('}');
}

void ReportSchema::writeProperty(meta::Property property, JsonText& json) const {
  const meta::Type type = property->getType();
  const bool isEnumeration = static_cast<bool>(meta::Enum(type));
  json.open('{');
  json.add("name", property->name()).add("class", numberOf(meta::Type(property->getOwner())));
  json.add("kind", kindNameOf(property)).add("type", type->name());
  json.add("target", isEnumeration ? -1 : numberOf(type))
      .add("enumeration", isEnumeration ? numberOf(type) : -1);
  json.add("lower", property->getLower()).add("upper", property->getUpper());
  json.add("ordered", property->isOrdered()).add("unique", property->isUnique());
  json.add("opposite", numberOf(property->getOpposite()));
  json.add("isId", std::find(ids_.begin(), ids_.end(), property) != ids_.end());
  json.close('}');
}

void ReportSchema::write(const std::vector<bool>& isUsed, JsonText& json) const {
  json.name("classes").open('[');
  for (std::size_t i = 0; i < classes_.size(); ++i) writeClass(i, isUsed[i], json);
  json.close(']');
  json.name("enumerations").open('[');
  for (std::size_t i = 0; i < enumerations_.size(); ++i) writeEnumeration(i, json);
  json.close(']');
  json.name("properties").open('[');
  for (const meta::Property property : properties_) writeProperty(property, json);
  json.close(']');
  json.name("packages").open('[');
  for (const meta::PackageInfo& package : packages_) {
    json.open('{');
    json.add("uri", package.uri).add("name", package.qualifiedName);
    json.add("fingerprint", archive::fingerprintOf(registry_, package.uri));
    json.close('}');
  }
  json.close(']');
}

}  // namespace kr::zero::tool
