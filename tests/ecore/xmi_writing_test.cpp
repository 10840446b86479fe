// How models are written as XMI.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "EcoreTesting.h"
#include "kr/zero/meta/MetaModelBuilder.h"

namespace kr::zero::test {
namespace {

using testing::HasSubstr;
using testing::Not;

/// A model of "p.Node" elements that is built by hand.
class XmiWriting : public testing::Test {
 protected:
  std::string write() const { return nodeModels().write(model); }
  /// What writing is refused with.
  std::string refusal() const {
    try {
      write();
    } catch (const ecore::EcoreError& error) {
      return error.what();
    }
    return "nothing was refused";
  }
  /// The difference between the model and what is read back from its document.
  std::string backAndForth() const {
    return findDifference(model, nodeModels().read(write())).value_or("equal");
  }

  Model model{*nodeModels().registry};
  Element root = model.createRoot("p.Node");
};

TEST_F(XmiWriting, LooksAsOthersWriteIt) {
  root.set("name", "a");
  root.setInteger("count", 7);
  root.add("tags", "x");
  root.add("tags", "");
  Element special = root.create("nodes", "p.Special");
  special.set("flag", true);
  root.create("nodes").create("node");
  root.putReference("next", special);
  root.putReference("others", special);
  root.putReference("others", root);
  EXPECT_EQ(
      write(),
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<p:Node xmi:version=\"2.0\" xmlns:xmi=\"http://www.omg.org/XMI\" "
      "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xmlns:p=\"urn:p\" name=\"a\" count=\"7\" "
      "next=\"//@nodes.0\" others=\"//@nodes.0 /\">\n"
      "  <tags>x</tags>\n"
      "  <tags></tags>\n"
      "  <nodes xsi:type=\"p:Special\" flag=\"true\"/>\n"
      "  <nodes>\n"
      "    <node/>\n"
      "  </nodes>\n"
      "</p:Node>\n");
}

TEST_F(XmiWriting, SeveralRootsStandInAnElementOfXmi) {
  model.createRoot("p.Special").putReference("next", root);
  EXPECT_EQ(write(),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<xmi:XMI xmi:version=\"2.0\" xmlns:xmi=\"http://www.omg.org/XMI\" xmlns:p=\"urn:p\">\n"
            "  <p:Node/>\n"
            "  <p:Special next=\"/0\"/>\n"
            "</xmi:XMI>\n");
  EXPECT_EQ(backAndForth(), "equal");
}

TEST_F(XmiWriting, AnEmptyModelIsAnEmptyElementOfXmi) {
  model.remove(root);
  EXPECT_EQ(write(),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<xmi:XMI xmi:version=\"2.0\" xmlns:xmi=\"http://www.omg.org/XMI\"/>\n");
  EXPECT_EQ(backAndForth(), "equal");
}

TEST_F(XmiWriting, UnsetEmptyAndSetStayApart) {
  Element empty = root.create("nodes");
  for (const char* property :
       {"name", "count", "flag", "real", "when", "color", "isbn", "tags", "numbers", "others"})
    empty.setEmpty(property);
  Element set = root.create("nodes");
  set.set("name", "");
  set.setInteger("count", 0);
  set.setBoolean("flag", false);
  set.setReal("real", 0);
  set.setTextForm("color", "red");
  EXPECT_EQ(backAndForth(), "equal");
  EXPECT_THAT(write(), HasSubstr("<name xsi:nil=\"true\"/>"));
  EXPECT_THAT(write(), HasSubstr("<nodes tags=\"\" numbers=\"\" others=\"\">"));
}

TEST_F(XmiWriting, EscapesWhatAParserWouldChange) {
  const std::string text = "\t a\r\nb\n<&>\"']]> \xC3\xA4\xF0\x9F\x98\x80\x7F ";
  root.set("name", text);
  root.add("tags", text);
  root.add("tags", "\r");
  root.add("tags", " ");
  EXPECT_EQ(backAndForth(), "equal");
  EXPECT_THAT(write(), HasSubstr("name=\"&#x9; a&#xD;&#xA;b&#xA;&lt;&amp;>&quot;']]>"));
}

TEST_F(XmiWriting, RefusesCharactersThatXmlDoesNotHave) {
  for (const std::string& text : {std::string("a\x01"), std::string("\0", 1), std::string("\xEF\xBF\xBE")}) {
    root.set("name", text);
    EXPECT_EQ(refusal(), root.getPath() + ".name: the text holds a character that XML does not have");
    root.unset("name");
    root.add("tags", text);
    EXPECT_EQ(refusal(), root.getPath() + ".tags: the text holds a character that XML does not have");
    root.unset("tags");
  }
}

TEST_F(XmiWriting, RealsAreWrittenAsJavaDoes) {
  const std::pair<double, const char*> expected[] = {{0, "0.0"},
                                                     {-0.0, "-0.0"},
                                                     {1, "1.0"},
                                                     {-12.5, "-12.5"},
                                                     {0.1, "0.1"},
                                                     {0.001, "0.001"},
                                                     {0.00025, "2.5E-4"},
                                                     {1e-4, "1.0E-4"},
                                                     {123456, "123456.0"},
                                                     {9999999, "9999999.0"},
                                                     {1e7, "1.0E7"},
                                                     {1.7976931348623157e308, "1.7976931348623157E308"},
                                                     {5e-324, "5.0E-324"},
                                                     {HUGE_VAL, "Infinity"},
                                                     {-HUGE_VAL, "-Infinity"}};
  for (const auto& [number, text] : expected) {
    root.setReal("real", number);
    EXPECT_THAT(write(), HasSubstr(std::string(" real=\"") + text + "\""));
    EXPECT_EQ(backAndForth(), "equal");
  }
  root.setReal("real", std::nan(""));
  EXPECT_THAT(write(), HasSubstr(" real=\"NaN\""));
}

TEST_F(XmiWriting, FloatsComeBackAsTheyWere) {
  for (const char* text : {"0.1", "3.1415927", "1.0E-4", "1.6777216E7", "3.4028235E38", "1.0E-45", "-7.25"})
    EXPECT_THAT(nodeModels().write(nodeModels().read(nodeDocument(std::string("narrow='") + text + "'"))),
                HasSubstr(std::string("narrow=\"") + text + "\""));
}

TEST_F(XmiWriting, ANumberThatIsNoFloatIsRefusedRatherThanRounded) {
  for (const double number : {0.1, 1e300}) {
    root.setReal("narrow", number);
    EXPECT_THAT(refusal(), HasSubstr("does not fit into the 32 bits of an EFloat"));
  }
  for (const double number : {0.5, -HUGE_VAL}) {
    root.setReal("narrow", number);
    EXPECT_EQ(backAndForth(), "equal");
  }
}

TEST_F(XmiWriting, ReferencesGoByXmiIdThenByAttributeThenByPath) {
  Element byXmi = root.create("nodes");
  byXmi.setIdentity("xmi:id", "_1");
  byXmi.set("key", "k1");
  root.create("nodes").set("key", "k2");
  root.create("nodes");
  for (std::size_t i = 0; i < 3; ++i) root.putReference("others", root.getElement("nodes", i));
  EXPECT_THAT(write(), HasSubstr("others=\"_1 k2 //@nodes.2\""));
  EXPECT_EQ(backAndForth(), "equal");
}

TEST_F(XmiWriting, IdsThatCouldMeanSomethingElseGiveWayToPaths) {
  for (const char* key : {"same", "same", "two words", "/0", "a#b", "p:Node", ""})
    root.create("nodes").set("key", key);
  for (std::size_t i = 0; i < root.size("nodes"); ++i)
    root.putReference("others", root.getElement("nodes", i));
  EXPECT_THAT(write(), HasSubstr("others=\"//@nodes.0 //@nodes.1 //@nodes.2 //@nodes.3 //@nodes.4 //@nodes.5 "
                                 "//@nodes.6\""));
  EXPECT_EQ(backAndForth(), "equal");
}

TEST_F(XmiWriting, IdentitiesComeBack) {
  const std::pair<const char*, const char*> identities[] = {
      {"xmi:id", "_1"}, {"xmi:uuid", "u"}, {"xmi:uuid", "u#v"}, {"urn", "7"}, {"a#b %", "c#d"}, {"x", " \n"}};
  for (const auto& [first, second] : identities) root.create("nodes").setIdentity(first, second);
  EXPECT_EQ(backAndForth(), "equal");
}

TEST_F(XmiWriting, TwoElementsCannotHaveOneXmiId) {
  root.setIdentity("xmi:id", "_1");
  Element child = root.create("node");
  child.setIdentity("xmi:id", "_1");
  EXPECT_EQ(refusal(), child.getPath() + ": another element has the xmi:id \"_1\"");
}

TEST_F(XmiWriting, ReferencesToOtherDocumentsComeBack) {
  root.putUnresolved("next", {"p.Node", "href", "//@a.1", "books.xmi"});
  root.putUnresolved("others", {"p.Special", "uri", "_1", "a.xmi"});
  root.putReference("others", root);
  root.putUnresolved("others", {"p.Base", "uri", "_2", "b.xmi"});
  root.putUnresolved("anything", {"ecore.EObject", "my ids", "7", "urn:store"});
  root.putReference("anything", root);
  EXPECT_EQ(backAndForth(), "equal");
  EXPECT_THAT(write(), HasSubstr("<next href=\"books.xmi#//@a.1\"/>"));
  EXPECT_THAT(write(), HasSubstr(" others=\"p:Special a.xmi#_1 / b.xmi#_2\""));
  EXPECT_THAT(write(), HasSubstr("<anything href=\"urn:store#my%20ids#7\"/>\n  <anything href=\"#/\"/>"));
}

TEST_F(XmiWriting, UrisWithBlanksStandOnlyInHrefs) {
  root.putUnresolved("next", {"p.Node", "href", "_1", "my books.xmi"});
  EXPECT_EQ(backAndForth(), "equal");
  root.putUnresolved("next", {"p.Node", "uri", "_1", "my books.xmi"});
  EXPECT_THAT(refusal(), HasSubstr("the URI \"my books.xmi#_1\" holds blanks"));
}

TEST_F(XmiWriting, AReferenceToNothingIsRefused) {
  root.putUnresolved("next", {"p.Node", "xmi:id", "_9", std::nullopt});
  EXPECT_EQ(refusal(),
            root.getPath() + ".next: the element \"xmi:id\", \"_9\" that it refers to is not in the model");
}

TEST_F(XmiWriting, AReferenceOfAnUnknownTypeIsRefused) {
  root.putUnresolved("next", {"q.Wheel", "href", "_9", "a.xmi"});
  EXPECT_THAT(refusal(), HasSubstr("there is no type \"q.Wheel\""));
}

TEST_F(XmiWriting, PrefixesThatClashAreNumbered) {
  const std::string one = packageText("a", "urn:a",
                                      "<eClassifiers xsi:type='ecore:EClass' name='A'>"
                                      "<eStructuralFeatures xsi:type='ecore:EReference' name='any' "
                                      "upperBound='-1' containment='true' eType='ecore:EClass "
                                      "http://www.eclipse.org/emf/2002/Ecore#//EObject'/></eClassifiers>");
  std::string two = packageText("b", "urn:b", "<eClassifiers xsi:type='ecore:EClass' name='B'/>");
  two.replace(two.find("nsPrefix=\"b\""), 12, "nsPrefix=\"a\"");
  std::string three = packageText("c", "urn:c", "<eClassifiers xsi:type='ecore:EClass' name='C'/>");
  three.replace(three.find("nsPrefix=\"c\""), 12, "nsPrefix=\"xmi\"");
  const MetaModels models = loadTexts({{"1.ecore", one}, {"2.ecore", two}, {"3.ecore", three}});
  Model mixed(*models.registry);
  Element a = mixed.createRoot("a.A");
  a.create("any", "b.B");
  a.create("any", "c.C");
  const std::string document = models.write(mixed);
  EXPECT_THAT(document, HasSubstr("xsi:type=\"a_1:B\""));
  EXPECT_EQ(findDifference(mixed, models.read(document)), std::nullopt);
}

TEST_F(XmiWriting, PackagesThatCameFromNoFileHaveDocumentsToo) {
  meta::MetaRegistry registry;
  meta::MetaModelBuilder builder("urn:native", "native");
  auto& part = builder.datatype("Part");
  part.property("first", "Integer").required();
  part.property("second", "UUID");
  auto& thing = builder.classType("Thing");
  thing.property("big", "UInteger64");
  thing.property("json", "JsonValue");
  thing.property("part", "Part");
  thing.property("parts", "Part").many();
  thing.property("things", "Thing").many().composite();
  builder.registerIn(registry);
  const auto mapping = ecore::loadMetaModels({}, registry);
  Model native(registry);
  Element root_ = native.createRoot("native.Thing");
  root_.setUnsigned("big", UINT64_MAX);
  root_.set("json", "{\"a\": 1}");
  root_.create("part").setInteger("first", 1);
  root_.create("parts").setTextForm("second", "00112233-4455-6677-8899-aabbccddeeff");
  root_.create("things");
  const Model again = ecore::readXmi(ecore::writeXmi(native, *mapping), "native.xmi", *mapping);
  EXPECT_EQ(findDifference(native, again), std::nullopt);
}

TEST_F(XmiWriting, DeepElementsAreNotIndentedForever) {
  Element deep = root;
  for (int i = 0; i < 1000; ++i) deep = deep.create("node");
  EXPECT_THAT(write(), Not(HasSubstr(std::string(201, ' '))));
  EXPECT_EQ(backAndForth(), "equal");
}

/// A chain below an element.
std::vector<Element> chainBelow(Element from, std::size_t length) {
  std::vector<Element> chain;
  for (std::size_t i = 0; i < length; ++i) chain.push_back(from = from.create("node"));
  return chain;
}

TEST_F(XmiWriting, TheLongestPathHasFiftySteps) {
  const std::vector<Element> chain = chainBelow(root, 51);
  root.putReference("others", chain[49]);
  root.putReference("others", chain[50]);
  EXPECT_THAT(write(), HasSubstr("/@node/@node _kr0.1\""));
  EXPECT_THAT(write(), HasSubstr("<node xmi:id=\"_kr0.1\"/>"));
  EXPECT_EQ(backAndForth(), "equal");
}

TEST_F(XmiWriting, ADocumentsOwnIdsAreNoneThatTheModelHas) {
  std::vector<Element> chain = chainBelow(root, 60);
  chain[0].set("key", "_kr0.1");
  chain[58].setIdentity("xmi:uuid", "u");
  root.putReference("others", chain[58]);
  EXPECT_THAT(write(), HasSubstr("xmi:id=\"_kr0.2\" xmi:uuid=\"u\""));
  EXPECT_EQ(backAndForth(), "equal");
}

TEST_F(XmiWriting, AnIdLikeADocumentsOwnWouldBeForgottenAndIsRefused) {
  root.setIdentity("xmi:id", "_kr0.7");
  EXPECT_THAT(refusal(), HasSubstr("the xmi:id \"_kr0.7\" would be forgotten"));
  root.setIdentity("xmi:id", "_kr0.x");
  EXPECT_EQ(backAndForth(), "equal");
}

TEST_F(XmiWriting, ReferencesIntoADeepChainDoNotMakeTheDocumentLarge) {
  const std::vector<Element> chain = chainBelow(root, 2000);
  for (Element from : chain) from.putReference("next", chain.back());
  EXPECT_LT(write().size(), 2000u * 500);
  EXPECT_EQ(backAndForth(), "equal");
}

// An id with a colon would be the type of a reference in a list.
TEST_F(XmiWriting, PathsToDeepElementsWhoseIdsCannotStandInReferencesAreLimited) {
  const std::vector<Element> chain = chainBelow(root, 3000);
  Element target = chain.back();
  target.setIdentity("xmi:id", "a:b");
  root.putReference("next", target);
  EXPECT_EQ(backAndForth(), "equal");
  for (Element from : chain) from.putReference("next", target);
  EXPECT_THAT(refusal(), HasSubstr("these paths would be more than 16777216 bytes long"));
}

}  // namespace
}  // namespace kr::zero::test
