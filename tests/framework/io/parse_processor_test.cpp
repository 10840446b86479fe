#include <gtest/gtest.h>

#include <boost/optional.hpp>

#include "framework/io/LibraryModel.h"
#include "kr/zero/io/ParseProcessor.h"
#include "kr/zero/meta/StandardTypes.h"

namespace kr::zero::io {
namespace {

using test::errorOf;

class ParseProcessorTest : public ::testing::Test {
 protected:
  ParseProcessorTest() { processor.reset(); }

  bool push(const ustring& type, const ustring& id1 = {}, const ustring& id2 = {}) {
    return processor.push(type, id1, id2);
  }
  void refer(const ustring& name, const ustring& type, const ustring& id1, const ustring& id2,
             const boost::optional<ustring>& qualifier = boost::none) {
    processor.getPropertyCategory(name);
    processor.addDeferredReference(type, name, id1, id2, qualifier);
  }
  Element root(std::size_t i = 0) { return builder.getModel().getRoots().at(i); }
  std::string problem() { return processor.getProblems().empty() ? "" : processor.getProblems().front(); }

  std::unique_ptr<meta::MetaRegistry> registry = test::makeLibraryRegistry();
  ParseCustomizer customizer{*registry};
  ParsingModelBuilder builder{false};
  ParseProcessor processor{customizer, builder};
};

TEST_F(ParseProcessorTest, CategoriesAreThoseOfTheReadingSide) {
  ASSERT_TRUE(push(u"library.Book"));
  const auto mask = [&](const ustring& name) { return processor.getPropertyCategory(name).getMask(); };
  EXPECT_EQ(mask(u"name"), 0x001u);
  EXPECT_EQ(mask(u"pages"), 0x001u);
  EXPECT_EQ(mask(u"genre"), 0x001u);
  EXPECT_EQ(mask(u"tags"), 0x100u);
  EXPECT_EQ(mask(u"years"), 0x100u);
  EXPECT_EQ(mask(u"preface"), 0x002u);
  EXPECT_EQ(mask(u"chapters"), 0x200u);
  EXPECT_EQ(mask(u"sequel"), 0x004u);
  EXPECT_EQ(mask(u"authors"), 0x400u);
  EXPECT_EQ(mask(u"volumes"), 0x800u);
  EXPECT_EQ(mask(u"age"), 0u);
}

TEST_F(ParseProcessorTest, AnAnnouncedCollectionIsSetEvenWithoutValues) {
  push(u"library.Book");
  processor.getPropertyCategory(u"tags");
  processor.getPropertyCategory(u"authors");
  processor.getPropertyCategory(u"volumes");
  EXPECT_EQ(root().getState("tags"), PropertyState::empty);
  EXPECT_EQ(root().getState("authors"), PropertyState::empty);
  EXPECT_EQ(root().getState("volumes"), PropertyState::unset);
  EXPECT_EQ(root().getState("years"), PropertyState::unset);
}

TEST_F(ParseProcessorTest, APushGoesIntoThePropertyAnnouncedLast) {
  push(u"library.Library");
  processor.getPropertyCategory(u"books");
  ASSERT_TRUE(push(u"library.Book"));
  processor.pop(u"books");
  processor.pop(u"library.Library");
  EXPECT_EQ(root().size("books"), 1u);
  EXPECT_EQ(processor.getDepth(), 0u);
  ASSERT_TRUE(push(u"library.Book"));
  EXPECT_EQ(builder.getModel().getRoots().size(), 2u);
}

TEST_F(ParseProcessorTest, RefusalsOfAPushHaveAReason) {
  EXPECT_FALSE(push(u"library.Movie"));
  EXPECT_EQ(problem(), "/: there is no type \"library.Movie\" with properties");
  processor.reset();
  EXPECT_FALSE(push(u"library.Named"));
  EXPECT_EQ(problem(), "/: class library.Named is abstract and has no elements");
  processor.reset();
  EXPECT_FALSE(push(u"library.Span"));
  EXPECT_EQ(problem(), "/: type library.Span is not a class");
  processor.reset();
  push(u"library.Library");
  EXPECT_FALSE(push(u"library.Book"));
  EXPECT_EQ(problem(), "/library: an element stands inside another without a property that holds it");
  processor.reset();
  push(u"library.Library");
  processor.getPropertyCategory(u"books");
  EXPECT_FALSE(push(u"library.Author"));
  EXPECT_EQ(problem(),
            "/library.books: an element of type library.Author does not fit a property of type library.Book");
}

TEST_F(ParseProcessorTest, ASinglePropertyIsNotGivenTwice) {
  push(u"library.Library");
  processor.setValue(u"name", u"a");
  EXPECT_EQ(errorOf<ValueError>([&] { processor.setValue(u"name", u"b"); }),
            "/library.name: holds one value and is given a second");
  processor.getPropertyCategory(u"treasure");
  push(u"library.Book");
  processor.pop(u"treasure");
  processor.getPropertyCategory(u"treasure");
  EXPECT_FALSE(push(u"library.Book"));
  EXPECT_EQ(problem(), "/library.treasure: holds one element and is given a second");
}

TEST_F(ParseProcessorTest, ValuesAreCheckedAgainstTheirProperty) {
  push(u"library.Book");
  EXPECT_EQ(errorOf<ValueError>([&] { processor.setValue(u"key", u"12"); }),
            "/book.key: \"12\" is not a UUID");
  EXPECT_EQ(errorOf<ValueError>([&] { processor.setValue(u"titel", u"12"); }),
            "/book: type library.Book has no property \"titel\"");
  EXPECT_EQ(errorOf<ValueError>([&] { processor.setValue(u"name", u"\xD800"); }),
            "/book: a text is not well-formed UTF-16");
  const meta::Type integer = meta::internal::getPrimitiveTypeFromMetaRegistry(u"Integer");
  EXPECT_EQ(errorOf<ValueError>([&] {
              processor.setVerbatimValue(u"pages", Value(ValueMeta(integer, ValueFlags::single), 1));
            }),
            "/book.pages: a value of type Integer does not fit a property of type Integer16");
  const meta::Type genre = registry->findType("library.Genre");
  EXPECT_EQ(errorOf<ValueError>([&] {
              processor.setVerbatimValue(u"genre",
                                         Value(ValueMeta(genre, ValueFlags::single), std::int64_t{3}));
            }),
            "/book.genre: enumeration library.Genre has no literal with the number 3");
}

TEST_F(ParseProcessorTest, ReferencesAreResolvedAtTheEndAndKeepTheirOrder) {
  push(u"library.Author");
  refer(u"books", u"library.Book", u"a", u"2");
  refer(u"books", u"library.Book", u"a", u"missing");
  refer(u"books", u"library.Book", u"#", u"3");
  refer(u"books", u"library.Book", u"a", u"2", ustring(u"other"));
  processor.pop(u"library.Author");
  push(u"library.Book", u"a", u"2");
  processor.pop(u"library.Book");
  push(u"library.Book", u"#", u"3");
  processor.pop(u"library.Book");
  processor.processDeferred();
  EXPECT_EQ(root().getReference("books", 0), root(1));
  EXPECT_EQ(root().getUnresolved("books", 1), (UnresolvedReference{"library.Book", "a", "missing", {}}));
  EXPECT_EQ(root().getReference("books", 2), root(2));
  EXPECT_EQ(root().getUnresolved("books", 3), (UnresolvedReference{"library.Book", "a", "2", "other"}));
  EXPECT_EQ(problem(), "");
}

TEST_F(ParseProcessorTest, ADocumentsOwnIdentitiesAreForgotten) {
  push(u"library.Book", u"#", u"1");
  processor.pop(u"library.Book");
  push(u"library.Book", u"#", u"odd");
  processor.pop(u"library.Book");
  push(u"library.Book", u"#", u"999999999");
  processor.pop(u"library.Book");
  processor.processDeferred();
  for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(root(i).getIdentity(), std::nullopt);
}

TEST_F(ParseProcessorTest, TheyStayWhereTheBuilderKeepsThem) {
  ParsingModelBuilder keeping(true);
  ParseProcessor other(customizer, keeping);
  other.reset();
  ASSERT_TRUE(other.push(u"library.Book", u"#", u"1"));
  other.processDeferred();
  EXPECT_EQ(keeping.getModel().getRoots().front().getIdentity(), (Identity{"#", "1"}));
}

TEST_F(ParseProcessorTest, TwoElementsOfOneIdentityAreRefused) {
  push(u"library.Book", u"a", u"2");
  processor.pop(u"library.Book");
  EXPECT_FALSE(push(u"library.Book", u"a", u"2"));
  EXPECT_EQ(problem(), "/book[1]: has the same identity as /book[0]");
  processor.reset();
  push(u"library.Book", u"#", u"2");
  processor.pop(u"library.Book");
  EXPECT_FALSE(push(u"library.Book", u"#", u"2"));
}

TEST_F(ParseProcessorTest, OneLocalIdentityIsFoundAgainHoweverLateItsTwinComes) {
  push(u"library.Book", u"#", u"1000");  // far beyond the elements so far
  processor.pop(u"library.Book");
  for (int i = 0; i < 2000; ++i) {
    push(u"library.Book");
    processor.pop(u"library.Book");
  }
  EXPECT_FALSE(push(u"library.Book", u"#", u"1000"));
}

TEST_F(ParseProcessorTest, HalfAnIdentityIsRefused) {
  EXPECT_FALSE(push(u"library.Book", u"a", u""));
  EXPECT_EQ(problem(), "/book: one part of the identity is empty");
}

TEST_F(ParseProcessorTest, AReferenceToTheWrongClassIsRefused) {
  push(u"library.Author", u"a", u"1");
  refer(u"books", u"library.Author", u"a", u"1");
  refer(u"books", u"library.Book", u"a", u"1");
  processor.pop(u"library.Author");
  processor.processDeferred();
  ASSERT_EQ(processor.getProblems().size(), 2u);
  EXPECT_EQ(processor.getProblems()[0],
            "/author.books: an element of class library.Author does not fit a property of type library.Book");
  EXPECT_EQ(processor.getProblems()[1],
            "/author.books: says that it refers to a library.Book, but /author is a library.Author");
}

TEST_F(ParseProcessorTest, ManyProblemsAreNotAllWrittenDown) {
  push(u"library.Author", u"a", u"1");
  for (int i = 0; i < 1000; ++i) refer(u"books", u"library.Book", u"a", u"1");
  processor.processDeferred();
  EXPECT_EQ(processor.getProblems().size(), 20u);
}

TEST_F(ParseProcessorTest, AnUnknownPackageIsRefusedWithItsUri) {
  EXPECT_FALSE(customizer.setPackageUris({u"urn:test:library", u"urn:other"}));
  EXPECT_EQ(customizer.getProblem(), "the package \"urn:other\" is not known; give its meta model");
  EXPECT_TRUE(customizer.setPackageUris({u"urn:test:library"}));
  EXPECT_EQ(customizer.getProblem(), "");
}

TEST_F(ParseProcessorTest, AHydratorIsAskedForMissingPackages) {
  meta::MetaRegistry own;
  std::vector<ustring> asked;
  HydratorParseCustomizer hydrator(own, [&](const ustring& uri) {
    asked.push_back(uri);
    if (uri == u"urn:late") meta::MetaModelBuilder("urn:late", "late").registerIn(own);
  });
  EXPECT_TRUE(hydrator.setPackageUris({u"urn:late"}));
  EXPECT_FALSE(hydrator.setPackageUris({u"urn:late", u"urn:never"}));
  EXPECT_EQ(asked, (std::vector<ustring>{u"urn:late", u"urn:never"}));
}

}  // namespace
}  // namespace kr::zero::io
