#include "ClassTable.h"

#include "Namespaces.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::ecore {

bool Feature::isAttributeForm() const {
  if (mapping->form == XmlForm::element || mapping->form == XmlForm::content) return false;
  return isReference() || (isPrimitive() && !isMany());
}

void FeatureNames::add(std::string_view name, const Feature& feature) {
  const auto position = static_cast<std::uint32_t>(entries_.size());
  if (positions_.emplace(name, position).second) entries_.push_back({name, &feature, position});
}

const Feature* FeatureNames::find(std::string_view name) {
  if (entries_.empty()) return nullptr;
  std::uint32_t& guess = entries_[last_].next;
  if (entries_[guess].name != name) {
    const auto it = positions_.find(name);
    if (it == positions_.end()) return nullptr;
    guess = it->second;
  }
  last_ = guess;
  return entries_[last_].feature;
}

ClassTable::ClassTable(meta::StructuredType type, const Mapping::Impl& mapping) : type_(type) {
  const std::vector<meta::Property>& properties = type->getAllProperties();
  features_.reserve(properties.size());
  for (const meta::Property property : properties) features_.push_back({property, &mapping.of(property)});
  nameFeatures();
  const meta::Class named(mapping.registry->findType(std::string_view("ecore.EModelElement")));
  isPathByName_ = named && named->packageUri() == kEcoreNamespace && meta::Class(type) &&
                  meta::Class(type)->conformsTo(named);
}

void ClassTable::nameFeatures() {
  // Names that are said to be names in XML go first: only what they leave is free for a feature's own name.
  for (const Feature& feature : features_) {
    names_.add(feature.name(), feature);
    const FeatureMapping& mapping = *feature.mapping;
    if (mapping.form != XmlForm::attribute) elements_.add(feature.xmlName(), feature);
    if (mapping.form != XmlForm::element) attributes_.add(feature.xmlName(), feature);
    if (mapping.isIdentifier && identifier_ == nullptr && feature.isPrimitive() && !feature.isMany())
      identifier_ = &feature;
    if (mapping.form == XmlForm::content && feature.isPrimitive()) content_ = &feature;
    if (feature.name() == "name" && feature.isText() && !feature.isMany()) nameFeature_ = &feature;
  }
  for (const Feature& feature : features_)
    for (const std::string_view name : {feature.xmlName(), feature.name()}) {
      elements_.add(name, feature);
      attributes_.add(name, feature);
    }
}

ClassTable& ClassTables::of(meta::StructuredType type) {
  const std::size_t index = type->getIndex();
  if (index >= tables_.size()) tables_.resize(index + 1);
  auto& table = tables_[index];
  if (!table) table = std::make_unique<ClassTable>(type, *mapping_);
  return *table;
}

}  // namespace kr::zero::ecore
