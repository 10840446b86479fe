// What the forms of XMI mean.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "EcoreTesting.h"

namespace kr::zero::test {
namespace {

using testing::Optional;

/// The root of a document of "p.Node".
class NodeReading : public testing::Test {
 protected:
  Element read(std::string_view attributes, std::string_view children = {}) {
    return readDocument(nodeDocument(attributes, children));
  }
  Element readDocument(std::string_view document) {
    model_.emplace(nodeModels().read(document));
    return model_->getRoots().front();
  }
  static std::vector<std::string> texts(ConstElement element, const char* property) {
    std::vector<std::string> all;
    for (std::size_t i = 0; i < element.size(property); ++i) all.push_back(element.getTextForm(property, i));
    return all;
  }
  std::optional<Model> model_;
};

using XmiAttributes = NodeReading;
using XmiElements = NodeReading;
using XmiReferences = NodeReading;
using XmiDocuments = NodeReading;
using Texts = std::vector<std::string>;

TEST_F(XmiAttributes, WhatIsNotGivenIsUnset) {
  const Element node = read("name='a'");
  EXPECT_EQ(node.getState("name"), PropertyState::value);
  for (const char* property :
       {"key", "flag", "count", "real", "when", "color", "tags", "next", "others", "nodes"})
    EXPECT_EQ(node.getState(property), PropertyState::unset) << property;
}

TEST_F(XmiAttributes, AnEmptyTextIsAValueOfAString) {
  EXPECT_EQ(read("name=''").getState("name"), PropertyState::value);
}

TEST_F(XmiAttributes, NumbersMayHaveASignAndBlanksAround) {
  const Element node = read("count=' +7 ' big='-9223372036854775808' small='-128'");
  EXPECT_EQ(node.getInteger("count"), 7);
  EXPECT_EQ(node.getInteger("big"), INT64_MIN);
  EXPECT_EQ(node.getInteger("small"), -128);
}

TEST_F(XmiAttributes, RealsAreReadInEveryForm) {
  EXPECT_EQ(read("real='1.0E10'").getReal("real"), 1e10);
  EXPECT_EQ(read("real='-INF'").getReal("real"), -HUGE_VAL);
  EXPECT_EQ(read("real='Infinity'").getReal("real"), HUGE_VAL);
  EXPECT_TRUE(std::isnan(read("real='NaN'").getReal("real")));
}

TEST_F(XmiAttributes, AFloatIsTheNearestNumberOf32Bits) {
  EXPECT_EQ(read("narrow='0.1'").getReal("narrow"), static_cast<double>(0.1f));
}

TEST_F(XmiAttributes, BooleansAreReadInAnyCase) {
  EXPECT_TRUE(read("flag='TRUE'").getBoolean("flag"));
  EXPECT_TRUE(read("flag='1'").getBoolean("flag"));
  EXPECT_FALSE(read("flag='false'").getBoolean("flag"));
}

TEST_F(XmiAttributes, EnumerationsAreReadByTheTextOfTheLiteral) {
  EXPECT_EQ(read("color='Green!'").getInteger("color"), 1);
}

TEST_F(XmiAttributes, DatesAndOwnDataTypesKeepTheirText) {
  const Element node = read("when='2010-02-01T05:12:32.125+0100' isbn=' 3-16 ' digits='1.50'");
  EXPECT_EQ(node.getText("when"), "2010-02-01T05:12:32.125+0100");
  EXPECT_EQ(node.getText("isbn"), " 3-16 ");
  EXPECT_EQ(node.getText("digits"), "1.50");
}

TEST_F(XmiAttributes, ManyValuesInOneAttributeStandApartByBlanks) {
  const Element node = read("numbers='1  2 3' tags='a b' colors='red Green!'");
  EXPECT_EQ(texts(node, "numbers"), (Texts{"1", "2", "3"}));
  EXPECT_EQ(texts(node, "tags"), (Texts{"a", "b"}));
  EXPECT_EQ(texts(node, "colors"), (Texts{"red", "green"}));
}

TEST_F(XmiAttributes, AnEmptyAttributeIsAnEmptyCollection) {
  const Element node = read("numbers='' others=' '");
  EXPECT_EQ(node.getState("numbers"), PropertyState::empty);
  EXPECT_EQ(node.getState("others"), PropertyState::empty);
}

TEST_F(XmiAttributes, CharacterReferencesGiveControlCharacters) {
  EXPECT_EQ(read("name='a&#x9;b&#10;c&#xD;d&lt;&gt;&amp;&quot;&apos;&#x1F600;'").getText("name"),
            "a\tb\nc\rd<>&\"'\xF0\x9F\x98\x80");
}

TEST_F(XmiAttributes, TheXmiIdBecomesTheIdentity) {
  const Element node = read("xmi:id='_7'");
  EXPECT_EQ(node.getIdentity(), (Identity{"xmi:id", "_7"}));
}

TEST_F(XmiAttributes, TheXmiUuidBecomesTheIdentity) {
  EXPECT_EQ(read("xmi:uuid='u-7'").getIdentity(), (Identity{"xmi:uuid", "u-7"}));
  EXPECT_EQ(read("xmi:uuid='urn%23x#7'").getIdentity(), (Identity{"urn#x", "7"}));
}

TEST_F(XmiAttributes, SchemaLocationsSayNothingAboutTheModel) {
  EXPECT_EQ(read("xsi:schemaLocation='urn:p p.ecore' name='a'").getText("name"), "a");
}

TEST_F(XmiElements, AttributesMayBeGivenAsElements) {
  const Element node = read("", "<name> a\nb </name><count>7</count><flag>true</flag><color>Green!</color>");
  EXPECT_EQ(node.getText("name"), " a\nb ");
  EXPECT_EQ(node.getInteger("count"), 7);
  EXPECT_TRUE(node.getBoolean("flag"));
  EXPECT_EQ(node.getInteger("color"), 1);
}

TEST_F(XmiElements, CharacterDataIsJoinedAcrossCommentsAndSections) {
  const Element node = read("", "<name>a <!-- x --> b<![CDATA[ <c> ]]> </name>");
  EXPECT_EQ(node.getText("name"), "a  b <c>  ");
}

TEST_F(XmiElements, BlanksAloneAreAValue) { EXPECT_EQ(read("", "<name>  </name>").getText("name"), "  "); }

TEST_F(XmiElements, ManyValuesAreElementsInOrder) {
  const Element node = read("", "<tags>a b</tags><numbers>1</numbers><tags></tags><tags>c</tags>");
  EXPECT_EQ(texts(node, "tags"), (Texts{"a b", "", "c"}));
}

TEST_F(XmiElements, NilIsExplicitlyEmpty) {
  const Element node = read("", "<name xsi:nil='true'/><color xsi:nil='1'></color>");
  EXPECT_EQ(node.getState("name"), PropertyState::empty);
  EXPECT_EQ(node.getState("color"), PropertyState::empty);
}

TEST_F(XmiElements, ContainedElementsAreOfTheFeaturesClassOrTheGivenOne) {
  const Element node = read("", "<nodes/><nodes xsi:type='p:Special' name='s'/><node xmi:type='p:Special'/>");
  EXPECT_EQ(node.getElement("nodes", 0).getType()->name(), "Node");
  EXPECT_EQ(node.getElement("nodes", 1).getType()->name(), "Special");
  EXPECT_EQ(node.getElement("nodes", 1).getText("name"), "s");
  EXPECT_EQ(node.getElement("node").getType()->name(), "Special");
}

TEST_F(XmiElements, NamespacesMayBeDeclaredAnywhere) {
  const Element node =
      read("",
           "<nodes xmlns:x='http://www.w3.org/2001/XMLSchema-instance' xmlns:q='urn:p' x:type='q:Special'/>"
           "<q:nodes xmlns:q='urn:p' name='b'/>");
  EXPECT_EQ(node.getElement("nodes", 0).getType()->name(), "Special");
  EXPECT_EQ(node.getElement("nodes", 1).getText("name"), "b");
}

TEST_F(XmiElements, ADefaultNamespaceIsGoodForTheRoot) {
  EXPECT_EQ(readDocument("<Node xmlns='urn:p' name='a'><nodes name='b'/></Node>")
                .getElement("nodes", 0)
                .getText("name"),
            "b");
}

TEST_F(XmiElements, APrefixMeansWhatTheInnermostDeclarationSays) {
  EXPECT_THAT(refusalOf(nodeModels(), nodeDocument("", "<nodes xmlns:p='urn:other' xsi:type='p:Special'/>")),
              testing::HasSubstr("urn:other"));
}

TEST_F(XmiReferences, PathsLeadByPositionFromTheRoot) {
  const Element node = read("next='//@nodes.1/@node'", "<nodes/><nodes><node name='x'/></nodes>");
  EXPECT_EQ(node.getReference("next").getText("name"), "x");
}

TEST_F(XmiReferences, TheSlashAloneIsTheRoot) {
  const Element node = read("next='/' others='/ //@nodes.0'", "<nodes/>");
  EXPECT_EQ(node.getReference("next"), node);
  EXPECT_EQ(node.getReference("others", 1), node.getElement("nodes", 0));
}

TEST_F(XmiReferences, ForwardAndBackwardReferencesMeanTheSame) {
  const Element node = read("", "<nodes next='//@nodes.1'/><nodes next='//@nodes.0'/>");
  EXPECT_EQ(node.getElement("nodes", 0).getReference("next"), node.getElement("nodes", 1));
  EXPECT_EQ(node.getElement("nodes", 1).getReference("next"), node.getElement("nodes", 0));
}

TEST_F(XmiReferences, IdsAreThoseOfXmiOrOfTheIdentifyingAttribute) {
  const Element node = read("others='_1 k2 #_1'", "<nodes xmi:id='_1'/><nodes key='k2'/>");
  EXPECT_EQ(node.getReference("others", 0), node.getElement("nodes", 0));
  EXPECT_EQ(node.getReference("others", 1), node.getElement("nodes", 1));
  EXPECT_EQ(node.getReference("others", 2), node.getElement("nodes", 0));
}

TEST_F(XmiReferences, AnIdMayHoldAColon) {
  const Element node = read("others='a:1'", "<nodes xmi:id='a:1'/>");
  EXPECT_EQ(node.getReference("others", 0), node.getElement("nodes", 0));
}

TEST_F(XmiReferences, AStepMayNameTheValueOfAKey) {
  const Element node =
      read("others=\"//@nodes[name='b'] //@nodes[name='b',count='2'] //@nodes[name='x%20y']\"",
           "<nodes name='a'/><nodes name='b' count='1'/><nodes name='b' count='2'/><nodes name='x y'/>");
  EXPECT_EQ(node.getReference("others", 0), node.getElement("nodes", 1));
  EXPECT_EQ(node.getReference("others", 1), node.getElement("nodes", 2));
  EXPECT_EQ(node.getReference("others", 2), node.getElement("nodes", 3));
}

TEST_F(XmiReferences, AStepMayBeAName) {
  const Element node = read("others='//b //c.1 //v1.2'",
                            "<nodes name='b'/><nodes name='c'/><nodes name='c'/><nodes name='v1.2'/>");
  EXPECT_EQ(node.getReference("others", 0), node.getElement("nodes", 0));
  EXPECT_EQ(node.getReference("others", 1), node.getElement("nodes", 2));
  EXPECT_EQ(node.getReference("others", 2), node.getElement("nodes", 3));
}

TEST_F(XmiReferences, ReferencesMayBeElements) {
  const Element node = read("",
                            "<others href='#//@nodes.0'/><others xmi:idref='k'/><others>//@nodes.0</others>"
                            "<nodes key='k'/>");
  ASSERT_EQ(node.size("others"), 3u);
  for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(node.getReference("others", i), node.getElement("nodes", 0));
}

TEST_F(XmiReferences, HrefsIntoOtherDocumentsStayUnresolved) {
  const Element node = read("", "<next href='books.xmi#//@a.1'/><others xsi:type='p:Special' href='x.xmi'/>");
  EXPECT_THAT(node.getUnresolved("next", 0),
              Optional(UnresolvedReference{"p.Node", "href", "//@a.1", "books.xmi"}));
  EXPECT_THAT(node.getUnresolved("others", 0),
              Optional(UnresolvedReference{"p.Special", "href", "/", "x.xmi"}));
}

TEST_F(XmiReferences, UrisInAttributesStayUnresolvedAndKeepTheirPlace) {
  const Element node = read("others='//@nodes.0 p:Special a.xmi#//@b b.xmi#_3 #//@nodes.0'", "<nodes/>");
  ASSERT_EQ(node.size("others"), 4u);
  EXPECT_EQ(node.getReference("others", 0), node.getElement("nodes", 0));
  EXPECT_THAT(node.getUnresolved("others", 1),
              Optional(UnresolvedReference{"p.Special", "uri", "//@b", "a.xmi"}));
  EXPECT_THAT(node.getUnresolved("others", 2), Optional(UnresolvedReference{"p.Base", "uri", "_3", "b.xmi"}));
  EXPECT_EQ(node.getReference("others", 3), node.getElement("nodes", 0));
}

TEST_F(XmiReferences, OnlyTheSideThatIsGivenIsSet) {
  const auto models = loadClassifiers(R"(<eClassifiers xsi:type="ecore:EClass" name="A">
    <eStructuralFeatures xsi:type="ecore:EReference" name="a" eType="#//A" containment="true"/>
    <eStructuralFeatures xsi:type="ecore:EReference" name="left" eType="#//A" eOpposite="#//A/right"/>
    <eStructuralFeatures xsi:type="ecore:EReference" name="right" eType="#//A" eOpposite="#//A/left"/>
  </eClassifiers>)");
  const Model model = models.read("<p:A xmlns:p='urn:p' left='//@a'><a/></p:A>");
  EXPECT_FALSE(model.getRoots().front().getElement("a").isSet("right"));
}

TEST_F(XmiDocuments, MayHoldSeveralRoots) {
  const Model model = nodeModels().read(
      "<xmi:XMI xmi:version='2.0' xmlns:xmi='http://www.omg.org/XMI' xmlns:p='urn:p'>\n"
      "  <p:Node next='/1'/>\n  <p:Special name='s' others='/0 "
      "/1/@nodes.0'><nodes/></p:Special>\n</xmi:XMI>");
  ASSERT_EQ(model.getRoots().size(), 2u);
  const ConstElement second = model.getRoots()[1];
  EXPECT_EQ(model.getRoots()[0].getReference("next"), second);
  EXPECT_EQ(second.getReference("others", 1), second.getElement("nodes", 0));
}

TEST_F(XmiDocuments, MayHoldNoRoot) {
  EXPECT_EQ(nodeModels().read("<xmi:XMI xmlns:xmi='http://www.omg.org/XMI'/>").size(), 0u);
}

TEST_F(XmiDocuments, OfEveryVersionOfXmiAreRead) {
  for (const char* uri : {"http://www.omg.org/XMI", "http://schema.omg.org/spec/XMI/2.1",
                          "http://www.omg.org/spec/XMI/20131001"})
    EXPECT_EQ(nodeModels()
                  .read(std::string("<x:XMI xmlns:x='") + uri +
                        "' xmlns:p='urn:p'><x:Documentation exporter='e'/><p:Node x:id='1'/></x:XMI>")
                  .size(),
              1u);
}

TEST_F(XmiDocuments, TellTheirProgress) {
  std::string children;
  for (int i = 0; i < 30000; ++i) children += "<nodes next='/'/>";
  std::vector<double> heard;
  const Model model = ecore::readXmi(nodeDocument("", children), "d", *nodeModels().mapping,
                                     [&](double done) { heard.push_back(done); });
  ecore::writeXmi(model, *nodeModels().mapping, [&](double done) { heard.push_back(done); });
  EXPECT_GE(heard.size(), 6u);
  for (const double done : heard) EXPECT_TRUE(done > 0 && done <= 1) << done;
}

// --- Names that annotations give ---------------------------------------------------------------

const MetaModels& renamedModels() {
  static const MetaModels models = [] {
    const auto names = [](std::string_view pairs) {
      return "<eAnnotations source=\"http:///org/eclipse/emf/ecore/util/ExtendedMetaData\">" +
             std::string(pairs) + "</eAnnotations>";
    };
    const std::string feature = "<eStructuralFeatures xsi:type=\"ecore:EAttribute\" name=\"";
    return loadClassifiers(
        "<eClassifiers xsi:type=\"ecore:EClass\" name=\"Report\">" +
        names("<details key=\"name\" value=\"report\"/>") +
        "<eStructuralFeatures xsi:type=\"ecore:EReference\" name=\"lines\" upperBound=\"-1\" "
        "eType=\"#//Line\" "
        "containment=\"true\">" +
        names("<details key=\"name\" value=\"line\"/><details key=\"kind\" value=\"element\"/>") +
        "</eStructuralFeatures>" + feature + "purpose\" E(EString)>" +
        names("<details key=\"kind\" value=\"element\"/><details key=\"namespace\" "
              "value=\"##targetNamespace\"/>") +
        "</eStructuralFeatures>" + feature + "language\" E(EString)>" +
        names("<details key=\"name\" value=\"lang\"/><details key=\"kind\" value=\"attribute\"/>"
              "<details key=\"namespace\" value=\"http://www.w3.org/XML/1998/namespace\"/>") +
        "</eStructuralFeatures></eClassifiers><eClassifiers xsi:type=\"ecore:EClass\" name=\"Line\">" +
        feature + "value\" E(EString)>" +
        names("<details key=\"kind\" value=\"simple\"/><details key=\"name\" value=\":0\"/>") +
        "</eStructuralFeatures></eClassifiers>");
  }();
  return models;
}

constexpr std::string_view renamedDocument =
    "<p:report xmlns:p='urn:p' xml:lang='en'><line>some &lt;text&gt; </line><line/>"
    "<p:purpose>none</p:purpose></p:report>";

TEST(XmlNames, ComeFromAnnotations) {
  const Model model = renamedModels().read(renamedDocument);
  const ConstElement report = model.getRoots().front();
  EXPECT_EQ(report.getType()->name(), "Report");
  EXPECT_EQ(report.getText("language"), "en");
  EXPECT_EQ(report.getText("purpose"), "none");
  ASSERT_EQ(report.size("lines"), 2u);
  EXPECT_EQ(report.getElement("lines", 0).getText("value"), "some <text> ");
  EXPECT_FALSE(report.getElement("lines", 1).isSet("value"));
}

TEST(XmlNames, AreWritten) {
  EXPECT_EQ(renamedModels().write(renamedModels().read(renamedDocument)),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<p:report xmlns:p=\"urn:p\" xml:lang=\"en\">\n"
            "  <line>some &lt;text&gt; </line>\n"
            "  <line/>\n"
            "  <p:purpose>none</p:purpose>\n"
            "</p:report>\n");
}

TEST(XmlNames, TheNamesOfTheMetaModelAreGoodToo) {
  EXPECT_EQ(roundTrip(renamedModels(),
                      "<p:Report xmlns:p='urn:p' purpose='x' language='de'><lines value='v'/></p:Report>"),
            "equal");
}

}  // namespace
}  // namespace kr::zero::test
