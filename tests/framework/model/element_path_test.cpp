#include <gtest/gtest.h>

#include "framework/io/LibraryModel.h"
#include "kr/zero/ElementPath.h"

namespace kr::zero {
namespace {

class ElementPathTest : public ::testing::Test, protected test::LibraryFixture {
 protected:
  Element library = model.createRoot("library.Library");
  Element moby = titled("Moby Dick");
  Element other = titled("Moby \"the\" \\ Dick");
  Element again = titled("Moby Dick");

  Element titled(const char* name) {
    Element book = library.create("books");
    book.set("name", name);
    return book;
  }
};

TEST_F(ElementPathTest, EveryElementIsFoundByItsPath) {
  other.create("volumes").create("volumes");
  again.create("chapters");
  again.create("preface");
  library.create("treasure");
  const ElementPaths paths(model);
  for (const ConstElement element : std::as_const(model).elements()) {
    const std::string path = paths.of(element);
    EXPECT_EQ(path, element.getPath());
    EXPECT_EQ(path, fullPathOf(element));
    EXPECT_EQ(findElement(model, path), element) << path;
  }
  EXPECT_EQ(findElement(model, "/library/books[2]/chapters[0]"), again.getElement("chapters"));
  EXPECT_EQ(findElement(model, "/library/books[2]/preface"), again.getElement("preface"));
  EXPECT_EQ(findElement(model, "/library/treasure"), library.getElement("treasure"));
  EXPECT_EQ(paths.positionOf(again), 2u);
}

TEST_F(ElementPathTest, OneOfSeveralRootsHasAPosition) {
  const Element author = model.createRoot("library.Author");
  EXPECT_EQ(fullPathOf(author), "/author[1]");
  EXPECT_EQ(findElement(model, "/author[1]"), author);
  EXPECT_EQ(findElement(model, "/library[0]"), library);
  EXPECT_FALSE(findElement(model, "/author[0]"));
}

TEST_F(ElementPathTest, WithoutAPositionTheFirstRootOfAClassIsMeant) {
  const Element author = model.createRoot("library.Author");
  model.createRoot("library.Author");
  EXPECT_EQ(findElement(model, "/author"), author);
  EXPECT_EQ(findElement(model, "/library/books[1]"), other);
}

TEST_F(ElementPathTest, AStepMayAskForAValue) {
  EXPECT_EQ(findElement(model, "/library/books[name=\"Moby Dick\"]"), moby);
  EXPECT_EQ(findElement(model, "/library/books[name=\"Moby Dick\"][1]"), again);
  EXPECT_FALSE(findElement(model, "/library/books[name=\"Moby Dick\"][2]"));
  EXPECT_EQ(findElement(model, "/library/books[name=" + quotedInPath(other.getText("name")) + "]"), other);
  library.set("name", "Riverside");
  EXPECT_EQ(findElement(model, "/library[name=\"Riverside\"]/books[1]"), other);
  EXPECT_FALSE(findElement(model, "/library[name=\"Hillside\"]/books[1]"));
}

TEST_F(ElementPathTest, APathMayBeginWithAnIdentity) {
  moby.setIdentity("isbn", "12 \"3\"");
  const Element volume = moby.create("volumes");
  EXPECT_EQ(findElement(model, R"(id "isbn" "12 \"3\"")"), moby);
  EXPECT_EQ(findElement(model, R"(id "isbn" "12 \"3\""/volumes[0])"), volume);
  EXPECT_FALSE(findElement(model, R"(id "isbn" "4")"));
}

TEST_F(ElementPathTest, WhatIsNoPathLeadsNowhere) {
  for (const char* text :
       {"", "/", "library", "/library/", "/library/books", "/library/books[3]", "/library/books[-1]",
        "/library/books[0", "/library/books[0]x", "/library/books[x=\"", "/library/books[name=\"a\\",
        "/library/name", "/library[1]", "/Library", "id", "id \"a\"", "id \"a\" \"b",
        "/library/books[99999999999999999999]", "/library//books[0]"})
    EXPECT_FALSE(findElement(model, text)) << text;
}

TEST_F(ElementPathTest, APathIsNeverShortened) {
  Element book = moby;
  std::string path = "/library/books[0]";
  for (int i = 0; i < 100; ++i, path += "/volumes[0]") book = book.create("volumes");
  EXPECT_EQ(fullPathOf(book), path);
  EXPECT_EQ(findElement(model, path), book);
}

}  // namespace
}  // namespace kr::zero
