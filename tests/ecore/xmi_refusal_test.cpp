// Every refusal is one sentence that names the document, the line and what is wrong.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "EcoreTesting.h"
#include "kr/zero/ecore/Imperfect.h"
#include "support/Paths.h"

namespace kr::zero::test {
namespace {

using testing::HasSubstr;

std::string refusal(std::string_view attributes, std::string_view children = {}) {
  return refusalOf(nodeModels(), nodeDocument(attributes, children));
}

TEST(XmiRefusals, NameTheDocumentAndTheLine) {
  EXPECT_EQ(refusal("", "\n<nodes/>\n<nodes\nnme='a'/>\n"),
            "document.xmi, line 3: class p.Node has no feature \"nme\"");
}

TEST(XmiRefusals, AnUnknownFeature) {
  EXPECT_THAT(refusal("", "<wheels/>"), HasSubstr("class p.Node has no feature \"wheels\""));
}

TEST(XmiRefusals, AnUnknownClass) {
  EXPECT_THAT(refusal("", "<nodes xsi:type='p:Wheel'/>"),
              HasSubstr("the package with the URI \"urn:p\" has no class \"Wheel\""));
}

TEST(XmiRefusals, AnUnknownPackage) {
  EXPECT_THAT(refusalOf(nodeModels(), "<q:Node xmlns:q='urn:q'/>"),
              HasSubstr("the package with the URI \"urn:q\" is in none of the meta models"));
}

TEST(XmiRefusals, APrefixThatNobodyDeclared) {
  EXPECT_THAT(refusal("", "<nodes xsi:type='q:Node'/>"),
              HasSubstr("the namespace prefix \"q\" is not declared"));
}

TEST(XmiRefusals, AnAbstractClass) {
  EXPECT_THAT(refusalOf(nodeModels(), "<p:Base xmlns:p='urn:p'/>"), HasSubstr("abstract"));
  EXPECT_THAT(refusal("", "<bases/>"), HasSubstr("abstract"));
}

TEST(XmiRefusals, AClassThatDoesNotFit) {
  const auto models = loadClassifiers(R"(
    <eClassifiers xsi:type="ecore:EClass" name="A">
      <eStructuralFeatures xsi:type="ecore:EReference" name="b" eType="#//B" containment="true"/>
      <eStructuralFeatures xsi:type="ecore:EReference" name="to" eType="#//B"/>
    </eClassifiers>
    <eClassifiers xsi:type="ecore:EClass" name="B"/>)");
  EXPECT_THAT(refusalOf(models,
                        "<p:A xmlns:p='urn:p' xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'>"
                        "<b xsi:type='p:A'/></p:A>"),
              HasSubstr("does not fit"));
  EXPECT_THAT(refusalOf(models, "<p:A xmlns:p='urn:p' to='/'/>"), HasSubstr("does not fit"));
}

TEST(XmiRefusals, TextsThatAreNoValues) {
  EXPECT_THAT(refusal("count='x'"), HasSubstr("feature p.Node.count: \"x\" is not a value of type Integer"));
  EXPECT_THAT(refusal("count=''"), HasSubstr("p.Node.count"));
  EXPECT_THAT(refusal("count='1.5'"), HasSubstr("p.Node.count"));
  EXPECT_THAT(refusal("flag='yes'"),
              HasSubstr("feature p.Node.flag: \"yes\" is not a value of type Boolean"));
  EXPECT_THAT(refusal("real='1,5'"), HasSubstr("p.Node.real"));
  EXPECT_THAT(refusal("color='blue'"), HasSubstr("enumeration p.Color has no literal \"blue\""));
  EXPECT_THAT(refusal("when='yesterday'"), HasSubstr("\"yesterday\" is not a DateTime"));
  EXPECT_THAT(refusal("numbers='1 b'"), HasSubstr("\"b\" is not a value of type Integer"));
}

TEST(XmiRefusals, NumbersOutOfRange) {
  EXPECT_THAT(refusal("small='128'"), HasSubstr("128"));
  EXPECT_THAT(refusal("count='2147483648'"), HasSubstr("2147483648"));
  EXPECT_THAT(refusal("big='9223372036854775808'"), HasSubstr("9223372036854775808"));
}

TEST(XmiRefusals, ALiteralWhoseNumberBelongsToAnother) {
  EXPECT_THAT(refusal("color='crimson'"),
              HasSubstr("literal \"crimson\" of enumeration p.Color shares the number 0 with \"red\""));
}

TEST(XmiRefusals, AFeatureGivenTwice) {
  EXPECT_THAT(refusal("name='a'", "<name>b</name>"), HasSubstr("feature p.Node.name is given twice"));
  EXPECT_THAT(refusal("next='/ /'"), HasSubstr("feature p.Node.next is given twice"));
  EXPECT_THAT(refusal("", "<node/><node/>"), HasSubstr("node"));
  EXPECT_THAT(refusal("name='a'", "<name xsi:nil='true'/>"), HasSubstr("feature p.Node.name is given twice"));
}

TEST(XmiRefusals, FeaturesWithoutStoredValue) {
  EXPECT_THAT(refusal("passing='a'"), HasSubstr("feature p.Node.passing is transient"));
  EXPECT_THAT(refusal("parent='/'"), HasSubstr("feature p.Node.parent is told by the nesting"));
  EXPECT_THAT(refusal("", "<parent href='#/'/>"), HasSubstr("feature p.Node.parent is told by the nesting"));
}

TEST(XmiRefusals, FeatureMapsAndWhatStandsInThem) {
  const auto models = loadClassifiers(R"(<eClassifiers xsi:type="ecore:EClass" name="A">
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="mixed" upperBound="-1" E(EFeatureMapEntry)/>
    <eStructuralFeatures xsi:type="ecore:EReference" name="bold" upperBound="-1" eType="#//A" containment="true"
        transient="true" volatile="true" derived="true">
      <eAnnotations source="http:///org/eclipse/emf/ecore/util/ExtendedMetaData">
        <details key="group" value="#mixed"/>
      </eAnnotations>
    </eStructuralFeatures>
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="map" E(EMap)/>
  </eClassifiers>)");
  EXPECT_THAT(refusalOf(models, "<p:A xmlns:p='urn:p'><mixed/></p:A>"),
              HasSubstr("feature p.A.mixed is a feature map, which cannot be stored"));
  EXPECT_THAT(refusalOf(models, "<p:A xmlns:p='urn:p'><bold/></p:A>"),
              HasSubstr("feature p.A.bold belongs to the feature map \"mixed\", which cannot be stored"));
  EXPECT_THAT(refusalOf(models, "<p:A xmlns:p='urn:p' map='x'/>"),
              HasSubstr("feature p.A.map cannot be stored"));
}

TEST(XmiRefusals, ReferencesThatLeadNowhere) {
  for (const char* text :
       {"//@nodes.1", "//@nodes.x", "//@wheels.0", "//@name", "/1", "/x", "_9", "//nobody", "//",
        "//@nodes[name='b']", "//@nodes[name=b]", "//@nodes[]", "//@nodes[name='a',count='3']"})
    EXPECT_THAT(
        refusal(std::string("next=\"") + text + "\"", "<nodes name='a'/>"),
        HasSubstr(std::string("the reference \"") + text + "\" of feature p.Node.next leads nowhere"));
}

TEST(XmiRefusals, AnIdThatOccursTwice) {
  EXPECT_THAT(refusal("next='k'", "<nodes key='k'/><nodes key='k'/>"),
              HasSubstr("the reference \"k\" of feature p.Node.next could mean several elements"));
  EXPECT_THAT(refusal("next='k'", "<nodes key='k'/><nodes xmi:id='k'/>"),
              HasSubstr("could mean several elements"));
  EXPECT_THAT(refusal("", "<nodes xmi:id='k'/><nodes xmi:id='k'/>"),
              HasSubstr("two elements have the xmi:id \"k\""));
  EXPECT_EQ(refusal("", "<nodes key='k'/><nodes key='k'/>"), "nothing was refused");
}

TEST(XmiRefusals, ContainmentAcrossDocuments) {
  EXPECT_THAT(refusal("", "<nodes href='other.xmi#/'/>"),
              HasSubstr("feature p.Node.nodes contains an element of another document, \"other.xmi#/\""));
}

TEST(XmiRefusals, TextBetweenElements) {
  EXPECT_THAT(refusal("", "<nodes/>stray"), HasSubstr("there is text between the elements: \"stray\""));
}

TEST(XmiRefusals, ElementsInsideOfAValue) {
  EXPECT_THAT(refusal("", "<name><b/></name>"), HasSubstr("feature p.Node.name does not contain elements"));
  EXPECT_THAT(refusal("", "<next><b/></next>"), HasSubstr("feature p.Node.next does not contain elements"));
}

TEST(XmiRefusals, EmptinessThatAModelDoesNotHave) {
  EXPECT_THAT(refusal("", "<must xsi:nil='true'/>"),
              HasSubstr("p.Node.must cannot hold an explicitly empty value"));
  EXPECT_THAT(refusal("", "<tags xsi:nil='true'/>"),
              HasSubstr("p.Node.tags cannot hold an explicitly empty value"));
  EXPECT_THAT(refusal("", "<next xsi:nil='true'/>"), HasSubstr("p.Node.next cannot be explicitly empty"));
  EXPECT_THAT(refusal("", "<node xsi:nil='true'/>"), HasSubstr("p.Node.node cannot be explicitly empty"));
}

TEST(XmiRefusals, AttributesWithoutMeaning) {
  EXPECT_THAT(refusal("", "<name count='1'>a</name>"), HasSubstr("the attribute \"count\" has no meaning"));
  EXPECT_THAT(refusal("", "<next count='1' href='#/'/>"),
              HasSubstr("the attribute \"count\" has no meaning"));
  EXPECT_THAT(refusal("", "<name xsi:type='p:Node'>a</name>"), HasSubstr("neither a type nor an identity"));
  EXPECT_THAT(refusal("xmi:label='x'"), HasSubstr("the attribute xmi:label cannot be kept"));
  EXPECT_THAT(refusal("xmi:id='a' xmi:uuid='b'"), HasSubstr("both xmi:id and xmi:uuid"));
  EXPECT_THAT(refusal("nodes='a'"), HasSubstr("feature p.Node.nodes contains elements"));
  EXPECT_THAT(refusal("xmlns:q='urn:q' q:name='a'"), HasSubstr("no feature"));
  EXPECT_THAT(refusal("", "<xmi:Extension/>"), HasSubstr("xmi:Extension"));
}

TEST(XmiRefusals, AReferenceToAnUnknownType) {
  EXPECT_THAT(refusal("others='p:Wheel a.xmi#/'"), HasSubstr("Wheel"));
  EXPECT_THAT(refusal("", "<others xsi:type='p:Color' href='a.xmi#/'/>"),
              HasSubstr("\"p:Color\" is not a class"));
}

TEST(XmiRefusals, WhatIsNotXml) {
  EXPECT_THAT(refusalOf(nodeModels(), ""), HasSubstr("document.xmi: it is empty"));
  EXPECT_THAT(refusalOf(nodeModels(), "  \n "), HasSubstr("there is no root element"));
  EXPECT_THAT(refusalOf(nodeModels(), "hello"), HasSubstr("text outside of the root element"));
  EXPECT_THAT(refusal("", "\n<nodes>\n</node>"), HasSubstr("not well-formed XML"));
  EXPECT_THAT(refusal("name=a"), HasSubstr("not well-formed XML"));
  EXPECT_THAT(refusal("name='<'"), HasSubstr("the character \"<\" stands in the value of an attribute"));
  EXPECT_THAT(refusal("name='a&b'"), HasSubstr("does not begin a reference"));
  EXPECT_THAT(refusal("name='&copy;'"), HasSubstr("the entity \"copy\" is not declared"));
  EXPECT_THAT(refusal("name='&#0;'"), HasSubstr("stands for no character"));
  EXPECT_THAT(refusal("name='&#xD800;'"), HasSubstr("stands for no character"));
  EXPECT_THAT(refusal("name='&#x110000;'"), HasSubstr("stands for no character"));
  EXPECT_THAT(refusal("name='a\x01'"), HasSubstr("the character 1 cannot stand in XML"));
  EXPECT_THAT(refusal("name='\xEF\xBF\xBF'"), HasSubstr("a character cannot stand in XML"));
  EXPECT_THAT(refusalOf(nodeModels(), nodeDocument("") + nodeDocument("")),
              HasSubstr("line 2: there is a second root"));
  EXPECT_THAT(refusalOf(nodeModels(), nodeDocument("") + "tail"),
              HasSubstr("text outside of the root element"));
  EXPECT_THAT(refusalOf(nodeModels(), "<!DOCTYPE a [<!ENTITY b 'c'>]>" + nodeDocument("")),
              HasSubstr("declarations inside of the document type are not supported"));
}

TEST(XmiRefusals, TextBehindARootThatIsTheFirstTagOfTheFileAndClosesItself) {
  const std::string root = R"(<p:Node xmlns:p="urn:p" name="a"/>)";
  EXPECT_THAT(refusalOf(nodeModels(), root + "tail"), HasSubstr("text outside of the root element"));
  EXPECT_THAT(refusalOf(nodeModels(), root + root), HasSubstr("there is a second root"));
}

TEST(XmiRefusals, ADocumentThatBreaksOffInATagBehindBlanksHasAnOpenElement) {
  const std::string document = nodeDocument("");
  const std::string open = document.substr(0, document.rfind("</"));
  for (const char* blanks : {" ", "\n  ", "<nodes/>\n  "})
    for (const char* tag : {"<", "</", "<n", "< ", "<\n"})
      EXPECT_THAT(refusalOf(nodeModels(), open + blanks + tag), HasSubstr("Start-end tags mismatch"))
          << open + blanks + tag;
}

TEST(XmiRefusals, AFileThatIsNotThere) {
  try {
    ecore::readXmiFile(temporaryPath("missing.xmi"), *nodeModels().mapping);
    FAIL() << "nothing was refused";
  } catch (const ecore::EcoreError& error) {
    EXPECT_THAT(error.what(), HasSubstr("missing.xmi: cannot be read, No such file or directory"));
  }
}

TEST(XmiRefusals, AFolderInPlaceOfAFile) {
  EXPECT_THROW(ecore::readXmiFile("/", *nodeModels().mapping), ecore::EcoreError);
}

TEST(XmiRefusals, LongTextsAreShortened) {
  EXPECT_LT(refusal("count='" + std::string(100000, 'x') + "'").size(), 300u);
}

TEST(XmiRefusals, AnAttributeThatAnElementIsGivenTwice) {
  EXPECT_EQ(refusal("", "\n<nodes name='a' count='1' name='a'/>"),
            "document.xmi, line 2: it is not well-formed XML: column 27 gives the attribute \"name\" to the "
            "element a second time");
  std::string many;
  for (int i = 0; i < 40; ++i) many += " xmlns:n" + std::to_string(i) + "='u'";
  EXPECT_EQ(roundTrip(nodeModels(), nodeDocument(many)), "equal");
  EXPECT_THAT(refusal(many + " xmlns:n39='u'"), HasSubstr("gives the attribute \"xmlns:n39\""));
}

TEST(XmiRefusals, AnAttributeGivenTwiceInWhatIsPassedOver) {
  const std::string twice = "<details key='k' key='k'/>";
  EXPECT_THAT(refusalOf("<eClassifiers xsi:type='ecore:EClass' name='A'><eAnnotations source='s'><contents>" +
                        twice + "</contents></eAnnotations></eClassifiers>"),
              HasSubstr("gives the attribute \"key\""));
  std::size_t problems = 0;
  const auto read = [&](const std::string& children) {
    return ecore::readXmi(nodeDocument("", children), "document.xmi", *nodeModels().mapping,
                          {.onProblem = [&](const ecore::Problem&) { ++problems; }});
  };
  EXPECT_THROW(read("<wheels><deep/>" + twice + "</wheels>"), ecore::EcoreError);
  EXPECT_EQ(read("<wheels><deep/><details key='k'/></wheels>").size(), 1u);
  EXPECT_EQ(problems, 1u);
}

TEST(XmiRefusals, PathsIntoOneListByManySetsOfKeys) {
  const auto paths = [](std::size_t count) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) all += "//@nodes[key" + std::to_string(i) + "='a'] ";
    return all;
  };
  const std::string known = "//@nodes[name='a'] ";
  const std::string child = "<nodes name='a'/>";
  const auto document = [&](const std::string& others) {
    return nodeDocument("others=\"" + others + "\"", child);
  };
  EXPECT_EQ(nodeModels().read(document(known + known)).getRoots().front().size("others"), 2u);
  EXPECT_THAT(refusalOf(nodeModels(), document(paths(16))), HasSubstr("leads nowhere"));
  std::vector<std::string> problems;
  const Model model = ecore::readXmi(
      document(paths(17) + known), "document.xmi", *nodeModels().mapping,
      {.onProblem = [&](const ecore::Problem& problem) { problems.push_back(problem.sentence); }});
  ASSERT_EQ(problems.size(), 18u);
  EXPECT_THAT(problems[15], HasSubstr("leads nowhere"));
  EXPECT_THAT(problems[16],
              HasSubstr("leads into a list by more than 16 keys, those of each set counted once"));
  EXPECT_THAT(problems[17], HasSubstr("leads into a list by more than 16 keys"));
}

}  // namespace
}  // namespace kr::zero::test
