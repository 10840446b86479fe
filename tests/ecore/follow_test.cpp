// Documents that are spread over files: what is followed, what comes of it, and what is not followed.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "EcoreTesting.h"
#include "kr/zero/ecore/Imperfect.h"
#include "support/Paths.h"

namespace kr::zero::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using Files = std::map<std::string, std::string>;

/// A folder of documents in memory, which notes what was asked for.
struct Folder {
  Files files;
  std::vector<std::string> asked = {};
  std::vector<std::string> said = {};

  ecore::XmiReadOptions options(bool isTolerant) {
    ecore::XmiReadOptions options;
    options.source = [this](const std::string& path) {
      asked.push_back(path);
      const auto found = files.find(path);
      if (found == files.end()) throw Error(ErrorCode::unreadable, {.file = path, .problem = "is not there"});
      return found->second;
    };
    if (isTolerant)
      options.onProblem = [this](const ecore::Problem& problem) {
        said.push_back(problem.file + ":" + std::to_string(problem.line) + ": " + problem.sentence);
      };
    return options;
  }
  Model read(const std::string& path, bool isTolerant = false) {
    return ecore::readXmi(files.at(path), "folder/" + path, *nodeModels().mapping, options(isTolerant));
  }
  std::string refusal(const std::string& path) {
    try {
      read(path);
    } catch (const Error& error) {
      return error.what();
    }
    return "nothing was refused";
  }
};

/// All elements with their places: "/0 r", "/0/nodes.1 a -> b" ...
std::vector<std::string> show(const Model& model) {
  std::vector<std::string> lines;
  for (const ConstElement element : model.elements()) {
    std::string line = std::string(element.getText("name")) + " in ";
    line += element.getContainer() ? std::string(element.getContainer().getText("name")) : "the model";
    for (std::size_t i = 0; i < element.size("others"); ++i) {
      const ConstElement target = element.getReference("others", i);
      line += " -> " + (target ? std::string(target.getText("name"))
                               : *element.getUnresolved("others", i)->qualifier + "?");
    }
    lines.push_back(line);
  }
  return lines;
}

TEST(Following, ReferencesLeadToElementsWhoseRootsBecomeRoots) {
  Folder folder{
      {{"a.xmi", nodeDocument("name='a'", "<others href='b.xmi#//@nodes.1'/><others href='b.xmi'/>")},
       {"b.xmi", nodeDocument("name='b'", "<nodes name='b0'/><nodes name='b1'/>")}}};
  EXPECT_THAT(show(folder.read("a.xmi")),
              ElementsAre("a in the model -> b1 -> b", "b in the model", "b0 in b", "b1 in b"));
  EXPECT_THAT(folder.asked, ElementsAre("b.xmi"));
}

TEST(Following, AChildByHrefStandsWhereTheDocumentHasIt) {
  Folder folder{{{"a.xmi", nodeDocument("name='a' others='//@nodes.0 //@nodes.1 //@nodes.2'",
                                        "<nodes name='x'/><nodes href='b.xmi#/'/><nodes name='y'/>")},
                 {"b.xmi", nodeDocument("name='b'", "<nodes name='c'/>")}}};
  EXPECT_THAT(show(folder.read("a.xmi")),
              ElementsAre("a in the model -> x -> b -> y", "x in a", "b in a", "c in b", "y in a"));
}

TEST(Following, ARootByHrefIsTheRootOfTheOtherDocument) {
  Folder folder{
      {{"a.xmi",
        "<xmi:XMI xmlns:xmi='http://www.omg.org/XMI' xmlns:p='urn:p'><p:Node name='a' others='/0 /1 /2'/>"
        "<p:Node href='b.xmi#k'/><p:Node name='c'/></xmi:XMI>"},
       {"b.xmi", nodeDocument("name='b' xmi:id='k'")}}};
  EXPECT_THAT(show(folder.read("a.xmi")),
              ElementsAre("a in the model -> a -> b -> c", "c in the model", "b in the model"));
}

TEST(Following, CirclesAreReadOnce) {
  Folder folder{{{"a.xmi", nodeDocument("name='a'", "<others href='b.xmi#/'/>")},
                 {"b.xmi", nodeDocument("name='b'", "<others href='./c.xmi#/'/><others href='a.xmi#/'/>")},
                 {"c.xmi", nodeDocument("name='c'", "<others href='b.xmi#/'/><others href='c.xmi#/'/>")}}};
  EXPECT_THAT(show(folder.read("a.xmi")),
              ElementsAre("a in the model -> b", "b in the model -> c -> a", "c in the model -> b -> c"));
  EXPECT_THAT(folder.asked, ElementsAre("b.xmi", "c.xmi"));
}

