// References of a document: they wait in the model until all of it was read.
#include <gtest/gtest.h>

#include <boost/optional.hpp>
#include <string>

#include "framework/io/LibraryModel.h"
#include "kr/zero/io/BinarySerializer.h"
#include "kr/zero/io/ParseProcessor.h"

namespace kr::zero::io {
namespace {

using test::errorOf;

ustring wide(std::size_t number) { return toUstring(std::to_string(number)); }

/// A registry of classes "t.C0", "t.C1" …; each has properties "to0", "to1" … that refer to any of them, a
/// list "all" of such references, and a list "ranges" of datatype values.
std::unique_ptr<meta::MetaRegistry> makeClasses(std::size_t classes, std::size_t singles) {
  meta::MetaModelBuilder package("urn:test:t", "t");
  package.datatype("Range").property("first", "Integer");
  auto& base = package.classType("Base").abstractType();
  for (std::size_t i = 0; i < singles; ++i) base.property("to" + std::to_string(i), "Base");
  base.property("all", "Base").many();
  base.property("ranges", "Range").many();
  for (std::size_t i = 0; i < classes; ++i) package.classType("C" + std::to_string(i)).supertype("Base");
  auto registry = std::make_unique<meta::MetaRegistry>();
  package.registerIn(*registry);
  return registry;
}

/// Reads what the test says into a model.
class Reading {
 public:
  explicit Reading(std::unique_ptr<meta::MetaRegistry> of) : registry(std::move(of)) { processor.reset(); }

  void open(const ustring& type, const ustring& id1 = {}, const ustring& id2 = {}) {
    ASSERT_TRUE(processor.push(type, id1, id2));
  }
  void close() { processor.pop({}); }
  void element(const ustring& type, const ustring& id1, const ustring& id2) {
    open(type, id1, id2);
    close();
  }
  void refer(const ustring& property, const ustring& type, const ustring& id1, const ustring& id2,
             const boost::optional<ustring>& qualifier = boost::none) {
    processor.getPropertyCategory(property);
    processor.addDeferredReference(type, property, id1, id2, qualifier);
  }
  Model& model() { return builder.getModel(); }
  Element root(std::size_t i) { return model().getRoots().at(i); }

