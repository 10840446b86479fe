#include "ClassTable.h"

#include "Namespaces.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::ecore {

namespace {

using meta::StandardType;

FeatureKind kindOf(StandardType type) {
  switch (type) {
    case StandardType::boolean:
      return FeatureKind::boolean;
    case StandardType::real:
      return FeatureKind::real;
    case StandardType::integer8:
    case StandardType::uinteger8:
    case StandardType::integer16:
    case StandardType::uinteger16:
    case StandardType::integer:
    case StandardType::unlimitedNatural:
    case StandardType::integer64:
      return FeatureKind::integer;
    case StandardType::uinteger64:
    case StandardType::uuid:
      return FeatureKind::otherPrimitive;
    default:
      return FeatureKind::text;
  }
}

FeatureKind kindOf(meta::Property property) {
  if (!property->isStored() || property->isTransient()) return FeatureKind::none;
  const meta::Type type = property->getType();
  if (const meta::PrimitiveType primitive(type); primitive) return kindOf(primitive->getStandardType());
  if (meta::Enum(type)) return FeatureKind::enumeration;
  return property->isComposite() || !meta::Class(type) ? FeatureKind::child : FeatureKind::reference;
}

}  // namespace

bool Feature::isAttributeForm() const {
  if (kind == FeatureKind::none || kind == FeatureKind::child) return false;
  if (mapping->form == XmlForm::element || mapping->form == XmlForm::content) return false;
  return kind == FeatureKind::reference || !isMany;
}

ClassTable::ClassTable(meta::StructuredType type, const Mapping::Impl& mapping) : type_(type) {
  const std::vector<meta::Property>& properties = type->getAllProperties();
  features_.reserve(properties.size());
  for (const meta::Property property : properties)
    features_.push_back({property, &mapping.of(property), kindOf(property), property->isMany()});
  nameFeatures();
  const meta::Class named(mapping.registry->findType(std::string_view("ecore.EModelElement")));
  isPathByName_ = named && named->getPackageUriUtf8() == ecoreNamespace && meta::Class(type) &&
                  meta::Class(type)->conformsTo(named);
}

void ClassTable::nameFeatures() {
  // Names that are said to be names in XML go first: only what they leave is free for a feature's own name.
  for (const Feature& feature : features_) {
    names_.emplace(feature.name(), &feature);
    const FeatureMapping& mapping = *feature.mapping;
    if (mapping.form != XmlForm::attribute) elements_.emplace(feature.xmlName(), &feature);
    if (mapping.form != XmlForm::element) attributes_.emplace(feature.xmlName(), &feature);
    if (mapping.isIdentifier && identifier_ == nullptr && isPrimitive(feature.kind) && !feature.isMany)
      identifier_ = &feature;
    if (mapping.form == XmlForm::content && isPrimitive(feature.kind)) content_ = &feature;
    if (feature.name() == "name" && feature.kind == FeatureKind::text && !feature.isMany)
      nameFeature_ = &feature;
  }
  for (const Feature& feature : features_)
    for (const std::string_view name : {feature.xmlName(), feature.name()}) {
      elements_.emplace(name, &feature);
      attributes_.emplace(name, &feature);
    }
}

const Feature* ClassTable::find(const Names& names, std::string_view name) {
  const auto it = names.find(name);
  return it == names.end() ? nullptr : it->second;
}

const ClassTable& ClassTables::of(meta::StructuredType type) {
  const std::size_t index = type->getIndex();
  if (index >= tables_.size()) tables_.resize(index + 1);
  auto& table = tables_[index];
  if (!table) table = std::make_unique<ClassTable>(type, *mapping_);
  return *table;
}

}  // namespace kr::zero::ecore
