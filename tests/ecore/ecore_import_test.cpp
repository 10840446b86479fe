// What .ecore files become in a registry.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "EcoreTesting.h"
#include "support/Paths.h"

namespace kr::zero::test::importing {
namespace {

using meta::Property;
using testing::HasSubstr;

std::string typeName(Property property) { return property->getType()->qualifiedName(); }

std::string inClass(std::string_view features) {
  return "<eClassifiers xsi:type=\"ecore:EClass\" name=\"A\">" + std::string(features) + "</eClassifiers>";
}

std::string attribute(std::string_view name, std::string_view rest) {
  return "<eStructuralFeatures xsi:type=\"ecore:EAttribute\" name=\"" + std::string(name) + "\" " +
         std::string(rest) + "/>";
}

std::string reference(std::string_view name, std::string_view rest) {
  return "<eStructuralFeatures xsi:type=\"ecore:EReference\" name=\"" + std::string(name) + "\" " +
         std::string(rest) + "/>";
}

std::string classText(std::string_view name, std::string_view rest = {}, std::string_view contents = {}) {
  return "<eClassifiers xsi:type=\"ecore:EClass\" name=\"" + std::string(name) + "\" " + std::string(rest) +
         ">" + std::string(contents) + "</eClassifiers>";
}

TEST(EcoreTypes, EcoresOwnAreStandardTypes) {
  const std::pair<const char*, const char*> expected[] = {{"EString", "String"},
                                                          {"EBoolean", "Boolean"},
                                                          {"EBooleanObject", "Boolean"},
                                                          {"EByte", "Integer8"},
                                                          {"EByteObject", "Integer8"},
                                                          {"EShort", "Integer16"},
                                                          {"EShortObject", "Integer16"},
                                                          {"EInt", "Integer"},
                                                          {"EIntegerObject", "Integer"},
                                                          {"ELong", "Integer64"},
                                                          {"ELongObject", "Integer64"},
                                                          {"EFloat", "Real"},
                                                          {"EFloatObject", "Real"},
                                                          {"EDouble", "Real"},
                                                          {"EDoubleObject", "Real"},
                                                          {"EDate", "DateTime"},
                                                          {"EBigDecimal", "ecore.EBigDecimal"},
                                                          {"EBigInteger", "ecore.EBigInteger"},
                                                          {"EChar", "ecore.EChar"},
                                                          {"EByteArray", "ecore.EByteArray"},
                                                          {"EJavaObject", "ecore.EJavaObject"},
                                                          {"EJavaClass", "ecore.EJavaClass"}};
  for (const auto& [ecore, own] : expected) {
    const MetaModels models = loadClassifiers(inClass(attribute("a", ecoreType(ecore))));
    EXPECT_EQ(typeName(models.property("p.A", "a")), own) << ecore;
    EXPECT_TRUE(models.property("p.A", "a")->isStored()) << ecore;
  }
}

TEST(EcoreTypes, OwnDataTypesAreUserDefinedPrimitives) {
  const MetaModels& models = nodeModels();
  const meta::PrimitiveType type(models.property("p.Node", "isbn")->getType());
  ASSERT_TRUE(type);
  EXPECT_EQ(type->getStandardType(), meta::StandardType::none);
}

TEST(EcoreTypes, OfXmlSchemasAreKnownByUriAndByFile) {
  const MetaModels models = loadClassifiers(inClass(
      attribute("a", "eType=\"ecore:EDataType http://www.eclipse.org/emf/2003/XMLType#//AnyURI\"") +
      attribute("b", "eType=\"ecore:EDataType platform:/plugin/x/model/XMLNamespace.ecore#//LangType\"")));
  EXPECT_EQ(typeName(models.property("p.A", "a")), "type.AnyURI");
  EXPECT_EQ(typeName(models.property("p.A", "b")), "namespace.LangType");
}

TEST(EcoreTypes, EObjectIsWhatEveryClassConformsTo) {
  const Property anything = nodeModels().property("p.Node", "anything");
  EXPECT_EQ(typeName(anything), "ecore.EObject");
  EXPECT_TRUE(meta::Class(anything->getType())->isUniversal());
}

TEST(EcoreTypes, OtherClassesOfEcoreAreThereWithoutItsFile) {
  const MetaModels models = loadClassifiers(
      inClass(reference("a", "eType='ecore:EClass http://www.eclipse.org/emf/2002/Ecore#//EClass'")));
  EXPECT_EQ(models.property("p.A", "a")->getType(), models.classOf("ecore.EClass"));
  EXPECT_EQ(models.property("ecore.EClass", "eSuperTypes")->getType(), models.classOf("ecore.EClass"));
}

TEST(EcoreTypes, WhatEcoreDoesNotHaveIsMissing) {
  EXPECT_THAT(refusalOf(inClass(
                  reference("a", "eType='ecore:EClass http://www.eclipse.org/emf/2002/Ecore#//EWheel'"))),
              HasSubstr("it needs EWheel of the package ecore: give Ecore.ecore as a meta model too"));
}

TEST(EcoreTypes, ASecondLoadFindsWhatTheFirstBroughtIn) {
  meta::MetaRegistry registry;
  const std::string first = temporaryPath("first.ecore");
  const std::string second = temporaryPath("second.ecore");
  writeFile(first, packageText("one", "urn:one", classText("A", "", attribute("a", ecoreType("EChar")))));
  writeFile(second, packageText("two", "urn:two",
                                classText("B", "eSuperTypes='urn:one#//A'",
                                          attribute("b", ecoreType("EBigInteger")) +
                                              attribute("c", ecoreType("EInt")))));
  ecore::loadMetaModels({first}, registry);
  const auto mapping = ecore::loadMetaModels({second}, registry);
  const Model model = ecore::readXmi("<t:B xmlns:t='urn:two' a='x' b='12' c='3'/>", "d", *mapping);
  EXPECT_EQ(model.getRoots().front().getTextForm("a"), "x");
  EXPECT_EQ(model.getRoots().front().getTextForm("b"), "12");
}

TEST(EcoreFeatures, BoundsAndMarkersAreTaken) {
  const MetaModels models = loadClassifiers(inClass(
      attribute("one", "lowerBound='1' " + ecoreType("EInt")) +
      attribute("some", "lowerBound='2' upperBound='5' ordered='false' unique='false' " + ecoreType("EInt")) +
      attribute("open", "upperBound='-2' " + ecoreType("EInt"))));
  const Property one = models.property("p.A", "one");
  EXPECT_EQ(one->getLower(), 1u);
  EXPECT_EQ(one->getUpper(), 1);
  EXPECT_TRUE(one->isOrdered() && one->isUnique());
  const Property some = models.property("p.A", "some");
  EXPECT_EQ(some->getLower(), 2u);
  EXPECT_EQ(some->getUpper(), 5);
  EXPECT_FALSE(some->isOrdered() || some->isUnique());
  EXPECT_EQ(models.property("p.A", "open")->getUpper(), -1);
}

TEST(EcoreFeatures, ContainmentIsCompositionAndOtherReferencesAreAssociations) {
  EXPECT_TRUE(nodeModels().property("p.Node", "nodes")->isComposite());
  EXPECT_FALSE(nodeModels().property("p.Node", "next")->isComposite());
}

TEST(EcoreFeatures, TransientOnesAndTheContainerSideHaveNoStoredValueAndNoNumber) {
  for (const char* name : {"passing", "parent"}) {
    EXPECT_FALSE(nodeModels().property("p.Node", name)->isStored()) << name;
    EXPECT_EQ(nodeModels().property("p.Node", name)->getIdentifier(), 0u) << name;
  }
}

TEST(EcoreFeatures, VolatileOrDerivedAloneExcludesNothing) {
  const MetaModels models = loadClassifiers(inClass(attribute("a", "volatile='true' " + ecoreType("EInt")) +
                                                    attribute("b", "derived='true' " + ecoreType("EInt"))));
  for (const char* name : {"a", "b"}) {
    EXPECT_TRUE(models.property("p.A", name)->isStored()) << name;
    EXPECT_NE(models.property("p.A", name)->getIdentifier(), 0u) << name;
  }
}

TEST(EcoreFeatures, ValuesWithoutTextFormAreNotStored) {
  const MetaModels models =
      loadClassifiers("<eClassifiers xsi:type='ecore:EDataType' name='File' serializable='false'/>" +
                      inClass(attribute("a", "eType='#//File'") + attribute("b", ecoreType("EResource")) +
                              attribute("c", ecoreType("EFeatureMapEntry"))));
  for (const char* name : {"a", "b", "c"}) EXPECT_FALSE(models.property("p.A", name)->isStored()) << name;
}

TEST(EcoreFeatures, OppositesFaceEachOther) {
  const Property nodes = nodeModels().property("p.Node", "nodes");
  const Property parent = nodeModels().property("p.Node", "parent");
  EXPECT_EQ(nodes->getOpposite(), parent);
  EXPECT_EQ(parent->getOpposite(), nodes);
}

TEST(EcoreFeatures, AnOppositeThatDoesNotAnswerIsNone) {
  const MetaModels models = loadClassifiers(
      inClass(reference("a", "eType='#//A' eOpposite='#//A/b'") + reference("b", "eType='#//A'")));
  EXPECT_FALSE(models.property("p.A", "a")->getOpposite());
}

TEST(EcoreFeatures, OppositesMayBeInherited) {
  const MetaModels models = loadClassifiers(
      classText("Base", "", reference("owner", "eType='#//Owner' eOpposite='#//Owner/parts'")) +
      classText("Part", "eSuperTypes='#//Base'") +
      classText("Owner", "",
                reference("parts", "upperBound='-1' eType='#//Part' eOpposite='#//Base/owner'")));
  EXPECT_EQ(models.property("p.Owner", "parts")->getOpposite(), models.property("p.Base", "owner"));
}

TEST(EcoreFeatures, DefaultsAreTaken) {
  const MetaModels models = loadClassifiers(
      "<eClassifiers xsi:type='ecore:EEnum' name='E'><eLiterals name='x' value='7'/>"
      "<eLiterals name='y' value='3' literal='Why'/></eClassifiers>" +
      inClass(attribute("count", "defaultValueLiteral='100' " + ecoreType("EInt")) +
              attribute("e", "defaultValueLiteral='Why' eType='#//E'") + attribute("first", "eType='#//E'") +
              attribute("none", ecoreType("EString"))));
  Model model(*models.registry);
  const Element a = model.createRoot("p.A");
  EXPECT_EQ(a.getInteger("count"), 100);
  EXPECT_EQ(a.getInteger("e"), 3);
  EXPECT_EQ(a.getInteger("first"), 7) << "an enumeration's own default is its first literal";
  EXPECT_EQ(models.property("p.A", "none")->getDefaultText(), std::nullopt);
}

TEST(EcoreFeatures, AnAnnotationPinsTheNumber) {
  const std::string pin =
      "><eAnnotations source='urn:kr0:binary'><details key='id' value='900'/></eAnnotations>";
  const MetaModels models = loadClassifiers(
      inClass("<eStructuralFeatures xsi:type='ecore:EAttribute' name='a' " + ecoreType("EInt") + pin +
              "</eStructuralFeatures>" + attribute("b", ecoreType("EInt"))));
  EXPECT_EQ(models.property("p.A", "a")->getIdentifier(), 900u);
  EXPECT_EQ(models.property("p.A", "b")->getIdentifier(), 1u);
}

TEST(EcoreFeatures, APinMustBeANumberInRange) {
  for (const char* number : {"0", "16383", "-1", "x", ""})
    EXPECT_THAT(
        refusalOf(inClass("<eStructuralFeatures xsi:type='ecore:EAttribute' name='a' " + ecoreType("EInt") +
                          "><eAnnotations source='urn:kr0:binary'><details key='id' value='" + number +
                          "'/></eAnnotations></eStructuralFeatures>")),
        HasSubstr("not a number from 1 to 16382"))
        << number;
}

TEST(EcoreFeatures, WithoutTypeOrOfTheWrongKindAreRefused) {
  EXPECT_THAT(refusalOf(inClass(attribute("a", ""))), HasSubstr("feature p.A.a has no type"));
  EXPECT_THAT(refusalOf(inClass(attribute("a", "eType='#//A'"))), HasSubstr("feature p.A.a is an attribute"));
  EXPECT_THAT(refusalOf(inClass(reference("a", ecoreType("EInt")))),
              HasSubstr("feature p.A.a is a reference"));
  EXPECT_THAT(refusalOf(inClass(attribute("a", "lowerBound='-1' " + ecoreType("EInt")))),
              HasSubstr("negative"));
}

TEST(EcoreClasses, MayHaveSeveralSupertypes) {
  const MetaModels models =
      loadClassifiers(classText("A", "abstract='true'") + classText("B", "interface='true'") +
                      classText("C", "eSuperTypes='#//A #//B'"));
  EXPECT_TRUE(models.classOf("p.A")->isAbstract());
  EXPECT_EQ(models.classOf("p.C")->getSupertypes(),
            (std::vector<meta::Class>{models.classOf("p.A"), models.classOf("p.B")}));
}

TEST(EcoreClasses, MapEntriesAreClassesLikeOthers) {
  const MetaModels models = loadClassifiers(
      classText("Entry", "instanceClassName='java.util.Map$Entry'",
                attribute("key", ecoreType("EString")) + attribute("value", ecoreType("EInt"))) +
      inClass(reference("map", "upperBound='-1' containment='true' eType='#//Entry'")));
  const Model model = models.read("<p:A xmlns:p='urn:p'><map key='a' value='1'/></p:A>");
  EXPECT_EQ(model.getRoots().front().getElement("map", 0).getInteger("value"), 1);
}

TEST(EcoreClasses, OperationsAreLeftOut) {
  const MetaModels models = loadClassifiers(
      classText("A", "",
                "<eOperations name='a' eType='#//A'><eParameters name='x' eType='#//A'/></eOperations>" +
                    reference("a", "eType='#//A' eOpposite='#//A/b'") +
                    reference("b", "eType='#//A' eOpposite='#//A/a.1'")));
  EXPECT_EQ(models.classOf("p.A")->getAllProperties().size(), 2u);
  EXPECT_EQ(models.property("p.A", "b")->getOpposite(), models.property("p.A", "a"))
      << "an operation of the same name counts in the path";
}

TEST(EcoreEnumerations, HaveNumbersAndTexts) {
  const meta::Enum color(nodeModels().registry->findType(std::string_view("p.Color")));
  ASSERT_EQ(color->getLiterals().size(), 3u);
  EXPECT_EQ(color->getLiterals()[1].name, "green");
  EXPECT_EQ(color->getLiterals()[1].text, "Green!");
  EXPECT_EQ(color->getLiterals()[1].number, 1);
  EXPECT_EQ(color->getLiterals()[2].number, 0) << "two literals may share a number";
}

TEST(EcoreGenerics, AreErased) {
  const MetaModels models = loadClassifiers(
      classText("Item") +
      classText(
          "Box", "",
          "<eTypeParameters name='T'><eBounds eClassifier='#//Item'/></eTypeParameters>"
          "<eTypeParameters name='U'/><eTypeParameters name='V'><eBounds eTypeParameter='#//Box/T'/>"
          "</eTypeParameters>"
          "<eStructuralFeatures xsi:type='ecore:EReference' name='t'><eGenericType "
          "eTypeParameter='#//Box/T'/></eStructuralFeatures>"
          "<eStructuralFeatures xsi:type='ecore:EReference' name='u'><eGenericType "
          "eTypeParameter='#//Box/U'/></eStructuralFeatures>"
          "<eStructuralFeatures xsi:type='ecore:EReference' name='v'><eGenericType "
          "eTypeParameter='#//Box/V'/></eStructuralFeatures>"
          "<eStructuralFeatures xsi:type='ecore:EReference' name='box'><eGenericType eClassifier='#//Box'>"
          "<eTypeArguments><eUpperBound eClassifier='#//Item'/></eTypeArguments></eGenericType>"
          "</eStructuralFeatures>"
          "<eStructuralFeatures xsi:type='ecore:EAttribute' name='x'><eGenericType "
          "eTypeParameter='#//Box/U'/></eStructuralFeatures>") +
      classText("Special", "",
                "<eGenericSuperTypes eClassifier='#//Box'><eTypeArguments eClassifier='#//Item'/>"
                "</eGenericSuperTypes>"));
  EXPECT_EQ(typeName(models.property("p.Box", "t")), "p.Item");
  EXPECT_EQ(typeName(models.property("p.Box", "u")), "ecore.EObject");
  EXPECT_EQ(typeName(models.property("p.Box", "v")), "p.Item");
  EXPECT_EQ(typeName(models.property("p.Box", "box")), "p.Box");
  EXPECT_EQ(typeName(models.property("p.Box", "x")), "ecore.EJavaObject");
  EXPECT_EQ(models.classOf("p.Special")->getSupertypes().front(), models.classOf("p.Box"));
}

TEST(EcoreGenerics, BoundsThatNameEachOtherComeToAnEnd) {
  const MetaModels models = loadClassifiers(
      classText("A", "",
                "<eTypeParameters name='T'><eBounds eTypeParameter='#//A/U'/></eTypeParameters>"
                "<eTypeParameters name='U'><eBounds eTypeParameter='#//A/T'/></eTypeParameters>"
                "<eStructuralFeatures xsi:type='ecore:EReference' name='t'><eGenericType "
                "eTypeParameter='#//A/T'/></eStructuralFeatures>"));
  EXPECT_EQ(typeName(models.property("p.A", "t")), "ecore.EObject");
}

TEST(EcorePackages, MayBeNested) {
  const MetaModels models =
      loadTexts({{"p.ecore", packageText("p", "urn:p",
                                         classText("A", "", reference("b", "eType='#//sub/B'")) +
                                             "<eSubpackages name='sub' nsURI='urn:p.sub' nsPrefix='ps'>" +
                                             classText("B") + "</eSubpackages>")}});
  EXPECT_EQ(typeName(models.property("p.A", "b")), "p.sub.B");
  EXPECT_EQ(models.read("<x:B xmlns:x='urn:p.sub'/>").getRoots().front().getType()->packageUri(),
            "urn:p.sub");
}

TEST(EcorePackages, WithoutUriGoByTheirName) {
  const MetaModels models = loadTexts({{"p.ecore", packageText("p", "",
                                                               classText("A") + "<eSubpackages name='q'>" +
                                                                   classText("B") + "</eSubpackages>")}});
  EXPECT_TRUE(models.registry->hasPackage("p"));
  EXPECT_TRUE(models.registry->hasPackage("p.q"));
  EXPECT_EQ(roundTrip(models, "<x:B xmlns:x='p.q'/>"), "equal");
}

TEST(EcorePackages, SeveralMayStandInOneFile) {
  const std::string text =
      "<xmi:XMI xmi:version='2.0' xmlns:xmi='http://www.omg.org/XMI' "
      "xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' "
      "xmlns:ecore='http://www.eclipse.org/emf/2002/Ecore'>"
      "<ecore:EPackage name='types'><eClassifiers xsi:type='ecore:EDataType' name='Text'/></ecore:EPackage>"
      "<ecore:EPackage name='q' nsURI='urn:q'>" +
      classText("A", "", attribute("a", "eType='/0/Text'") + reference("b", "eType='/1/A'")) +
      "</ecore:EPackage></xmi:XMI>";
  const MetaModels models = loadTexts({{"two.ecore", text}});
  EXPECT_EQ(typeName(models.property("q.A", "a")), "types.Text");
  EXPECT_EQ(typeName(models.property("q.A", "b")), "q.A");
}

TEST(EcorePackages, NestedTooDeepAreRefused) {
  std::string open;
  std::string close;
  for (int i = 0; i < 200; ++i) {
    open += "<eSubpackages name='s'>";
    close += "</eSubpackages>";
  }
  EXPECT_THAT(refusalOf(open + close), HasSubstr("packages are nested more than 100 deep"));
}

TEST(EcoreNames, ThatAreKeptWithAllThatTheyNameAreNotLong) {
  const std::string most(512, 'n');
  const auto packageCalled = [](const std::string& name, const std::string& uri) {
    return "<eSubpackages name='" + name + "' nsURI='" + uri + "'/>";
  };
  const auto literal = [](const std::string& name) {
    return "<eClassifiers xsi:type='ecore:EEnum' name='E'><eLiterals name='" + name + "'/></eClassifiers>";
  };
  EXPECT_EQ(refusalOf(packageCalled(most.substr(2), most) + classText(most.substr(2)) + literal(most)),
            "nothing was refused");
  EXPECT_THAT(refusalOf(packageCalled(most, "u")),
              HasSubstr("line 2: the name of a package, with those around it, is longer than 512 bytes"));
  EXPECT_THAT(refusalOf(packageCalled("q", most + "u")),
              HasSubstr("the URI of a package is longer than 512 bytes"));
  EXPECT_THAT(refusalOf(classText(most)),
              HasSubstr("the name of a classifier, with its packages, is longer than 512 bytes"));
  EXPECT_THAT(refusalOf(literal(most + "n")), HasSubstr("the name of a literal is longer than 512 bytes"));
}

TEST(EcoreDefaults, AreFoundByTheTextOfTheFirstLiteralThatHasIt) {
  const auto models = loadClassifiers(
      "<eClassifiers xsi:type='ecore:EEnum' name='E'><eLiterals name='a'/><eLiterals name='b' value='1' "
      "literal='T'/><eLiterals name='c' value='2' literal='T'/></eClassifiers>" +
      classText("A", "", attribute("x", "eType='#//E' defaultValueLiteral='T'")));
  EXPECT_EQ(models.property("p.A", "x")->getDefaultText(), "b");
}

TEST(EcoreFiles, FindEachOtherByPathUriAndFileName) {
  const std::string base = packageText("base", "urn:base", classText("Base"));
  for (const char* uri : {"../lib/base.ecore", "urn:base", "platform:/plugin/org.example/model/base.ecore",
                          "platform:/resource/x/lib/base.ecore", "http://example.org/lib/base.ecore",
                          "../moved/elsewhere/base.ecore"}) {
    const MetaModels models = loadTexts(
        {{"model/top.ecore",
          packageText("top", "urn:top", classText("Top", std::string("eSuperTypes='") + uri + "#//Base'"))},
         {"lib/base.ecore", base}});
    EXPECT_EQ(models.classOf("top.Top")->getSupertypes().front(), models.classOf("base.Base")) << uri;
  }
}

TEST(EcoreFiles, OfOneNameAreToldApartByTheirFolders) {
  const MetaModels models =
      loadTexts({{"top.ecore", packageText("top", "urn:top",
                                           classText("Top", "eSuperTypes='platform:/plugin/b/m.ecore#//B'"))},
                 {"a/m.ecore", packageText("a", "urn:a", classText("A"))},
                 {"b/m.ecore", packageText("b", "urn:b", classText("B"))}});
  EXPECT_EQ(models.classOf("top.Top")->getSupertypes().front(), models.classOf("b.B"));
}

TEST(EcoreFiles, ThatCannotBeToldApartAreRefused) {
  try {
    loadTexts({{"top.ecore",
                packageText("top", "urn:top", classText("Top", "eSuperTypes='platform:/x/m.ecore#//A'"))},
               {"a/m.ecore", packageText("a", "urn:a", classText("A"))},
               {"b/m.ecore", packageText("b", "urn:b", classText("B"))}});
    FAIL() << "nothing was refused";
  } catch (const ecore::EcoreError& error) {
    EXPECT_THAT(error.what(), HasSubstr("several of the given files could be \"platform:/x/m.ecore\""));
  }
}

TEST(EcoreFiles, ThatAreMissingAreNamed) {
  EXPECT_THAT(
      refusalOf("\n" + classText("A", "eSuperTypes='platform:/plugin/x/y.ecore#//B'")),
      HasSubstr("p.ecore, line 3: the eSuperTypes \"platform:/plugin/x/y.ecore#//B\" is in none of the given "
                "files"));
}

TEST(EcoreFiles, GivenTwiceCountOnce) {
  meta::MetaRegistry registry;
  const std::string path = temporaryPath("twice.ecore");
  writeFile(path, packageText("p", "urn:p", classText("A")));
  ecore::loadMetaModels({path, path}, registry);
  EXPECT_TRUE(registry.findType(std::string_view("p.A")));
}

TEST(EcoreFiles, ThatAreNotEcoreAreRefused) {
  const auto refusal = [](const std::string& text) -> std::string {
    try {
      loadTexts({{"x.ecore", text}});
    } catch (const ecore::EcoreError& error) {
      return error.what();
    }
    return "nothing was refused";
  };
  EXPECT_THAT(refusal("<a/>"), HasSubstr("no package has a class \"a\""));
  EXPECT_THAT(refusal("<xmi:XMI xmlns:xmi='http://www.omg.org/XMI'/>"),
              HasSubstr("it holds no package of Ecore"));
  EXPECT_THAT(refusal(packageText("p", "urn:p", "<eClassifiers xsi:type='ecore:EClass'/>")),
              HasSubstr("a classifier has no name"));
  EXPECT_THAT(refusal(packageText("", "urn:p", "")), HasSubstr("a package has no name"));
  EXPECT_THAT(
      refusal(packageText("p", "urn:p", "<eClassifiers xsi:type='ecore:EClass' name='A' wings='2'/>")),
      HasSubstr("class ecore.EClass has no feature \"wings\""));
  EXPECT_THAT(refusal(packageText("p", "urn:p", classText("A", "eSuperTypes='#//B'"))),
              HasSubstr("the reference \"//B\" of feature ecore.EClass.eSuperTypes leads nowhere"));
}

TEST(EcoreFiles, WhatTheRegistryRefusesLeavesItAsItWas) {
  meta::MetaRegistry registry;
  const std::string path = temporaryPath("circle.ecore");
  writeFile(path, packageText("p", "urn:p",
                              classText("A", "eSuperTypes='#//B'") + classText("B", "eSuperTypes='#//A'")));
  try {
    ecore::loadMetaModels({path}, registry);
    FAIL() << "taken in";
  } catch (const Error& error) {
    EXPECT_EQ(error.getCode(), ErrorCode::badMetaModel);
    EXPECT_EQ(error.getDetails().file, path);
    EXPECT_THAT(error.what(), testing::StartsWith(path + ", "));
    EXPECT_THROW(std::rethrow_if_nested(error), meta::MetaError);
  }
  EXPECT_FALSE(registry.hasPackage("urn:p"));
}

TEST(EcoreFiles, AnnotationsMayHoldAnything) {
  const MetaModels models = loadClassifiers(
      "<eClassifiers xsi:type='ecore:EClass' name='A'><eAnnotations source='x' references='other.uml#_1'>"
      "<contents xsi:type='uml:Thing' xmlns:uml='urn:uml' "
      "wheels='4'><wing/></contents></eAnnotations></eClassifiers>");
  EXPECT_TRUE(models.classOf("p.A"));
}

/// Ecore.ecore among the files: its classes are there, its data types mean what they mean without it.
TEST(EcoreAsRealMetaModel, KeepsTheMeaningOfItsTypes) {
  if (!haveModels()) GTEST_SKIP() << modelsDir() << " is not on this machine";
  const MetaModels models = loadFiles({"ecore/Ecore.ecore"});
  EXPECT_EQ(typeName(models.property("ecore.ENamedElement", "name")), "String");
  EXPECT_EQ(typeName(models.property("ecore.EAttribute", "iD")), "Boolean");
  EXPECT_FALSE(models.registry->findType(std::string_view("ecore.EString")));
  EXPECT_TRUE(models.registry->findType(std::string_view("ecore.EBigDecimal")));
  EXPECT_TRUE(models.classOf("ecore.EObject")->isUniversal());
  EXPECT_TRUE(models.property("ecore.ETypedElement", "eType")->isStored()) << "volatile and stored";
  EXPECT_FALSE(models.property("ecore.EClassifier", "ePackage")->isStored());
}

TEST(EcoreAsRealMetaModel, IsReferredToByMetaModelsOfEcore) {
  if (!haveModels()) GTEST_SKIP() << modelsDir() << " is not on this machine";
  const MetaModels models = loadFiles({"ecore/GenModel.ecore", "ecore/Ecore.ecore"});
  EXPECT_EQ(typeName(models.property("genmodel.GenPackage", "ecorePackage")), "ecore.EPackage");
}

TEST(EcoreWriting, GivesTheFileBackAsItWas) {
  const std::string text =
      packageText("p", "urn:p", "<!-- kept --><eClassifiers\n xsi:type='ecore:EClass' name='A'/>");
  const MetaModels models = loadTexts({{"p.ecore", text}});
  EXPECT_EQ(ecore::writeEcore(*models.mapping, "urn:p"), text);
}

TEST(EcoreWriting, IsInUtf8WhateverTheFileWasIn) {
  std::string text =
      packageText("p", "urn:p", "<!-- \xE4 --><eClassifiers xsi:type='ecore:EClass' name='A'/>");
  text.replace(text.find("UTF-8"), 5, "ISO-8859-1");
  const MetaModels models = loadTexts({{"p.ecore", text}});
  EXPECT_THAT(ecore::writeEcore(*models.mapping, "urn:p"), HasSubstr("encoding=\"UTF-8\""));
  EXPECT_THAT(ecore::writeEcore(*models.mapping, "urn:p"), HasSubstr("<!-- \xC3\xA4 -->"));
}

TEST(EcoreWriting, PinsGoBehindTheAnnotationsThatAreThere) {
  const MetaModels models = loadTexts(
      {{"p.ecore",
        packageText("p", "urn:p",
                    "\n  <eClassifiers xsi:type=\"ecore:EClass\" name=\"A\">\n"
                    "    <eStructuralFeatures xsi:type=\"ecore:EReference\" name=\"a\" eType=\"#//A\"/>\n"
                    "    <eStructuralFeatures xsi:type=\"ecore:EReference\" name=\"b\">\n"
                    "      <eAnnotations source=\">\"/>\n"
                    "      <eGenericType eClassifier=\"#//A\"/>\n"
                    "    </eStructuralFeatures>\n"
                    "    <eStructuralFeatures xsi:type=\"ecore:EReference\" name=\"c\" eType=\"#//A\">"
                    "<!-- > --></eStructuralFeatures>\n"
                    "    <eStructuralFeatures xsi:type=\"ecore:EReference\" name=\"d\" eType=\"#//A\" "
                    "transient=\"true\"/>\n"
                    "  </eClassifiers>\n")}});
  const auto pin = [](const std::string& number) {
    return "      <eAnnotations source=\"urn:kr0:binary\">\n        <details key=\"id\" value=\"" + number +
           "\"/>\n      </eAnnotations>\n";
  };
  const std::string pinned = ecore::writeEcore(*models.mapping, "urn:p", true);
  EXPECT_THAT(pinned, HasSubstr("name=\"a\" eType=\"#//A\">\n" + pin("1") + "    </eStructuralFeatures>\n"));
  EXPECT_THAT(pinned, HasSubstr("      <eAnnotations source=\">\"/>\n" + pin("2") + "      <eGenericType"));
  EXPECT_THAT(pinned, HasSubstr("<!-- > -->\n" + pin("3") + "    </eStructuralFeatures>\n"));
  EXPECT_THAT(pinned, HasSubstr("transient=\"true\"/>\n"));
  EXPECT_EQ(ecore::writeEcore(*loadTexts({{"p.ecore", pinned}}).mapping, "urn:p", true), pinned);
}

TEST(EcoreWriting, AnUnknownPackageIsRefused) {
  EXPECT_THROW(ecore::writeEcore(*nodeModels().mapping, "urn:nobody"), ecore::EcoreError);
}

}  // namespace
}  // namespace kr::zero::test::importing