  std::unique_ptr<meta::MetaRegistry> registry;
  ParseCustomizer customizer{*registry};
  ParsingModelBuilder builder{false};
  ParseProcessor processor{customizer, builder};
};

class WaitingReferences : public ::testing::Test {
 protected:
  Reading library{test::makeLibraryRegistry()};
};

TEST_F(WaitingReferences, HaveNoTargetAndNoTextsWhereReadingFailed) {
  library.element(u"library.Book", u"#", u"1");
  library.open(u"library.Author");
  library.refer(u"bestBook", u"library.Book", u"#", u"1");
  library.refer(u"books", u"library.Book", u"#", u"1");
  library.refer(u"books", u"library.Book", u"a", u"2");
  const Element author = library.root(1);
  EXPECT_EQ(author.getState("bestBook"), PropertyState::value);
  EXPECT_FALSE(author.getReference("bestBook"));
  EXPECT_EQ(author.getUnresolved("bestBook"), std::nullopt);
  ASSERT_EQ(author.size("books"), 2u);
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_FALSE(author.getReference("books", i));
    EXPECT_EQ(author.getUnresolved("books", i), std::nullopt);
  }
}

TEST_F(WaitingReferences, AreNotWritten) {
  library.open(u"library.Author", u"a", u"1");
  library.refer(u"books", u"library.Author", u"a", u"1");
  std::vector<std::uint8_t> bytes;
  EXPECT_EQ(errorOf<SerializeError>([&] {
              BinarySerializer().serialize(library.model(), SerializationOutput::toByteSequence(bytes));
            }),
            "/author.books: the reference was never resolved");
}

TEST_F(WaitingReferences, CanBeReplaced) {
  library.element(u"library.Book", u"#", u"1");
  library.open(u"library.Author");
  library.refer(u"bestBook", u"library.Book", u"#", u"9");
  library.root(1).setReference("bestBook", library.root(0));
  EXPECT_EQ(library.root(1).getReference("bestBook"), library.root(0));
  library.processor.processDeferred();
  EXPECT_EQ(library.root(1).getReference("bestBook"), library.root(0));
}

TEST_F(WaitingReferences, KeepTheTextsOfASingleTargetThatIsMissing) {
  const auto read = [&](const ustring& id1, const ustring& id2, const boost::optional<ustring>& qualifier) {
    library.open(u"library.Author");
    library.refer(u"bestBook", u"library.Book", id1, id2, qualifier);
    library.close();
  };
  read(u"#", u"12", boost::none);
  read(u"a", u"12", boost::none);
  read(u"a", u"12", ustring(u"other"));
  read(u"#", u"12", ustring(u"other"));
  library.processor.processDeferred();
  const auto unresolved = [&](std::size_t i) { return library.root(i).getUnresolved("bestBook"); };
  EXPECT_EQ(unresolved(0), (UnresolvedReference{"library.Book", "#", "12", {}}));
  EXPECT_EQ(unresolved(1), (UnresolvedReference{"library.Book", "a", "12", {}}));
  EXPECT_EQ(unresolved(2), (UnresolvedReference{"library.Book", "a", "12", "other"}));
  EXPECT_EQ(unresolved(3), (UnresolvedReference{"library.Book", "#", "12", "other"}));
}

TEST_F(WaitingReferences, ASecondOneInASinglePropertyIsRefused) {
  library.element(u"library.Book", u"#", u"1");
  library.open(u"library.Author");
  library.refer(u"bestBook", u"library.Book", u"#", u"1");
  EXPECT_EQ(errorOf<ValueError>([&] { library.refer(u"bestBook", u"library.Book", u"#", u"2"); }),
            "/author[1].bestBook: holds one value and is given a second");
  library.processor.processDeferred();
  EXPECT_EQ(library.root(1).getReference("bestBook"), library.root(0));
}

TEST_F(WaitingReferences, LeadToTheirTargetsHoweverLongTheListGrows) {
  constexpr std::size_t count = 3000;
  library.open(u"library.Author");
  for (std::size_t i = 0; i < count; ++i)
    library.refer(u"books", u"library.Book", i % 2 == 0 ? u"#" : u"a", wide(i + 1));
  library.close();
  for (std::size_t i = 0; i < count; ++i)
    library.element(u"library.Book", i % 2 == 0 ? u"#" : u"a", wide(i + 1));
  library.processor.processDeferred();
  for (std::size_t i = 0; i < count; ++i)
    ASSERT_EQ(library.root(0).getReference("books", i), library.root(i + 1)) << i;
}

TEST_F(WaitingReferences, AreResolvedInEveryOneOfManyElements) {
  constexpr std::size_t count = 1000;
  for (std::size_t i = 0; i < count; ++i) {
    library.open(u"library.Book", u"#", wide(i + 1));
    if (i % 3 != 0) library.refer(u"sequel", u"library.Book", u"#", wide((i * 7 + 1) % count + 1));
    library.close();
  }
  library.processor.processDeferred();
  for (std::size_t i = 0; i < count; ++i)
    ASSERT_EQ(library.root(i).getReference("sequel"),
              i % 3 != 0 ? library.root((i * 7 + 1) % count) : Element())
        << i;
}

TEST_F(WaitingReferences, FindNumbersThatDoNotFollowTheOrderOfTheElements) {
  constexpr std::size_t count = 2500;
  library.open(u"library.Author");
  for (std::size_t number = 1; number <= count; ++number)
    library.refer(u"books", u"library.Book", u"#", wide(number));
  library.close();
  // The element of number n is root n for the first half, and they come backwards in the second.
  const auto rootOf = [&](std::size_t n) { return n <= count / 2 ? n : count + count / 2 + 1 - n; };
  std::vector<std::size_t> numberOf(count + 1);
  for (std::size_t n = 1; n <= count; ++n) numberOf[rootOf(n)] = n;
  for (std::size_t i = 1; i <= count; ++i) library.element(u"library.Book", u"#", wide(numberOf[i]));
  library.processor.processDeferred();
  for (std::size_t n = 1; n <= count; ++n)
    ASSERT_EQ(library.root(0).getReference("books", n - 1), library.root(rootOf(n))) << n;
}

TEST_F(WaitingReferences, FindNumbersBetweenDatatypeValues) {
  Reading reading(makeClasses(1, 1));
  constexpr std::size_t count = 50;
  for (std::size_t i = 0; i < count; ++i) {
    reading.open(u"t.C0", u"#", wide(i + 1));
    reading.refer(u"to0", u"t.C0", u"#", wide(count - i));
    reading.processor.getPropertyCategory(u"ranges");
    reading.element(u"t.Range", {}, {});
    reading.close();
  }
  reading.processor.processDeferred();
  for (std::size_t i = 0; i < count; ++i)
    ASSERT_EQ(reading.root(i).getReference("to0"), reading.root(count - 1 - i)) << i;
}

TEST_F(WaitingReferences, MayLeadToElementsOfAnyNumberOfTypes) {
  constexpr std::size_t count = 600;
  Reading reading(makeClasses(count, 1));
  reading.open(u"t.C0");
  for (std::size_t i = 0; i < count; ++i) reading.refer(u"all", u"t.C" + wide(i), u"#", wide(i + 1));
  reading.close();
  for (std::size_t i = 0; i < count; ++i) reading.element(u"t.C" + wide(i), u"#", wide(i + 1));
  reading.processor.processDeferred();
  EXPECT_EQ(reading.processor.getProblems(), std::vector<std::string>());
  for (std::size_t i = 0; i < count; ++i)
    ASSERT_EQ(reading.root(0).getReference("all", i), reading.root(i + 1)) << i;
}

TEST_F(WaitingReferences, AreRefusedOneByOneWhereTheyNameAnotherType) {
  constexpr std::size_t count = 300;
  Reading reading(makeClasses(count, 1));
  reading.open(u"t.C0");
  for (std::size_t i = 0; i < count; ++i)
    reading.refer(u"all", u"t.C" + wide(i == 290 ? 289 : i), u"#", wide(i + 1));
  reading.close();
  for (std::size_t i = 0; i < count; ++i) reading.element(u"t.C" + wide(i), u"#", wide(i + 1));
  reading.processor.processDeferred();
  EXPECT_EQ(
      reading.processor.getProblems(),
      (std::vector<std::string>{"/c0[0].all: says that it refers to a t.C289, but /c290[291] is a t.C290"}));
}

TEST_F(WaitingReferences, AreResolvedInEachOfManyProperties) {
  constexpr std::size_t count = 200;
  Reading reading(makeClasses(1, count));
  reading.open(u"t.C0", u"#", u"1");
  for (std::size_t i = count; i-- > 0;)  // not in the properties' order: values move
    reading.refer(u"to" + wide(i), u"t.C0", u"#", wide(i % 2 + 1));
  reading.close();
  reading.element(u"t.C0", u"#", u"2");
  reading.processor.processDeferred();
  for (std::size_t i = 0; i < count; ++i)
    ASSERT_EQ(reading.root(0).getReference("to" + std::to_string(i)), reading.root(i % 2)) << i;
}

TEST_F(WaitingReferences, ThatComeLaterAreResolvedTheNextTime) {
  library.element(u"library.Book", u"a", u"1");
  library.open(u"library.Author");
  library.refer(u"books", u"library.Book", u"a", u"1");
  library.processor.processDeferred();
  library.refer(u"books", u"library.Book", u"a", u"1");
  library.processor.processDeferred();
  EXPECT_EQ(library.root(1).getReference("books", 0), library.root(0));
  EXPECT_EQ(library.root(1).getUnresolved("books", 1), (UnresolvedReference{"library.Book", "a", "1", {}}));
}

TEST_F(WaitingReferences, OfWrongTargetsAreToldInTheOrderOfTheElements) {
  library.element(u"library.Library", u"a", u"1");
  for (std::size_t i = 0; i < 2; ++i) {
    library.open(u"library.Author");
    library.refer(u"books", u"library.Library", u"a", u"1");
    library.close();
  }
  library.processor.processDeferred();
  const std::string what =
      "].books: an element of class library.Library does not fit a property of type library.Book";
  EXPECT_EQ(library.processor.getProblems(),
            (std::vector<std::string>{"/author[1" + what, "/author[2" + what}));
}

}  // namespace
}  // namespace kr::zero::io
