// kr0 schema draw.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>

#include "support/Paths.h"
#include "tool/Tool.h"

namespace kr::zero::test::drawing {

namespace {

using testing::HasSubstr;
using testing::Not;

std::string diagramOf(const std::vector<std::string>& arguments) {
  const std::string path = temporaryPath("diagram.dot");
  std::vector<std::string> all = {"schema", "draw", "-o", path};
  all.insert(all.end(), arguments.begin(), arguments.end());
  const Ended ended = kr0(all);
  EXPECT_EQ(ended.code, 0) << ended.err;
  return readFile(path);
}

std::vector<std::vector<std::string>> matches(const std::string& text, const std::string& pattern) {
  const std::regex regex(pattern);
  std::vector<std::vector<std::string>> found;
  for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match) {
    found.emplace_back();
    for (std::size_t i = 1; i < match->size(); ++i) found.back().push_back((*match)[i]);
  }
  return found;
}

/// The lines of a diagram, with names in place of numbers.
std::set<std::string> linesOf(const std::string& diagram) {
  std::map<std::string, std::string> names;
  for (const auto& box : matches(diagram, "(t\\d+) \\[label=<<TABLE.*?<B>(.*?)</B>")) names[box[0]] = box[1];
  std::set<std::string> lines;
  for (const auto& line : matches(diagram, "(t\\d+) -> (t\\d+) \\[(.*)\\]"))
    lines.insert(names[line[0]] + " -> " + names[line[1]] + ": " + line[2]);
  return lines;
}

std::string ecoreWith(const std::string& name, const std::string& classes) {
  std::string path = temporaryPath(name + ".ecore");
  writeFile(path,
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ecore:EPackage xmi:version=\"2.0\" "
            "xmlns:xmi=\"http://www.omg.org/XMI\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
            "xmlns:ecore=\"http://www.eclipse.org/emf/2002/Ecore\" name=\"" +
                name + "\" nsURI=\"urn:" + name + "\" nsPrefix=\"" + name + "\">\n" + classes +
                "</ecore:EPackage>\n");
  return path;
}

// Markup of every kind, braces and quotes of Graphviz, a mark that turns the direction of writing.
const std::string kHostileInXml = "A&lt;B>&amp;&quot;|{}\\N&#x202e;&lt;/TABLE>";
const std::string kHostileInDot = "A&lt;B&gt;&amp;&quot;|{}\\&#8288;N\\&#8288;u202e&lt;/TABLE&gt;";

std::string hostileEcore() {
  return ecoreWith(
      "hostile",
      "<eClassifiers xsi:type=\"ecore:EClass\" name=\"" + kHostileInXml +
          "\">\n<eStructuralFeatures xsi:type=\"ecore:EReference\" name=\"" + kHostileInXml +
          "\" eType=\"#//Other\"/>\n<eStructuralFeatures xsi:type=\"ecore:EAttribute\" name=\"]&gt;;\" "
          "eType=\"ecore:EDataType http://www.eclipse.org/emf/2002/Ecore#//EString\"/>\n"
          "</eClassifiers>\n<eClassifiers xsi:type=\"ecore:EClass\" name=\"Other\"/>\n");
}

bool hasGraphviz() { return bash("command -v dot").code == 0; }

}  // namespace

TEST(SchemaDraw, DrawsEachRelationOnce) {
  const std::string one = "arrowhead=vee, headlabel=", contains = "dir=both, arrowtail=diamond, ",
                    refers = "dir=both, arrowtail=none, ", inherits = "dir=back, arrowtail=empty";
  EXPECT_EQ(
      linesOf(diagramOf({libraryEcore()})),
      (std::set<std::string>{
          "Named -> Library: " + inherits, "Named -> Author: " + inherits, "Named -> Member: " + inherits,
          "Book -> AudioBook: " + inherits, "Library -> Address: " + contains + one + "<address 0..1>",
          "Library -> Author: " + contains + one + "<authors *>",
          "Library -> Book: " + contains + one + "<books *>",
          "Library -> Member: " + contains + one + "<members *>",
          "Library -> Loan: " + contains + "arrowhead=none, headlabel=<loans *>, taillabel=<library 0..1>",
          "Book -> Chapter: " + contains + one + "<chapters *>",
          "Author -> Book: " + refers + "arrowhead=none, headlabel=<books *>, taillabel=<authors *>",
          "Book -> Book: " + refers + "arrowhead=none, headlabel=<sequel 0..1>, taillabel=<prequel 0..1>",
          "Member -> Loan: " + refers + "arrowhead=none, headlabel=<loans *>, taillabel=<member 1>",
          "AudioBook -> Author: " + refers + one + "<spokenBy 0..1>",
          "Member -> Book: " + refers + one + "<favourites *>",
          "Member -> Member: " + refers + one + "<guarantor 0..1>",
          "Loan -> Book: " + refers + one + "<book 1>"}));
}

TEST(SchemaDraw, BoxesTellWhatTheyAre) {
  const std::string diagram = diagramOf({libraryEcore()});
  EXPECT_THAT(diagram, HasSubstr("<TD><I><B>Named</B></I></TD>"));
  EXPECT_THAT(diagram, HasSubstr("<TD><B>Book</B></TD>"));
  EXPECT_THAT(diagram, HasSubstr("<TD>«enumeration»<BR/><B>Genre</B></TD></TR><TR><TD ALIGN=\"LEFT\" "
                                 "BALIGN=\"LEFT\">novel<BR ALIGN=\"LEFT\"/>poetry<BR"));
  EXPECT_THAT(diagram, HasSubstr("title: String<BR ALIGN=\"LEFT\"/>isbn: Isbn [0..1]<BR"));
  EXPECT_THAT(diagram, HasSubstr("subgraph cluster_0 {\n    label=<library>"));
}

