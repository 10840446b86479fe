// Numbers that are written into .ecore files, and stay.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "EcoreTesting.h"
#include "support/Paths.h"

namespace kr::zero::test {
namespace {

using ecore::EcoreFile;
using testing::HasSubstr;
using Numbers = std::map<std::string, std::uint32_t>;

/// Files in memory with what a registry makes of them.
struct Loaded {
  std::unique_ptr<meta::MetaRegistry> registry = std::make_unique<meta::MetaRegistry>();
  std::shared_ptr<const ecore::Mapping> mapping;

  explicit Loaded(const std::vector<EcoreFile>& files) : mapping(ecore::loadEcoreFiles(files, *registry)) {}

  /// Of all stored properties, by qualified name.
  Numbers numbers() const {
    Numbers numbers;
    for (const meta::PackageInfo& package : registry->getPackages())
      for (const meta::Type type : package.types)
        if (const meta::StructuredType structured(type); structured)
          for (const meta::Property property : structured->getOwnedAttributes())
            if (property->isWritten())
              numbers[package.uri + '#' + type->name() + '.' + property->name()] = property->getIdentifier();
    return numbers;
  }
  std::vector<EcoreFile> pinned() const { return ecore::pinMetaModels(*mapping); }
};

std::string text(const std::string& name) {
  return "    <eStructuralFeatures xsi:type=\"ecore:EAttribute\" name=\"" + name + "\" " +
         ecoreType("EString") + "/>\n";
}

std::string cls(const std::string& name, const std::string& contents, const std::string& supertypes = {}) {
  const std::string inherits = supertypes.empty() ? "" : " eSuperTypes=\"" + supertypes + '"';
  return "  <eClassifiers xsi:type=\"ecore:EClass\" name=\"" + name + '"' + inherits + ">\n" + contents +
         "  </eClassifiers>\n";
}

std::string booksText(const std::string& classes) {
  return packageText("books", "urn:books", '\n' + classes);
}

std::string pin(const std::string& document) {
  return Loaded({{"books.ecore", document}}).pinned().front().text;
}

std::uint32_t numberOf(const std::string& document, const std::string& property) {
  return Loaded({{"books.ecore", document}}).numbers().at("urn:books#" + property);
}

/// A document without the feature of that name, pinned or not.
std::string without(std::string document, const std::string& feature) {
  const std::string start = "    <eStructuralFeatures xsi:type=\"ecore:EAttribute\" name=\"" + feature + '"';
  const std::string end = "    </eStructuralFeatures>\n";
  const std::size_t from = document.find(start);
  const std::size_t to = document.find(end, from);
  if (from == std::string::npos || to == std::string::npos) throw std::logic_error("no feature " + feature);
  return document.erase(from, to + end.size() - from);
}

/// A document with something more before the end of the class of that name.
std::string with(std::string document, const std::string& className, const std::string& more) {
  const std::size_t from = document.find("<eClassifiers xsi:type=\"ecore:EClass\" name=\"" + className + '"');
  const std::size_t place = document.find("  </eClassifiers>", from);
  if (from == std::string::npos || place == std::string::npos)
    throw std::logic_error("no class " + className);
  return document.insert(place, more);
}

std::string refusalOfPinning(const std::string& document) {
  try {
    pin(document);
  } catch (const Error& error) {
    return error.what();
  }
  return "";
}

}  // namespace

TEST(Pins, NumbersAndTheHighestOfAClassAreAnnotated) {
  EXPECT_EQ(pin(booksText(cls("Book", text("title") + text("isbn")))),
            booksText(cls("Book",
                          "    <eAnnotations source=\"urn:kr0:binary\">\n"
                          "      <details key=\"lastId\" value=\"2\"/>\n"
                          "    </eAnnotations>\n"
                          "    <eStructuralFeatures xsi:type=\"ecore:EAttribute\" name=\"title\" " +
                              ecoreType("EString") +
                              ">\n"
                              "      <eAnnotations source=\"urn:kr0:binary\">\n"
                              "        <details key=\"id\" value=\"1\"/>\n"
                              "      </eAnnotations>\n"
                              "    </eStructuralFeatures>\n"
                              "    <eStructuralFeatures xsi:type=\"ecore:EAttribute\" name=\"isbn\" " +
                              ecoreType("EString") +
                              ">\n"
                              "      <eAnnotations source=\"urn:kr0:binary\">\n"
                              "        <details key=\"id\" value=\"2\"/>\n"
                              "      </eAnnotations>\n"
                              "    </eStructuralFeatures>\n")));
}

TEST(Pins, PinningTwiceChangesNothing) {
  const std::string once = pin(booksText(cls("Book", text("title")) + cls("Atlas", text("maps"), "#//Book")));
  EXPECT_EQ(pin(once), once);
}

TEST(Pins, ElementsAndAttributesWithAPrefixArePinnedToo) {
  const std::string prefixed = booksText(
      "  <ecore:eClassifiers xsi:type=\"ecore:EClass\" ecore:name=\"Book\">\n"
      "    <ecore:eStructuralFeatures xsi:type=\"ecore:EAttribute\" ecore:name=\"title\" " +
      ecoreType("EString") + "/>\n  </ecore:eClassifiers>\n");
  const std::string once = pin(prefixed);
  EXPECT_THAT(once, HasSubstr("<details key=\"id\" value=\"1\"/>"));
  EXPECT_THAT(once, HasSubstr("</ecore:eStructuralFeatures>"));
  EXPECT_THAT(once, HasSubstr("<details key=\"lastId\" value=\"1\"/>"));
  EXPECT_EQ(pin(once), once);
}

TEST(Pins, AnAnnotationOfOursWithoutNumberIsNoPin) {
  const std::string annotated =
      booksText(cls("Book", "    <eStructuralFeatures xsi:type=\"ecore:EAttribute\" name=\"title\" " +
                                ecoreType("EString") +
                                "><eAnnotations source=\"urn:kr0:binary\"/></eStructuralFeatures>\n"));
  EXPECT_THAT(pin(annotated), HasSubstr("<details key=\"id\" value=\"1\"/>"));
}

TEST(Pins, ANewFeatureNeverGetsTheNumberOfARemovedOne) {
  std::string books = pin(booksText(cls("Book", text("title") + text("isbn"))));
  books = with(without(books, "isbn"), "Book", text("pages"));
  ASSERT_EQ(numberOf(books, "Book.pages"), 2u) << "the registry alone takes the smallest free number";
  books = pin(books);
  EXPECT_EQ(numberOf(books, "Book.title"), 1u);
  EXPECT_EQ(numberOf(books, "Book.pages"), 3u);
  EXPECT_THAT(books, HasSubstr("<details key=\"lastId\" value=\"3\"/>"));
}

TEST(Pins, ALastNumberStaysWhenItsFeatureGoes) {
  std::string books = pin(booksText(cls("Book", text("title") + text("isbn"))));
  books = pin(without(books, "isbn"));
  EXPECT_THAT(books, HasSubstr("<details key=\"lastId\" value=\"2\"/>"));
  EXPECT_EQ(numberOf(pin(with(books, "Book", text("pages"))), "Book.pages"), 3u);
}

TEST(Pins, ANewFeatureOfASubclassAvoidsRemovedOnesOfItsSupertypes) {
  std::string books =
      pin(booksText(cls("Named", text("name") + text("label")) + cls("Book", "", "#//Named")));
  books = pin(with(without(books, "label"), "Book", text("isbn")));
  EXPECT_EQ(numberOf(books, "Book.isbn"), 3u);
}

TEST(Pins, ANewFeatureOfASupertypeAvoidsRemovedOnesOfItsSubclassesAndOfTheirOtherSupertypes) {
  std::string books =
      pin(booksText(cls("Named", "") + cls("Dated", text("from") + text("to") + text("born")) +
                    cls("Book", text("title"), "#//Named #//Dated")));
  ASSERT_EQ(numberOf(books, "Book.title"), 4u);
  books = pin(with(without(without(books, "born"), "title"), "Named", text("name")));
  EXPECT_EQ(numberOf(books, "Named.name"), 5u);
}

TEST(Pins, ANumberOfASupertypeThatIsGoneIsNotUsedAgain) {
  std::string books =
      pin(booksText(cls("Named", text("name") + text("label")) + cls("Book", "", "#//Named")));
  const std::size_t named = books.find("  <eClassifiers");
  books.erase(named, books.find("  <eClassifiers", named + 1) - named);
  books.replace(books.find(" eSuperTypes=\"#//Named\""), std::string(" eSuperTypes=\"#//Named\"").size(), "");
  EXPECT_EQ(numberOf(pin(with(books, "Book", text("isbn"))), "Book.isbn"), 3u);
}

TEST(Pins, SeveralNewFeaturesGetNumbersOfTheirOwn) {
  std::string books = pin(booksText(cls("Named", text("name") + text("label")) + cls("Dated", "") +
                                    cls("Book", text("title"), "#//Named #//Dated")));
  books = without(without(books, "label"), "title");
  books = with(with(with(books, "Named", text("a")), "Dated", text("b")), "Book", text("c") + text("d"));
  const Numbers numbers = Loaded({{"books.ecore", pin(books)}}).numbers();
  std::set<std::uint32_t> given;
  for (const char* name : {"Named.a", "Dated.b", "Book.c", "Book.d"}) {
    const std::uint32_t number = numbers.at(std::string("urn:books#") + name);
    EXPECT_GT(number, 3u) << name;
    EXPECT_TRUE(given.insert(number).second) << name;
  }
}

TEST(Pins, HierarchiesInSeveralFilesArePinnedTogether) {
  const auto base = [](const std::string& features) {
    return EcoreFile{"base.ecore", packageText("base", "urn:base", '\n' + cls("Named", features))};
  };
  const EcoreFile books{"books.ecore", booksText(cls("Book", "", "base.ecore#//Named"))};
  std::vector<EcoreFile> files = Loaded({base(text("name") + text("label")), books}).pinned();
  ASSERT_EQ(files.size(), 2u);
  EXPECT_EQ(files[0].name, "base.ecore");
  files[0].text = without(files[0].text, "label");
  files[1].text = with(files[1].text, "Book", text("isbn"));
  EXPECT_EQ(Loaded(Loaded(files).pinned()).numbers().at("urn:books#Book.isbn"), 3u);
}

TEST(Pins, WhatIsNotANumberIsKeptToTheBlank) {
  const std::string operation =
      "    <!-- a > b -->\n    <eOperations name='print'   eType=\"#//Book\"/>\n"
      "    <eAnnotations source=\"urn:other\"><details key=\"id\" value=\"7\"/></eAnnotations>\n";
  const std::string books = booksText(cls("Book", operation + text("title")));
  const std::string pinned = pin(books);
  EXPECT_THAT(pinned, HasSubstr(operation.substr(operation.find("    <eOperations"))));
  EXPECT_EQ(numberOf(pinned, "Book.title"), 1u);
  EXPECT_THAT(pinned, HasSubstr("<details key=\"lastId\" value=\"1\"/>"));
}

TEST(Pins, ALastNumberIsReplacedWhereverItStandsInItsTag) {
  const std::string last = "<details value = '1' key='lastId'  />";
  const std::string books =
      booksText(cls("Book", "    <eAnnotations source='urn:kr0:binary'>" + last + "</eAnnotations>\n"));
  EXPECT_EQ(pin(books), books);
  const std::string pinned = pin(with(books, "Book", text("isbn")));
  EXPECT_EQ(numberOf(pinned, "Book.isbn"), 2u);
  EXPECT_THAT(pinned, HasSubstr("<details value = '2' key='lastId'  />"));
}

TEST(Pins, NoNumberAboveTheHighestIsGivenAndTheClassIsNamed) {
  const std::string last =
      "    <eAnnotations source=\"urn:kr0:binary\"><details key=\"lastId\" "
      "value=\"16382\"/></eAnnotations>\n";
  EXPECT_EQ(refusalOfPinning(booksText(cls("Book", last + text("title")))),
            "class books.Book: no number is left for property \"title\": some class that it meets has had "
            "one up to "
            "16382");
}

TEST(Pins, ALastNumberThatIsNoneIsRefusedWithItsLine) {
  for (const char* value : {"0", "16383", "-1", "many", ""}) {
    const std::string last = "    <eAnnotations source=\"urn:kr0:binary\"><details key=\"lastId\" value=\"" +
                             std::string(value) + "\"/></eAnnotations>\n";
    const std::string refusal = refusalOfPinning(booksText(cls("Book", last + text("title"))));
    EXPECT_THAT(refusal, HasSubstr("books.ecore, line ")) << value;
    EXPECT_THAT(refusal, HasSubstr("class books.Book: the last number is \"" + std::string(value) +
                                   "\", not a number from 1 to 16382"));
  }
}

TEST(Pins, PackagesOfOneNameAreToldApart) {
  const EcoreFile one{"one.ecore", packageText("p", "urn:one", '\n' + cls("Book", text("title")))};
  const EcoreFile two{"two.ecore",
                      packageText("p", "urn:two", '\n' + cls("Book", text("isbn") + text("title")))};
  const Loaded loaded({one, two});
  EXPECT_EQ(Loaded(loaded.pinned()).numbers(), loaded.numbers());
  EXPECT_EQ(loaded.numbers().at("urn:two#Book.title"), 2u);
}

namespace {

std::vector<std::string> realMetaModels() {
  std::vector<std::string> paths;
  if (!haveModels()) return paths;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(modelsDir()))
    if (entry.path().extension() == ".ecore") paths.push_back(entry.path().string());
  std::sort(paths.begin(), paths.end());
  return paths;
}

/// A file with those that it needs; what is in none of the models' folders stands beside the tests.
std::vector<EcoreFile> withNeeded(const std::string& path) {
  const std::string stubs = sourceDir() + "/tests/cpp/stubs/";
  const std::string ecore = modelsDir() + "/ecore/";
  const std::map<std::string, std::vector<std::string>> needed = {
      {"pcm.ecore", {stubs + "identifier.ecore", stubs + "stoex.ecore", stubs + "Units.ecore"}},
      {"fhir.ecore", {stubs + "xhtml.ecore", ecore + "XMLType.ecore", ecore + "Ecore.ecore"}},
      {"XMLType.ecore", {ecore + "Ecore.ecore"}},
      {"GenModel.ecore", {ecore + "Ecore.ecore"}}};
  std::vector<EcoreFile> files{{path, readFile(path)}};
  const auto found = needed.find(std::filesystem::path(path).filename().string());
  if (found != needed.end())
    for (const std::string& other : found->second) files.push_back({other, readFile(other)});
  return files;
}

}  // namespace

TEST(Pins, RealMetaModelsKeepTheNumbersThatTheyHadBefore) {
  const std::vector<std::string> paths = realMetaModels();
  if (paths.empty()) GTEST_SKIP() << modelsDir() << " is not on this machine";
  for (const std::string& path : paths) {
    const Loaded before(withNeeded(path));
    const std::vector<EcoreFile> pinned = before.pinned();
    const Loaded after(pinned);
    EXPECT_EQ(after.numbers(), before.numbers()) << path;
    EXPECT_FALSE(before.numbers().empty()) << path;
    const std::vector<EcoreFile> again = after.pinned();
    for (std::size_t i = 0; i < pinned.size(); ++i)
      EXPECT_EQ(again[i].text, pinned[i].text) << pinned[i].name;
  }
}

}  // namespace kr::zero::test
