#include "WholeEcore.h"

#include <initializer_list>

#include "Namespaces.h"
#include "kr/zero/meta/MetaModelBuilder.h"

namespace kr::zero::ecore {

namespace {

using meta::MetaModelBuilder;
using meta::PropertyBuilder;
using meta::TypeBuilder;

PropertyBuilder& children(TypeBuilder& type, const char* name, const char* of) {
  return type.property(name, of).many().composite();
}

/// A feature without a stored value.
PropertyBuilder& worked(TypeBuilder& type, const char* name, const char* of) {
  return type.property(name, of).derived().isTransient();
}

/// Several single features of one type.
void values(TypeBuilder& type, const char* of, std::initializer_list<const char*> names) {
  for (const char* name : names) type.property(name, of);
}

void primitives(MetaModelBuilder& ecore, std::initializer_list<const char*> names) {
  for (const char* name : names) ecore.primitive(name);
}

void addAttributesAndAnnotations(MetaModelBuilder& ecore) {
  auto& attribute = ecore.classType("EAttribute").supertype("EStructuralFeature");
  attribute.property("iD", "Boolean");
  worked(attribute, "eAttributeType", "EDataType").required();
  auto& annotation = ecore.classType("EAnnotation").supertype("EModelElement");
  annotation.property("source", "String");
  children(annotation, "details", "EStringToStringMapEntry");
  worked(annotation, "eModelElement", "EModelElement").opposite("eAnnotations");
  children(annotation, "contents", "EObject");
  annotation.property("references", "EObject").many();
}

void addClass(MetaModelBuilder& ecore) {
  auto& type = ecore.classType("EClass").supertype("EClassifier");
  values(type, "Boolean", {"abstract", "interface"});
  type.property("eSuperTypes", "EClass").many();
  children(type, "eOperations", "EOperation").opposite("eContainingClass");
  worked(type, "eAllAttributes", "EAttribute").many();
  for (const char* name : {"eAllReferences", "eReferences"}) worked(type, name, "EReference").many();
  worked(type, "eAttributes", "EAttribute").many();
  worked(type, "eAllContainments", "EReference").many();
  worked(type, "eAllOperations", "EOperation").many();
  worked(type, "eAllStructuralFeatures", "EStructuralFeature").many();
  worked(type, "eAllSuperTypes", "EClass").many();
  worked(type, "eIDAttribute", "EAttribute");
  children(type, "eStructuralFeatures", "EStructuralFeature").opposite("eContainingClass");
  children(type, "eGenericSuperTypes", "EGenericType");
  worked(type, "eAllGenericSuperTypes", "EGenericType").many();
}

void addClassifiers(MetaModelBuilder& ecore) {
  auto& classifier = ecore.classType("EClassifier").abstractType().supertype("ENamedElement");
  classifier.property("instanceClassName", "String");
  worked(classifier, "instanceClass", "EJavaClass");
  worked(classifier, "defaultValue", "EJavaObject");
  classifier.property("instanceTypeName", "String");
  worked(classifier, "ePackage", "EPackage").opposite("eClassifiers");
  children(classifier, "eTypeParameters", "ETypeParameter");
  auto& dataType = ecore.classType("EDataType").supertype("EClassifier");
  dataType.property("serializable", "Boolean").defaultText("true");
  auto& enumeration = ecore.classType("EEnum").supertype("EDataType");
  children(enumeration, "eLiterals", "EEnumLiteral").opposite("eEnum");
  auto& literal = ecore.classType("EEnumLiteral").supertype("ENamedElement");
  literal.property("value", "Integer");
  worked(literal, "instance", "EEnumerator");
  literal.property("literal", "String");
  worked(literal, "eEnum", "EEnum").opposite("eLiterals");
}

void addElementsAndOperations(MetaModelBuilder& ecore) {
  auto& factory = ecore.classType("EFactory").supertype("EModelElement");
  worked(factory, "ePackage", "EPackage").required().opposite("eFactoryInstance");
  auto& element = ecore.classType("EModelElement").abstractType();
  children(element, "eAnnotations", "EAnnotation").opposite("eModelElement");
  ecore.classType("ENamedElement").abstractType().supertype("EModelElement").property("name", "String");
  ecore.classType("EObject");
  auto& operation = ecore.classType("EOperation").supertype("ETypedElement");
  worked(operation, "eContainingClass", "EClass").opposite("eOperations");
  children(operation, "eTypeParameters", "ETypeParameter");
  children(operation, "eParameters", "EParameter").opposite("eOperation");
  operation.property("eExceptions", "EClassifier").many();
  children(operation, "eGenericExceptions", "EGenericType");
}

void addPackages(MetaModelBuilder& ecore) {
  auto& package = ecore.classType("EPackage").supertype("ENamedElement");
  values(package, "String", {"nsURI", "nsPrefix"});
  worked(package, "eFactoryInstance", "EFactory").required().opposite("ePackage");
  children(package, "eClassifiers", "EClassifier").opposite("ePackage");
  children(package, "eSubpackages", "EPackage").opposite("eSuperPackage");
  worked(package, "eSuperPackage", "EPackage").opposite("eSubpackages");
  auto& parameter = ecore.classType("EParameter").supertype("ETypedElement");
  worked(parameter, "eOperation", "EOperation").opposite("eParameters");
}

void addFeatures(MetaModelBuilder& ecore) {
  auto& reference = ecore.classType("EReference").supertype("EStructuralFeature");
  reference.property("containment", "Boolean");
  worked(reference, "container", "Boolean");
  reference.property("resolveProxies", "Boolean").defaultText("true");
  reference.property("eOpposite", "EReference");
  worked(reference, "eReferenceType", "EClass").required();
  reference.property("eKeys", "EAttribute").many();
  auto& feature = ecore.classType("EStructuralFeature").abstractType().supertype("ETypedElement");
  feature.property("changeable", "Boolean").defaultText("true");
  values(feature, "Boolean", {"volatile", "transient"});
  feature.property("defaultValueLiteral", "String");
  worked(feature, "defaultValue", "EJavaObject");
  values(feature, "Boolean", {"unsettable", "derived"});
  worked(feature, "eContainingClass", "EClass").opposite("eStructuralFeatures");
  auto& typed = ecore.classType("ETypedElement").abstractType().supertype("ENamedElement");
  for (const char* name : {"ordered", "unique"}) typed.property(name, "Boolean").defaultText("true");
  typed.property("lowerBound", "Integer");
  typed.property("upperBound", "Integer").defaultText("1");
  for (const char* name : {"many", "required"}) worked(typed, name, "Boolean");
  typed.property("eType", "EClassifier");
  typed.property("eGenericType", "EGenericType").composite();
}

void addDataTypesAndGenerics(MetaModelBuilder& ecore) {
  primitives(ecore, {"EBigDecimal", "EBigInteger", "EByteArray", "EChar", "ECharacterObject",
                     "EDiagnosticChain", "EEList", "EEnumerator", "EFeatureMap", "EFeatureMapEntry",
                     "EJavaClass", "EJavaObject", "EMap", "EResource", "EResourceSet"});
  values(ecore.classType("EStringToStringMapEntry"), "String", {"key", "value"});
  ecore.primitive("ETreeIterator");
  auto& generic = ecore.classType("EGenericType");
  generic.property("eUpperBound", "EGenericType").composite();
  children(generic, "eTypeArguments", "EGenericType");
  worked(generic, "eRawType", "EClassifier").required();
  generic.property("eLowerBound", "EGenericType").composite();
  generic.property("eTypeParameter", "ETypeParameter");
  generic.property("eClassifier", "EClassifier");
  children(ecore.classType("ETypeParameter").supertype("ENamedElement"), "eBounds", "EGenericType");
  ecore.primitive("EInvocationTargetException");
}

}  // namespace

meta::PackageDefinition wholeEcore() {
  MetaModelBuilder ecore(std::string(kEcoreNamespace), "ecore");
  addAttributesAndAnnotations(ecore);
  addClass(ecore);
  addClassifiers(ecore);
  addElementsAndOperations(ecore);
  addPackages(ecore);
  addFeatures(ecore);
  addDataTypesAndGenerics(ecore);
  meta::PackageDefinition package = ecore.definition();
  for (meta::TypeDefinition& type : package.types) type.isUniversal = type.name == "EObject";
  return package;
}

}  // namespace kr::zero::ecore