TEST(SchemaDraw, HostileNamesAreNoMarkup) {
  const std::string diagram = diagramOf({hostileEcore()});
  EXPECT_THAT(diagram, HasSubstr("<B>" + kHostileInDot + "</B>"));
  EXPECT_THAT(diagram, HasSubstr("headlabel=<" + kHostileInDot + " 0..1>"));
  EXPECT_THAT(diagram, HasSubstr("]&gt;;: String"));
  EXPECT_THAT(diagram, Not(HasSubstr("\u202e")));
}

TEST(SchemaDraw, GraphvizDrawsHostileNames) {
  if (!hasGraphviz()) GTEST_SKIP() << "Graphviz is not installed";
  const std::string picture = temporaryPath("hostile.svg");
  const Ended ended = kr0({"schema", "draw", hostileEcore(), "-o", picture});
  EXPECT_EQ(ended.code, 0) << ended.err;
  const std::string svg = readFile(picture);
  EXPECT_THAT(svg, HasSubstr("<svg "));
  EXPECT_THAT(svg, HasSubstr(">A&lt;B&gt;&amp;&quot;|{}\\\u2060N\\\u2060u202e&lt;/TABLE&gt;</text>"));
  EXPECT_THAT(svg, HasSubstr(">Other</text>"));
}

TEST(SchemaDraw, PicturesAreOfTheFormatThatTheirNameTells) {
  if (!hasGraphviz()) GTEST_SKIP() << "Graphviz is not installed";
  const std::vector<std::pair<std::string, std::string>> beginnings = {{"p.png", "\x89PNG"},
                                                                       {"p.pdf", "%PDF"}};
  for (const auto& [name, beginning] : beginnings) {
    const std::string picture = temporaryPath(name);
    EXPECT_EQ(kr0({"schema", "draw", libraryEcore(), "-o", picture}).code, 0);
    EXPECT_EQ(readFile(picture).substr(0, 4), beginning);
  }
}

TEST(SchemaDraw, WithoutGraphvizItSaysSo) {
  const std::string folder = freshFolder();
  const Trouble nowhere{.variables = {"PATH=" + folder}};
  const Ended ended = kr0(nowhere, {"schema", "draw", libraryEcore(), "-o", folder + "/p.svg"});
  EXPECT_EQ(ended.code, 2);
  EXPECT_TRUE(isOneLine(ended.err)) << ended.err;
  EXPECT_THAT(ended.err, testing::AllOf(HasSubstr("Graphviz"), HasSubstr(".dot")));
  EXPECT_EQ(filesIn(folder), std::vector<std::string>());
  EXPECT_EQ(kr0(nowhere, {"schema", "draw", libraryEcore(), "-o", folder + "/p.dot"}).code, 0);
}

TEST(SchemaDraw, WhatGraphvizRefusesIsSaid) {
  const std::string folder = freshFolder();
  writeFile(folder + "/dot", "#!/bin/sh\necho 'no fonts here' >&2\nexit 1\n");
  EXPECT_EQ(bash("chmod +x \"$1/dot\"", {folder}).code, 0);
  const Ended ended = kr0({.variables = {"PATH=" + folder + ":/usr/bin:/bin"}},
                          {"schema", "draw", libraryEcore(), "-o", folder + "/p.svg"});
  EXPECT_EQ(ended.code, 1);
  EXPECT_EQ(ended.err, "kr0: dot cannot draw this: no fonts here\n");
  EXPECT_EQ(filesIn(folder), std::vector<std::string>{"dot"});
}

TEST(SchemaDraw, OnePackageAloneNamesWhatItUsesOfOthers) {
  const std::string shop = ecoreWith(
      "shop",
      "<eClassifiers xsi:type=\"ecore:EClass\" name=\"Copy\" eSuperTypes=\"library.ecore#//Book\">\n"
      "<eStructuralFeatures xsi:type=\"ecore:EReference\" name=\"owner\" eType=\"ecore:EClass "
      "library.ecore#//Member\"/>\n"
      "</eClassifiers>\n");
  const std::string library = temporaryPath("library.ecore");
  writeFile(library, readFile(libraryEcore()));
  const std::string both = diagramOf({shop, library});
  EXPECT_TRUE(linesOf(both).contains(
      "Copy -> Member: dir=both, arrowtail=none, arrowhead=vee, headlabel=<owner 0..1>"));
  EXPECT_TRUE(linesOf(both).contains("Book -> Copy: dir=back, arrowtail=empty"));
  for (const char* const name : {"shop", "urn:shop"}) {
    const std::string one = diagramOf({shop, library, "--package", name});
    EXPECT_EQ(linesOf(one), std::set<std::string>());
    EXPECT_THAT(one, HasSubstr("<B>Copy</B><BR/>is a library.Book</TD>"));
    EXPECT_THAT(one, HasSubstr("owner: library.Member [0..1]<BR"));
    EXPECT_THAT(one, Not(HasSubstr("Genre")));
  }
  const Ended wrong =
      kr0({"schema", "draw", shop, library, "--package", "store", "-o", temporaryPath("x.dot")});
  EXPECT_EQ(wrong.code, 2);
  EXPECT_EQ(wrong.err, "kr0: there is no package \"store\", but shop, library\n");
}

TEST(SchemaDraw, OtherEndingsAreRefused) {
  const Ended ended = kr0({"schema", "draw", libraryEcore(), "-o", "picture.jpg"});
  EXPECT_EQ(ended.code, 2);
  EXPECT_THAT(ended.err, HasSubstr(".svg, .pdf, .png or .dot"));
}

}  // namespace kr::zero::test::drawing
