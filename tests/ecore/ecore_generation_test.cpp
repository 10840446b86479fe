// Packages that did not come from a file are written as .ecore from the registry.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "EcoreTesting.h"
#include "kr/zero/meta/MetaModelBuilder.h"
#include "support/Environment.h"
#include "support/Paths.h"
#include "support/RandomModel.h"

namespace kr::zero::test {
namespace {

using testing::HasSubstr;

/// The default; where an enumeration has none and the number 0 stands first, that literal is it.
std::string defaultOf(meta::Property property) {
  if (const auto& text = property->getDefaultText()) return *text;
  const meta::Enum enumeration(property->getType());
  if (!enumeration || property->isMany() || enumeration->getLiterals().empty()) return "none";
  const meta::EnumLiteral& first = enumeration->getLiterals().front();
  return first.number == 0 ? first.name : "none";
}

/// Everything about a property that Ecore can say, as one text.
std::string describe(meta::Property property) {
  const auto flag = [](bool value) { return value ? "1" : "0"; };
  return property->name() + ": " + property->getType()->qualifiedName() + " #" +
         std::to_string(property->getIdentifier()) + " " + std::to_string(property->getLower()) + ".." +
         std::to_string(property->getUpper()) + " " + flag(property->isComposite()) +
         flag(property->isOrdered()) + flag(property->isUnique()) + flag(property->isDerived()) +
         flag(property->isStatic()) + flag(property->isTransient()) + " opposite " +
         (property->getOpposite() ? property->getOpposite()->name() : "none") + " default " +
         defaultOf(property);
}

std::string describe(meta::Type type) {
  std::string text = type->qualifiedName() + " of " + type->packageUri() + "\n";
  if (const meta::Enum enumeration(type); enumeration)
    for (const meta::EnumLiteral& literal : enumeration->getLiterals())
      text += "  " + literal.name + " " + literal.text + " " + std::to_string(literal.number) + "\n";
  if (const meta::Class classType(type); classType) {
    text += classType->isAbstract() ? "  abstract\n" : "";
    text += classType->isUniversal() ? "  universal\n" : "";
    for (const meta::Class supertype : classType->getSupertypes())
      text += "  is a " + supertype->qualifiedName() + "\n";
  }
  if (const meta::StructuredType structured(type); structured)
    for (const meta::Property property : structured->getAllProperties())
      text += "  " + describe(property) + "\n";
  return text;
}

/// All packages of a registry, generated and loaded again.
MetaModels regenerated(meta::MetaRegistry& registry) {
  const auto mapping = ecore::loadMetaModels({}, registry);
  std::vector<NamedText> files;
  std::set<std::string> names;
  for (const meta::PackageInfo& package : registry.getPackages()) {
    names.insert(package.qualifiedName);
    const std::size_t dot = package.qualifiedName.rfind('.');
    if (dot != std::string::npos && names.contains(package.qualifiedName.substr(0, dot))) continue;
    files.emplace_back(package.name + ".ecore", ecore::writeEcore(*mapping, package.uri, true));
  }
  return loadTexts(files);
}

void expectSame(const meta::MetaRegistry& first, const meta::MetaRegistry& second) {
  std::size_t compared = 0;
  for (const meta::PackageInfo& package : first.getPackages())
    for (const meta::Type type : package.types) {
      const meta::Type other = second.findType(std::string_view(type->qualifiedName()));
      ASSERT_TRUE(other) << type->qualifiedName();
      EXPECT_EQ(describe(other), describe(type));
      ++compared;
    }
  EXPECT_GT(compared, 0u);
}

TEST(EcoreGeneration, LooksAsOthersWriteIt) {
  meta::MetaRegistry registry;
  meta::MetaModelBuilder builder("urn:shop", "shop");
  builder.enumeration("Size").literal("small", 0).literal("large", 5, "Large!");
  builder.primitive("Code");
  builder.classType("Named").abstractType().property("name", "String").required();
  auto& item = builder.classType("Item").supertype("Named");
  item.property("code", "Code");
  item.property("size", "Size").defaultText("large");
  item.property("shop", "Shop").opposite("items");
  item.property("first", "stock.Shelf");
  builder.classType("Shop").property("items", "Item").many().unordered().nonUnique().opposite("shop");
  builder.package("urn:shop/stock", "stock")
      .classType("Shelf")
      .property("items", "shop.Item")
      .many()
      .composite();
  builder.registerIn(registry);
  const auto mapping = ecore::loadMetaModels({}, registry);
  EXPECT_EQ(ecore::writeEcore(*mapping, "urn:shop"),
            R"(<?xml version="1.0" encoding="UTF-8"?>
<ecore:EPackage xmi:version="2.0" xmlns:xmi="http://www.omg.org/XMI" xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" xmlns:ecore="http://www.eclipse.org/emf/2002/Ecore" name="shop" nsURI="urn:shop" nsPrefix="shop">
  <eClassifiers xsi:type="ecore:EEnum" name="Size">
    <eLiterals name="small" value="0"/>
    <eLiterals name="large" value="5" literal="Large!"/>
  </eClassifiers>
  <eClassifiers xsi:type="ecore:EDataType" name="Code" instanceClassName="java.lang.String"/>
  <eClassifiers xsi:type="ecore:EClass" name="Named" abstract="true">
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="name" lowerBound="1" eType="ecore:EDataType http://www.eclipse.org/emf/2002/Ecore#//EString"/>
  </eClassifiers>
  <eClassifiers xsi:type="ecore:EClass" name="Item" eSuperTypes="#//Named">
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="code" eType="#//Code"/>
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="size" eType="#//Size" defaultValueLiteral="Large!"/>
    <eStructuralFeatures xsi:type="ecore:EReference" name="shop" eType="#//Shop" eOpposite="#//Shop/items"/>
    <eStructuralFeatures xsi:type="ecore:EReference" name="first" eType="#//stock/Shelf"/>
  </eClassifiers>
  <eClassifiers xsi:type="ecore:EClass" name="Shop">
    <eStructuralFeatures xsi:type="ecore:EReference" name="items" ordered="false" unique="false" upperBound="-1" eType="#//Item" eOpposite="#//Item/shop"/>
  </eClassifiers>
  <eSubpackages name="stock" nsURI="urn:shop/stock" nsPrefix="stock">
    <eClassifiers xsi:type="ecore:EClass" name="Shelf">
      <eStructuralFeatures xsi:type="ecore:EReference" name="items" upperBound="-1" eType="#//Item" containment="true"/>
    </eClassifiers>
  </eSubpackages>
</ecore:EPackage>
)");
  expectSame(registry, *regenerated(registry).registry);
}

TEST(EcoreGeneration, PinnedNumbersStay) {
  meta::MetaRegistry registry;
  meta::MetaModelBuilder builder("urn:n", "n");
  builder.classType("A").property("a", "Integer").id(77);
  builder.registerIn(registry);
  expectSame(registry, *regenerated(registry).registry);
}

TEST(EcoreGeneration, PackagesBesideEachOtherReferByUri) {
  meta::MetaRegistry registry;
  meta::MetaModelBuilder base("urn:base", "base");
  base.classType("Base");
  base.registerIn(registry);
  meta::MetaModelBuilder top("urn:top", "top");
  top.classType("Top").supertype("base.Base").property("bases", "base.Base").many().composite();
  top.registerIn(registry);
  const auto mapping = ecore::loadMetaModels({}, registry);
  EXPECT_THAT(ecore::writeEcore(*mapping, "urn:top"),
              HasSubstr("eSuperTypes=\"ecore:EClass urn:base#//Base\""));
  expectSame(registry, *regenerated(registry).registry);
}

std::string onlyPackage(meta::MetaModelBuilder& builder) {
  meta::MetaRegistry registry;
  builder.registerIn(registry);
  return ecore::writeEcore(*ecore::loadMetaModels({}, registry), "urn:n");
}

TEST(EcoreGeneration, AStandardTypeThatEcoreDoesNotHaveIsAnAnnotationOnOneThatHasRoom) {
  meta::MetaModelBuilder builder("urn:n", "n");
  builder.classType("A").property("a", "UInteger64");
  EXPECT_THAT(onlyPackage(builder), HasSubstr(R"(
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="a" eType="ecore:EDataType http://www.eclipse.org/emf/2002/Ecore#//EBigInteger">
      <eAnnotations source="urn:kr0:binary">
        <details key="type" value="UInteger64"/>
      </eAnnotations>
    </eStructuralFeatures>
)"));
}

TEST(EcoreGeneration, ADatatypeIsAClassWithAnAnnotation) {
  meta::MetaModelBuilder builder("urn:n", "n");
  builder.datatype("D").property("a", "Integer");
  builder.classType("A").property("d", "D");
  EXPECT_THAT(onlyPackage(builder), HasSubstr(R"(
  <eClassifiers xsi:type="ecore:EClass" name="D">
    <eAnnotations source="urn:kr0:binary">
      <details key="kind" value="datatype"/>
    </eAnnotations>
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="a" eType="ecore:EDataType http://www.eclipse.org/emf/2002/Ecore#//EInt"/>
  </eClassifiers>
  <eClassifiers xsi:type="ecore:EClass" name="A">
    <eStructuralFeatures xsi:type="ecore:EReference" name="d" eType="#//D" containment="true"/>
  </eClassifiers>
)"));
}

TEST(EcoreGeneration, MarkersOfWhichEcoreSaysSomethingElseAreAnAnnotation) {
  meta::MetaModelBuilder builder("urn:n", "n");
  builder.classType("A").property("a", "Integer").isTransient();
  EXPECT_THAT(onlyPackage(builder), HasSubstr(R"(<details key="markers" value="transient"/>)"));
}

TEST(EcoreGeneration, EveryMetaModelComesBackAsItWas) {
  Random random(seedFor("meta models as Ecore"));
  for (int i = 0; i < 200 && !testing::Test::HasFailure(); ++i) {
    const auto registry = makeRandomRegistry(random);
    expectSame(*registry, *regenerated(*registry).registry);
  }
}

std::string refusalOfPackage(const std::string& features) {
  try {
    loadTexts({{"n.ecore",
                "<ecore:EPackage xmi:version='2.0' xmlns:xmi='http://www.omg.org/XMI' "
                "xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' "
                "xmlns:ecore='http://www.eclipse.org/emf/2002/Ecore' name='n' nsURI='urn:n'>" +
                    features + "</ecore:EPackage>"}});
  } catch (const ecore::EcoreError& error) {
    return error.what();
  }
  return "nothing was refused";
}

std::string annotation(const std::string& key, const std::string& value) {
  return "<eAnnotations source='urn:kr0:binary'><details key='" + key + "' value='" + value +
         "'/></eAnnotations>";
}

TEST(EcoreGeneration, AnnotationsThatMeanNothingAreRefused) {
  const auto attribute = [](const std::string& inner) {
    return "<eClassifiers xsi:type='ecore:EClass' name='A'><eStructuralFeatures xsi:type='ecore:EAttribute' "
           "name='a' "
           "eType='ecore:EDataType http://www.eclipse.org/emf/2002/Ecore#//EInt'>" +
           inner + "</eStructuralFeatures></eClassifiers>";
  };
  EXPECT_THAT(refusalOfPackage(attribute(annotation("type", "Number"))),
              HasSubstr("feature n.A.a is annotated to have the type \"Number\", which is no standard type"));
  EXPECT_THAT(refusalOfPackage(attribute(annotation("markers", "static fast"))),
              HasSubstr("feature n.A.a is annotated with the unknown marker \"fast\""));
  EXPECT_THAT(refusalOfPackage("<eClassifiers xsi:type='ecore:EClass' name='A'>" +
                               annotation("kind", "union") + "</eClassifiers>"),
              HasSubstr("class A is annotated to be of the unknown kind \"union\""));
  EXPECT_THAT(refusalOfPackage("<eClassifiers xsi:type='ecore:EClass' name='B'/>"
                               "<eClassifiers xsi:type='ecore:EClass' name='A' eSuperTypes='#//B'>" +
                               annotation("kind", "datatype") + "</eClassifiers>"),
              HasSubstr("datatype n.A has a supertype"));
}

class RealMetaModelGeneration : public testing::TestWithParam<std::vector<std::string>> {};

TEST_P(RealMetaModelGeneration, GivesAnEqualMetaModel) {
  if (!haveModels()) GTEST_SKIP() << modelsDir() << " is not on this machine";
  const MetaModels models = loadFiles(GetParam());
  expectSame(*models.registry, *regenerated(*models.registry).registry);
}

using Paths = std::vector<std::string>;
INSTANTIATE_TEST_SUITE_P(All, RealMetaModelGeneration,
                         testing::Values(Paths{"archimate/archimate.ecore"}, Paths{"ecore/Ecore.ecore"},
                                         Paths{"ecore/GenModel.ecore", "ecore/Ecore.ecore"},
                                         Paths{"ecore/XSD.ecore"}, Paths{"ecore/extlibrary.ecore"},
                                         Paths{"jdtast/JDTAST.ecore"}, Paths{"modisco/Bugzilla.ecore"},
                                         Paths{"modisco/java.ecore"}, Paths{"modisco/kdm.ecore"},
                                         Paths{"modisco/webapp30.ecore"}, Paths{"neoemf/Sample.ecore"},
                                         Paths{"pivot/Pivot.ecore"}, Paths{"railway/railway.ecore"},
                                         Paths{"social/social_network.ecore"}));

}  // namespace
}  // namespace kr::zero::test
