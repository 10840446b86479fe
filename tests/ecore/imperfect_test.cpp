// What can be read of imperfect documents and meta models, and what is said of the rest.

#include "kr/zero/ecore/Imperfect.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "EcoreTesting.h"

namespace kr::zero::test::imperfect {
namespace {

using ecore::ProblemKind;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// A document, or meta models, as far as they could be read.
template <class Result>
struct Tolerant {
  Result result;
  std::vector<std::string> said;   // "LINE: sentence"
  std::vector<ProblemKind> kinds;  // of the same
};

ecore::ProblemListener noting(std::vector<std::string>& said, std::vector<ProblemKind>& kinds) {
  return [&said, &kinds](const ecore::Problem& problem) {
    said.push_back(std::to_string(problem.line) + ": " + problem.sentence);
    kinds.push_back(problem.kind);
  };
}

Tolerant<Model> readTolerantly(const MetaModels& models, std::string_view document,
                               ecore::XmiReadOptions options = {}) {
  std::vector<std::string> said;
  std::vector<ProblemKind> kinds;
  options.onProblem = noting(said, kinds);
  Model model = ecore::readXmi(document, "document.xmi", *models.mapping, options);
  return {std::move(model), said, kinds};
}

/// Reads a node with these attributes and children, which are on the second line.
Tolerant<Model> tolerant(std::string_view attributes, std::string_view children = {}) {
  return readTolerantly(nodeModels(), nodeDocument(attributes, "\n" + std::string(children)));
}

std::string nameOf(ConstElement element) { return std::string(element.getText("name")); }

/// What a node refers to: names, or the texts of what is unresolved.
std::vector<std::string> targets(ConstElement node, const char* property) {
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < node.size(property); ++i) {
    const ConstElement target = node.getReference(property, i);
    const auto unresolved = node.getUnresolved(property, i);
    texts.push_back(target ? nameOf(target) : *unresolved->qualifier + "#" + unresolved->id2);
  }
  return texts;
}

std::vector<std::string> namesOfNodes(const Model& model) {
  std::vector<std::string> names;
  for (const ConstElement node : model.roots().begin().operator*().children("nodes"))
    names.push_back(nameOf(node));
  return names;
}

ConstElement rootOf(const Model& model) { return model.getRoots().front(); }
ConstElement nodeOf(const Model& model, std::size_t i) { return rootOf(model).getElement("nodes", i); }

TEST(Imperfect, ADocumentThatIsAsItShouldBeHasNoProblems) {
  const auto read = tolerant("name='r' next='//@nodes.0'", "<nodes name='a'/>");
  EXPECT_THAT(read.said, IsEmpty());
  EXPECT_EQ(findDifference(read.result, nodeModels().read(
                                            nodeDocument("name='r' next='//@nodes.0'", "<nodes name='a'/>"))),
            std::nullopt);
}

TEST(Imperfect, AnUnknownFeatureIsLeftOutWithAllInsideOfIt) {
  const auto read =
      tolerant("name='r' wheels='4'",
               "<wheels><deep/><deep><deeper/></deep></wheels><nodes name='a'/><spokes>x</spokes>");
  EXPECT_THAT(read.said,
              ElementsAre("1: class p.Node has no feature \"wheels\"; it is left out",
                          "2: class p.Node has no feature \"wheels\"; it is left out with 3 elements inside",
                          "2: class p.Node has no feature \"spokes\"; it is left out"));
  EXPECT_THAT(read.kinds, testing::Each(ProblemKind::unknownFeature));
  EXPECT_THAT(namesOfNodes(read.result), ElementsAre("a"));
}

TEST(Imperfect, AFeatureWithoutStoredValueIsLeftOut) {
  const auto read = tolerant("name='r' passing='a'", "<parent href='#/'/>");
  EXPECT_THAT(read.said,
              ElementsAre("1: feature p.Node.passing is transient and has no stored value; it is left out",
                          HasSubstr("2: feature p.Node.parent is told by the nesting")));
}

TEST(Imperfect, AnElementOfAnUnknownClassIsLeftOut) {
  const auto read = tolerant("", "<nodes xsi:type='p:Wheel'><nodes/><nodes/></nodes><nodes name='a'/>");
  EXPECT_THAT(read.said,
              ElementsAre("2: the package with the URI \"urn:p\" has no class \"Wheel\"; it is left "
                          "out with 2 elements inside"));
  EXPECT_THAT(read.kinds, ElementsAre(ProblemKind::unknownClass));
  EXPECT_THAT(namesOfNodes(read.result), ElementsAre("a"));
}

TEST(Imperfect, AnElementThatDoesNotFitIsLeftOut) {
  const auto read = tolerant("", "<bases/><bases xsi:type='p:Node' name='a'/><nodes xsi:type='q:N'/>");
  EXPECT_THAT(read.said,
              ElementsAre("2: /node.bases: class p.Base is abstract and has no elements; it is left out",
                          "2: the namespace prefix \"q\" is not declared; it is left out"));
  EXPECT_EQ(rootOf(read.result).size("bases"), 1u);
}

TEST(Imperfect, PositionsInPathsCountWhatIsLeftOut) {
  const auto read = tolerant("others='//@nodes.0 //@nodes.1 //@nodes.2 //@nodes.3 //@nodes.4'",
                             "<nodes xsi:type='p:Wheel'/><nodes name='a'/><nodes xsi:type='p:Wheel'/>"
                             "<nodes name='b'/>");
  EXPECT_THAT(
      targets(rootOf(read.result), "others"),
      ElementsAre("document.xmi#//@nodes.0", "a", "document.xmi#//@nodes.2", "b", "document.xmi#//@nodes.4"));
}

TEST(Imperfect, NumbersOfRootsCountWhatIsLeftOut) {
  const auto read =
      readTolerantly(nodeModels(),
                     "<xmi:XMI xmlns:xmi='http://www.omg.org/XMI' xmlns:p='urn:p'>"
                     "<p:Wheel/><p:Node name='a' others='/0 /1 /2'/><p:Node name='b'/></xmi:XMI>");
  EXPECT_THAT(targets(rootOf(read.result), "others"), ElementsAre("document.xmi#/0", "a", "b"));
}

TEST(Imperfect, MissingPackagesAreToldOnceEachWithWhatIsOfThem) {
  const auto read = tolerant("xmlns:q='urn:q' xmlns:r='urn:r' xmlns:s='urn:s'",
                             "<nodes xsi:type='r:A'/><nodes xsi:type='q:A'><nodes/></nodes>\n"
                             "<nodes name='a'><nodes xsi:type='r:B'/></nodes>");
  EXPECT_THAT(
      read.said,
      ElementsAre("2: the package with the URI \"urn:r\" is in none of the meta models (--meta-path or "
                  "--map-uri can help); what is of it is left out, 2 elements",
                  "2: the package with the URI \"urn:q\" is in none of the meta models (--meta-path or "
                  "--map-uri can help); what is of it is left out, 2 elements"));
  EXPECT_THAT(read.kinds, testing::Each(ProblemKind::missingPackage));
  EXPECT_THAT(namesOfNodes(read.result), ElementsAre("a"));
}

TEST(Imperfect, WithoutToleranceAllMissingPackagesThatAreUsedAreInOneSentence) {
  EXPECT_EQ(
      refusalOf(nodeModels(), nodeDocument("xmlns:q='urn:q' xmlns:r='urn:r' xmlns:s='urn:s'",
                                           "<nodes xsi:type='r:A'/><nodes xsi:type='q:A'/>"
                                           "<others href='x.xmi#/'/>")),
      "document.xmi, line 1: the packages with the URIs \"urn:r\", \"urn:q\" are in none of the meta models "
      "(--meta-path or --map-uri can help)");
}

TEST(Imperfect, ADocumentWhoseRootIsOfAMissingPackageIsEmpty) {
  const auto read = readTolerantly(nodeModels(), "<q:Node xmlns:q='urn:q'><a/></q:Node>");
  EXPECT_EQ(read.result.size(), 0u);
  EXPECT_THAT(read.said, ElementsAre(HasSubstr("what is of it is left out, 2 elements")));
}

TEST(Imperfect, AValueThatIsNoneIsLeftOut) {
  const auto read = tolerant("count='x' small='300' color='blue' when='yesterday' flag='true'",
                             "<numbers>1</numbers><numbers>b</numbers><numbers>3</numbers>");
  EXPECT_THAT(
      read.said,
      ElementsAre("1: feature p.Node.count: \"x\" is not a value of type Integer; it is left out",
                  HasSubstr("300"),
                  "1: feature p.Node.color: enumeration p.Color has no literal \"blue\"; it is left out",
                  HasSubstr("\"yesterday\" is not a DateTime; it is left out"),
                  "2: feature p.Node.numbers: \"b\" is not a value of type Integer; it is left out"));
  EXPECT_THAT(read.kinds, testing::Each(ProblemKind::badValue));
  EXPECT_FALSE(rootOf(read.result).isSet("count"));
  EXPECT_TRUE(rootOf(read.result).getBoolean("flag"));
  EXPECT_EQ(rootOf(read.result).getInteger("numbers", 1), 3);
}

TEST(Imperfect, OneWordOfAListThatIsNoValueIsLeftOut) {
  const auto read = tolerant("numbers='1 b 3'");
  EXPECT_EQ(rootOf(read.result).size("numbers"), 2u);
  EXPECT_EQ(read.said.size(), 1u);
}

TEST(Imperfect, OfASingleValueGivenTwiceTheLastCounts) {
  const auto read = tolerant("name='a' next='/ //@nodes.0'",
                             "<name>b</name><nodes name='n'/><node name='x'><node/></node><node name='y'/>");
  EXPECT_THAT(
      read.said,
      ElementsAre("2: feature p.Node.name is given twice, and the last one counts",
                  "2: feature p.Node.node is given twice, and the last one counts; it is left out with 1 "
                  "element inside",
                  "1: feature p.Node.next is given twice, and the last one counts"));
  EXPECT_EQ(nameOf(rootOf(read.result)), "b");
  EXPECT_EQ(nameOf(rootOf(read.result).getElement("node")), "y");
  EXPECT_THAT(targets(rootOf(read.result), "next"), ElementsAre("n"));
}

TEST(Imperfect, AReferenceThatLeadsNowhereStaysUnresolved) {
  const auto read = tolerant("next='nobody'", "<nodes name='a' others='//@nodes.7 //@nodes.0'/>");
  EXPECT_THAT(
      read.said,
      ElementsAre("1: the reference \"nobody\" of feature p.Node.next leads nowhere; it stays unresolved",
                  "2: the reference \"//@nodes.7\" of feature p.Node.others leads nowhere; it stays "
                  "unresolved"));
  EXPECT_THAT(read.kinds, testing::Each(ProblemKind::missingTarget));
  EXPECT_THAT(targets(rootOf(read.result), "next"), ElementsAre("document.xmi#nobody"));
  EXPECT_THAT(targets(nodeOf(read.result, 0), "others"), ElementsAre("document.xmi#//@nodes.7", "a"));
}

TEST(Imperfect, WhatWasReadIsWrittenAndReadAgainWithoutProblems) {
  const auto read =
      tolerant("next='nobody' wheels='4'", "<nodes xmi:id='k'/><nodes xmi:id='k' others='k //@nodes.9'/>");
  EXPECT_EQ(read.said.size(), 4u);
  EXPECT_EQ(findDifference(read.result, nodeModels().read(nodeModels().write(read.result))), std::nullopt);
}

TEST(Imperfect, OfTwoElementsWithOneIdAReferenceMeansTheLatestBeforeItElseTheLast) {
  const auto read = tolerant("next='k'",
                             "<nodes name='a' xmi:id='k'/><nodes name='m' next='k'/>"
                             "<nodes name='b' xmi:id='k' next='k'/><nodes name='z' next='k'/>");
  EXPECT_THAT(read.said, ElementsAre("2: two elements have the xmi:id \"k\": the one before loses it"));
  EXPECT_THAT(read.kinds, ElementsAre(ProblemKind::duplicateId));
  EXPECT_THAT(targets(rootOf(read.result), "next"), ElementsAre("b"));
  EXPECT_THAT(targets(nodeOf(read.result, 1), "next"), ElementsAre("a"));
  EXPECT_THAT(targets(nodeOf(read.result, 2), "next"), ElementsAre("b"));
  EXPECT_THAT(targets(nodeOf(read.result, 3), "next"), ElementsAre("b"));
  EXPECT_FALSE(nodeOf(read.result, 0).getIdentity());
  EXPECT_EQ(nodeOf(read.result, 2).getIdentity()->second, "k");
}

TEST(Imperfect, OfTwoElementsWithOneIdentifyingValueAReferenceMeansTheFirst) {
  const auto read = tolerant("next='k'", "<nodes name='a' key='k'/><nodes name='b' key='k' next='k'/>");
  EXPECT_THAT(read.said,
              ElementsAre(HasSubstr("1: the reference \"k\" of feature p.Node.next could mean several "
                                    "elements: that id occurs more than once; it leads to /node/nodes[0]"),
                          HasSubstr("2: the reference \"k\"")));
  EXPECT_THAT(targets(rootOf(read.result), "next"), ElementsAre("a"));
  EXPECT_THAT(targets(nodeOf(read.result, 1), "next"), ElementsAre("a"));
}

TEST(Imperfect, AnXmiIdGoesBeforeAnIdentifyingValue) {
  for (const char* children : {"<nodes name='a' key='k'/><nodes name='b' xmi:id='k'/>",
                               "<nodes name='b' xmi:id='k'/><nodes name='a' key='k'/>"}) {
    const auto read = tolerant("next='k'", children);
    EXPECT_EQ(read.said.size(), 1u);
    EXPECT_THAT(targets(rootOf(read.result), "next"), ElementsAre("b"));
    EXPECT_EQ(findDifference(read.result, nodeModels().read(nodeModels().write(read.result))), std::nullopt);
  }
}

TEST(Imperfect, WhatAModelCannotKeepIsLeftOut) {
  const auto read = tolerant("xmi:label='x' xmi:id='a' xmi:uuid='b' name='r'",
                             "stray<nodes name='a'/><name><b/></name><must xsi:nil='true'/><xmi:Extension/>");
  EXPECT_THAT(
      read.said,
      ElementsAre(HasSubstr("xmi:label cannot be kept"), HasSubstr("both xmi:id and xmi:uuid"),
                  HasSubstr("text between the elements: \"\nstray\""), HasSubstr("does not contain elements"),
                  HasSubstr("cannot hold an explicitly empty value"), HasSubstr("xmi:Extension")));
  EXPECT_EQ(nameOf(rootOf(read.result)), "r");
  EXPECT_THAT(namesOfNodes(read.result), ElementsAre("a"));
}

TEST(Imperfect, WhatIsNotXmlIsRefusedAllTheSame) {
  EXPECT_THROW(tolerant("", "<nodes>"), ecore::EcoreError);
  EXPECT_THROW(tolerant("name='&nobody;'"), ecore::EcoreError);
}

TEST(Imperfect, ADocumentWithAnyByteChangedIsRefusedOrReadIntoAModelThatCanBeWritten) {
  const std::string document =
      nodeDocument("name='r' key='k' next='k' others='//@nodes.1 p:Node d.xmi#/' count='7' numbers='1 2'",
                   "<nodes xmi:id='i' others='i k'/><nodes href='d.xmi#/'/><node "
                   "xsi:type='p:Special'><name>x</name></node>");
  std::size_t read = 0, refused = 0, told = 0;
  for (std::size_t at = 0; at < document.size(); ++at)
    for (const char changed : {'<', '"', '/', ':', 'k', '1', ' '}) {
      std::string damaged = document;
      damaged[at] = changed;
      ecore::XmiReadOptions options;
      options.onProblem = [&](const ecore::Problem&) { ++told; };
      options.source = [](const std::string&) {
        return nodeDocument("xmi:id='i'", "<nodes href='x.xmi#/'/>");
      };
      try {
        const Model model = ecore::readXmi(damaged, "x.xmi", *nodeModels().mapping, options);
        EXPECT_EQ(findDifference(model, nodeModels().read(nodeModels().write(model))), std::nullopt)
            << damaged;
        ++read;
      } catch (const Error&) {
        ++refused;
      }
    }
  EXPECT_GT(read, 1000u);
  EXPECT_GT(refused, 1000u);
  EXPECT_GT(told, 1000u);
}

TEST(Imperfect, AListenerThatThrowsEndsTheReading) {
  std::size_t heard = 0;
  const auto read = [&](auto thrown) {
    ecore::XmiReadOptions options;
    options.onProblem = [&](const ecore::Problem&) {
      ++heard;
      throw thrown;
    };
    ecore::readXmi(nodeDocument("a='1' b='2'", "<nodes c='3'/>"), "x", *nodeModels().mapping, options);
  };
  EXPECT_THROW(read(Error(ErrorCode::misuse, "enough")), Error);
  EXPECT_THROW(read(std::logic_error("enough")), Error);
  EXPECT_EQ(heard, 2u);
}

// --- URIs

TEST(UriMap, MapsWholeUrisAndFolders) {
  ecore::UriMap map;
  EXPECT_TRUE(map.isEmpty());
  map.add("http://a/", "b/");
  map.add("http://a/x", "y");
  map.add("urn:a", "urn:b");
  EXPECT_EQ(map.map("urn:a"), "urn:b");
  EXPECT_EQ(map.map("urn:ab"), "urn:ab");
  EXPECT_EQ(map.map("http://a/x"), "y");
  EXPECT_EQ(map.map("http://a/z/c"), "b/z/c");
  EXPECT_EQ(map.map("urn:b"), "urn:b");
}

TEST(UriMap, SaysWhichPackageANamespaceMeans) {
  ecore::XmiReadOptions options;
  options.uriMap.add("urn:old", "urn:p");
  const Model model =
      ecore::readXmi("<q:Node xmlns:q='urn:old' name='a'/>", "x", *nodeModels().mapping, options);
  EXPECT_EQ(nameOf(rootOf(model)), "a");
}

TEST(UriMap, SaysWhichPackageASchemaLocationMeans) {
  ecore::XmiReadOptions options;
  options.uriMap.add("http://example.org/q.ecore", "urn:p");
  const Model model = ecore::readXmi(
      "<q:Node xmlns:q='urn:q' xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' "
      "xsi:schemaLocation='urn:z z.ecore urn:q http://example.org/q.ecore#/' name='a'/>",
      "x", *nodeModels().mapping, options);
  EXPECT_EQ(nameOf(rootOf(model)), "a");
}

TEST(DeclaredNamespaces, AreThoseOfPackagesInTheirOrder) {
  EXPECT_THAT(
      ecore::declaredNamespaces(
          nodeDocument("xmlns:z = \"urn:z?a=1&amp;b=2\"", "<nodes\nxmlns='urn:d' xmlns:p='urn:p'/>"), "x"),
      ElementsAre("urn:p", "urn:z?a=1&b=2", "urn:d"));
  EXPECT_THAT(ecore::declaredNamespaces("xmlns= xmlns:a='", "x"), IsEmpty());
  EXPECT_THAT(
      ecore::declaredPackages(packageText("a", "urn:a", "<eSubpackages name='b' nsURI='urn:b'/>"), "x"),
      ElementsAre("urn:a", "urn:b"));
}

TEST(DeclaredNamespaces, OfHostileDocumentsAreFoundAtOnce) {
  std::string without, many = "<p:Node xmlns:p='urn:p'";
  for (int i = 0; i < 200000; ++i) without += " xmlns";
  for (int i = 0; i < 50000; ++i) many += " xmlns:n" + std::to_string(i) + "='urn:" + std::to_string(i) + "'";
  EXPECT_THAT(ecore::declaredNamespaces(without + "='a'", "x"), ElementsAre("a"));
  EXPECT_EQ(ecore::declaredNamespaces(many + "/>", "x").size(), 50001u);
  EXPECT_THAT(
      refusalOf(nodeModels(),
                many + "><n7:A/><nodes xmi:type='n8:B' xmlns:xmi='http://www.omg.org/XMI'/></p:Node>"),
      HasSubstr("class p.Node has no feature"));
  EXPECT_THAT(
      refusalOf(nodeModels(), many + "><nodes xmi:type='n8:B' xmlns:xmi='http://www.omg.org/XMI'/></p:Node>"),
      HasSubstr("the package with the URI \"urn:8\" is in none"));
}

TEST(Imperfect, ManyProblemsAreNoDifficulty) {
  std::string children;
  for (int i = 0; i < 20000; ++i) children += "<wheels/>";
  EXPECT_EQ(tolerant("", children).said.size(), 20000u);
}

// --- Meta models

std::string attribute(std::string_view name, std::string_view type) {
  return "<eStructuralFeatures xsi:type='ecore:EAttribute' name='" + std::string(name) + "' eType='" +
         std::string(type) + "'/>";
}

std::string reference(std::string_view name, std::string_view type, std::string_view more = {}) {
  return "<eStructuralFeatures xsi:type='ecore:EReference' name='" + std::string(name) + "' eType='" +
         std::string(type) + "' " + std::string(more) + "/>";
}

std::string classText(std::string_view name, std::string_view attributes, std::string_view features) {
  return "<eClassifiers xsi:type='ecore:EClass' name='" + std::string(name) + "' " + std::string(attributes) +
         ">" + std::string(features) + "</eClassifiers>";
}

Tolerant<MetaModels> load(const std::vector<ecore::EcoreFile>& files, ecore::MetaModelOptions options = {},
                          bool isTolerant = true) {
  MetaModels models;
  models.registry = std::make_unique<meta::MetaRegistry>();
  std::vector<std::string> said;
  std::vector<ProblemKind> kinds;
  if (isTolerant) options.onProblem = noting(said, kinds);
  models.mapping = ecore::loadEcoreFiles(files, *models.registry, options);
  return {std::move(models), said, kinds};
}

const std::string kString = "ecore:EDataType http://www.eclipse.org/emf/2002/Ecore#//EString";

/// Two classes that lean on files that are not there.
std::string leaningPackage() {
  return packageText(
      "p", "urn:p",
      classText("A", "eSuperTypes='lost.ecore#//L #//B'",
                attribute("a", "http://example.org/types#//T") + attribute("b", kString) +
                    reference("c", "#//B", "eOpposite='#//B/d'")) +
          classText("B", "",
                    reference("d", "lost.ecore#//L", "eOpposite='#//A/c'") + reference("e", "#//A")));
}

TEST(ImperfectMetaModels, AreRefusedInOneSentenceWithAllThatIsMissing) {
  try {
    load({{"p.ecore", leaningPackage()}}, {}, false);
    FAIL() << "nothing was refused";
  } catch (const ecore::EcoreError& error) {
    EXPECT_STREQ(error.what(),
                 "p.ecore, line 2: what these URIs mean is in none of the given files: \"lost.ecore\", "
                 "\"http://example.org/types\" (--meta-path or --map-uri can help)");
  }
}

TEST(ImperfectMetaModels, GoWithoutFeaturesAndSupertypesWhoseTypesAreMissing) {
  const auto loaded = load({{"p.ecore", leaningPackage()}});
  EXPECT_THAT(
      loaded.said,
      ElementsAre(HasSubstr("what these URIs mean is in none of the given files: "),
                  "2: the eSuperTypes \"lost.ecore#//L\" is in none of the given files; class p.A goes "
                  "without this supertype",
                  "2: the eType \"http://example.org/types#//T\" is in none of the given files; feature "
                  "p.A.a is left out",
                  "2: the eType \"lost.ecore#//L\" is in none of the given files; feature p.B.d is left "
                  "out"));
  EXPECT_THAT(loaded.kinds, testing::Each(ProblemKind::missingType));
  const MetaModels& models = loaded.result;
  EXPECT_FALSE(models.property("p.A", "a"));
  EXPECT_TRUE(models.property("p.A", "b"));
  EXPECT_FALSE(models.property("p.A", "c")->getOpposite());
  EXPECT_EQ(models.classOf("p.A")->getSupertypes().size(), 1u);
  EXPECT_EQ(models.read("<p:A xmlns:p='urn:p' b='x'/>").size(), 1u);
}

TEST(ImperfectMetaModels, ATypeThatLeadsNowhereInItsOwnFileIsMissing) {
  const auto loaded =
      load({{"p.ecore", packageText("p", "urn:p", classText("A", "", attribute("a", "#//Mood")))}});
  EXPECT_THAT(
      loaded.said,
      ElementsAre(
          "2: the reference \"//Mood\" of feature ecore.EAttribute.eType leads nowhere; it stays "
          "unresolved",
          "2: the eType \"p.ecore#//Mood\" is in none of the given files; feature p.A.a is left out"));
  EXPECT_TRUE(loaded.result.classOf("p.A"));
}

TEST(ImperfectMetaModels, AskForTheFilesThatTheyNeedAndThoseForTheirs) {
  std::vector<std::string> asked;
  ecore::MetaModelOptions options;
  options.uriMap.add("lost.ecore", "urn:lost");
  options.findFile = [&](const std::string& uri) -> std::optional<ecore::EcoreFile> {
    asked.push_back(uri);
    if (uri == "urn:lost")
      return ecore::EcoreFile{
          "metas/lost.ecore",
          packageText("lost", "urn:lost", classText("L", "", reference("x", "urn:deep#//D")))};
    if (uri == "urn:deep")
      return ecore::EcoreFile{"metas/deep.ecore", packageText("deep", "urn:deep", classText("D", "", ""))};
    return ecore::EcoreFile{"metas/types.ecore",
                            packageText("types", "http://example.org/types",
                                        "<eClassifiers xsi:type='ecore:EDataType' name='T'/>")};
  };
  const auto loaded = load({{"p.ecore", leaningPackage()}}, options, false);
  EXPECT_THAT(asked, ElementsAre("urn:lost", "http://example.org/types", "urn:deep"));
  EXPECT_EQ(loaded.result.classOf("p.A")->getSupertypes().front(), loaded.result.classOf("lost.L"));
  EXPECT_EQ(loaded.result.property("lost.L", "x")->getType()->name(), "D");
}

TEST(ImperfectMetaModels, TypesThatOnlyOperationsNeedAreNotMissed) {
  const auto loaded =
      load({{"p.ecore", packageText("p", "urn:p",
                                    classText("A", "",
                                              "<eOperations name='f' eType='lost.ecore#//L'><eParameters "
                                              "name='x' eType='lost.ecore#//L'/></eOperations>"))}},
           {}, false);
  EXPECT_TRUE(loaded.result.classOf("p.A"));
}

}  // namespace
}  // namespace kr::zero::test::imperfect
