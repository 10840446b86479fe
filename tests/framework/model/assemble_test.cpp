#include "kr/zero/Assemble.h"

#include <gtest/gtest.h>

#include "framework/io/LibraryModel.h"
#include "kr/zero/ElementPath.h"

namespace kr::zero {
namespace {

using test::errorOf;

class AssembleTest : public ::testing::Test, protected test::LibraryFixture {
 protected:
  Element library = model.createRoot("library.Library");
  Element author = library.create("authors");
  Element first = named("first");
  Element second = named("second");
  Model other{*registry};

  Element named(const char* name) {
    Element book = library.create("books");
    book.set("name", name);
    return book;
  }
  static std::string textsOf(ConstElement element, const char* property) {
    const auto texts = element.getUnresolved(property);
    if (!texts) return "none";
    return texts->targetType + " " + texts->id1 + " " + texts->id2 + " in " +
           texts->qualifier.value_or("no document");
  }
};

TEST_F(AssembleTest, JoinedModelsHaveTheRootsOfAll) {
  other.createRoot("library.Book").set("name", "third");
  const JoinedModels joined = joinModels({{&model, "a"}, {&other, "b"}, {&other, "c"}});
  ASSERT_EQ(joined.model.roots().size(), 3u);
  EXPECT_EQ(joined.model.size(), 6u);
  EXPECT_EQ(joined.model.roots()[1].getText("name"), "third");
  EXPECT_EQ(joined.resolved, 0u);
}

TEST_F(AssembleTest, AReferenceMeansAnElementOfAnotherModelByItsIdentity) {
  second.setIdentity("isbn", "2");
  Element here = other.createRoot("library.Book");
  here.putUnresolved("sequel", {"library.Book", "isbn", "2", {}});
  Element author2 = other.createRoot("library.Author");
  author2.putUnresolved("books", {"library.Book", "isbn", "404", {}});
  author2.putReference("books", here);
  author2.putUnresolved("books", {"library.Book", "isbn", "2", "a"});
  author2.putUnresolved("bestBook", {"library.Book", "isbn", "2", "elsewhere"});
  const JoinedModels joined = joinModels({{&other, "b"}, {&model, "a"}});
  EXPECT_EQ(joined.resolved, 2u);
  EXPECT_EQ(joined.model.roots()[0].getReference("sequel").getText("name"), "second");
  const ConstElement writer = joined.model.roots()[1];
  EXPECT_EQ(writer.getUnresolved("books", 0)->id2, "404");
  EXPECT_EQ(writer.getReference("books", 1), ConstElement(joined.model.roots()[0]));
  EXPECT_EQ(writer.getReference("books", 2).getText("name"), "second");
  EXPECT_EQ(writer.getUnresolved("bestBook")->qualifier, "elsewhere");
}

TEST_F(AssembleTest, AReferenceThatNamesAnotherClassOrDoesNotFitStaysUnresolved) {
  author.setIdentity("x", "1");
  Element here = other.createRoot("library.Book");
  here.putUnresolved("sequel", {"library.Author", "x", "1", {}});
  here.putUnresolved("authors", {"library.Book", "x", "1", {}});
  EXPECT_EQ(joinModels({{&model, "a"}, {&other, "b"}}).resolved, 0u);
}

TEST_F(AssembleTest, OneIdentityInTwoModelsIsRefusedOrDropped) {
  first.setIdentity("isbn", "1");
  Element twin = other.createRoot("library.Book");
  twin.setIdentity("isbn", "1");
  twin.setReference("sequel", twin);
  EXPECT_EQ(errorOf<ModelError>([&] {
              joinModels({{&model, "a.krb"}, {&other, "b.krb"}});
            }),
            "b.krb: the identity \"isbn\", \"1\" is that of an element of the documents before it, too");
  const JoinedModels joined = joinModels({{&model, "a.krb"}, {&other, "b.krb"}}, {.dropClashes = true});
  EXPECT_EQ(joined.dropped, 1u);
  const ConstElement copy = joined.model.roots()[1];
  EXPECT_FALSE(copy.getIdentity());
  EXPECT_EQ(copy.getReference("sequel"), copy);
}

TEST_F(AssembleTest, OnlyModelsOfOneRegistryAreJoined) {
  const auto elsewhere = test::makeLibraryRegistry();
  const Model foreign(*elsewhere);
  EXPECT_EQ(errorOf<ModelError>([&] {
              joinModels({{&model, ""}, {&foreign, ""}});
            }),
            "an element can only be copied between models of one registry");
  EXPECT_EQ(errorOf<ModelError>([&] { joinModels({}); }), "there is nothing to be joined");
}

TEST_F(AssembleTest, ReferencesThatLeaveAnExtractNameTheirTarget) {
  first.setReference("sequel", second);
  second.setIdentity("isbn", "2");
  author.addReference("books", first);
  const Model part = extractElements(model, {first}, {.document = "library.krb"});
  ASSERT_EQ(part.size(), 1u);
  const ConstElement copy = part.roots()[0];
  EXPECT_EQ(textsOf(copy, "sequel"), "library.Book isbn 2 in library.krb");
  EXPECT_EQ(textsOf(copy, "authors"), "library.Author path /library/authors[0] in library.krb");
  const Model nameless = extractElements(model, {first});
  EXPECT_EQ(textsOf(nameless.roots()[0], "sequel"), "library.Book isbn 2 in no document");
}

TEST_F(AssembleTest, TargetsAreTakenAlongAsFarAsReferencesLead) {
  author.addReference("books", first);
  first.setReference("sequel", second);
  Element volume = second.create("volumes");
  volume.setReference("sequel", named("third"));
  named("nobody's");
  const Model part = extractElements(model, {first}, {.withReferences = true});
  std::string roots;
  for (const ConstElement root : part.roots())
    roots += root.getClass()->name() + (root.isSet("name") ? " " + root.getTextForm("name") : "") + ", ";
  EXPECT_EQ(roots, "Book first, Author, Book second, Book third, ");
  EXPECT_EQ(part.roots()[0].getReference("sequel"), part.roots()[2]);
  EXPECT_EQ(part.roots()[2].getElement("volumes").getReference("sequel"), part.roots()[3]);
}

TEST_F(AssembleTest, AnElementBelowAnotherOneStaysThere) {
  const Model part = extractElements(model, {first, library, first});
  EXPECT_EQ(findDifference(part, model), std::nullopt);
  Element volume = first.create("volumes");
  volume.setReference("bestOf", author);
  author.putReference("bestBook", first);  // what is taken along is around what was asked for
  const Model whole = extractElements(model, {volume}, {.withReferences = true});
  ASSERT_EQ(whole.roots().size(), 2u);
  EXPECT_EQ(whole.roots()[1].getElement("volumes").getReference("bestOf"), whole.roots()[0]);
}

TEST_F(AssembleTest, AnExtractJoinedAgainIsWhole) {
  first.setReference("sequel", second);
  author.addReference("books", first);
  const Model part = extractElements(model, {first}, {.document = "rest"});
  model.remove(first);  // and "/library/authors[0]" is still there
  const JoinedModels joined = joinModels({{&model, "rest"}, {&part, "part"}});
  EXPECT_EQ(joined.resolved, 1u);
  EXPECT_EQ(joined.model.roots()[1].getReference("authors"),
            findElement(joined.model, "/library[0]/authors[0]"));
}

TEST_F(AssembleTest, OnlyElementsOfTheModelAreExtracted) {
  EXPECT_EQ(errorOf<ModelError>([&] { extractElements(model, {other.createRoot("library.Book")}); }),
            "only elements of the model can be taken out of it");
  EXPECT_EQ(errorOf<ModelError>([&] { extractElements(model, {first.create("preface")}); }),
            "a datatype value cannot stand at the top of a model");
}

}  // namespace
}  // namespace kr::zero