TEST(Following, ReferencesInAttributesAreFollowedToo) {
  Folder folder{{{"a.xmi", nodeDocument("name='a' others='p:Node b.xmi#/ #/ b.xmi#//@nodes.0'")},
                 {"b.xmi", nodeDocument("name='b'", "<nodes name='c'/>")}}};
  EXPECT_THAT(show(folder.read("a.xmi")),
              ElementsAre("a in the model -> b -> a -> c", "b in the model", "c in b"));
}

TEST(Following, FoldersBelowAreFollowedAndLeadBack) {
  Folder folder{
      {{"a.xmi", nodeDocument("name='a'", "<nodes href='sub/b%20c.xmi#/'/>")},
       {"sub/b c.xmi", nodeDocument("name='b'", "<others href='../a.xmi#/'/><others href='d.xmi#/'/>")},
       {"sub/d.xmi", nodeDocument("name='d'")}}};
  EXPECT_THAT(show(folder.read("a.xmi")),
              ElementsAre("a in the model", "b in a -> a -> d", "d in the model"));
}

TEST(Following, WhatLeadsElsewhereStaysUnresolved) {
  std::string others;
  for (const char* uri : {"../x.xmi", "sub/../../x.xmi", "/etc/passwd", "http://example.org/x.xmi",
                          "file:/etc/passwd", "platform:/resource/x.xmi", "%2e%2e/x.xmi", ".."})
    others += "<others href='" + std::string(uri) + "#/'/>";
  Folder folder{{{"a.xmi", nodeDocument("name='a'", others)}}};
  EXPECT_EQ(folder.read("a.xmi").getRoots().front().size("others"), 8u);
  EXPECT_THAT(folder.asked, IsEmpty());
}

TEST(Following, AMapSaysWhichDocumentAUrlMeans) {
  Folder folder{{{"a.xmi", nodeDocument("name='a'", "<nodes href='sub/b.xmi#/'/>")},
                 {"sub/b.xmi", nodeDocument("name='b'", "<others href='http://example.org/m/c.xmi#/'/>")},
                 {"lib/c.xmi", nodeDocument("name='c'")}}};
  ecore::XmiReadOptions options = folder.options(false);
  options.uriMap.add("http://example.org/m/", "lib/");
  EXPECT_THAT(show(ecore::readXmi(folder.files.at("a.xmi"), "a.xmi", *nodeModels().mapping, options)),
              ElementsAre("a in the model", "b in a -> c", "c in the model"));
}

TEST(Following, WithoutItReferencesStayUnresolvedAndChildrenAreRefused) {
  EXPECT_EQ(nodeModels().read(nodeDocument("", "<others href='b.xmi#/'/>")).size(), 1u);
  EXPECT_THAT(
      refusalOf(nodeModels(), nodeDocument("", "<nodes href='b.xmi#/'/>")),
      HasSubstr("feature p.Node.nodes contains an element of another document, \"b.xmi#/\", and other "
                "documents are read only with --follow"));
}

TEST(Following, AnIdThatTwoDocumentsHaveIsKeptWithThePathOfTheSecond) {
  Folder folder{{{"a.xmi", nodeDocument("name='a' xmi:id='k' others='k'", "<nodes href='sub/b.xmi#k'/>")},
                 {"sub/b.xmi", nodeDocument("name='b' xmi:id='k' others='k'")}}};
  const Model model = folder.read("a.xmi");
  EXPECT_THAT(show(model), ElementsAre("a in the model -> a", "b in a -> b"));
  const ConstElement b = model.getRoots().front().getElement("nodes");
  EXPECT_EQ(b.getIdentity()->first, "sub/b.xmi");
  EXPECT_EQ(b.getIdentity()->second, "k");
  EXPECT_EQ(findDifference(model, nodeModels().read(nodeModels().write(model))), std::nullopt);
}

