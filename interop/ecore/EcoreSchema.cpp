#include <initializer_list>

#include "EcoreFiles.h"
#include "Namespaces.h"
#include "kr/zero/meta/MetaModelBuilder.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::ecore {

namespace {

using meta::MetaModelBuilder;
using meta::TypeBuilder;

/// Several features of one type.
void add(TypeBuilder& type, const char* propertyType, std::initializer_list<const char*> names) {
  for (const char* name : names) type.property(name, propertyType);
}

void addChildren(TypeBuilder& type, const char* name, const char* propertyType) {
  type.property(name, propertyType).many().composite();
}

// The order of the features is Ecore's own: paths that count elements of one name depend on it.
void addModelElements(MetaModelBuilder& ecore) {
  ecore.classType("EObject");
  addChildren(ecore.classType("EModelElement").abstractType(), "eAnnotations", "EAnnotation");
  auto& annotation = ecore.classType("EAnnotation").supertype("EModelElement");
  annotation.property("source", "String");
  addChildren(annotation, "details", "EStringToStringMapEntry");
  addChildren(annotation, "contents", "EObject");
  annotation.property("references", "EObject").many();
  add(ecore.classType("EStringToStringMapEntry"), "String", {"key", "value"});
  ecore.classType("ENamedElement").abstractType().supertype("EModelElement").property("name", "String");

  auto& package = ecore.classType("EPackage").supertype("ENamedElement");
  add(package, "String", {"nsURI", "nsPrefix"});
  addChildren(package, "eClassifiers", "EClassifier");
  addChildren(package, "eSubpackages", "EPackage");
}

void addClassifiers(MetaModelBuilder& ecore) {
  auto& classifier = ecore.classType("EClassifier").abstractType().supertype("ENamedElement");
  add(classifier, "String", {"instanceClassName", "instanceTypeName"});
  addChildren(classifier, "eTypeParameters", "ETypeParameter");
  auto& classType = ecore.classType("EClass").supertype("EClassifier");
  add(classType, "Boolean", {"abstract", "interface"});
  classType.property("eSuperTypes", "EClass").many();
  addChildren(classType, "eOperations", "EOperation");
  addChildren(classType, "eStructuralFeatures", "EStructuralFeature");
  addChildren(classType, "eGenericSuperTypes", "EGenericType");
  ecore.classType("EDataType")
      .supertype("EClassifier")
      .property("serializable", "Boolean")
      .defaultText("true");
  addChildren(ecore.classType("EEnum").supertype("EDataType"), "eLiterals", "EEnumLiteral");
  auto& literal = ecore.classType("EEnumLiteral").supertype("ENamedElement");
  literal.property("value", "Integer");
  literal.property("literal", "String");
}

void addTypedElements(MetaModelBuilder& ecore) {
  auto& typed = ecore.classType("ETypedElement").abstractType().supertype("ENamedElement");
  typed.property("ordered", "Boolean").defaultText("true");
  typed.property("unique", "Boolean").defaultText("true");
  typed.property("lowerBound", "Integer");
  typed.property("upperBound", "Integer").defaultText("1");
  typed.property("eType", "EClassifier");
  typed.property("eGenericType", "EGenericType").composite();
  auto& feature = ecore.classType("EStructuralFeature").abstractType().supertype("ETypedElement");
  feature.property("changeable", "Boolean").defaultText("true");
  add(feature, "Boolean", {"volatile", "transient"});
  feature.property("defaultValueLiteral", "String");
  add(feature, "Boolean", {"unsettable", "derived"});
  ecore.classType("EAttribute").supertype("EStructuralFeature").property("iD", "Boolean");
  auto& reference = ecore.classType("EReference").supertype("EStructuralFeature");
  reference.property("containment", "Boolean");
  reference.property("resolveProxies", "Boolean").defaultText("true");
  reference.property("eOpposite", "EReference");
  reference.property("eKeys", "EAttribute").many();
}

void addOperations(MetaModelBuilder& ecore) {
  auto& operation = ecore.classType("EOperation").supertype("ETypedElement");
  addChildren(operation, "eTypeParameters", "ETypeParameter");
  addChildren(operation, "eParameters", "EParameter");
  operation.property("eExceptions", "EClassifier").many();
  addChildren(operation, "eGenericExceptions", "EGenericType");
  ecore.classType("EParameter").supertype("ETypedElement");
}

void addGenerics(MetaModelBuilder& ecore) {
  auto& generic = ecore.classType("EGenericType");
  generic.property("eUpperBound", "EGenericType").composite();
  addChildren(generic, "eTypeArguments", "EGenericType");
  generic.property("eLowerBound", "EGenericType").composite();
  generic.property("eTypeParameter", "ETypeParameter");
  generic.property("eClassifier", "EClassifier");
  addChildren(ecore.classType("ETypeParameter").supertype("ENamedElement"), "eBounds", "EGenericType");
}

/// The registry and what stands upon it.
struct Schema {
  meta::MetaRegistry registry;
  Mapping::Impl mapping{registry};

  Schema() {
    MetaModelBuilder ecore(std::string(kEcoreNamespace), "ecore");
    addModelElements(ecore);
    addClassifiers(ecore);
    addTypedElements(ecore);
    addOperations(ecore);
    addGenerics(ecore);
    ecore.registerIn(registry);
    mapping.addKnownPackages();
    for (const char* name : {"contents", "references"}) {
      const meta::Class annotation(registry.findType(std::string_view("ecore.EAnnotation")));
      mapping.make(annotation->findProperty(std::string_view(name))).isIgnored = true;
    }
  }
};

}  // namespace

const Mapping::Impl& ecoreSchema() {
  static const Schema schema;
  return schema.mapping;
}

}  // namespace kr::zero::ecore
