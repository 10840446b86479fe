// Fingerprints: another program can compute them by the page, and they tell what matters and nothing else.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kr0/kr0.h>

#include <functional>

#include "archive/ArchiveTesting.h"
#include "support/Paths.h"

namespace kr::zero::test {

namespace {

using archive::fingerprintOf;
using meta::MetaModelBuilder;
using meta::MetaRegistry;

constexpr const char* kUri = "urn:shelf";

/// What the page's example is made of.
void makeShelf(MetaModelBuilder& shelf) {
  shelf.enumeration("Genre").literal("novel", 0).literal("poetry", 1);
  auto& book = shelf.classType("Book");
  book.property("title", "String").required().id(1);
  book.property("genre", "Genre").id(2);
}

std::string fingerprint(const std::function<void(MetaModelBuilder&)>& make) {
  MetaRegistry registry;
  MetaModelBuilder shelf(kUri, "shelf");
  make(shelf);
  shelf.registerIn(registry);
  return fingerprintOf(registry, kUri);
}

/// A list as the page has it: how many, and each with its length. The caller sorts.
std::string listed(const std::vector<std::string>& items) {
  std::string text = std::to_string(items.size()) + ";";
  for (const std::string& item : items) text += std::to_string(item.size()) + ":" + item;
  return text;
}

std::string formatPage() { return readFile(sourceDir() + "/docs/formats/archive.md"); }

}  // namespace

TEST(Fingerprint, IsTheOneOfThePage) {
  // Written out by the page's rules, without the code that makes them.
  const std::string genre = "5:Genre4:enum" + listed({"0;5:novel5:novel", "1;6:poetry6:poetry"});
  const std::string title = "1;5:title0:6:String1;1;0;1;1;0;0;0;0:";
  const std::string kind = "2;5:genre9:urn:shelf11:shelf.Genre0;1;0;1;1;0;0;0;0:";
  const std::string book = "4:Book5:class0;" + listed({title, kind});
  const std::string text = "9:urn:shelf5:shelf" + listed({book, genre});
  EXPECT_EQ(fingerprint(makeShelf), digitsOf(text));
  std::string onPage = formatPage();
  std::erase(onPage, '\n');
  std::erase(onPage, ' ');
  std::string expected = text;
  std::erase(expected, ' ');
  EXPECT_THAT(onPage, testing::HasSubstr(expected));
  EXPECT_THAT(onPage, testing::HasSubstr(digitsOf(text)));
}

TEST(Fingerprint, IsAnotherWithEverythingThatMatters) {
  const std::vector<std::function<void(MetaModelBuilder&)>> changes = {
      [](auto& shelf) { shelf.classType("Other"); },
      [](auto& shelf) { shelf.primitive("Other"); },
      [](auto& shelf) { shelf.enumeration("Other").literal("a", 0); },
  };
  std::set<std::string> all = {fingerprint(makeShelf)};
  for (const auto& change : changes)
    all.insert(fingerprint([&](MetaModelBuilder& shelf) {
      makeShelf(shelf);
      change(shelf);
    }));
  using Change = std::function<void(meta::TypeBuilder&)>;
  const std::vector<Change> books = {
      [](auto& book) { book.property("name", "String").required().id(1); },
      [](auto& book) { book.property("title", "Integer").required().id(1); },
      [](auto& book) { book.property("title", "String").required().id(7); },
      [](auto& book) { book.property("title", "String").id(1); },
      [](auto& book) { book.property("title", "String").required().many().id(1); },
      [](auto& book) { book.property("title", "String").many().unordered().id(1); },
      [](auto& book) { book.property("title", "String").many().nonUnique().id(1); },
      [](auto& book) { book.property("title", "String").many().id(1); },
      [](auto& book) { book.property("title", "Book").id(1); },
      [](auto& book) { book.property("title", "Book").composite().id(1); },
      [](auto& book) { book.property("title", "String").derived(); },
      [](auto& book) { book.property("title", "String").isStatic(); },
      [](auto& book) { book.property("title", "String").isTransient(); },
  };
  for (const Change& change : books)
    all.insert(fingerprint([&](MetaModelBuilder& shelf) { change(shelf.classType("Book")); }));
  EXPECT_EQ(all.size(), 1 + changes.size() + books.size());
}

TEST(Fingerprint, IsTheSameInAnotherOrder) {
  EXPECT_EQ(fingerprint(makeShelf), fingerprint([](MetaModelBuilder& shelf) {
              auto& book = shelf.classType("Book");
              book.property("genre", "Genre").id(2);
              book.property("title", "String").required().id(1);
              shelf.enumeration("Genre").literal("poetry", 1).literal("novel", 0);
            }));
}

TEST(Fingerprint, IsTheSameWithOtherDocumentationAndLayout) {
  const std::string file = sourceDir() + "/examples/library/library.ecore";
  const std::string uri = "http://www.example.org/library";
  std::string text = readFile(file);
  MetaRegistry plain;
  ecore::loadEcoreFiles({{"library.ecore", text}}, plain);
  const std::size_t at = text.find("<eClassifiers");
  text.insert(
      at,
      "<!-- another comment -->\n\n   <eAnnotations source=\"http://www.eclipse.org/emf/2002/GenModel\">"
      "<details key=\"documentation\" value=\"what it is\"/></eAnnotations>\n\t");
  MetaRegistry documented;
  ecore::loadEcoreFiles({{"other.ecore", text}}, documented);
  EXPECT_EQ(fingerprintOf(plain, uri), fingerprintOf(documented, uri));
}

// Documents name what is built in by these, so they may never change.
TEST(Fingerprint, OfWhatIsBuiltInIsThatOfThePage) {
  const std::string page = formatPage();
  std::size_t versions = 0;
  for (const char* uri : {"http://www.eclipse.org/emf/2002/Ecore", "http://www.eclipse.org/emf/2003/XMLType",
                          "http://www.w3.org/XML/1998/namespace"})
    for (const meta::PackageDefinition& definition : ecore::builtInVersionsOf(uri)) {
      MetaRegistry registry;
      registry.add(definition);
      EXPECT_THAT(page, testing::ContainsRegex("`" + std::string(uri) + "` \\| .* \\| `" +
                                               fingerprintOf(registry, uri)));
      ++versions;
    }
  EXPECT_EQ(versions, 4u);
}

TEST(Fingerprint, OfAPackageThatIsNotThereIsMisuse) {
  EXPECT_EQ(refusalOf([] { fingerprintOf(MetaRegistry(), "urn:none"); }),
            "misuse: there is no package with the URI \"urn:none\"");
}

}  // namespace kr::zero::test