TEST(Following, ADocumentThatCannotBeReadIsRefused) {
  Folder folder{{{"a.xmi", nodeDocument("name='a'", "<others href='b.xmi#/'/>")}, {"c.xmi", "<"}}};
  EXPECT_EQ(folder.refusal("a.xmi"), "b.xmi: is not there");
  folder.files["b.xmi"] = "<p:Node";
  EXPECT_THAT(folder.refusal("a.xmi"), HasSubstr("folder/b.xmi, line 1: it is not well-formed XML"));
}

TEST(Following, ADocumentThatCannotBeReadIsToldOnceAndReferencesToItStayUnresolved) {
  Folder folder{{{"a.xmi", nodeDocument("name='a'",
                                        "\n<others href='b.xmi#/'/><others href='b.xmi#x'/>"
                                        "<nodes href='b.xmi#/'/><nodes name='c'/>")}}};
  EXPECT_THAT(show(folder.read("a.xmi", true)), ElementsAre("a in the model -> b.xmi? -> b.xmi?", "c in a"));
  EXPECT_THAT(
      folder.said,
      ElementsAre("folder/a.xmi:2: b.xmi: is not there; what leads there stays unresolved",
                  "folder/a.xmi:2: the element of another document, \"b.xmi#/\", is in no document of this "
                  "folder that could be read; it is left out"));
}

TEST(Following, ATargetThatIsNotThereIsRefusedOrStaysUnresolved) {
  Folder folder{{{"a.xmi", nodeDocument("name='a'", "<others href='b.xmi#//@nodes.0'/>")},
                 {"b.xmi", nodeDocument("name='b'")}}};
  EXPECT_EQ(folder.refusal("a.xmi"),
            "folder/a.xmi, line 1: the reference \"//@nodes.0\" of feature p.Node.others leads nowhere");
  EXPECT_THAT(show(folder.read("a.xmi", true)), ElementsAre("a in the model -> b.xmi?", "b in the model"));
}

TEST(Following, AnElementHasOneContainer) {
  Folder folder{{{"a.xmi", nodeDocument("name='a'", "<nodes href='b.xmi#/'/><nodes href='b.xmi#/'/>")},
                 {"b.xmi", nodeDocument("name='b'", "<nodes name='c'/>")},
                 {"d.xmi", nodeDocument("name='d'", "<nodes href='b.xmi#//@nodes.0'/>")}}};
  EXPECT_THAT(folder.refusal("a.xmi"), HasSubstr("\"b.xmi#/\", is contained elsewhere"));
  EXPECT_THAT(folder.refusal("d.xmi"), HasSubstr("\"b.xmi#//@nodes.0\", is contained elsewhere"));
  EXPECT_THAT(show(folder.read("a.xmi", true)), ElementsAre("a in the model", "b in a", "c in b"));
}

TEST(Following, AnElementIsNotInsideOfItself) {
  Folder folder{{{"a.xmi", nodeDocument("name='a'", "<nodes href='b.xmi#/'/>")},
                 {"b.xmi", nodeDocument("name='b'", "<nodes href='a.xmi#/'/>")}}};
  EXPECT_THAT(folder.refusal("a.xmi"), HasSubstr("an element cannot be moved into itself or below itself"));
  EXPECT_THAT(show(folder.read("a.xmi", true)), ElementsAre("a in the model", "b in a"));
}

TEST(Following, LongChainsOfDocumentsTakeNoStack) {
  constexpr int kCount = 3000;
  Folder folder;
  for (int i = 0; i < kCount; ++i)
    folder.files[std::to_string(i) + ".xmi"] =
        nodeDocument("", i + 1 < kCount ? "<nodes href='" + std::to_string(i + 1) + ".xmi#/'/>" : "");
  const Model model = folder.read("0.xmi");
  EXPECT_EQ(model.getRoots().size(), 1u);
  EXPECT_EQ(model.size(), static_cast<std::size_t>(kCount));
}

TEST(Following, FilesBesideADocumentAreASource) {
  const std::string path = temporaryPath("main.xmi");
  writeFile(path, nodeDocument("name='a'", "<nodes href='part.xmi#/'/>"));
  writeFile(temporaryPath("part.xmi"), nodeDocument("name='b'"));
  ecore::XmiReadOptions options;
  options.source = ecore::filesBeside(path);
  EXPECT_THAT(show(ecore::readXmiFile(path, *nodeModels().mapping, options)),
              ElementsAre("a in the model", "b in a"));
}

}  // namespace
}  // namespace kr::zero::test
